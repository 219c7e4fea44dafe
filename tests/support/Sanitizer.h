#pragma once

// Whether the address sanitizer watches the heap, so that what it takes cannot be counted. Not
// every compiler says so in the same way.
#if defined(__SANITIZE_ADDRESS__)
#define LIGHTING_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LIGHTING_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef LIGHTING_ADDRESS_SANITIZER
#define LIGHTING_ADDRESS_SANITIZER 0
#endif

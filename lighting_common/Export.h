#pragma once

// Marks what liblightingcommon exports; everything else of it is hidden.
#define LIGHTING_COMMON_API __attribute__((visibility("default")))

#pragma once

// Marks what the host exports to the library and to drivers.
//
// The library is built with hidden visibility; everything that crosses the boundary between host,
// library and driver is visible on purpose, so that calls, virtual tables and type information
// agree on both sides.
#define NX_HOST_API __attribute__((visibility("default")))

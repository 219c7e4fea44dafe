#pragma once

// Numeric identities shared by host, library and drivers.
namespace ID
{
// A host timer. Counts up from 1 for the whole host and is never used again while it runs; 0 means
// "no timer".
using Timer = unsigned;

// A binding of a driver (the driver's own number for it).
using Binding = unsigned;
} // namespace ID

#pragma once

#include "embedded_host/Output.h"

#include <cstdint>
#include <string>

namespace lighting_host
{
// Writes the protocol's output objects, as ASCII JSON, without going through a JSON tree. Appends
// to the caller's text; no line end.

// A JSON string: text that is valid UTF-8 keeps its characters; in text that is not wholly UTF-8
// every byte from 0x80 up becomes the code point of that number; control characters are escaped.
void AppendJsonText(std::string& out, const std::string& text);

// The kind of an effect: the field that names its object ("mib", "event").
const char* KindOf(const embedded_host::Effect& effect);

// Whether there are output objects of that kind: those of effects, and what answers an input
// ("state", "answer", "house").
bool IsOutputKind(const std::string& kind);

// One effect of a driver as an output object.
void AppendOutput(std::string& out, const embedded_host::Output& output);

// The head of an output object of a driver, up to and with the comma before its own fields.
void AppendHead(std::string& out, std::int64_t timeMs, const std::string& driver);
} // namespace lighting_host

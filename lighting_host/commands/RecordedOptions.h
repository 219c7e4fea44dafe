#pragma once

#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
enum class Draw;
}

namespace lighting_host
{
class Fields;
struct SessionOptions;

// The options that decide what a house does, as they stand in the head of a recording: "seed",
// "draw", "start", and "zone" where there is one.

// The names of the draws, in the order in which they are told to a person.
const std::vector<std::pair<std::string, embedded_host::Draw>>& DrawNames();
std::string NameOf(embedded_host::Draw draw);

// Appends them to an object that has fields already and is not closed yet.
void AppendRecordedOptions(std::string& object, const SessionOptions& options);

// Reads those that are there, but for the ones that the command line gave (see
// SessionOptions::given). Throws InputError.
void ReadRecordedOptions(Fields& head, SessionOptions& options);
} // namespace lighting_host

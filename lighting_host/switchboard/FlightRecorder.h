#pragma once

#include "lighting_host/switchboard/FlightRecord.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace lighting_host
{
// Writes a flight record while a house runs.
//
// Lines are gathered and written at least once a second as long as something is recorded or Flush
// is called, so that a kill loses no more than that. A full device ends the record, not the house.
class FlightRecorder
{
public:
    // Makes the file, which must not be there yet, and writes the first line. Throws RecordError.
    // `onFailure`: called once, as soon as Failure says something; must not call into this.
    FlightRecorder(const std::string& path, const RecordHead& head,
                   std::function<void()> onFailure = {});

    // Writes what is left.
    ~FlightRecorder();
    FlightRecorder(const FlightRecorder&) = delete;
    FlightRecorder& operator=(const FlightRecorder&) = delete;

    void OnInput(const RecordInput& input);
    // The same for a line that is known to be JSON, which is not read once more. Whoever calls this
    // calls Flush several times a second.
    void OnJsonInput(const RecordInput& input);
    void OnOutput(std::int64_t timeMs, const std::string& text);
    void OnDigest(const RecordDigest& digest);
    void OnDropped(const RecordDrop& drop);

    // The last line; nothing may follow.
    void Close(const RecordDigest& digest, const std::string& why);
    // The same for a run whose outputs nobody has counted: a replay compares nothing.
    void Close(std::int64_t timeMs, const std::string& why);

    // Writes what has waited for a second; `now`: everything.
    void Flush(bool now);

    // What went wrong with writing, in words; empty while all is well. Nothing is written after it.
    const std::string& Failure() const { return m_failure; }

private:
    using Clock = std::chrono::steady_clock;

    void Add(const std::string& line);
    char* Room(std::size_t size);

    int m_file = -1;
    const std::function<void()> m_onFailure;
    // What waits stands at its front.
    std::vector<char> m_buffer;
    std::size_t m_waiting = 0;
    Clock::time_point m_since;
    // How the line of the last input begins, and for which time and visitor: of many inputs at once
    // it is the next one's as well.
    std::string m_head;
    std::int64_t m_headMs = -1;
    std::string m_headFrom;
    std::string m_failure;
};
} // namespace lighting_host

#include "lighting_host/switchboard/FlightRecorder.h"

#include "lighting_host/house/InputLines.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t MOST_WAITING = 64 * 1024;
constexpr std::chrono::milliseconds LONGEST_UNWRITTEN{250};
} // namespace

FlightRecorder::FlightRecorder(const std::string& path, const RecordHead& head,
                               std::function<void()> onFailure)
    : m_file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)),
      m_onFailure(std::move(onFailure)), m_since(Clock::now())
{
    if (m_file < 0 && errno == EEXIST)
        throw RecordError(fmt::format("{}: is there already; a record is never overwritten", path));
    if (m_file < 0)
        throw RecordError(fmt::format("{}: cannot be written: {}", path, std::strerror(errno)));
    Add([&](std::string& out) { out += HeadLine(head); });
    Flush(true);
}

FlightRecorder::~FlightRecorder()
{
    Flush(true);
    close(m_file);
}

// Gives the line to what waits, without a copy of it in between.
template <class AppendTo>
void FlightRecorder::Add(const AppendTo& appendTo)
{
    if (!m_failure.empty())
        return;
    const bool isFirst = m_waiting.empty();
    appendTo(m_waiting);
    m_waiting += '\n';
    if (isFirst)
        m_since = Clock::now();
    else
        Flush(m_waiting.size() >= MOST_WAITING);
}

void FlightRecorder::OnInput(const RecordInput& input)
{
    Add([&input](std::string& out) { AppendInputLine(out, input, IsJson(input.line)); });
}

void FlightRecorder::OnJsonInput(const RecordInput& input)
{
    if (!m_failure.empty() || m_waiting.empty() || m_waiting.size() >= MOST_WAITING)
        return Add([&input](std::string& out) { AppendInputLine(out, input, true); });
    // Most lines are such: the clock is left to who calls Flush.
    AppendInputLine(m_waiting, input, true);
    m_waiting += '\n';
}

void FlightRecorder::OnOutput(std::int64_t timeMs, const std::string& text)
{
    Add([&](std::string& out) { out += OutputLine(timeMs, text); });
}

void FlightRecorder::OnDigest(const RecordDigest& digest)
{
    Add([&](std::string& out) { out += DigestLine(digest); });
}

void FlightRecorder::OnDropped(const RecordDrop& drop)
{
    Add([&](std::string& out) { out += DroppedLine(drop); });
}

void FlightRecorder::Close(const RecordDigest& digest, const std::string& why)
{
    Add([&](std::string& out) { out += EndLine(digest, why); });
    Flush(true);
}

void FlightRecorder::Close(std::int64_t timeMs, const std::string& why)
{
    Add([&](std::string& out) { out += EndLine(timeMs, why); });
    Flush(true);
}

void FlightRecorder::Flush(bool now)
{
    if (m_waiting.empty() || (!now && Clock::now() - m_since < LONGEST_UNWRITTEN))
        return;
    std::size_t written = 0;
    while (written < m_waiting.size())
    {
        const ssize_t got = write(m_file, m_waiting.data() + written, m_waiting.size() - written);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
        {
            m_failure = std::strerror(errno);
            if (m_onFailure)
                m_onFailure();
            break;
        }
        written += static_cast<std::size_t>(got);
    }
    m_waiting.clear();
}
} // namespace lighting_host

#include "lighting_host/switchboard/FlightRecorder.h"

#include "lighting_host/house/InputLines.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t MOST_WAITING = 64 * 1024;
constexpr std::chrono::milliseconds LONGEST_UNWRITTEN{250};

// Puts the text there; where the next one goes.
char* Put(char* out, std::string_view text)
{
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}
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
    Add(HeadLine(head));
    Flush(true);
}

FlightRecorder::~FlightRecorder()
{
    Flush(true);
    close(m_file);
}

// Where `size` more octets can be put behind what waits.
char* FlightRecorder::Room(std::size_t size)
{
    if (m_buffer.size() - m_waiting < size)
        m_buffer.resize(std::max(2 * MOST_WAITING, m_waiting + size));
    return m_buffer.data() + m_waiting;
}

void FlightRecorder::Add(const std::string& line)
{
    if (!m_failure.empty())
        return;
    const bool isFirst = m_waiting == 0;
    *Put(Room(line.size() + 1), line) = '\n';
    m_waiting += line.size() + 1;
    if (isFirst)
        m_since = Clock::now();
    else
        Flush(m_waiting >= MOST_WAITING);
}

void FlightRecorder::OnInput(const RecordInput& input)
{
    Add(InputLine(input));
}

void FlightRecorder::OnJsonInput(const RecordInput& input)
{
    if (!m_failure.empty() || m_waiting == 0 || m_waiting >= MOST_WAITING)
        return Add(JsonInputLine(input));
    // Most lines are such: put together without a text in between, and the clock is left to who
    // calls Flush.
    if (input.timeMs != m_headMs || input.from != m_headFrom)
    {
        m_headMs = input.timeMs;
        m_headFrom = input.from;
        m_head = InputHead(input);
    }
    const std::string& line = input.line;
    const std::size_t size = !line.empty() && line.back() == '}' ? line.size() : InputSize(line);
    char* const begin = Room(m_head.size() + size + INPUT_END.size() + 1);
    char* end = Put(begin, m_head);
    end = Put(end, std::string_view(line.data(), size));
    end = Put(end, INPUT_END);
    *end++ = '\n';
    m_waiting += static_cast<std::size_t>(end - begin);
}

void FlightRecorder::OnOutput(std::int64_t timeMs, const std::string& text)
{
    Add(OutputLine(timeMs, text));
}

void FlightRecorder::OnDigest(const RecordDigest& digest)
{
    Add(DigestLine(digest));
}

void FlightRecorder::OnDropped(const RecordDrop& drop)
{
    Add(DroppedLine(drop));
}

void FlightRecorder::Close(const RecordDigest& digest, const std::string& why)
{
    Add(EndLine(digest, why));
    Flush(true);
}

void FlightRecorder::Close(std::int64_t timeMs, const std::string& why)
{
    Add(EndLine(timeMs, why));
    Flush(true);
}

void FlightRecorder::Flush(bool now)
{
    if (m_waiting == 0 || (!now && Clock::now() - m_since < LONGEST_UNWRITTEN))
        return;
    std::size_t written = 0;
    while (written < m_waiting)
    {
        const ssize_t got = write(m_file, m_buffer.data() + written, m_waiting - written);
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
    m_waiting = 0;
}
} // namespace lighting_host

#include "lighting_host/commands/LineReader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace lighting_host
{
namespace
{
// On purpose not that of DescriptorInput: lines are read from any stream.
constexpr std::streamsize BUFFER_SIZE = 65536;

// False when the text would become too long; it is then empty, and its memory is free again.
bool Append(std::string& text, const char* from, const char* to, std::size_t longest)
{
    try
    {
        if (text.size() + static_cast<std::size_t>(to - from) <= longest)
        {
            text.append(from, to);
            return true;
        }
    }
    catch (const std::bad_alloc&)
    {
    }
    std::string().swap(text);
    return false;
}
} // namespace

LineReader::LineReader(std::streambuf& in, std::function<bool()> beforeWaiting, std::size_t longest)
    : m_in(in), m_beforeWaiting(std::move(beforeWaiting)), m_longest(longest),
      m_buffer(std::make_unique<char[]>(BUFFER_SIZE))
{
}

LineReader::Result LineReader::Next(std::string& line)
{
    line.clear();
    bool kept = true;
    bool any = false;
    while (m_next != m_end || Refill())
    {
        any = true;
        const void* const found =
            std::memchr(m_next, '\n', static_cast<std::size_t>(m_end - m_next));
        const char* const lineEnd = found ? static_cast<const char*>(found) : m_end;
        kept = kept && Append(line, m_next, lineEnd, m_longest);
        m_next = lineEnd;
        if (lineEnd != m_end)
        {
            ++m_next;
            return kept ? Result::Line : Result::TooLong;
        }
    }
    if (!any)
        return Result::End;
    return kept ? Result::Line : Result::TooLong;
}

bool LineReader::Refill()
{
    using Traits = std::streambuf::traits_type;
    if (m_in.in_avail() <= 0 && m_beforeWaiting && !m_beforeWaiting())
        return false;
    // Waits, but takes no more than what is there.
    if (Traits::eq_int_type(m_in.sgetc(), Traits::eof()))
        return false;
    const std::streamsize size =
        m_in.sgetn(m_buffer.get(), std::clamp<std::streamsize>(m_in.in_avail(), 1, BUFFER_SIZE));
    m_next = m_buffer.get();
    m_end = m_next + size;
    return size > 0;
}
} // namespace lighting_host

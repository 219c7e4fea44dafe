#include "lighting_host/commands/DescriptorOutput.h"

#include "lighting_host/commands/StopSignals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include <climits>

namespace lighting_host
{
namespace
{
// On purpose not that of DescriptorInput: how much is written at once is a matter of its own.
constexpr std::size_t BUFFER_SIZE = 65536;
// A pipe that says it can be written to takes this much without waiting.
constexpr std::size_t PIECE_SIZE = PIPE_BUF;
// How long a reader has after the program was asked to end.
constexpr int PATIENCE_MS = 1000;
constexpr int FOR_EVER = -1;
} // namespace

DescriptorOutput::DescriptorOutput(int descriptor)
    : m_descriptor(descriptor), m_buffer(std::make_unique<char[]>(BUFFER_SIZE))
{
    setp(m_buffer.get(), m_buffer.get() + BUFFER_SIZE);
}

DescriptorOutput::~DescriptorOutput()
{
    WriteAll();
}

void DescriptorOutput::WriteInCrash() const
{
    const char* at = pbase();
    while (m_failure.empty() && at && at < pptr())
    {
        const ssize_t written = ::write(m_descriptor, at, static_cast<std::size_t>(pptr() - at));
        if (written <= 0)
            return;
        at += written;
    }
}

int DescriptorOutput::overflow(int character)
{
    if (!WriteAll())
        return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof()))
    {
        *pptr() = traits_type::to_char_type(character);
        pbump(1);
    }
    return traits_type::not_eof(character);
}

int DescriptorOutput::sync()
{
    return WriteAll() ? 0 : -1;
}

bool DescriptorOutput::WriteAll()
{
    const char* from = pbase();
    const char* const end = pptr();
    setp(m_buffer.get(), m_buffer.get() + BUFFER_SIZE);
    while (m_failure.empty() && from != end)
    {
        if (!WaitUntilWritable())
            break;
        const auto size = std::min<std::size_t>(static_cast<std::size_t>(end - from), PIECE_SIZE);
        const ssize_t written = ::write(m_descriptor, from, size);
        if (written >= 0)
            from += written;
        else if (errno != EINTR && errno != EAGAIN)
            Fail(std::strerror(errno));
    }
    return m_failure.empty();
}

bool DescriptorOutput::WaitUntilWritable()
{
    while (true)
    {
        const bool ending = StopSignals::Received() != 0;
        std::array<pollfd, 2> ends = {
            {{m_descriptor, POLLOUT, 0}, {ending ? -1 : StopSignals::Descriptor(), POLLIN, 0}}};
        const int ready = ::poll(ends.data(), ends.size(), ending ? PATIENCE_MS : FOR_EVER);
        if (ready < 0 && errno != EINTR)
            return Fail(std::strerror(errno));
        if (ready == 0)
            return Fail("nobody reads it");
        // Also when the reader has gone: the write then says so.
        if (ready > 0 && ends[0].revents != 0)
            return true;
    }
}

bool DescriptorOutput::Fail(std::string why)
{
    m_failure = std::move(why);
    return false;
}
} // namespace lighting_host

#include "lighting_host/commands/DescriptorInput.h"

#include "lighting_host/commands/StopSignals.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t BUFFER_SIZE = 65536;
} // namespace

DescriptorInput::DescriptorInput(int descriptor)
    : m_descriptor(descriptor), m_buffer(std::make_unique<char[]>(BUFFER_SIZE))
{
}

DescriptorInput::~DescriptorInput() = default;

int DescriptorInput::underflow()
{
    while (StopSignals::Received() == 0)
    {
        // Both at once: a signal between a look and a read would not end the read.
        std::array<pollfd, 2> ends = {
            {{m_descriptor, POLLIN, 0}, {StopSignals::Descriptor(), POLLIN, 0}}};
        if (::poll(ends.data(), ends.size(), -1) <= 0 || ends[0].revents == 0)
            continue;
        const ssize_t size = ::read(m_descriptor, m_buffer.get(), BUFFER_SIZE);
        if (size == 0)
            break;
        if (size > 0)
        {
            setg(m_buffer.get(), m_buffer.get(), m_buffer.get() + size);
            return traits_type::to_int_type(*gptr());
        }
        if (errno != EINTR && errno != EAGAIN)
            throw std::system_error(errno, std::generic_category(), "cannot be read");
    }
    return traits_type::eof();
}
} // namespace lighting_host

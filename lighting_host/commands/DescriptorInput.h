#pragma once

#include <memory>
#include <streambuf>

namespace lighting_host
{
// What the program reads from a descriptor, such as its standard input. The input ends where the
// descriptor's does, and when a signal asks the program to end (see StopSignals). Lives on one
// thread.
class DescriptorInput : public std::streambuf
{
public:
    // The descriptor must stay open as long as this; it is not closed.
    explicit DescriptorInput(int descriptor);
    ~DescriptorInput() override;

protected:
    // Waits for input. Throws std::system_error when it cannot be read.
    int underflow() override;

private:
    const int m_descriptor;
    std::unique_ptr<char[]> m_buffer;
};
} // namespace lighting_host

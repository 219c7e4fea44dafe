#pragma once

#include <cstddef>
#include <memory>
#include <streambuf>
#include <string>

namespace lighting_host
{
// What the program writes to a descriptor, such as its standard output: buffered, and written when
// the buffer is full or the stream is flushed.
//
// The first write that fails ends it: nothing more is written, the stream is bad from then on, and
// Failure says why. A reader that never reads holds a write up, but not the end of the program:
// when a signal has asked for that (see StopSignals), what still cannot be written after a second
// is given up. Lives on one thread.
class DescriptorOutput : public std::streambuf
{
public:
    // The descriptor must stay open as long as this; it is not closed.
    explicit DescriptorOutput(int descriptor);
    // Writes what waits; a failure of that goes unseen.
    ~DescriptorOutput() override;
    DescriptorOutput(const DescriptorOutput&) = delete;
    DescriptorOutput& operator=(const DescriptorOutput&) = delete;

    // Why the output ended, in words; empty while all is well.
    const std::string& Failure() const { return m_failure; }

    // Writes what waits, once, as far as it goes. For a signal handler of a program that ends.
    void WriteInCrash() const;

protected:
    int overflow(int character) override;
    int sync() override;

private:
    bool WriteAll();
    bool WaitUntilWritable();
    bool Fail(std::string why);

    const int m_descriptor;
    std::string m_failure;
    std::unique_ptr<char[]> m_buffer;
};
} // namespace lighting_host

#pragma once

#include "lighting_host/commands/DescriptorOutput.h"

#include <ostream>
#include <stdexcept>
#include <string>

namespace lighting_host
{
struct SessionOptions;

// Why a run cannot be recorded, in words that name the file.
struct RecorderError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// Writes a run as a transcript that `check` can replay. Its head holds the options that decide what
// the house does. Log records and the drivers' end are left out, and so are inputs that are no
// JSON, which a transcript cannot hold.
//
// Overwrites an existing file only when it is a recording or empty. So the house, the state file
// and the program's own input and output are safe, under whatever name.
class Recorder
{
public:
    // Throws RecorderError when the file cannot be written or is not one to overwrite; it is then
    // as it was.
    Recorder(const std::string& path, const std::string& housePath, const SessionOptions& options);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // An input line, before it is handled, and an output object of this kind ("event"), as they
    // happen. A line that is no JSON must get an "error" before anything else.
    void In(const std::string& line);
    void Out(const char* kind, const std::string& text);

    // Writes what is left. Throws RecorderError when not all of it could be written.
    void Close();

private:
    void WriteIn();

    // The file's descriptor; goes after what writes to it.
    class File
    {
    public:
        explicit File(int descriptor) : m_descriptor(descriptor) {}
        ~File();
        File(const File&) = delete;
        File& operator=(const File&) = delete;
        int Descriptor() const { return m_descriptor; }

    private:
        const int m_descriptor;
    };

    const std::string m_path;
    const File m_file;
    DescriptorOutput m_buffer;
    std::ostream m_stream;
    // What came before the first input: a transcript has it under that input.
    std::string m_outs;
    // The present input, until what comes of it says whether it is left out.
    std::string m_in;
    bool m_isWaiting = false;
    bool m_open = false;
    // Whether the present input is left out.
    bool m_leftOut = false;
};
} // namespace lighting_host

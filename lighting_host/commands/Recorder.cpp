#include "lighting_host/commands/Recorder.h"

#include "lighting_host/commands/RecordedOptions.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/switchboard/Protocol.h"
#include "lighting_host/text/JsonWriter.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr const char* ERROR_KIND = "error";
constexpr const char* LOG_KIND = "log";
// How every recording begins, by which it is known again.
constexpr char HEAD[] = "{\"transcript\":\"recorded\",\"house\":";

[[noreturn]] void Fail(const std::string& path, const std::string& what)
{
    throw RecorderError(fmt::format("{}: {}", path, what));
}

bool IsSame(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Throws when the file is one that the program uses for something else, by whatever name.
void RefuseFilesInUse(const std::string& path, const struct stat& file,
                      const std::string& housePath, const std::string& statePath)
{
    struct stat other;
    if (::stat(housePath.c_str(), &other) == 0 && IsSame(file, other))
        Fail(path, "is the house file, which a recording must not overwrite");
    if (!statePath.empty() && ::stat(statePath.c_str(), &other) == 0 && IsSame(file, other))
        Fail(path, "is the state file, which a recording must not overwrite");
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (S_ISREG(file.st_mode) && ::fstat(standard, &other) == 0 && IsSame(file, other))
            Fail(path, "is what the program reads or writes otherwise");
    }
}

bool BeginsAsRecording(int descriptor)
{
    std::array<char, sizeof HEAD - 1> head{};
    const ssize_t size = ::pread(descriptor, head.data(), head.size(), 0);
    return size == static_cast<ssize_t>(head.size()) &&
           std::memcmp(head.data(), HEAD, head.size()) == 0;
}

// Opens the file and empties it, unless that would lose something.
int Open(const std::string& path, const std::string& housePath, const std::string& statePath)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0)
        Fail(path, fmt::format("cannot be written: {}", std::strerror(errno)));
    try
    {
        struct stat file;
        if (::fstat(descriptor, &file) != 0)
            Fail(path, fmt::format("cannot be written: {}", std::strerror(errno)));
        RefuseFilesInUse(path, file, housePath, statePath);
        if (S_ISREG(file.st_mode) && file.st_size > 0 && !BeginsAsRecording(descriptor))
            Fail(path, "is there already and is no recording: it is not overwritten");
        if (S_ISREG(file.st_mode) && ::ftruncate(descriptor, 0) != 0)
            Fail(path, fmt::format("cannot be written: {}", std::strerror(errno)));
    }
    catch (...)
    {
        ::close(descriptor);
        throw;
    }
    return descriptor;
}

// A transcript counts its inputs; what was skipped here is not among them.
std::string WithoutNumber(const std::string& error)
{
    return error.substr(0, error.rfind(",\"line\":")) + "}";
}
} // namespace

Recorder::File::~File()
{
    ::close(m_descriptor);
}

Recorder::Recorder(const std::string& path, const std::string& housePath,
                   const SessionOptions& options)
    : m_path(path), m_file(Open(path, housePath, options.statePath)), m_buffer(m_file.Descriptor()),
      m_stream(&m_buffer)
{
    const auto folder = std::filesystem::absolute(path).parent_path();
    const auto house = std::filesystem::absolute(housePath).lexically_relative(folder);
    std::string head = HEAD;
    AppendJsonText(head, house.generic_string());
    AppendRecordedOptions(head, options);
    m_stream << head << "}\n";
}

Recorder::~Recorder() = default;

// Reading each line once more to know whether it is JSON would cost as much as handling it: what is
// refused for it is told by an error, and only then the line is looked at.
void Recorder::In(const std::string& line)
{
    WriteIn();
    m_in = line;
    m_isWaiting = true;
    m_leftOut = false;
}

void Recorder::WriteIn()
{
    if (!m_isWaiting)
        return;
    m_isWaiting = false;
    const std::size_t size = m_in.back() == '\r' ? m_in.size() - 1 : m_in.size();
    m_stream << "{\"in\":";
    m_stream.write(m_in.data(), static_cast<std::streamsize>(size));
    m_stream << "}\n" << m_outs;
    m_outs.clear();
    m_open = true;
}

void Recorder::Out(const char* kind, const std::string& text)
{
    if (m_leftOut || std::strcmp(kind, LOG_KIND) == 0)
        return;
    const bool error = std::strcmp(kind, ERROR_KIND) == 0;
    if (error && m_isWaiting && !IsJson(m_in))
    {
        m_isWaiting = false;
        m_leftOut = true;
        return;
    }
    WriteIn();
    const std::string out = "{\"out\":" + (error ? WithoutNumber(text) : text) + "}\n";
    if (m_open)
        m_stream << out;
    else
        m_outs += out;
}

void Recorder::Close()
{
    WriteIn();
    m_stream.flush();
    if (!m_buffer.Failure().empty())
        Fail(m_path, fmt::format("could not be written to its end: {}", m_buffer.Failure()));
}
} // namespace lighting_host

#include "embedded_host/internal/SaveCounter.h"

#include "embedded_host/StateStore.h"

#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include <fmt/format.h>
#include <sodium.h>

namespace embedded_host
{
namespace
{
constexpr const char* BEGINNING = "lighting saves ";
constexpr std::size_t NUMBER_SIZE = 20;

// One line of a fixed length, so that it is overwritten in place: the number and a digest of it.
std::string LineFor(std::int64_t saves)
{
    const std::string number = fmt::format("{}{:020}", BEGINNING, saves);
    unsigned char digest[crypto_generichash_BYTES_MIN];
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(number.data()),
                       number.size(), nullptr, 0);
    std::string line = number + ' ';
    for (const unsigned char byte : digest)
        line += fmt::format("{:02x}", byte);
    return line + '\n';
}
} // namespace

SaveCounter::SaveCounter(const std::string& statePath) : m_path(statePath + "-saves") {}

SaveCounter::~SaveCounter()
{
    if (m_file >= 0)
        ::close(m_file);
}

std::optional<std::int64_t> SaveCounter::Read() const
{
    std::ifstream file(m_path, std::ios::binary);
    const std::string line(std::istreambuf_iterator<char>(file), {});
    // Made just before the machine stopped: the file is there, what was written is not.
    if (line.find_first_not_of('\0') == std::string::npos)
        return std::nullopt;
    std::int64_t saves = 0;
    const std::size_t start = std::char_traits<char>::length(BEGINNING);
    if (line.size() > start + NUMBER_SIZE)
        std::from_chars(line.data() + start, line.data() + start + NUMBER_SIZE, saves);
    if (line != LineFor(saves))
        throw StateStoreError(fmt::format("state file {}: is damaged, or no counter of saves; "
                                          "without it, lost saves would not be noticed",
                                          m_path));
    return saves;
}

void SaveCounter::Write(std::int64_t saves)
{
    if (m_file < 0)
        m_file = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (m_file < 0)
        return;
    const std::string line = LineFor(saves);
    const ssize_t written = ::pwrite(m_file, line.data(), line.size(), 0);
    static_cast<void>(written);
}

void SaveCounter::Remove()
{
    ::unlink(m_path.c_str());
}
} // namespace embedded_host

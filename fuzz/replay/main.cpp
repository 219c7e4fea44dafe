// Gives every file of some folders to one of the programs of fuzz/, once, in the order of their
// names. What an input does wrong is told by the sanitizers that this is built with, or by abort().
//
//     fuzz_replay PROGRAM FOLDER...
//
// A folder that is not there has no files; all together must have some.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#define ENTRY(name) extern "C" int name##_Entry(const std::uint8_t* data, std::size_t size);
#include <fuzz_entries.inc>
#undef ENTRY

namespace
{
using Entry = int (*)(const std::uint8_t*, std::size_t);

Entry FindEntry(const std::string& program)
{
#define ENTRY(name)                                                                                \
    if (program == #name)                                                                          \
        return &name##_Entry;
#include <fuzz_entries.inc>
#undef ENTRY
    return nullptr;
}

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(folder))
    {
        for (const auto& entry : std::filesystem::directory_iterator(folder))
        {
            if (entry.is_regular_file())
                files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(Entry entry, const std::filesystem::path& path)
{
    // Said first, so that the last one named is the one that went wrong.
    std::cout << path.string() << std::endl;
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    // In memory of exactly that size, so that reading past it is found.
    const std::unique_ptr<std::uint8_t[]> octets(new std::uint8_t[content.size()]);
    std::memcpy(octets.get(), content.data(), content.size());
    entry(octets.get(), content.size());
}
} // namespace

int main(int argc, char** argv)
{
    const Entry entry = argc > 2 ? FindEntry(argv[1]) : nullptr;
    if (!entry)
    {
        std::cerr << "usage: fuzz_replay PROGRAM FOLDER...\n";
        return 2;
    }
    std::size_t replayed = 0;
    for (int i = 2; i < argc; ++i)
    {
        for (const auto& path : FilesOf(argv[i]))
        {
            Replay(entry, path);
            ++replayed;
        }
    }
    std::cout << replayed << " inputs replayed\n";
    return replayed > 0 ? 0 : 1;
}

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace embedded_host
{
// The number of a state file's last save, in a small file beside it: it tells a log that lost its
// end from one that was complete.
//
// Written after the save is on the disk, and not forced there itself: it outlives the process, and
// after a failure of the machine's power it is at most too low. So a number above the state file's
// own is always the trace of lost saves. Failures to write are ignored, as the save has been made.
class SaveCounter
{
public:
    // The counter of that state file; touches nothing.
    explicit SaveCounter(const std::string& statePath);
    ~SaveCounter();
    SaveCounter(const SaveCounter&) = delete;
    SaveCounter& operator=(const SaveCounter&) = delete;

    const std::string& Path() const { return m_path; }

    // The number; nothing when there is no file, or one that a failure of power left empty. Throws
    // StateStoreError for a file that is damaged or somebody else's.
    std::optional<std::int64_t> Read() const;

    // Makes the file when there is none.
    void Write(std::int64_t saves);

    // Removes the file: the state file is complete without its log.
    void Remove();

private:
    const std::string m_path;
    // -1 while it is not open.
    int m_file = -1;
};
} // namespace embedded_host

#pragma once

#include "embedded_host/StateStore.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host
{
// The drivers' states in one SQLite file: write-ahead log, every save one transaction that is on
// the disk when Save returns.
//
// Opens a file only when it is this program's own, undamaged, writable and of a known schema
// version. Otherwise opening throws and leaves every byte of the file and its log as it was. Every
// state carries a digest, and the file one over all of them, which finds damage that SQLite does
// not notice. SQLite reads a damaged log as one that ends early; so every save has a number, and a
// second file keeps the last one (see SaveCounter). At most MAX_SAVES_IN_LOG saves are in the log
// alone. A file of the first schema version has no such numbers: a log of it that lost its end is
// read as its last whole save, once; from then on its saves are counted.
//
// While it is open, the file is locked against every other process. Close removes the files beside
// it.
class FileStateStore : public StateStore
{
public:
    // The SQL steps that make the tables: step n takes a file of schema version n - 1 to n, and a
    // new file takes them all. A released step is never changed; a new version appends one.
    using Schema = std::vector<std::string>;
    static const Schema& CurrentSchema();

    // What marks a file as this program's own (wire value, do not change).
    static constexpr std::uint32_t APPLICATION_ID = 0x4C437374;

    // How many saves the log holds before they are written into the file.
    static constexpr int MAX_SAVES_IN_LOG = 8;

    // Opens the file at `path`, makes it when there is none, and takes an older one to the present
    // version. Throws StateStoreError.
    explicit FileStateStore(const std::string& path, const Schema& schema = CurrentSchema());
    ~FileStateStore() override;
    FileStateStore(const FileStateStore&) = delete;
    FileStateStore& operator=(const FileStateStore&) = delete;

    std::optional<std::string> Load(const std::string& driver, const std::string& type) override;
    std::vector<std::string> TypesOf(const std::string& driver) override;
    void Save(const std::vector<DriverState>& states) override;
    void Close() override;

private:
    class Tables;

    Tables& Opened() const;

    std::string m_path;
    // Null after Close.
    std::unique_ptr<Tables> m_tables;
};
} // namespace embedded_host

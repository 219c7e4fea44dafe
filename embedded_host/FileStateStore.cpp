#include "embedded_host/FileStateStore.h"

#include "embedded_host/internal/SaveCounter.h"
#include "embedded_host/internal/Sqlite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <sodium.h>
#include <sqlite3.h>

namespace embedded_host
{
namespace
{
// Where things stand in the file's first bytes; SQLite documents them. Numbers are big-endian.
constexpr std::size_t HEADER_SIZE = 100;
constexpr std::size_t WRITE_VERSION_OFFSET = 18;
constexpr std::size_t READ_VERSION_OFFSET = 19;
constexpr std::size_t USER_VERSION_OFFSET = 60;
constexpr std::size_t APPLICATION_ID_OFFSET = 68;
constexpr char HEADER_TEXT[] = "SQLite format 3";
constexpr char WAL_VERSION = 2;

using Digest = std::array<unsigned char, crypto_generichash_BYTES_MIN>;

constexpr const char* LOST_STATES =
    "is damaged: it has lost states, or has some that were not saved";

[[noreturn]] void Fail(const std::string& path, const std::string& what)
{
    throw StateStoreError(fmt::format("state file {}: {}", path, what));
}

[[noreturn]] void FailToMake(const std::string& path)
{
    Fail(path, fmt::format("cannot be made: {}", std::strerror(errno)));
}

std::string Text(const Digest& digest)
{
    return std::string(digest.begin(), digest.end());
}

Digest DigestOf(const std::string& text)
{
    Digest digest;
    crypto_generichash(digest.data(), digest.size(),
                       reinterpret_cast<const unsigned char*>(text.data()), text.size(), nullptr,
                       0);
    return digest;
}

// With the lengths first, no two states read the same. Without a type it is the digest of the first
// schema version, which knew no types.
Digest DigestOf(const DriverState& state)
{
    if (state.type.empty())
        return DigestOf(fmt::format("{} {}{}", state.driver.size(), state.driver, state.xml));
    return DigestOf(fmt::format("typed {} {}{} {}{}", state.driver.size(), state.driver,
                                state.type.size(), state.type, state.xml));
}

// The count of saves, as a part of the digest over all; none for the count that a new file, or one
// of the first schema version, has.
Digest DigestOf(std::int64_t saves)
{
    return saves == 0 ? Digest{} : DigestOf(fmt::format("saves {}", saves));
}

// The digest over all states is the exclusive or of theirs, so that each is put in or taken out
// alone.
void Toggle(Digest& all, const Digest& one)
{
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] ^= one[i];
}

std::string FolderOf(const std::string& path)
{
    return std::filesystem::path(path).parent_path().string();
}

bool Exists(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

bool IsEmpty(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && status.st_size == 0;
}

// Throws unless the first bytes are those of a state file of a known version.
void CheckHeader(const std::string& path, std::size_t knownVersion)
{
    std::ifstream file(path, std::ios::binary);
    std::array<char, HEADER_SIZE> header{};
    file.read(header.data(), header.size());
    if (file.bad() || !file.is_open())
        Fail(path, "cannot be read");
    if (file.gcount() < static_cast<std::streamsize>(header.size()))
        Fail(path, fmt::format("is damaged: it has only {} bytes", file.gcount()));
    const auto number = [&header](std::size_t offset)
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < sizeof value; ++i)
            value = value << 8 | static_cast<unsigned char>(header[offset + i]);
        return value;
    };

    if (std::memcmp(header.data(), HEADER_TEXT, sizeof HEADER_TEXT) != 0)
        Fail(path, "is no state file: it does not begin as one");
    const std::uint32_t application = number(APPLICATION_ID_OFFSET);
    if (application != FileStateStore::APPLICATION_ID)
        Fail(path, fmt::format("is no state file: its application id is {:#010x}", application));
    const std::uint32_t version = number(USER_VERSION_OFFSET);
    if (version > knownVersion)
        Fail(path, fmt::format("was written by a newer version of this program: its schema "
                               "version is {}, the newest known is {}",
                               version, knownVersion));
    if (version == 0)
        Fail(path, "is damaged: it has no schema version");
    if (header[WRITE_VERSION_OFFSET] != WAL_VERSION || header[READ_VERSION_OFFSET] != WAL_VERSION)
        Fail(path, "is damaged: it says that it has no write-ahead log");
}

// Throws unless the file, looked at without SQLite, is one that may be opened.
void CheckFromOutside(const std::string& path, std::size_t knownVersion)
{
    struct stat status;
    if (::stat(path.c_str(), &status) != 0)
        Fail(path, std::strerror(errno));
    if (!S_ISREG(status.st_mode))
        Fail(path, "is no file");
    // SQLite would take it for the traces of a broken write and undo that.
    if (Exists(path + "-journal"))
        Fail(path, "has a rollback journal beside it, which is not of this program");
    CheckHeader(path, knownVersion);

    // The mode is asked too, because the superuser may write everything.
    constexpr mode_t ANYBODY_WRITES = S_IWUSR | S_IWGRP | S_IWOTH;
    if ((status.st_mode & ANYBODY_WRITES) == 0 || ::access(path.c_str(), W_OK) != 0)
        Fail(path, "is read-only");
    if (::access(FolderOf(path).c_str(), W_OK | X_OK) != 0)
        Fail(path, "is in a folder that is read-only");
}

void RunSteps(SqliteConnection& connection, const FileStateStore::Schema& schema, std::size_t from)
{
    connection.Run("BEGIN IMMEDIATE");
    for (std::size_t step = from; step < schema.size(); ++step)
        connection.Run(schema[step]);
    connection.Run(fmt::format("PRAGMA user_version = {}", schema.size()));
    connection.Run("COMMIT");
}

// A new state file's bytes.
std::vector<unsigned char> NewFile(const FileStateStore::Schema& schema)
{
    SqliteConnection connection(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    connection.Run(fmt::format("PRAGMA application_id = {}", FileStateStore::APPLICATION_ID));
    RunSteps(connection, schema, 0);
    std::vector<unsigned char> bytes = connection.Serialize();
    bytes[WRITE_VERSION_OFFSET] = WAL_VERSION;
    bytes[READ_VERSION_OFFSET] = WAL_VERSION;
    return bytes;
}

void WriteAll(int file, const std::vector<unsigned char>& bytes, const std::string& path)
{
    for (std::size_t done = 0; done < bytes.size();)
    {
        const ssize_t written = ::write(file, bytes.data() + done, bytes.size() - done);
        if (written <= 0 && errno != EINTR)
            FailToMake(path);
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    if (::fsync(file) != 0)
        FailToMake(path);
}

// A new file beside another one, under a name that nobody has; removed when it keeps that name.
class FileToRename
{
public:
    explicit FileToRename(const std::string& path) : m_path(path), m_name(path + ".XXXXXX")
    {
        m_file = ::mkostemp(&m_name[0], O_CLOEXEC);
        if (m_file < 0)
            FailToMake(path);
        ::fchmod(m_file, 0644);
    }
    ~FileToRename()
    {
        ::close(m_file);
        if (!m_renamed)
            ::unlink(m_name.c_str());
    }
    FileToRename(const FileToRename&) = delete;
    FileToRename& operator=(const FileToRename&) = delete;

    int Handle() const { return m_file; }

    // Replaces no file that has come meanwhile.
    void Rename()
    {
        m_renamed =
            ::renameat2(AT_FDCWD, m_name.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE) == 0;
        // Not every file system can do that.
        if (!m_renamed && errno == EINVAL && ::access(m_path.c_str(), F_OK) != 0)
            m_renamed = ::rename(m_name.c_str(), m_path.c_str()) == 0;
        if (!m_renamed)
            FailToMake(m_path);
    }

private:
    const std::string m_path;
    std::string m_name;
    int m_file = -1;
    bool m_renamed = false;
};

// Makes the file under another name first, so that under its own it is always whole.
void MakeFile(const std::string& path, const FileStateStore::Schema& schema)
{
    const std::vector<unsigned char> bytes = NewFile(schema);
    FileToRename file(path);
    WriteAll(file.Handle(), bytes, path);
    file.Rename();
    const int folder = ::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0)
    {
        ::fsync(folder);
        ::close(folder);
    }
}

using TableTexts = std::vector<std::string>;
TableTexts TablesOf(const SqliteConnection& connection)
{
    TableTexts tables;
    SqliteQuery query(connection,
                      "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY name");
    while (query.Next())
        tables.push_back(query.Bytes(0) + ' ' + query.Bytes(1) + ' ' + query.Bytes(2) + ' ' +
                         query.Bytes(3));
    return tables;
}

// Throws unless the tables are exactly those that the steps up to `version` make.
void CheckTables(const SqliteConnection& connection, const FileStateStore::Schema& schema,
                 std::size_t version)
{
    SqliteConnection pattern(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    RunSteps(pattern, FileStateStore::Schema(schema.begin(), schema.begin() + version), 0);
    if (TablesOf(connection) != TablesOf(pattern))
        Fail(connection.Path(), "is damaged: its tables are not those of a state file");
}

// What a file of that schema version calls a state; the first one had no types, and counted no
// saves.
constexpr std::size_t FIRST_VERSION_WITH_TYPES = 2;

[[noreturn]] void FailNotAsSaved(const std::string& path, const std::string& driver)
{
    Fail(path, fmt::format("is damaged: the state of driver \"{}\" is not the one that was saved",
                           driver));
}

// Throws unless every state and the sum of all are as they were saved, and no save is missing.
void CheckStates(const SqliteConnection& connection, std::size_t version,
                 const SaveCounter& counter)
{
    const bool typed = version >= FIRST_VERSION_WITH_TYPES;
    Digest all{};
    std::int64_t count = 0;
    SqliteQuery states(connection, typed ? "SELECT driver, type, xml, digest FROM driver_state"
                                         : "SELECT driver, '', xml, digest FROM driver_state");
    while (states.Next())
    {
        const Digest digest = DigestOf({states.Bytes(0), states.Bytes(1), states.Bytes(2)});
        if (states.Bytes(3) != Text(digest))
            FailNotAsSaved(connection.Path(), states.Bytes(0));
        Toggle(all, digest);
        ++count;
    }
    SqliteQuery summary(connection, typed ? "SELECT drivers, digest, saves FROM summary"
                                          : "SELECT drivers, digest, 0 FROM summary");
    if (!summary.Next())
        Fail(connection.Path(), LOST_STATES);
    const std::int64_t saves = summary.Number(2);
    Toggle(all, DigestOf(saves));
    if (summary.Number(0) != count || summary.Bytes(1) != Text(all))
        Fail(connection.Path(), LOST_STATES);
    const std::int64_t made = counter.Read().value_or(saves);
    if (made > saves)
        Fail(connection.Path(),
             fmt::format("is damaged: its last {} saves are lost, as its write-ahead log ends "
                         "before its time; remove {} to go on from what is left",
                         made - saves, counter.Path()));
}

// Throws unless the whole file is sound; gives its schema version.
std::size_t CheckFromInside(const SqliteConnection& connection,
                            const FileStateStore::Schema& schema, const SaveCounter& counter)
{
    SqliteQuery version(connection, "PRAGMA user_version");
    version.Next();
    const std::int64_t number = version.Number(0);
    version.Restart();
    // The log may know of a newer version than the file's first bytes.
    if (number < 1 || number > static_cast<std::int64_t>(schema.size()))
        Fail(connection.Path(),
             fmt::format("has schema version {}, the newest known is {}", number, schema.size()));

    SqliteQuery check(connection, "PRAGMA integrity_check(1)");
    if (!check.Next() || check.Bytes(0) != "ok")
        Fail(connection.Path(), fmt::format("is damaged: {}", check.Bytes(0)));
    CheckTables(connection, schema, static_cast<std::size_t>(number));
    CheckStates(connection, static_cast<std::size_t>(number), counter);
    return static_cast<std::size_t>(number);
}
} // namespace

const FileStateStore::Schema& FileStateStore::CurrentSchema()
{
    static const Schema schema = {
        "CREATE TABLE driver_state (driver TEXT PRIMARY KEY NOT NULL, xml TEXT NOT NULL,"
        " digest BLOB NOT NULL) WITHOUT ROWID;"
        "CREATE TABLE summary (id INTEGER PRIMARY KEY CHECK (id = 1), drivers INTEGER NOT NULL,"
        " digest BLOB NOT NULL);"
        "INSERT INTO summary VALUES (1, 0, zeroblob(16));",
        // Types, and the number of the last save.
        "CREATE TABLE typed_state (driver TEXT NOT NULL, type TEXT NOT NULL, xml TEXT NOT NULL,"
        " digest BLOB NOT NULL, PRIMARY KEY (driver, type)) WITHOUT ROWID;"
        "INSERT INTO typed_state SELECT driver, '', xml, digest FROM driver_state;"
        "DROP TABLE driver_state;"
        "ALTER TABLE typed_state RENAME TO driver_state;"
        "ALTER TABLE summary ADD COLUMN saves INTEGER NOT NULL DEFAULT 0;",
    };
    return schema;
}

// The open file and the statements that it is used with.
class FileStateStore::Tables
{
public:
    Tables(std::unique_ptr<SqliteConnection> open, std::unique_ptr<SaveCounter> counter)
        : m_connection(std::move(open)), m_counter(std::move(counter))
    {
    }

    std::optional<std::string> Load(const std::string& driver, const std::string& type)
    {
        std::optional<std::string> xml = LoadOne(driver, type);
        return xml || type.empty() ? xml : LoadOne(driver, UNTYPED);
    }

    std::vector<std::string> TypesOf(const std::string& driver)
    {
        std::vector<std::string> types;
        m_types.Restart().Bind(1, driver);
        while (m_types.Next())
            types.push_back(m_types.Bytes(0));
        m_types.Restart();
        return types;
    }

    void Save(const std::vector<DriverState>& states)
    {
        m_connection->Run("BEGIN IMMEDIATE");
        try
        {
            ReadSummary();
            for (const DriverState& state : states)
                SaveOne(state);
            if (m_changed)
                WriteSummary();
            m_connection->Run("COMMIT");
        }
        catch (...)
        {
            Abandon();
            throw;
        }
        if (!m_changed)
            return;
        m_counter->Write(m_saves);
        if (++m_inLog >= MAX_SAVES_IN_LOG)
            Checkpoint();
    }

private:
    static inline const std::string UNTYPED;

    std::optional<std::string> LoadOne(const std::string& driver, const std::string& type)
    {
        m_load.Restart().Bind(1, driver).Bind(2, type);
        if (!m_load.Next())
            return std::nullopt;
        std::string xml = m_load.Bytes(0);
        const bool whole = m_load.Bytes(1) == Text(DigestOf({driver, type, xml}));
        m_load.Restart();
        if (!whole)
            FailNotAsSaved(m_connection->Path(), driver);
        return xml;
    }

    void ReadSummary()
    {
        m_readSummary.Restart();
        if (!m_readSummary.Next() || m_readSummary.Bytes(1).size() != m_all.size())
            Fail(m_connection->Path(), "is damaged: it has no summary");
        m_changed = false;
        m_drivers = m_readSummary.Number(0);
        const std::string all = m_readSummary.Bytes(1);
        std::copy(all.begin(), all.end(), m_all.begin());
        m_saves = m_readSummary.Number(2);
        m_readSummary.Restart();
    }

    void WriteSummary()
    {
        Toggle(m_all, DigestOf(m_saves));
        Toggle(m_all, DigestOf(++m_saves));
        m_writeSummary.Restart().Bind(1, m_drivers).Bind(2, m_all.data(), m_all.size());
        m_writeSummary.Bind(3, m_saves).Next();
        m_writeSummary.Restart();
    }

    // Takes the driver's old state out, and puts the new one in.
    void SaveOne(const DriverState& state)
    {
        const std::optional<std::string> old = LoadOne(state.driver, state.type);
        if (old && *old == state.xml)
            return;
        if (old)
            Remove({state.driver, state.type, *old});
        // Its type is known from now on.
        if (!state.type.empty())
        {
            if (const auto untyped = LoadOne(state.driver, UNTYPED))
                Remove({state.driver, UNTYPED, *untyped});
        }
        if (state.xml.empty())
            return;
        const Digest digest = DigestOf(state);
        Toggle(m_all, digest);
        ++m_drivers;
        m_changed = true;
        m_put.Restart().Bind(1, state.driver).Bind(2, state.type).Bind(3, state.xml);
        m_put.Bind(4, digest.data(), digest.size()).Next();
        m_put.Restart();
    }

    void Remove(const DriverState& state)
    {
        Toggle(m_all, DigestOf(state));
        --m_drivers;
        m_changed = true;
        m_remove.Restart().Bind(1, state.driver).Bind(2, state.type).Next();
        m_remove.Restart();
    }

    // One that fails leaves the saves in the log, where they are as good; the next save tries
    // again.
    void Checkpoint()
    {
        if (sqlite3_wal_checkpoint_v2(m_connection->Handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE,
                                      nullptr, nullptr) == SQLITE_OK)
            m_inLog = 0;
    }

    void Abandon()
    {
        for (SqliteQuery* query :
             {&m_load, &m_types, &m_put, &m_remove, &m_readSummary, &m_writeSummary})
            query->Restart();
        // Nothing is left to undo when the failure itself has undone it.
        sqlite3_exec(m_connection->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }

    std::unique_ptr<SqliteConnection> m_connection;
    std::unique_ptr<SaveCounter> m_counter;
    SqliteQuery m_load{*m_connection,
                       "SELECT xml, digest FROM driver_state WHERE driver = ? AND type = ?"};
    SqliteQuery m_types{*m_connection,
                        "SELECT type FROM driver_state WHERE driver = ? ORDER BY type"};
    SqliteQuery m_put{*m_connection, "INSERT INTO driver_state (driver, type, xml, digest)"
                                     " VALUES (?, ?, ?, ?)"};
    SqliteQuery m_remove{*m_connection, "DELETE FROM driver_state WHERE driver = ? AND type = ?"};
    SqliteQuery m_readSummary{*m_connection, "SELECT drivers, digest, saves FROM summary"};
    SqliteQuery m_writeSummary{*m_connection,
                               "UPDATE summary SET drivers = ?, digest = ?, saves = ?"};
    // The summary, and whether what is being saved changes it.
    std::int64_t m_drivers = 0;
    std::int64_t m_saves = 0;
    Digest m_all{};
    bool m_changed = false;
    // How many saves the log holds, at most.
    int m_inLog = 0;
};

FileStateStore::FileStateStore(const std::string& path, const Schema& schema)
    : m_path(std::filesystem::absolute(path).string())
{
    const std::string log = m_path + "-wal";
    if (!Exists(m_path))
    {
        // Beside a new file, the old log would be taken for its own.
        if (Exists(log))
            Fail(m_path, "is missing, but its write-ahead log is there");
        MakeFile(m_path, schema);
    }
    CheckFromOutside(m_path, schema.size());

    const bool logWasThere = Exists(log);
    auto counter = std::make_unique<SaveCounter>(m_path);
    auto connection = std::make_unique<SqliteConnection>(m_path, SQLITE_OPEN_READWRITE);
    try
    {
        connection->SetTidyOnClose(false);
        connection->Run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA trusted_schema = OFF;"
                        "PRAGMA cell_size_check = ON; PRAGMA synchronous = FULL;"
                        "PRAGMA wal_autocheckpoint = 0");
        const std::size_t version = CheckFromInside(*connection, schema, *counter);
        connection->SetTidyOnClose(true);
        if (version < schema.size())
            RunSteps(*connection, schema, version);
        // What a crash left in the log goes into the file, and the file's first bytes tell the new
        // version at once.
        connection->Run("PRAGMA wal_checkpoint(TRUNCATE)");
        m_tables = std::make_unique<Tables>(std::move(connection), std::move(counter));
    }
    catch (...)
    {
        // What SQLite has put beside the file goes again; but not what belongs to another process
        // that is just opening it.
        const bool inUse = connection && sqlite3_errcode(connection->Handle()) == SQLITE_BUSY;
        if (!inUse && !logWasThere && IsEmpty(log))
            ::unlink(log.c_str());
        throw;
    }
}

FileStateStore::~FileStateStore()
{
    Close();
}

FileStateStore::Tables& FileStateStore::Opened() const
{
    if (!m_tables)
        Fail(m_path, "is closed");
    return *m_tables;
}

std::optional<std::string> FileStateStore::Load(const std::string& driver, const std::string& type)
{
    return Opened().Load(driver, type);
}

std::vector<std::string> FileStateStore::TypesOf(const std::string& driver)
{
    return Opened().TypesOf(driver);
}

void FileStateStore::Save(const std::vector<DriverState>& states)
{
    Opened().Save(states);
}

void FileStateStore::Close()
{
    if (!m_tables)
        return;
    m_tables.reset();
    // Without a log beside it, the file has all saves.
    if (!Exists(m_path + "-wal"))
        SaveCounter(m_path).Remove();
}
} // namespace embedded_host

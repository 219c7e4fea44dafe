#include "embedded_host/FileStateStore.h"

#include "embedded_host/internal/Sqlite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
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

constexpr std::size_t DIGEST_SIZE = 16;
using Digest = std::array<unsigned char, DIGEST_SIZE>;

[[noreturn]] void Fail(const std::string& path, const std::string& what)
{
    throw StateStoreError(fmt::format("state file {}: {}", path, what));
}

std::string Text(const Digest& digest)
{
    return std::string(digest.begin(), digest.end());
}

Digest DigestOf(const std::string& driver, const std::string& xml)
{
    // With the length first, no two pairs read the same.
    const std::string text = fmt::format("{} {}{}", driver.size(), driver, xml);
    Digest digest;
    crypto_generichash(digest.data(), digest.size(),
                       reinterpret_cast<const unsigned char*>(text.data()), text.size(), nullptr,
                       0);
    return digest;
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

// Makes the file under another name first, so that under its own it is always whole.
void MakeFile(const std::string& path, const FileStateStore::Schema& schema)
{
    const std::string making = path + ".new";
    for (const char* leftover : {"", "-journal", "-wal", "-shm"})
        ::unlink((making + leftover).c_str());
    {
        SqliteConnection connection(making, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        connection.Run("PRAGMA synchronous = FULL");
        connection.Run(fmt::format("PRAGMA application_id = {}", FileStateStore::APPLICATION_ID));
        RunSteps(connection, schema, 0);
        connection.Run("PRAGMA journal_mode = WAL");
    }
    if (std::rename(making.c_str(), path.c_str()) != 0)
        Fail(path, fmt::format("cannot be made: {}", std::strerror(errno)));

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

// Throws unless every state and the sum of all are as they were saved.
void CheckStates(const SqliteConnection& connection)
{
    Digest all{};
    std::int64_t count = 0;
    SqliteQuery states(connection, "SELECT driver, xml, digest FROM driver_state");
    while (states.Next())
    {
        const Digest digest = DigestOf(states.Bytes(0), states.Bytes(1));
        if (states.Bytes(2) != Text(digest))
            Fail(connection.Path(), fmt::format("is damaged: the state of driver \"{}\" is not "
                                                "the one that was saved",
                                                states.Bytes(0)));
        Toggle(all, digest);
        ++count;
    }
    SqliteQuery summary(connection, "SELECT drivers, digest FROM summary");
    if (!summary.Next() || summary.Number(0) != count || summary.Bytes(1) != Text(all))
        Fail(connection.Path(), "is damaged: it has lost states, or has some that were not saved");
}

// Throws unless the whole file is sound; gives its schema version.
std::size_t CheckFromInside(const SqliteConnection& connection,
                            const FileStateStore::Schema& schema)
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
    CheckStates(connection);
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
    };
    return schema;
}

// The open file and the statements that it is used with.
class FileStateStore::Tables
{
public:
    explicit Tables(std::unique_ptr<SqliteConnection> open) : m_connection(std::move(open)) {}

    std::optional<std::string> Load(const std::string& driver)
    {
        m_load.Restart().Bind(1, driver);
        if (!m_load.Next())
            return std::nullopt;
        const std::string xml = m_load.Bytes(0);
        const bool whole = m_load.Bytes(1) == Text(DigestOf(driver, xml));
        m_load.Restart();
        if (!whole)
            Fail(m_connection->Path(), fmt::format("is damaged: the state of driver \"{}\" is not "
                                                   "the one that was saved",
                                                   driver));
        return xml;
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
            {
                m_writeSummary.Restart().Bind(1, m_drivers).Bind(2, m_all.data(), m_all.size());
                m_writeSummary.Next();
                m_writeSummary.Restart();
            }
            m_connection->Run("COMMIT");
        }
        catch (...)
        {
            Abandon();
            throw;
        }
    }

private:
    void ReadSummary()
    {
        m_readSummary.Restart();
        if (!m_readSummary.Next() || m_readSummary.Bytes(1).size() != m_all.size())
            Fail(m_connection->Path(), "is damaged: it has no summary");
        m_changed = false;
        m_drivers = m_readSummary.Number(0);
        const std::string all = m_readSummary.Bytes(1);
        std::copy(all.begin(), all.end(), m_all.begin());
        m_readSummary.Restart();
    }

    // Takes the driver's old state out, and puts the new one in.
    void SaveOne(const DriverState& state)
    {
        if (const std::optional<std::string> old = Load(state.driver))
        {
            if (*old == state.xml)
                return;
            Toggle(m_all, DigestOf(state.driver, *old));
            --m_drivers;
            m_changed = true;
            m_remove.Restart().Bind(1, state.driver).Next();
            m_remove.Restart();
        }
        if (state.xml.empty())
            return;
        const Digest digest = DigestOf(state.driver, state.xml);
        Toggle(m_all, digest);
        ++m_drivers;
        m_changed = true;
        m_put.Restart().Bind(1, state.driver).Bind(2, state.xml);
        m_put.Bind(3, digest.data(), digest.size()).Next();
        m_put.Restart();
    }

    void Abandon()
    {
        for (SqliteQuery* query : {&m_load, &m_put, &m_remove, &m_readSummary, &m_writeSummary})
            query->Restart();
        // Nothing is left to undo when the failure itself has undone it.
        sqlite3_exec(m_connection->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }

    std::unique_ptr<SqliteConnection> m_connection;
    SqliteQuery m_load{*m_connection, "SELECT xml, digest FROM driver_state WHERE driver = ?"};
    SqliteQuery m_put{*m_connection, "INSERT INTO driver_state (driver, xml, digest)"
                                     " VALUES (?, ?, ?)"};
    SqliteQuery m_remove{*m_connection, "DELETE FROM driver_state WHERE driver = ?"};
    SqliteQuery m_readSummary{*m_connection, "SELECT drivers, digest FROM summary"};
    SqliteQuery m_writeSummary{*m_connection, "UPDATE summary SET drivers = ?, digest = ?"};
    // The summary, and whether what is being saved changes it.
    std::int64_t m_drivers = 0;
    Digest m_all{};
    bool m_changed = false;
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
    auto connection = std::make_unique<SqliteConnection>(m_path, SQLITE_OPEN_READWRITE);
    try
    {
        connection->SetTidyOnClose(false);
        connection->Run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA trusted_schema = OFF;"
                        "PRAGMA cell_size_check = ON; PRAGMA synchronous = FULL");
        const std::size_t version = CheckFromInside(*connection, schema);
        connection->SetTidyOnClose(true);
        if (version < schema.size())
        {
            RunSteps(*connection, schema, version);
            // So that the file's first bytes tell the new version at once.
            connection->Run("PRAGMA wal_checkpoint(TRUNCATE)");
        }
        m_tables = std::make_unique<Tables>(std::move(connection));
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

FileStateStore::~FileStateStore() = default;

FileStateStore::Tables& FileStateStore::Opened() const
{
    if (!m_tables)
        Fail(m_path, "is closed");
    return *m_tables;
}

std::optional<std::string> FileStateStore::Load(const std::string& driver)
{
    return Opened().Load(driver);
}

void FileStateStore::Save(const std::vector<DriverState>& states)
{
    Opened().Save(states);
}

void FileStateStore::Close()
{
    m_tables.reset();
}
} // namespace embedded_host

#include "embedded_host/internal/Sqlite.h"

#include "embedded_host/StateStore.h"

#include <utility>

#include <fmt/format.h>
#include <sqlite3.h>

namespace embedded_host
{
namespace
{
// How long another process may still hold the file, for instance one that is just being replaced.
constexpr int BUSY_TIMEOUT_MS = 250;

std::string InWords(sqlite3* handle)
{
    if (!handle)
        return "no memory for it";
    switch (sqlite3_errcode(handle))
    {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_ERROR:
        return fmt::format("is damaged: {}", sqlite3_errmsg(handle));
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "is in use by another program";
    case SQLITE_READONLY:
        return "is read-only";
    default:
        return sqlite3_errmsg(handle);
    }
}
} // namespace

SqliteConnection::SqliteConnection(std::string path, int flags) : m_path(std::move(path))
{
    if (sqlite3_open_v2(m_path.c_str(), &m_handle, flags, nullptr) != SQLITE_OK)
    {
        const std::string words = InWords(m_handle);
        sqlite3_close(m_handle);
        throw StateStoreError(fmt::format("state file {}: {}", m_path, words));
    }
    sqlite3_busy_timeout(m_handle, BUSY_TIMEOUT_MS);
}

SqliteConnection::~SqliteConnection()
{
    sqlite3_close(m_handle);
}

void SqliteConnection::Run(const std::string& sql)
{
    if (sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail();
}

std::vector<unsigned char> SqliteConnection::Serialize() const
{
    sqlite3_int64 size = 0;
    unsigned char* const bytes = sqlite3_serialize(m_handle, "main", &size, 0);
    if (!bytes)
        Fail();
    std::vector<unsigned char> copy(bytes, bytes + size);
    sqlite3_free(bytes);
    return copy;
}

void SqliteConnection::SetTidyOnClose(bool tidy)
{
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, tidy ? 0 : 1, nullptr);
}

void SqliteConnection::Fail() const
{
    throw StateStoreError(fmt::format("state file {}: {}", m_path, InWords(m_handle)));
}

SqliteQuery::SqliteQuery(const SqliteConnection& connection, const std::string& sql)
    : m_connection(connection)
{
    if (sqlite3_prepare_v2(connection.Handle(), sql.c_str(), -1, &m_statement, nullptr) !=
        SQLITE_OK)
        connection.Fail();
}

SqliteQuery::~SqliteQuery()
{
    sqlite3_finalize(m_statement);
}

SqliteQuery& SqliteQuery::Restart()
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    return *this;
}

SqliteQuery& SqliteQuery::Bind(int place, const std::string& text)
{
    if (sqlite3_bind_text64(m_statement, place, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK)
        m_connection.Fail();
    return *this;
}

SqliteQuery& SqliteQuery::Bind(int place, const void* bytes, std::size_t length)
{
    if (sqlite3_bind_blob64(m_statement, place, bytes, length, SQLITE_TRANSIENT) != SQLITE_OK)
        m_connection.Fail();
    return *this;
}

SqliteQuery& SqliteQuery::Bind(int place, std::int64_t number)
{
    if (sqlite3_bind_int64(m_statement, place, number) != SQLITE_OK)
        m_connection.Fail();
    return *this;
}

bool SqliteQuery::Next()
{
    const int result = sqlite3_step(m_statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        m_connection.Fail();
    return result == SQLITE_ROW;
}

std::string SqliteQuery::Bytes(int column) const
{
    const void* bytes = sqlite3_column_blob(m_statement, column);
    const int length = sqlite3_column_bytes(m_statement, column);
    return bytes ? std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(length))
                 : std::string();
}

std::int64_t SqliteQuery::Number(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}
} // namespace embedded_host

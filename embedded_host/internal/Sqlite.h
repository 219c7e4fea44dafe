#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace embedded_host
{
// One connection to a SQLite file. Every failure is a StateStoreError that names the file. Lives on
// one thread.
class SqliteConnection
{
public:
    // `flags` are those of sqlite3_open_v2.
    SqliteConnection(std::string path, int flags);

    // Closes the connection; every SqliteQuery on it must be gone.
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Runs statements that give no rows.
    void Run(const std::string& sql);

    // The database as the bytes of a file.
    std::vector<unsigned char> Serialize() const;

    // Whether closing writes the log into the file and removes it (so it is at first), or leaves
    // both as they are.
    void SetTidyOnClose(bool tidy);

    const std::string& Path() const { return m_path; }
    sqlite3* Handle() const { return m_handle; }

    // Throws what went wrong last.
    [[noreturn]] void Fail() const;

private:
    std::string m_path;
    sqlite3* m_handle = nullptr;
};

// One prepared statement. Restart begins a run, Bind gives its parameters, Next its rows. A run
// that was not followed to its end keeps its transaction open until the next Restart.
class SqliteQuery
{
public:
    SqliteQuery(const SqliteConnection& connection, const std::string& sql);
    ~SqliteQuery();
    SqliteQuery(const SqliteQuery&) = delete;
    SqliteQuery& operator=(const SqliteQuery&) = delete;

    // Ends the last run and forgets its parameters.
    SqliteQuery& Restart();

    // Gives the parameter at `place`, counted from 1. Copies it.
    SqliteQuery& Bind(int place, const std::string& text);
    SqliteQuery& Bind(int place, const void* bytes, std::size_t length);
    SqliteQuery& Bind(int place, std::int64_t number);

    // Goes to the next row; false after the last.
    bool Next();

    // A column of the present row, counted from 0, as the bytes that are stored.
    std::string Bytes(int column) const;
    std::int64_t Number(int column) const;

private:
    const SqliteConnection& m_connection;
    sqlite3_stmt* m_statement = nullptr;
};
} // namespace embedded_host

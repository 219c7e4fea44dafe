// Saving what one driver keeps, until it is on the disk, against a bare transaction of SQLite that
// writes the same text with the same journal.

#include "bench/Bench.h"
#include "embedded_host/FileStateStore.h"

#include <filesystem>
#include <string>
#include <unistd.h>

#include <fmt/format.h>
#include <sqlite3.h>

namespace
{
using embedded_host::FileStateStore;

constexpr int DRIVERS = 1000;

// In the folder of the program, because a folder for temporary files may be in memory.
class Folder
{
public:
    Folder() : m_path(std::filesystem::current_path() / fmt::format("state_bench.{}", getpid()))
    {
        std::filesystem::create_directory(m_path);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string File(const char* name) const { return (m_path / name).string(); }

private:
    const std::filesystem::path m_path;
};

// What a light with a few scenes keeps. Another text each time: one that is there already is not
// written again.
std::string StateText(int number)
{
    std::string text = "<State><SceneMap>";
    for (int scene = 0; scene < 8; ++scene)
        text += fmt::format("<SCENE><ID>{}</ID><LEVEL>{}</LEVEL><TIME>{}</TIME></SCENE>", scene,
                            number % 100, number + scene);
    return text + "</SceneMap></State>";
}

std::string NameOf(int number)
{
    return fmt::format("light{}", number % DRIVERS);
}

void SaveOurs(benchmark::State& state)
{
    const Folder folder;
    FileStateStore store(folder.File("ours"));
    std::vector<embedded_host::DriverState> house;
    for (int i = 0; i < DRIVERS; ++i)
        house.push_back({NameOf(i), "zigbee_light", StateText(i)});
    store.Save(house);
    int number = 0;
    for (auto _ : state)
    {
        ++number;
        store.Save({{NameOf(number), "zigbee_light", StateText(number)}});
    }
}

class BareSqlite
{
public:
    explicit BareSqlite(const std::string& path)
    {
        sqlite3_open(path.c_str(), &m_connection);
        Run("PRAGMA locking_mode = EXCLUSIVE");
        Run("PRAGMA journal_mode = WAL");
        Run("PRAGMA synchronous = FULL");
        Run("CREATE TABLE state (driver TEXT NOT NULL, type TEXT NOT NULL, xml TEXT NOT NULL,"
            " PRIMARY KEY (driver, type)) WITHOUT ROWID");
        sqlite3_prepare_v2(m_connection, "INSERT OR REPLACE INTO state VALUES (?, 'light', ?)", -1,
                           &m_insert, nullptr);
    }
    ~BareSqlite()
    {
        sqlite3_finalize(m_insert);
        sqlite3_close(m_connection);
    }
    BareSqlite(const BareSqlite&) = delete;
    BareSqlite& operator=(const BareSqlite&) = delete;

    bool Run(const char* sql)
    {
        return sqlite3_exec(m_connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    bool Insert(const std::string& driver, const std::string& xml)
    {
        sqlite3_bind_text(m_insert, 1, driver.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(m_insert, 2, xml.c_str(), -1, SQLITE_TRANSIENT);
        const bool done = sqlite3_step(m_insert) == SQLITE_DONE;
        sqlite3_reset(m_insert);
        return done;
    }

private:
    sqlite3* m_connection = nullptr;
    sqlite3_stmt* m_insert = nullptr;
};

void SaveBare(benchmark::State& state)
{
    const Folder folder;
    BareSqlite bare(folder.File("bare"));
    bool good = bare.Run("BEGIN");
    for (int i = 0; i < DRIVERS; ++i)
        good = bare.Insert(NameOf(i), StateText(i)) && good;
    good = bare.Run("COMMIT") && good;
    int number = 0;
    for (auto _ : state)
    {
        ++number;
        good = bare.Run("BEGIN") && bare.Insert(NameOf(number), StateText(number)) &&
               bare.Run("COMMIT") && good;
    }
    if (!good)
        state.SkipWithError("SQLite refused something");
}

// By the clock on the wall: what counts is when the text is on the disk.
BENCHMARK(SaveOurs)->Name("state/ours")->UseRealTime();
BENCHMARK(SaveBare)->Name("state/sqlite")->UseRealTime();
} // namespace

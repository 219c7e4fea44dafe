#include "embedded_host/StateStore.h"

#include "embedded_host/FileStateStore.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

using embedded_host::DriverState;
using embedded_host::FileStateStore;
using embedded_host::NoStateStore;
using embedded_host::StateStore;
using embedded_host::StateStoreError;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{
// Every file of a folder and its bytes.
using Files = std::map<std::string, std::string>;

std::string BytesOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void Write(const fs::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

Files FilesIn(const fs::path& folder)
{
    Files files;
    for (const auto& entry : fs::directory_iterator(folder))
        files[entry.path().filename()] = entry.is_directory() ? "folder" : BytesOf(entry.path());
    return files;
}

// Runs SQL on a file as any other program would.
void RunSql(const fs::path& path, const std::string& sql)
{
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(handle);
}

// A folder of its own for each test, with the state file "house.db" in it.
class StateStoreTest : public testing::Test
{
protected:
    StateStoreTest()
    {
        std::string pattern = (fs::temp_directory_path() / "state-store-XXXXXX").string();
        m_folder = mkdtemp(&pattern[0]);
        m_path = m_folder / "house.db";
    }
    ~StateStoreTest() override { fs::remove_all(m_folder); }

    std::unique_ptr<FileStateStore>
    Open(const FileStateStore::Schema& schema = FileStateStore::CurrentSchema())
    {
        return std::make_unique<FileStateStore>(m_path.string(), schema);
    }

    // Makes the file with these states and closes it.
    void Keep(const std::vector<DriverState>& states) { Open()->Save(states); }

    // Why the file is refused; "taken" when it is not. A refused file must be left as it was.
    std::string Refusal(const FileStateStore::Schema& schema = FileStateStore::CurrentSchema())
    {
        const Files before = FilesIn(m_folder);
        try
        {
            Open(schema);
            return "taken";
        }
        catch (const StateStoreError& error)
        {
            EXPECT_EQ(FilesIn(m_folder), before) << "was touched";
            EXPECT_THAT(error.what(), HasSubstr(m_path.string())) << "does not name the file";
            return error.what();
        }
    }

    // The file as the program's first version wrote it, with the same two states.
    void WriteFirstVersion()
    {
        RunSql(
            m_path,
            "PRAGMA application_id = 0x4C437374; PRAGMA user_version = 1;"
            "PRAGMA journal_mode = WAL;"
            "CREATE TABLE driver_state (driver TEXT PRIMARY KEY NOT NULL, xml TEXT NOT NULL,"
            " digest BLOB NOT NULL) WITHOUT ROWID;"
            "CREATE TABLE summary (id INTEGER PRIMARY KEY CHECK (id = 1), drivers INTEGER NOT NULL,"
            " digest BLOB NOT NULL);"
            "INSERT INTO driver_state VALUES ('hall', '<State><A>1</A></State>',"
            " x'a764300a28526b9012575d1f7b3e61c5');"
            "INSERT INTO driver_state VALUES ('sofa', '<State><B>2</B></State>',"
            " x'c6cf9279a68126f552117f6fbc65d142');"
            "INSERT INTO summary VALUES (1, 2, x'61aba2738ed34d6540462270c75bb087');");
    }

    // The folder as that version left it when it crashed after its second save: each is in the log.
    Files CrashOfTheFirstVersion()
    {
        RunSql(m_path,
               "PRAGMA application_id = 0x4C437374; PRAGMA user_version = 1;"
               "PRAGMA journal_mode = WAL;"
               "CREATE TABLE driver_state (driver TEXT PRIMARY KEY NOT NULL, xml TEXT NOT NULL,"
               " digest BLOB NOT NULL) WITHOUT ROWID;"
               "CREATE TABLE summary (id INTEGER PRIMARY KEY CHECK (id = 1), drivers INTEGER NOT "
               "NULL, digest BLOB NOT NULL);"
               "INSERT INTO summary VALUES (1, 0, zeroblob(16));");
        sqlite3* handle = nullptr;
        EXPECT_EQ(sqlite3_open(m_path.c_str(), &handle), SQLITE_OK);
        for (const char* save :
             {"BEGIN; INSERT INTO driver_state VALUES ('hall', '<State><A>1</A></State>',"
              " x'a764300a28526b9012575d1f7b3e61c5');"
              "UPDATE summary SET drivers = 1, digest = x'a764300a28526b9012575d1f7b3e61c5'; "
              "COMMIT",
              "BEGIN; INSERT INTO driver_state VALUES ('sofa', '<State><B>2</B></State>',"
              " x'c6cf9279a68126f552117f6fbc65d142');"
              "UPDATE summary SET drivers = 2, digest = x'61aba2738ed34d6540462270c75bb087'; "
              "COMMIT"})
            EXPECT_EQ(sqlite3_exec(handle, save, nullptr, nullptr, nullptr), SQLITE_OK);
        const Files crash = FilesIn(m_folder);
        sqlite3_close(handle);
        return crash;
    }

    // The folder as it was at the moment of a crash, in which nothing was closed.
    Files AtACrash() { return FilesIn(m_folder); }
    void Restore(const Files& files)
    {
        for (const auto& entry : fs::directory_iterator(m_folder))
            fs::remove_all(entry.path());
        for (const auto& [name, bytes] : files)
            Write(m_folder / name, bytes);
    }

    fs::path m_folder;
    fs::path m_path;
};

const std::string PUCK = "puck";
const std::vector<DriverState> TWO = {{"hall", PUCK, "<State><A>1</A></State>"},
                                      {"sofa", PUCK, "<State><B>2</B></State>"}};
} // namespace

// --- What every store does
// ------------------------------------------------------------------------

class AnyStateStoreTest : public StateStoreTest, public testing::WithParamInterface<bool>
{
protected:
    std::unique_ptr<StateStore> Make()
    {
        if (GetParam())
            return Open();
        return std::make_unique<NoStateStore>();
    }
};
INSTANTIATE_TEST_SUITE_P(Forms, AnyStateStoreTest, testing::Bool(),
                         [](const auto& form) { return form.param ? "File" : "None"; });

TEST_P(AnyStateStoreTest, FreshStore_HasNothing)
{
    const auto store = Make();
    EXPECT_EQ(store->Load("hall", PUCK), std::nullopt);
    EXPECT_EQ(store->Load("", PUCK), std::nullopt);
}

TEST_P(AnyStateStoreTest, SavesOfAnything_AreTaken)
{
    const auto store = Make();
    EXPECT_NO_THROW(store->Save({}));
    EXPECT_NO_THROW(store->Save(TWO));
    EXPECT_NO_THROW(store->Save({{"hall", PUCK, ""}, {"nobody", PUCK, ""}, {"", PUCK, "<x/>"}}));
}

TEST_P(AnyStateStoreTest, CloseTwice_IsTaken)
{
    const auto store = Make();
    store->Close();
    EXPECT_NO_THROW(store->Close());
}

// --- The file
// -------------------------------------------------------------------------------------

TEST_F(StateStoreTest, SavedStates_AreLoadedInTheNextLife)
{
    Keep(TWO);
    const auto store = Open();
    EXPECT_EQ(store->Load("hall", PUCK), "<State><A>1</A></State>");
    EXPECT_EQ(store->Load("sofa", PUCK), "<State><B>2</B></State>");
    EXPECT_EQ(store->Load("Hall", PUCK), std::nullopt);
}

TEST_F(StateStoreTest, SavedStates_AreLoadedInTheSameLife)
{
    const auto store = Open();
    store->Save(TWO);
    store->Save({{"hall", PUCK, "<State/>"}});
    EXPECT_EQ(store->Load("hall", PUCK), "<State/>");
    EXPECT_EQ(store->Load("sofa", PUCK), "<State><B>2</B></State>");
}

TEST_F(StateStoreTest, SameDriverTwiceInOneSave_KeepsTheLast)
{
    Keep({{"hall", PUCK, "<a/>"}, {"hall", PUCK, "<b/>"}});
    EXPECT_EQ(Open()->Load("hall", PUCK), "<b/>");
}

TEST_F(StateStoreTest, SameStateAgain_IsNotWritten)
{
    const auto store = Open();
    store->Save(TWO);
    const std::uintmax_t log = fs::file_size(m_path.string() + "-wal");
    store->Save(TWO);
    EXPECT_EQ(fs::file_size(m_path.string() + "-wal"), log);
}

TEST_F(StateStoreTest, EmptyText_RemovesTheState)
{
    Keep(TWO);
    Keep({{"hall", PUCK, ""}});
    const auto store = Open();
    EXPECT_EQ(store->Load("hall", PUCK), std::nullopt);
    EXPECT_EQ(store->Load("sofa", PUCK), "<State><B>2</B></State>");
}

TEST_F(StateStoreTest, EachTypeOfADriver_HasAStateOfItsOwn)
{
    Keep({{"hall", PUCK, "<a/>"}});
    const auto store = Open();
    EXPECT_EQ(store->Load("hall", "keypad"), std::nullopt);
    EXPECT_THAT(store->TypesOf("hall"), ElementsAre(PUCK));
    store->Save({{"hall", "keypad", "<b/>"}});
    EXPECT_THAT(store->TypesOf("hall"), ElementsAre("keypad", PUCK));
    EXPECT_EQ(store->Load("hall", PUCK), "<a/>");
    EXPECT_EQ(store->Load("hall", "keypad"), "<b/>");
    EXPECT_THAT(store->TypesOf("sofa"), IsEmpty());
}

TEST_F(StateStoreTest, TextsAndNamesOfAnyBytes_ComeBackAsTheyWere)
{
    const std::string odd("a\0b'\";--\xff\xc3\xbc\n", 13);
    const std::string big(3000000, 'x');
    Keep({{odd, PUCK, "<" + odd + "/>"}, {"big", PUCK, big}});
    const auto store = Open();
    EXPECT_EQ(store->Load(odd, PUCK), "<" + odd + "/>");
    EXPECT_EQ(store->Load("big", PUCK), big);
}

TEST_F(StateStoreTest, ThousandDrivers_AreSavedTogether)
{
    std::vector<DriverState> states;
    for (int i = 0; i < 1000; ++i)
        states.push_back({"driver " + std::to_string(i), PUCK, "<n>" + std::to_string(i) + "</n>"});
    Keep(states);
    const auto store = Open();
    for (const DriverState& state : states)
        ASSERT_EQ(store->Load(state.driver, PUCK), state.xml);
}

TEST_F(StateStoreTest, ClosedStore_RefusesToWork)
{
    const auto store = Open();
    store->Close();
    EXPECT_THROW(store->Load("hall", PUCK), StateStoreError);
    EXPECT_THROW(store->Save(TWO), StateStoreError);
}

TEST_F(StateStoreTest, Closing_LeavesOneFile)
{
    Keep(TWO);
    EXPECT_EQ(FilesIn(m_folder).size(), 1U);
}

TEST_F(StateStoreTest, MakingAFile_GivesBackAllMemory)
{
    Keep(TWO);
    const sqlite3_int64 used = sqlite3_memory_used();
    m_path = m_folder / "another.db";
    Keep(TWO);
    EXPECT_EQ(sqlite3_memory_used(), used);
}

TEST_F(StateStoreTest, NewFiles_MayBeReadByOthersAndChangedByTheirOwner)
{
    const auto store = Open();
    store->Save(TWO);
    EXPECT_EQ(static_cast<fs::perms>(0644), fs::status(m_path).permissions());
    EXPECT_EQ(static_cast<fs::perms>(0644), fs::status(m_path.string() + "-saves").permissions());
}

TEST_F(StateStoreTest, ManySaves_KeepTheLogShort)
{
    const auto store = Open();
    const auto save = [&](int count)
    {
        for (int i = 0; i < count; ++i)
            store->Save({{"hall", PUCK, "<State>" + std::to_string(i) + "</State>"}});
        return fs::file_size(m_path.string() + "-wal");
    };
    const std::uintmax_t few = save(20);
    EXPECT_EQ(save(200), few);
}

TEST_F(StateStoreTest, FileInUse_IsRefusedToTheSecond)
{
    const auto store = Open();
    store->Save(TWO);
    EXPECT_THAT(Refusal(), EndsWith("is in use by another program"));
    store->Save({{"hall", PUCK, "<after/>"}});
    EXPECT_EQ(store->Load("hall", PUCK), "<after/>");
}

TEST_F(StateStoreTest, PathThatSqliteTreatsSpecially_IsAFileName)
{
    const fs::path before = fs::current_path();
    fs::current_path(m_folder);
    FileStateStore(":memory:").Save(TWO);
    fs::current_path(before);
    EXPECT_EQ(FilesIn(m_folder).count(":memory:"), 1U);
}

TEST_F(StateStoreTest, FileIsASqliteFileWithWal_ThatSaysWhatItIs)
{
    Keep(TWO);
    const std::string bytes = BytesOf(m_path);
    EXPECT_EQ(bytes.substr(0, 15), "SQLite format 3");
    EXPECT_EQ(bytes.substr(18, 2), "\x02\x02");
    EXPECT_EQ(bytes.substr(60, 4), std::string("\0\0\0\x02", 4));
    EXPECT_EQ(bytes.substr(68, 4), "LCst");
}

TEST_F(StateStoreTest, FilesWithNamesLikeItsOwn_StayAsTheyAre)
{
    Write(m_folder / "house.db.new", "somebody's");
    Write(m_folder / "house.db.aB3dE6", "somebody's");
    Keep(TWO);
    EXPECT_EQ(BytesOf(m_folder / "house.db.new"), "somebody's");
    EXPECT_EQ(BytesOf(m_folder / "house.db.aB3dE6"), "somebody's");
    EXPECT_EQ(FilesIn(m_folder).size(), 3U);
}

TEST_F(StateStoreTest, CrashAfterASave_KeepsIt)
{
    const auto store = Open();
    store->Save(TWO);
    store->Save({{"hall", PUCK, "<last/>"}});
    const Files crash = AtACrash();
    EXPECT_EQ(crash.count("house.db-wal"), 1U);
    store->Close();
    Restore(crash);
    EXPECT_EQ(Open()->Load("hall", PUCK), "<last/>");
}

// --- What is refused, and left as it was
// ----------------------------------------------------------

TEST_F(StateStoreTest, TextFile_IsRefused)
{
    Write(m_path, std::string(5000, 'x'));
    EXPECT_THAT(Refusal(), EndsWith("is no state file: it does not begin as one"));
}

TEST_F(StateStoreTest, EmptyFile_IsRefused)
{
    Write(m_path, "");
    EXPECT_THAT(Refusal(), EndsWith("is damaged: it has only 0 bytes"));
}

TEST_F(StateStoreTest, OtherProgramsFile_IsRefused)
{
    RunSql(m_path, "CREATE TABLE t (a); PRAGMA application_id = 17; PRAGMA user_version = 1;"
                   "PRAGMA journal_mode = WAL");
    EXPECT_THAT(Refusal(), EndsWith("is no state file: its application id is 0x00000011"));
}

TEST_F(StateStoreTest, NewerFile_IsRefused)
{
    Keep(TWO);
    RunSql(m_path, "PRAGMA user_version = 3");
    EXPECT_THAT(Refusal(), EndsWith("was written by a newer version of this program: its schema "
                                    "version is 3, the newest known is 2"));
}

TEST_F(StateStoreTest, FileWithoutVersion_IsRefused)
{
    Keep(TWO);
    RunSql(m_path, "PRAGMA user_version = 0");
    EXPECT_THAT(Refusal(), EndsWith("is damaged: it has no schema version"));
}

TEST_F(StateStoreTest, ReadOnlyFile_IsRefused)
{
    Keep(TWO);
    chmod(m_path.c_str(), 0444);
    EXPECT_THAT(Refusal(), EndsWith("is read-only"));
}

TEST_F(StateStoreTest, Folder_IsRefused)
{
    fs::create_directory(m_path);
    EXPECT_THAT(Refusal(), EndsWith("is no file"));
}

TEST_F(StateStoreTest, MissingFolder_IsAnError)
{
    m_path = m_folder / "nowhere" / "house.db";
    EXPECT_THAT(Refusal(), EndsWith("cannot be made: No such file or directory"));
}

TEST_F(StateStoreTest, FileThatDoesNotFit_LeavesNothingBehind)
{
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const struct rlimit small = {100, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    const std::string refusal = Refusal();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_THAT(refusal, EndsWith("cannot be made: File too large"));
}

TEST_F(StateStoreTest, LostFileWithItsLogLeft_IsRefused)
{
    const auto store = Open();
    store->Save(TWO);
    Files crash = AtACrash();
    store->Close();
    crash.erase("house.db");
    Restore(crash);
    EXPECT_THAT(Refusal(), EndsWith("is missing, but its write-ahead log is there"));
}

TEST_F(StateStoreTest, ForeignJournalBeside_IsRefused)
{
    Keep(TWO);
    Write(m_folder / "house.db-journal", "x");
    EXPECT_THAT(Refusal(), EndsWith("has a rollback journal beside it, which is not of this "
                                    "program"));
}

// What only SQLite's own look finds: the header counts one page too many as free.
TEST_F(StateStoreTest, FreePagesThatAreNone_AreRefused)
{
    Keep(TWO);
    std::string bytes = BytesOf(m_path);
    ++bytes[39];
    Write(m_path, bytes);
    EXPECT_THAT(Refusal(), EndsWith("reelist: size is 1 but should be 2"));
}

TEST_F(StateStoreTest, FileThatCannotBeOpened_IsNotTakenForADamagedOne)
{
    Keep(TWO);
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const struct rlimit none = {0, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    std::string refusal = "taken";
    try
    {
        Open();
    }
    catch (const StateStoreError& error)
    {
        refusal = error.what();
    }
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(refusal, EndsWith("cannot be read"));
}

TEST_F(StateStoreTest, ChangedTables_AreRefused)
{
    Keep(TWO);
    RunSql(m_path, "CREATE TABLE more (a)");
    EXPECT_THAT(Refusal(), EndsWith("its tables are not those of a state file"));
}

TEST_F(StateStoreTest, ChangedText_IsRefused)
{
    Keep(TWO);
    RunSql(m_path, "UPDATE driver_state SET xml = '<State><A>2</A></State>' WHERE driver = 'hall'");
    EXPECT_THAT(Refusal(),
                EndsWith("is damaged: the state of driver \"hall\" is not the one that was saved"));
}

// The digest as every program must make it: BLAKE2b with 128 bits of "typed 4 hall4 puck<State>..."
// and that of "saves 1", bit by bit exclusive or.
TEST_F(StateStoreTest, DigestOfAStateAndItsSave_IsTakenForTheirs)
{
    Keep({TWO.front()});
    RunSql(m_path, "UPDATE summary SET digest = x'6fb04067c08857580b197332a9d31273'");
    EXPECT_EQ(Open()->Load("hall", PUCK), "<State><A>1</A></State>");
}

TEST_F(StateStoreTest, RemovedState_IsRefused)
{
    Keep(TWO);
    RunSql(m_path, "DELETE FROM driver_state WHERE driver = 'hall'");
    EXPECT_THAT(Refusal(), EndsWith("is damaged: it has lost states, or has some that were not "
                                    "saved"));
}

TEST_F(StateStoreTest, MissingSummary_IsRefused)
{
    Keep(TWO);
    RunSql(m_path, "DELETE FROM summary");
    EXPECT_THAT(Refusal(), EndsWith("is damaged: it has lost states, or has some that were not "
                                    "saved"));
}

// --- Versions
// -------------------------------------------------------------------------------------

namespace
{
// A schema as a later version of the program may have it.
FileStateStore::Schema NextSchema()
{
    FileStateStore::Schema schema = FileStateStore::CurrentSchema();
    schema.push_back("ALTER TABLE driver_state ADD COLUMN saved_at INTEGER;"
                     "CREATE TABLE notes (text TEXT)");
    schema.push_back("DROP TABLE notes");
    return schema;
}
} // namespace

TEST_F(StateStoreTest, FileOfTheFirstVersion_IsReadAndTheTypesAreLearnt)
{
    WriteFirstVersion();
    const auto store = Open();
    EXPECT_THAT(store->TypesOf("hall"), ElementsAre(""));
    EXPECT_EQ(store->Load("hall", PUCK), "<State><A>1</A></State>");
    EXPECT_EQ(store->Load("sofa", PUCK), "<State><B>2</B></State>");
    store->Save({{"hall", PUCK, "<State><A>1</A></State>"}});
    EXPECT_THAT(store->TypesOf("hall"), ElementsAre(PUCK));
    EXPECT_EQ(store->Load("hall", "keypad"), std::nullopt);
    store->Close();
    EXPECT_EQ(Open()->Load("sofa", PUCK), "<State><B>2</B></State>");
}

// Such files count no saves: nothing tells a log that was cut from one that ended there. What holds
// is that no save comes back in part, and that from now on saves are counted.
TEST_F(StateStoreTest, LogOfTheFirstVersionThatLostItsTail_IsReadAsItsLastWholeSave)
{
    const Files crash = CrashOfTheFirstVersion();
    Restore(crash);
    EXPECT_EQ(Open()->Load("sofa", PUCK), "<State><B>2</B></State>");
    Files cut = crash;
    cut["house.db-wal"].resize(cut["house.db-wal"].size() - 100);
    Restore(cut);
    {
        const auto store = Open();
        EXPECT_EQ(store->Load("hall", PUCK), "<State><A>1</A></State>");
        EXPECT_EQ(store->Load("sofa", PUCK), std::nullopt);
        store->Save({{"sofa", PUCK, "<new/>"}});
        cut = AtACrash();
    }
    cut.erase("house.db-wal");
    Restore(cut);
    EXPECT_THAT(Refusal(), EndsWith("its last 1 saves are lost, as its write-ahead log ends before "
                                    "its time; remove " +
                                    m_path.string() + "-saves to go on from what is left"));
}

TEST_F(StateStoreTest, DamagedFileOfTheFirstVersion_IsRefused)
{
    WriteFirstVersion();
    RunSql(m_path, "UPDATE driver_state SET xml = '<State><A>2</A></State>' WHERE driver = 'hall'");
    EXPECT_THAT(Refusal(), EndsWith("the state of driver \"hall\" is not the one that was saved"));
}

TEST_F(StateStoreTest, OlderFile_IsTakenToThePresentVersionWithItsStates)
{
    Keep(TWO);
    const auto store = Open(NextSchema());
    EXPECT_EQ(store->Load("hall", PUCK), "<State><A>1</A></State>");
    store->Save({{"hall", PUCK, "<new/>"}});
    store->Close();
    EXPECT_EQ(Open(NextSchema())->Load("hall", PUCK), "<new/>");
    EXPECT_THAT(Refusal(), EndsWith("its schema version is 4, the newest known is 2"));
}

TEST_F(StateStoreTest, CrashAfterTheStepUp_IsStillRefusedByTheOlderProgram)
{
    Keep(TWO);
    const auto store = Open(NextSchema());
    const Files crash = AtACrash();
    store->Close();
    Restore(crash);
    EXPECT_THAT(Refusal(), EndsWith("its schema version is 4, the newest known is 2"));
    EXPECT_EQ(Open(NextSchema())->Load("sofa", PUCK), "<State><B>2</B></State>");
}

TEST_F(StateStoreTest, StepUpThatFails_LeavesTheOlderFileUsable)
{
    Keep(TWO);
    FileStateStore::Schema broken = NextSchema();
    broken.push_back("DROP TABLE no_such_table");
    EXPECT_THROW(Open(broken), StateStoreError);
    EXPECT_EQ(Open()->Load("hall", PUCK), "<State><A>1</A></State>");
}

// --- Tearing
// --------------------------------------------------------------------------------------

namespace
{
using States = std::map<std::string, std::string>;

// A house's life: the folder as a crash leaves it, and every whole state that was on the disk since
// the file was last put in order, the last one last.
struct Life
{
    Files crash;
    std::vector<States> states;
};
} // namespace

class TornStateStoreTest : public StateStoreTest
{
protected:
    TornStateStoreTest()
    {
        Keep({{"driver 0", PUCK, Xml(0, 0)},
              {"driver 1", PUCK, Xml(1, 0)},
              {"driver 2", PUCK, Xml(2, 0)}});
        m_life.states.push_back(ReadAll());
        const auto store = Open();
        for (int round = 1; round <= 4; ++round)
        {
            States next = m_life.states.back();
            std::vector<DriverState> saved;
            for (int driver = 0; driver < 3; ++driver)
            {
                saved.push_back({"driver " + std::to_string(driver), PUCK, Xml(driver, round)});
                next[saved.back().driver] = saved.back().xml;
            }
            store->Save(saved);
            m_life.states.push_back(next);
            if (round == 1)
                m_firstCounter = BytesOf(m_path.string() + "-saves");
        }
        m_life.crash = AtACrash();
    }

    static std::string Xml(int driver, int round)
    {
        return "<State><N>" + std::to_string(driver * 1000 + round) + "</N><T>" +
               std::string(static_cast<std::size_t>(700 * driver), 'a') + "</T></State>";
    }

    States ReadAll()
    {
        const auto store = Open();
        States states;
        for (int driver = 0; driver < 3; ++driver)
        {
            const std::string name = "driver " + std::to_string(driver);
            if (const auto xml = store->Load(name, PUCK))
                states[name] = *xml;
        }
        return states;
    }

    // Whether damaged files are refused, or read as one of the whole states that they held; the
    // number of that state, -1 for refused.
    int Verdict(const Files& files)
    {
        Restore(files);
        try
        {
            const States states = ReadAll();
            for (std::size_t i = m_life.states.size(); i-- > 0;)
                if (states == m_life.states[i])
                    return static_cast<int>(i);
            ADD_FAILURE() << "read as a state that never was";
            return -2;
        }
        catch (const StateStoreError&)
        {
            EXPECT_EQ(FilesIn(m_folder), files) << "a refused file was touched";
            return -1;
        }
    }

    // The same as after a proper end: one file, no log.
    Files Closed()
    {
        Restore(m_life.crash);
        EXPECT_EQ(ReadAll(), m_life.states.back());
        return FilesIn(m_folder);
    }

    int Last() const { return static_cast<int>(m_life.states.size()) - 1; }

    Life m_life;
    // The counter of saves as it was after the first of them.
    std::string m_firstCounter;
};

TEST_F(TornStateStoreTest, UndamagedCopies_ReadAsTheLastState)
{
    EXPECT_EQ(Verdict(m_life.crash), Last());
    EXPECT_EQ(Verdict(Closed()), Last());
}

TEST_F(TornStateStoreTest, ClosedFileCutAnywhere_IsRefusedUnlessNothingIsLost)
{
    const Files closed = Closed();
    const std::size_t size = closed.at("house.db").size();
    for (std::size_t length = 0; length < size; length += length < 110 ? 1 : 997)
    {
        Files cut = closed;
        cut["house.db"].resize(length);
        // The end of the last page may be empty.
        const int verdict = Verdict(cut);
        EXPECT_TRUE(verdict == -1 || (verdict == Last() && length + 4096 > size))
            << "cut to " << length << " of " << size << ": " << verdict;
    }
}

TEST_F(TornStateStoreTest, LogCutAnywhere_IsRefused)
{
    const std::size_t size = m_life.crash.at("house.db-wal").size();
    for (std::size_t length = 0; length < size; length += 1009)
    {
        Files cut = m_life.crash;
        cut["house.db-wal"].resize(length);
        EXPECT_EQ(Verdict(cut), -1) << "cut to " << length << " of " << size;
    }
    EXPECT_EQ(Verdict(m_life.crash), Last());
}

TEST_F(TornStateStoreTest, LogThatIsGone_IsToldWithTheSavesThatItHeld)
{
    Files crash = m_life.crash;
    crash.erase("house.db-wal");
    Restore(crash);
    EXPECT_THAT(Refusal(),
                HasSubstr("its last 4 saves are lost, as its write-ahead log ends before "
                          "its time; remove " +
                          m_path.string() + "-saves to go on from what is left"));
    fs::remove(m_path.string() + "-saves");
    EXPECT_EQ(ReadAll(), m_life.states.front());
}

TEST_F(TornStateStoreTest, CounterThatIsNone_IsRefused)
{
    Files crash = m_life.crash;
    crash["house.db-saves"] = "twelve";
    Restore(crash);
    EXPECT_THAT(Refusal(), EndsWith("is damaged, or no counter of saves; without it, lost saves "
                                    "would not be noticed"));
}

// A failure of power may take what was not forced onto the disk: the counter.
TEST_F(TornStateStoreTest, CounterThatIsOlderEmptyOrMissing_DoesNoHarm)
{
    Files crash = m_life.crash;
    for (const std::string& counter : {m_firstCounter, std::string(), std::string(69, '\0')})
    {
        crash["house.db-saves"] = counter;
        EXPECT_EQ(Verdict(crash), Last());
    }
    crash.erase("house.db-saves");
    EXPECT_EQ(Verdict(crash), Last());
}

TEST_F(TornStateStoreTest, AnyBitOfTheCounterFlipped_IsRefused)
{
    const std::size_t size = m_life.crash.at("house.db-saves").size();
    for (std::size_t bit = 0; bit < size * 8; bit += 5)
    {
        Files flipped = m_life.crash;
        flipped["house.db-saves"][bit / 8] ^= static_cast<char>(1 << bit % 8);
        EXPECT_EQ(Verdict(flipped), -1) << "bit " << bit;
    }
}

TEST_F(TornStateStoreTest, ManySaves_LeaveAFewInTheLog)
{
    const auto store = Open();
    for (int round = 0; round < 100; ++round)
        store->Save({{"driver 0", PUCK, Xml(0, round)}});
    Files crash = AtACrash();
    store->Close();
    crash.erase("house.db-wal");
    crash.erase("house.db-saves");
    Restore(crash);
    const std::string left = *Open()->Load("driver 0", PUCK);
    int lost = 0;
    while (lost < 100 && left != Xml(0, 99 - lost))
        ++lost;
    EXPECT_LE(lost, FileStateStore::MAX_SAVES_IN_LOG);
}

TEST_F(TornStateStoreTest, AnyBitOfTheHeaderFlipped_IsRefusedOrHarmless)
{
    const Files closed = Closed();
    for (std::size_t bit = 0; bit < 100 * 8; ++bit)
    {
        Files flipped = closed;
        flipped["house.db"][bit / 8] ^= static_cast<char>(1 << bit % 8);
        const int verdict = Verdict(flipped);
        EXPECT_TRUE(verdict == -1 || verdict == Last()) << "bit " << bit << ": " << verdict;
    }
}

TEST_F(TornStateStoreTest, RandomBitsOfTheFileFlipped_AreRefusedOrHarmless)
{
    const Files closed = Closed();
    std::mt19937 random(1);
    int refused = 0;
    for (int round = 0; round < 600; ++round)
    {
        Files flipped = closed;
        std::string& bytes = flipped["house.db"];
        bytes[random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
        const int verdict = Verdict(flipped);
        EXPECT_TRUE(verdict == -1 || verdict == Last()) << "round " << round << ": " << verdict;
        refused += verdict == -1 ? 1 : 0;
    }
    EXPECT_GT(refused, 50) << "the flips did not reach what matters";
}

TEST_F(TornStateStoreTest, RandomBitsOfTheLogFlipped_AreRefusedOrHarmless)
{
    std::mt19937 random(2);
    int refused = 0;
    for (int round = 0; round < 300; ++round)
    {
        Files flipped = m_life.crash;
        std::string& bytes = flipped["house.db-wal"];
        bytes[random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
        const int verdict = Verdict(flipped);
        EXPECT_TRUE(verdict == -1 || verdict == Last()) << "round " << round << ": " << verdict;
        refused += verdict == -1 ? 1 : 0;
    }
    EXPECT_GT(refused, 50) << "the flips did not reach what matters";
}

TEST_F(TornStateStoreTest, ZeroedOrMixedUpPages_AreRefusedOrHarmless)
{
    const Files closed = Closed();
    const std::size_t pages = closed.at("house.db").size() / 4096;
    ASSERT_GE(pages, 3U);
    for (std::size_t page = 0; page < pages; ++page)
    {
        Files damaged = closed;
        damaged["house.db"].replace(page * 4096, 4096, std::string(4096, '\0'));
        EXPECT_EQ(Verdict(damaged), -1) << "page " << page << " zeroed";
        damaged["house.db"].replace(page * 4096, 4096, closed.at("house.db"),
                                    (page + 1) % pages * 4096, 4096);
        EXPECT_EQ(Verdict(damaged), -1) << "page " << page << " is another";
    }
}

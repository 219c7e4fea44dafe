#include "embedded_host/FileStateStore.h"
#include "tests/program/Child.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Kills the running program, which can catch nothing of it, at random moments while it counts
// energy and saves it, and looks at what the next one finds.

namespace fs = std::filesystem;

namespace
{
const char* const PROGRAM = LIGHTING_BINARY_DIR "/bin/lighting-host";
const std::vector<std::string> LOADS = {"left", "right", "light"};

// A second of the house's clock, which is also how often it saves. Each load uses a watt-hour.
constexpr int LINES_A_ROUND = 4;
std::string Round()
{
    std::string lines;
    for (const std::string& load : LOADS)
        lines += "{\"driver\":\"" + load + "\",\"set\":{\"energy_wh\":1}}\n";
    return lines + "{\"advance_ms\":1000}\n";
}

std::string Questions()
{
    std::string lines;
    for (const std::string& load : LOADS)
        lines += "{\"driver\":\"" + load + "\",\"query\":\"energy\"}\n";
    return lines;
}

std::size_t CountOf(const std::string& what, const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

// The energies that the first three answers tell.
std::vector<long> Answers(const std::string& output)
{
    static const std::string FIELD = "\"energy_used\":";
    std::vector<long> energies;
    for (std::size_t at = output.find(FIELD); at != std::string::npos && energies.size() < 3;
         at = output.find(FIELD, at + 1))
        energies.push_back(std::strtol(output.c_str() + at + FIELD.size(), nullptr, 10));
    return energies;
}

class StateAfterKillTest : public testing::Test
{
protected:
    StateAfterKillTest()
    {
        std::string pattern = (fs::temp_directory_path() / "state-after-kill-XXXXXX").string();
        m_folder = mkdtemp(&pattern[0]);
        std::ofstream(m_folder / "house.xml")
            << "<house><driver name=\"left\" type=\"energy_switch\" id=\"1\"/>"
               "<driver name=\"right\" type=\"energy_switch\" id=\"2\"/>"
               "<driver name=\"light\" type=\"zigbee_light\" id=\"3\"/></house>";
    }
    ~StateAfterKillTest() override { fs::remove_all(m_folder); }

    fs::path StateFile() const { return m_folder / "state.db"; }

    // That file, what is beside it, and what is to become one.
    std::vector<fs::path> StateFiles() const
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(m_folder))
        {
            if (entry.path().stem() != "house")
                files.push_back(entry.path());
        }
        return files;
    }

    std::vector<std::string> Command() const
    {
        return {PROGRAM,
                "stdio",
                "--state",
                StateFile().string(),
                "--persist-every",
                "1s",
                "--log-level",
                "off",
                (m_folder / "house.xml").string()};
    }

    fs::path m_folder;
    std::mt19937 m_random{1};
};
} // namespace

// KILLS in the environment asks for another number, for the long form.
TEST_F(StateAfterKillTest, HundredsOfKillsUnderLoad_LoseAtMostOneIntervalAndNeverTearOrFall)
{
    const char* const wanted = std::getenv("KILLS");
    const int kills = wanted ? std::max(1, std::atoi(wanted)) : 200;
    constexpr std::size_t MOST_DONE = 120;
    constexpr int ROUNDS = 400;
    std::string input = Questions();
    for (int i = 0; i < ROUNDS; ++i)
        input += Round();

    // What is known of the energy on the disk: at least, and at most.
    long least = 0;
    long most = 0;
    int looked = 0;
    for (int kill = 0; kill < kills; ++kill)
    {
        program_test::Child child(Command());
        // Now and then before it has said anything.
        const bool early = m_random() % 10 == 0;
        const std::size_t wanted = early ? 0 : 3 + m_random() % MOST_DONE;
        if (early)
            child.Exchange(input, static_cast<int>(m_random() % 40));
        while (CountOf("{\"done\":", child.Output()) < wanted && child.Exchange(input, 10000))
        {
        }
        child.Kill();

        const std::size_t done = CountOf("{\"done\":", child.Output());
        ASSERT_GE(done, wanted) << "the program ended by itself: " << child.Output();
        const std::vector<long> energies = Answers(child.Output());
        if (energies.size() == LOADS.size())
        {
            ++looked;
            ASSERT_EQ(energies[0], energies[1]) << "torn, after kill " << kill;
            ASSERT_EQ(energies[0], energies[2]) << "torn, after kill " << kill;
            ASSERT_GE(energies[0], least) << "too old, after kill " << kill;
            ASSERT_LE(energies[0], most) << "never was, after kill " << kill;
            least = most = energies[0];
        }
        const std::size_t questions = Questions().size();
        const std::size_t handedIn = std::max(child.Written(), questions) - questions;
        const std::size_t roundsDone = done > 3 ? (done - 3) / LINES_A_ROUND : 0;
        least += static_cast<long>(roundsDone);
        most += static_cast<long>(handedIn / Round().size());
    }
    EXPECT_GT(looked, kills / 2);
    std::cout << kills << " kills, " << looked << " times looked at what was left, " << least
              << " Wh in the end\n";
}

TEST_F(StateAfterKillTest, KillsWhileTheFileIsMade_LeaveNoneOrAWholeOne)
{
    int half = 0;
    int whole = 0;
    for (int kill = 0; kill < 30; ++kill)
    {
        for (const fs::path& file : StateFiles())
            fs::remove(file);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        program_test::Child child(Command());
        while (StateFiles().empty() && std::chrono::steady_clock::now() < deadline)
        {
        }
        // A little later, now and then until the file is there.
        for (unsigned looks = m_random() % 4000; looks > 0 && !fs::exists(StateFile()); --looks)
        {
        }
        child.Kill();
        (fs::exists(StateFile()) ? whole : half) += 1;
        EXPECT_NO_THROW(embedded_host::FileStateStore(StateFile().string()).TypesOf("left"));
    }
    // How often the file is caught half made is the machine's own; either must do no harm.
    std::cout << half << " times the file was half made, " << whole << " times whole\n";
}

TEST_F(StateAfterKillTest, DamagedFile_EndsTheProgramWithTheFileAsItWas)
{
    std::ofstream(StateFile()) << "not a state file";
    program_test::Child child(Command());
    while (child.Exchange(Round(), 10000))
    {
    }
    EXPECT_EQ(child.Output(), "");
    std::ifstream file(StateFile());
    std::string text;
    std::getline(file, text);
    EXPECT_EQ(text, "not a state file");
}

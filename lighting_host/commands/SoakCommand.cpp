#include "lighting_host/commands/SoakCommand.h"

#include "lighting_host/commands/Options.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/ChildRun.h"
#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/HouseText.h"
#include "lighting_host/switchboard/RecordShrinker.h"
#include "lighting_host/switchboard/Replay.h"
#include "lighting_host/switchboard/SoakInputs.h"
#include "lighting_host/switchboard/SoakTrial.h"
#include "lighting_host/text/Version.h"
#include "lighting_host/types/DriverType.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <unistd.h>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
// Each part of a soak is a house of its own with its own draws, so that what is found has a short
// story.
constexpr std::int64_t PART_MS = 2 * 3600 * 1000;
// What is run again and again for its memory.
constexpr std::int64_t MEMORY_PART_MS = 20 * 60 * 1000;
// Of the told text of a finding, so many lines at most.
constexpr std::size_t MOST_LINES = 40;
constexpr std::size_t MOST_SHOWN = 50;
// Chance plays a part only where there are faults.
constexpr unsigned SEEDS = 4;

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    if (file)
        text << file.rdbuf();
    if (!file)
        throw RecordError(path + ": cannot be read");
    return text.str();
}

std::string GeneratedHouse(const SoakOptions& options)
{
    pugi::xml_document document;
    pugi::xml_node driver = document.append_child("house").append_child("driver");
    driver.append_attribute("name") = "soaked";
    driver.append_attribute("type") = options.type.c_str();
    driver.append_attribute("id") = 1;
    driver.append_attribute("library") = options.library.c_str();
    if (!options.device.empty())
    {
        pugi::xml_node device = driver.append_child("device");
        device.append_attribute("simulated") = true;
        device.append_attribute("kind") = options.device.c_str();
    }
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default | pugi::format_no_declaration);
    return text.str();
}

bool GoesOn()
{
    return StopSignals::Received() == 0;
}

// In a child, for the library's own code runs when it is loaded. One that crashes there is a
// finding like any other.
void RequireLoadable(const std::string& library)
{
    const ChildEnd child = RunInChild(
        [&library](int answer)
        {
            if (dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL))
                return;
            const std::string why = dlerror();
            const ssize_t written = write(answer, why.data(), why.size());
            static_cast<void>(written);
        },
        &GoesOn);
    if (!child.answer.empty())
        throw RecordError("cannot load the driver library: " + child.answer);
}

// One soak from its first house to what is told of it.
class Soak
{
public:
    Soak(const SoakOptions& options, std::ostream& out, std::ostream& err)
        : m_options(options), m_out(out), m_err(err),
          m_trial({std::string(), options.mostTimers, options.longestMs, &GoesOn})
    {
        if (std::filesystem::exists(options.to))
            throw RecordError(options.to + ": is there already; a record is never overwritten");
        m_record.head = Head();
        const HouseFile file = HouseOf(m_record, {});
        for (const HouseFileDriver& driver : file.drivers)
        {
            m_hasDevice = m_hasDevice || driver.device;
            if (driver.type == options.type)
                m_drivers.push_back(driver.name);
        }
        RequireLoadable(std::filesystem::absolute(options.library).string());
        m_words = WordsOf(file, m_drivers, &GoesOn);
    }

    int Run()
    {
        std::size_t inputs = 0;
        std::uint64_t part = 0;
        for (std::int64_t left = m_options.forMs; left > 0; left -= PART_MS, ++part)
        {
            Draw(part, std::min(left, PART_MS));
            auto finding = m_trial.Run(m_record);
            inputs += m_record.inputs.size();
            if (!finding && GoesOn() && part == 0)
            {
                Draw(part, std::min(left, MEMORY_PART_MS));
                finding = m_trial.RunForMemory(m_record);
            }
            if (finding)
                return Tell(*finding);
            if (!GoesOn())
                return Stopped();
            Progress(m_options.forMs - left + PART_MS);
        }
        ClearProgress();
        m_out << fmt::format("seed {}: nothing went wrong in {} of the house, with {} inputs\n",
                             m_options.seed, FormatDuration(m_options.forMs), inputs);
        return 0;
    }

private:
    RecordHead Head() const
    {
        RecordHead head;
        head.program = ProgramVersion();
        head.clock = RecordClock::Lines;
        head.start = "2026-01-01T00:00:00";
        head.logLevel = log4cplus::OFF_LOG_LEVEL;
        SoakOptions options = m_options;
        options.library = std::filesystem::absolute(options.library).string();
        const std::string place = options.house.empty() ? "house.xml" : options.house;
        head.housePath = std::filesystem::absolute(place).string();
        if (options.house.empty())
        {
            head.houseText = GeneratedHouse(options);
            return head;
        }
        HouseText house(ReadFile(options.house));
        const HouseFile file = ParseHouseFile(
            house.Text(), std::filesystem::path(head.housePath).parent_path().string());
        const auto isMeant = [&](const HouseFileDriver& driver)
        {
            return driver.type == options.type;
        };
        if (std::none_of(file.drivers.begin(), file.drivers.end(), isMeant))
            throw RecordError(fmt::format("{}: there is no driver of the type \"{}\"",
                                          options.house, options.type));
        house.SetLibrary(options.type, options.library);
        head.houseText = house.Text();
        return head;
    }

    void Draw(std::uint64_t part, std::int64_t forMs)
    {
        static const char* const FAULTS[] = {"light", "heavy", "none"};
        m_record.head.seed = m_options.seed + part;
        m_record.head.people = m_hasDevice;
        m_record.head.faults = m_hasDevice ? FAULTS[part % 3] : "none";
        m_record.inputs = DrawSoakInputs(m_record.head.seed, m_words, m_drivers, forMs);
        m_record.endMs = StampByLines(m_record.inputs);
    }

    int Tell(const SoakFinding& finding)
    {
        ClearProgress();
        m_out << fmt::format("seed {}: {}\n", m_options.seed, finding.words) << std::flush;
        RecordShrinker::Options how;
        how.jobs = ForkedJobs::Cores();
        how.seeds = m_record.head.faults == "none" ? 1 : SEEDS;
        how.look = [this, key = finding.key](const FlightRecord& record)
        {
            return Look(record, key);
        };
        how.onProgress = [this](const RecordShrinker::Progress& progress)
        {
            if (m_options.terminal)
                m_err << fmt::format("\r\x1b[K{} of {} inputs are left", progress.left.inputs,
                                     progress.first.inputs)
                      << std::flush;
            return GoesOn();
        };
        RecordShrinker shrinker(m_record, Symptom(), how);
        FlightRecord least = m_record;
        if (shrinker.FindSymptom())
        {
            shrinker.Shrink();
            least = shrinker.Result();
        }
        else
            m_err << "lighting-host: it does not come a second time; the record is not shrunk\n";
        ClearProgress();
        least.endMs = StampByLines(least.inputs);
        Write(least);
        TellInputs(least);
        TellReport(m_trial.Run(least).value_or(finding));
        m_out << fmt::format("{}: the record, for lighting-host replay\n", m_options.to);
        return GoesOn() ? 1 : StatusOfSignal(StopSignals::Received());
    }

    std::optional<RecordShrinker::Shown> Look(const FlightRecord& record,
                                              const std::string& key) const
    {
        const auto found =
            key == SoakTrial::MEMORY_KEY ? m_trial.RunForMemory(record) : m_trial.Run(record);
        if (!found || found->key != key)
            return std::nullopt;
        RecordShrinker::Shown shown;
        // Lines move the time, so the times of the record do not say when they are handed in.
        shown.met.timeMs = m_record.endMs;
        shown.met.words = found->words;
        shown.inputs = found->inputs;
        return shown;
    }

    void Write(const FlightRecord& record) const
    {
        FlightRecorder recorder(m_options.to, record.head);
        for (const RecordInput& input : record.inputs)
            recorder.OnInput(input);
        recorder.Close(record.endMs, "what went wrong in a soak");
        if (!recorder.Failure().empty())
            throw RecordError(
                fmt::format("{}: could not be written: {}", m_options.to, recorder.Failure()));
    }

    void TellInputs(const FlightRecord& record) const
    {
        const std::size_t count = record.inputs.size();
        m_out << fmt::format("It takes {} of {} inputs{}\n", count, m_record.inputs.size(),
                             count == 0 ? "." : ":");
        for (std::size_t i = 0; i < std::min(count, MOST_SHOWN); ++i)
            m_out << "  " << record.inputs[i].line << '\n';
        if (count > MOST_SHOWN)
            m_out << "  ...\n";
    }

    // What a sanitizer or the driver itself has told.
    void TellReport(const SoakFinding& finding) const
    {
        std::istringstream lines(finding.told);
        std::string line;
        for (std::size_t i = 0; i < MOST_LINES && std::getline(lines, line); ++i)
            m_err << line << '\n';
    }

    int Stopped() const
    {
        ClearProgress();
        m_err << "stopped before its end; nothing had gone wrong\n";
        return StatusOfSignal(StopSignals::Received());
    }

    void Progress(std::int64_t ms) const
    {
        if (m_options.terminal)
            m_err << fmt::format("\r\x1b[K{} of {}", FormatDuration(ms),
                                 FormatDuration(m_options.forMs))
                  << std::flush;
    }
    void ClearProgress() const
    {
        if (m_options.terminal)
            m_err << "\r\x1b[K" << std::flush;
    }

    const SoakOptions& m_options;
    std::ostream& m_out;
    std::ostream& m_err;
    const SoakTrial m_trial;
    FlightRecord m_record;
    std::vector<std::string> m_drivers;
    bool m_hasDevice = false;
    test_kit::Vocabulary m_words;
};

Choices<std::string> DeviceKinds()
{
    Choices<std::string> kinds;
    for (const DriverType& type : DriverTypes())
        kinds.emplace_back(type.device.name, type.device.name);
    return kinds;
}
} // namespace

SoakCommand::SoakCommand(CLI::App& program)
    : m_command(program.add_subcommand(
          "soak", "Let a driver live with random inputs, restarts and faults, and say what went "
                  "wrong"))
{
    m_command
        ->add_option("--library", m_options.library, "The driver's shared object, as libmine.so")
        ->type_name("FILE")
        ->required();
    m_command->add_option("--type", m_options.type, "The driver's type")
        ->type_name("TYPE")
        ->required();
    AddText(*m_command, "--house", m_options.house, "FILE",
            "A house file with drivers of that type, for what they find in it; without, a house "
            "with nothing but the driver");
    AddChoice(*m_command, "--device", m_options.device, DeviceKinds(),
              "The simulated device at the other end of the driver's wire, without a house file; "
              "none by default");
    AddTime(*m_command, "--for", m_options.forMs, 1,
            "How long, in time of the house, as in 6h or 30d; 1d by default");
    AddSeed(*m_command, m_options.seed, "Makes the soak repeat; 1 by default");
    AddCount(*m_command, "--timers", m_options.mostTimers, 1000000,
             "How many timers the house's drivers may have at once; 200 by default");
    AddTime(*m_command, "--longest", m_options.longestMs, 1,
            "How long one input, and what comes of it, may keep the processor busy; 5s by default");
    AddText(*m_command, "--to", m_options.to, "FILE",
            "Where the record of what went wrong goes; soak-SEED.jsonl by default");
}

SoakCommand::operator bool() const
{
    return m_command->parsed();
}

int SoakCommand::Run(std::ostream& out, std::ostream& err)
{
    const StopSignals signals;
    m_options.terminal = isatty(STDERR_FILENO) != 0;
    if (m_options.to.empty())
        m_options.to = fmt::format("soak-{}.jsonl", m_options.seed);
    return Soak(m_options, out, err).Run();
}
} // namespace lighting_host

#include "lighting_host/switchboard/SoakTrial.h"

#include "embedded_host/HostServices.h"
#include "embedded_host/TimerObserver.h"
#include "lighting_host/switchboard/ChildRun.h"
#include "lighting_host/switchboard/Replay.h"
#include "lighting_host/switchboard/Symptom.h"
#include "lighting_host/text/Json.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstring>
#include <malloc.h>
#include <map>
#include <set>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

// Of the sanitizer's run time, where there is one.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace lighting_host
{
namespace
{
// The longest that one input and what comes of it may take of the day: a driver that waits for
// something keeps no processor busy.
constexpr int LONGEST_WAIT_S = 60;
constexpr std::int64_t MS_IN_S = 1000;
// The first runs fill what is kept on purpose. What the allocator keeps for itself goes up and down
// by a few blocks a run, and less over two.
constexpr int FIRST_RUNS = 3;
constexpr int RUNS_A_STEP = 2;
constexpr int JUDGED_STEPS = 5;
const std::string RESTART_WORDS = "the state changed in a restart of ";
const std::string UNDEFINED = "runtime error: ";
constexpr std::size_t MOST_WORDS = 1000;
// How much of two states is shown around where they differ.
constexpr std::size_t AROUND = 60;

std::size_t BytesInUse()
{
    if (__sanitizer_get_current_allocated_bytes)
        return __sanitizer_get_current_allocated_bytes();
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// Where a child is; it lies in memory that its parent sees, a crash or not.
struct Place
{
    std::int64_t timeMs;
    std::size_t inputs;
    std::array<char, MOST_WORDS> words;
};

class SharedPlace
{
public:
    SharedPlace()
        : m_place(mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0))
    {
        if (m_place == MAP_FAILED)
            throw RecordError("no memory for a child process");
    }
    ~SharedPlace() { munmap(m_place, sizeof(Place)); }
    SharedPlace(const SharedPlace&) = delete;
    SharedPlace& operator=(const SharedPlace&) = delete;
    Place& operator*() const { return *static_cast<Place*>(m_place); }
    Place* operator->() const { return static_cast<Place*>(m_place); }

private:
    void* m_place;
};

// An operation that takes longer than that is stopped by a signal.
void SetAlarms(std::int64_t workMs, int wait)
{
    const itimerval workEnd = {{0, 0}, {workMs / MS_IN_S, workMs % MS_IN_S * MS_IN_S}};
    const itimerval waitEnd = {{0, 0}, {wait, 0}};
    setitimer(ITIMER_VIRTUAL, &workEnd, nullptr);
    setitimer(ITIMER_REAL, &waitEnd, nullptr);
}

// Where two states differ.
std::string Difference(const std::string& before, const std::string& after)
{
    const auto differ =
        std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
    const auto at = static_cast<std::size_t>(differ - before.begin());
    const std::size_t begin = at - std::min(at, AROUND);
    return fmt::format("before \"{}\", after \"{}\"", before.substr(begin, 2 * AROUND),
                       after.substr(std::min(begin, after.size()), 2 * AROUND));
}

// Looks at one run from inside the child. The first thing that is wrong ends the child.
class Watch : private embedded_host::TimerObserver
{
public:
    // Both must outlive this.
    Watch(Place& place, const SoakTrial::Options& options) : m_place(place), m_options(options) {}

    void Live(const FlightRecord& record, const HouseFile& file)
    {
        Symptom fault;
        // Not an assertion: with it the library reports an impossible command, as random inputs
        // are, and goes on.
        fault.conditions = {BreakCondition::Parse(R"({"fault":true})")};
        const auto breaks = fault.Watch();
        Replay::Hooks hooks;
        hooks.breaks = breaks.get();
        hooks.onInput = [this](const RecordInput& input)
        {
            OnInput(input);
        };
        hooks.onAnswer = [this](const std::string& text)
        {
            OnAnswer(text);
        };
        HouseRun::Options options = RunOptionsOf(record);
        options.numbered = false;
        options.session.timers = this;
        SetAlarms(m_options.longestMs, LONGEST_WAIT_S);
        Replay replay(record, file, options, std::move(hooks));
        m_run = &replay.Run();
        replay.RunTo(record.endMs);
        m_place.timeMs = m_run->NowMs();
        if (const auto met = breaks->Take())
            Found(met->words);
        SetAlarms(m_options.longestMs, LONGEST_WAIT_S);
        m_run->Stop();
        SetAlarms(0, 0);
    }

private:
    [[noreturn]] void Found(const std::string& words)
    {
        const std::size_t size = std::min(words.size(), m_place.words.size() - 1);
        std::memcpy(m_place.words.data(), words.data(), size);
        _exit(0);
    }

    void OnInput(const RecordInput& input)
    {
        SetAlarms(m_options.longestMs, LONGEST_WAIT_S);
        m_place.timeMs = m_run->NowMs();
        ++m_place.inputs;
        Json line;
        try
        {
            line = ParseJson(input.line);
        }
        catch (const InputError&)
        {
            // It says nothing of what is looked for here.
        }
        const bool isOfDriver = line.is_object() && line.contains("driver");
        m_driver = isOfDriver && line["driver"].is_string() ? line["driver"].get<std::string>()
                                                            : std::string();
        m_persists = isOfDriver && line.contains("persist");
        if (isOfDriver && line.contains("restart"))
        {
            m_restarted = m_driver;
            return;
        }
        if (!m_persists)
            m_states.clear();
        if (!m_persists || m_driver != m_restarted)
            m_restarted.clear();
        if (isOfDriver && line.contains("binding") && line.contains("bound"))
            NoteBinding(line);
    }

    void NoteBinding(const Json& line)
    {
        std::set<std::string>& bound = m_bound[m_driver];
        if (line["bound"] == Json(true))
            bound.insert(line["binding"].dump());
        else
            bound.erase(line["binding"].dump());
    }

    // Bindings are made anew after a restart, by whoever made them: then the state need not be the
    // same.
    void OnAnswer(const std::string& text)
    {
        const std::string member = "\"state\":";
        const std::size_t at = text.find(member);
        if (!m_persists || at == std::string::npos)
            return;
        const std::string state = text.substr(at + member.size());
        const auto before = m_states.find(m_driver);
        if (m_restarted == m_driver && before != m_states.end() && m_bound[m_driver].empty() &&
            before->second != state)
            Found(
                fmt::format(RESTART_WORDS + "{}: {}", m_driver, Difference(before->second, state)));
        m_restarted.clear();
        m_states[m_driver] = state;
    }

    void OnTimerAdded(unsigned id, std::int64_t, std::int64_t nowMs) override
    {
        if ((id & DEVICE_BIT) != 0)
            return;
        m_place.timeMs = nowMs;
        if (++m_timers > m_options.mostTimers)
            Found(fmt::format("{} timers of drivers run at once", m_timers));
    }
    void OnTimerKilled(unsigned id, std::int64_t nowMs) override
    {
        if ((id & DEVICE_BIT) != 0)
            return;
        m_place.timeMs = nowMs;
        --m_timers;
        // The driver's own calls, those of its destructor too, are made inside a scope of it.
        if (!embedded_host::HostScope::Current())
            Found("a timer ran on when its driver had gone");
    }
    void OnTimerFires(unsigned id, bool again, std::int64_t nowMs) override
    {
        m_place.timeMs = nowMs;
        if ((id & DEVICE_BIT) == 0 && !again)
            --m_timers;
    }

    Place& m_place;
    const SoakTrial::Options& m_options;
    unsigned m_timers = 0;
    // Of the present input.
    std::string m_driver;
    bool m_persists = false;
    // What drivers have answered since the last input that may have changed them.
    std::map<std::string, std::string> m_states;
    // The driver that was restarted, when that was the last input.
    std::string m_restarted;
    // The bindings of each driver that input lines have made.
    std::map<std::string, std::set<std::string>> m_bound;
    HouseRun* m_run = nullptr;
};

// The line of a report that says it best; empty for none.
std::string BestLine(const std::string& told)
{
    for (const char* const mark :
         {"lighting-host: driver", "SUMMARY: ", UNDEFINED.c_str(), "terminate called"})
    {
        const std::size_t at = told.find(mark);
        if (at == std::string::npos)
            continue;
        const std::size_t begin = told.rfind('\n', at) + 1;
        std::string line = told.substr(begin, told.find('\n', at) - begin);
        const std::string program = "lighting-host: ";
        return line.rfind(program, 0) == 0 ? line.substr(program.size()) : line;
    }
    return std::string();
}

std::string WordsOf(const ChildEnd& child)
{
    if (child.finished)
        return BestLine(child.told);
    const int signal = WIFSIGNALED(child.status) ? WTERMSIG(child.status) : 0;
    if (signal == SIGVTALRM || signal == SIGALRM)
        return signal == SIGALRM ? "a driver does not come back: it waits"
                                 : "a driver does not come back: it keeps the processor busy";
    const std::string line = BestLine(child.told);
    if (!line.empty())
        return line;
    if (signal != 0)
        return fmt::format("a driver ended the program: {}", strsignal(signal));
    return fmt::format("a driver ended the program with the status {}", WEXITSTATUS(child.status));
}

// Figures and addresses are others in each run, and a state differs with what led to it.
std::string KeyOf(const std::string& words)
{
    const bool isState = words.rfind(RESTART_WORDS, 0) == 0;
    std::string key;
    for (const char c : isState ? words.substr(0, words.find(':')) : words)
    {
        const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
        if (!digit)
            key += c;
        else if (key.empty() || key.back() != '#')
            key += '#';
    }
    return key;
}

bool GoesOn(const std::function<bool()>& asked)
{
    return !asked || asked();
}
} // namespace

std::optional<SoakFinding> SoakTrial::Run(const FlightRecord& record) const
{
    const HouseFile file = HouseOf(record, {{}, m_options.folder});
    SharedPlace place;
    bool stopped = false;
    const ChildEnd child = RunInChild([&](int) { Watch(*place, m_options).Live(record, file); },
                                      [&]
                                      {
                                          stopped = stopped || !GoesOn(m_options.goesOn);
                                          return !stopped;
                                      });
    // A sanitizer may tell and go on.
    if (stopped || (child.finished && child.told.find(UNDEFINED) == std::string::npos))
        return std::nullopt;
    SoakFinding finding;
    finding.words = place->words.data();
    if (finding.words.empty())
    {
        finding.words = WordsOf(child);
        finding.told = child.told;
    }
    finding.timeMs = place->timeMs;
    finding.inputs = place->inputs;
    finding.key = KeyOf(finding.words);
    return finding;
}

std::optional<SoakFinding> SoakTrial::RunForMemory(const FlightRecord& record) const
{
    const HouseFile file = HouseOf(record, {{}, m_options.folder});
    SharedPlace place;
    const ChildEnd child = RunInChild(
        [&](int answer)
        {
            const auto bytesAfter = [&](int runs)
            {
                for (int run = 0; run < runs; ++run)
                    Watch(*place, m_options).Live(record, file);
                return BytesInUse();
            };
            std::size_t before = bytesAfter(FIRST_RUNS);
            std::size_t least = SIZE_MAX;
            for (int step = 0; step < JUDGED_STEPS && least > 0; ++step)
            {
                const std::size_t bytes = bytesAfter(RUNS_A_STEP);
                least = std::min(least, bytes > before ? (bytes - before) / RUNS_A_STEP : 0);
                before = bytes;
            }
            const std::string text = std::to_string(least);
            const ssize_t written = write(answer, text.data(), text.size());
            static_cast<void>(written);
        },
        [this] { return GoesOn(m_options.goesOn); });
    if (!child.finished || child.answer == "0")
        return std::nullopt;
    SoakFinding finding;
    finding.words =
        fmt::format("memory is kept: {} bytes or more of each run like this", child.answer);
    finding.timeMs = record.endMs;
    finding.inputs = record.inputs.size();
    finding.key = MEMORY_KEY;
    return finding;
}
} // namespace lighting_host

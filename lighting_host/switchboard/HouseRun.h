#pragma once

#include "lighting_host/house/InputLines.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/simulation/Simulation.h"
#include "lighting_host/switchboard/CauseTracker.h"
#include "lighting_host/switchboard/OutputDigest.h"
#include "lighting_host/switchboard/OutputRing.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace lighting_host
{
// One run of a house from its start: what is handed in, and the lines that come out. On a virtual
// clock the same house, options and inputs at the same times give the same lines, so a moment can
// be come back to by running again up to it.
//
// Lives on one thread. Whoever owns it moves its clock.
class HouseRun : private HouseListener
{
public:
    struct Options
    {
        SessionOptions session;
        FaultLevel faults = FaultLevel::None;
        // Whether the house lives by itself: its people, controller and meters.
        bool people = true;
        // Whether input lines alone move the time, as in stdio: then nothing is fired before a line
        // is handed in, and "advance_ms" is one of them.
        bool linesMoveTime = false;
        // Whether lines are numbered and tell what caused them, and digests are made. Without, only
        // `onAnswer` and `onOutputText` are called, and it costs nothing.
        bool numbered = true;
        // Another than the default for a run that is compared with an older record.
        OutputDigest::Form digest = OutputDigest::Form::Hashes;
    };

    // Gets each numbered line as it comes, inside the call that caused it: must not call into the
    // run and must not throw.
    using LineSink = std::function<void(const OutputRing::Line&)>;
    // Gets answers and errors that belong to the line that is just handed in.
    using AnswerSink = std::function<void(const char* kind, const std::string& text)>;
    // Called at each whole minute of the house, after all that came before it: its time, how many
    // outputs there were so far, and their digest.
    using MinuteSink = std::function<void(std::int64_t timeMs, const OutputDigest& digest)>;
    // Gets each output without its number, as the protocol writes it.
    using OutputTextSink =
        std::function<void(const char* kind, std::int64_t timeMs, const std::string& text)>;

    struct Sinks
    {
        LineSink onLine;
        AnswerSink onAnswer;
        MinuteSink onMinute;
        OutputTextSink onOutputText;
    };

    // `file` must outlive this and have no errors. In real time whoever owns this lets the house
    // advance. Throws what Session's constructor throws.
    HouseRun(const HouseFile& file, const Options& options, Sinks sinks);
    ~HouseRun() override;

    // `listener` hears the house from now on, after its lines; before Start. Must outlive this.
    void AddListener(HouseListener& listener) { m_listeners.Add(listener); }

    // For listeners that add themselves.
    Listeners& GetListeners() { return m_listeners; }

    // Makes the drivers. Called once.
    void Start();

    // Saves the states and destroys the drivers; their last outputs still come.
    void Stop();

    // Moves the clock to `ms` of the house, everything due on the way being fired; a time that has
    // passed moves nothing but fires what is due.
    void AdvanceTo(std::int64_t ms);

    // The same, but stops at the end of the first millisecond during which `stop` becomes true.
    void AdvanceTo(std::int64_t ms, const bool& stop);

    // Lines are counted but not written, and nothing comes out: for a run that is repeated and that
    // nobody hears yet. Much quicker than a run that is heard. Until Speak; called before Start.
    void BeSilent();

    // Lines are written again. Between two moments: what comes now must have nothing to do with
    // what was just done. `digest`: of all outputs so far.
    void Speak(const OutputDigest& digest);

    // From now on nothing comes out any more; before it is destroyed in the middle of its life.
    void Mute() { m_sinks = {}; }

    // Fires what is due, then hands in a line; the answers come before this returns. False when it
    // was refused. `number` is that of the line with its visitor.
    bool HandIn(const std::string& visitor, const std::string& line, unsigned long number);

    // Does something to the house that is no input of a driver, on behalf of a visitor.
    void Do(const std::string& visitor, const std::string& line,
            const std::function<void()>& action);

    // From now on chance decides otherwise: all that is drawn is drawn from that seed.
    void Redraw(std::uint64_t seed);

    std::int64_t NowMs() const { return m_session->House().GetClock().Now().count(); }
    // -1 for nothing ever.
    std::int64_t NextWakeMs() const;

    Session& GetSession() { return *m_session; }
    // Null for a house that does not live by itself.
    Simulation* GetSimulation() { return m_simulation.get(); }
    const HouseFile& File() const { return m_file; }
    std::uint64_t LastNumber() const { return m_seq; }
    // How many timers of drivers, devices and the house have fired so far.
    std::uint64_t FiredTimers() const { return m_causes.FiredTimers(); }
    // How many are started and have not fired.
    std::size_t OutstandingTimers() const { return m_causes.OutstandingTimers(); }
    const CauseTracker& Causes() const { return m_causes; }
    const OutputDigest& Digest() const { return m_digest; }

    // The driver's place in the house file; OutputRing::NO_DRIVER for null.
    std::size_t PlaceOf(const nx::DriverHost* driver) const;

private:
    void OnOutput(const embedded_host::Output& output) override;
    void WritePlain(const embedded_host::Output& output);
    void WriteCause(std::int64_t timeMs);
    void WriteCauseLine(CauseTracker::Cause& cause, std::int64_t timeMs);
    void WriteLine(const char* kind, std::int64_t timeMs, const nx::DriverHost* driver);
    void TellMinutes(std::int64_t upToMs);
    void OnAnswer(const char* kind, const std::string& text);

    const HouseFile& m_file;
    const bool m_linesMoveTime;
    const bool m_numbered;
    bool m_silent = false;
    Sinks m_sinks;
    CauseTracker m_causes;
    Listeners m_listeners;
    OutputDigest m_digest;
    std::uint64_t m_seq = 0;
    std::int64_t m_nextMinuteMs = 0;
    OutputRing::Line m_line;
    std::unordered_map<const nx::DriverHost*, std::size_t> m_places;
    // Of the driver that was asked for last.
    mutable const nx::DriverHost* m_lastDriver = nullptr;
    mutable std::size_t m_lastPlace = OutputRing::NO_DRIVER;
    std::unique_ptr<InputLines> m_inputs;
    // After what its drivers tell when they are destroyed.
    std::unique_ptr<Session> m_session;
    std::unique_ptr<Simulation> m_simulation;
};
} // namespace lighting_host

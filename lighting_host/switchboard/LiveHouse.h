#pragma once

#include "lighting_host/switchboard/Breaks.h"
#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/switchboard/HouseView.h"
#include "lighting_host/switchboard/Milestones.h"
#include "lighting_host/switchboard/OutputRing.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lighting_host
{
class Fields;

// Who hands lines into a live house, by LiveHouse::HandIn on the house's thread. Answers come to it
// alone. What the house puts out it reads from LiveHouse::Ring at its own pace, from the number
// after the last one that it has taken: a LiveListener tells it that there is more, and that the
// numbers are others (OnMoment). The ring is its queue, and bounded: one that is so slow that the
// next number is not kept any more has missed lines, and drops itself or begins anew.
class HouseVisitor
{
public:
    virtual ~HouseVisitor() = default;

    // What it is called in records and causes: "stdio", "desk", "visitor 7".
    virtual const std::string& Name() const = 0;

    // One answer to its present line: an answer, an error or `done`, without a line end. Called
    // from inside HandIn. Must not call into the house.
    virtual void OnAnswer(const std::string& text) = 0;
};

// Hears what happens to a live house beside its outputs. All are called on the house's thread, and
// must not call into the house.
class LiveListener
{
public:
    virtual ~LiveListener() = default;

    // There are new lines in the ring.
    virtual void OnLines() {}
    // A line that was handed in has had all its effect; only its `done` is still to come. Nobody
    // has had a turn to read what came of it, however much that was.
    virtual void OnHandedIn() {}
    // Paused, playing, another speed, or the time was moved.
    virtual void OnClock() {}
    // A break was met; the house is paused.
    virtual void OnBreak(const Breaks::Met&) {}
    // Breaks were added, changed or taken away.
    virtual void OnBreaksChanged() {}
    // The house is about to leave the moment that is now for the past.
    virtual void OnLeavingNow() {}
    // The house is another moment's, and its lines and numbers may be others: everything that was
    // known of it is to be asked anew.
    virtual void OnMoment() {}
    // How far a rewind has come.
    virtual void OnRewind(std::int64_t /*toMs*/, std::int64_t /*atMs*/) {}
};

// The switchboard: one house that lives, and everybody who speaks to it.
//
// Whatever comes in is a line at a house time, whatever goes out a numbered line in the ring; a
// recorder keeps what came in. Time passes by Work, at a speed that can be changed, or stands. The
// house can go back to any moment since its start: it is run again up to there.
//
// Lives on one thread; nothing here waits.
class LiveHouse
{
public:
    struct Options
    {
        HouseRun::Options run;
        // House time a real time; more than 0.
        double speed = 1;
        bool paused = false;
        // Whether time passes as the world's does, as with lamps in a real house: nobody may pause
        // it, move it, go back in it or change its speed, and there are no breaks.
        bool timeIsReal = false;
        // Null for none; must outlive this.
        FlightRecorder* recorder = nullptr;
        // Whether the record keeps every output too, so that a replay can show both sides.
        bool recordOutputs = false;
        // Makes a view of its own for each run of the house, which hears it from its start; empty
        // for none.
        std::function<std::unique_ptr<HouseView>(HouseRun&)> makeView;
        // Told which run is the one that lives, before anything comes out of it: when the house is
        // made, when it goes on from the past and when it comes back from there; null when it
        // leaves for the past, while the run that was told still is. Empty for nobody.
        std::function<void(HouseRun*)> onPresent;
    };
    static constexpr double MOST_SPEED = 10000;

    // `file` must outlive this and have no errors; its drivers' states are what a rewind begins
    // with. `listener` may be null, else it must outlive this. Throws what HouseRun throws.
    LiveHouse(const HouseFile& file, Options options, LiveListener* listener);
    ~LiveHouse();

    // One more that hears what happens; until it is removed or the house is destroyed. Neither may
    // be called while something is being told.
    void AddListener(LiveListener& listener) { m_listeners.push_back(&listener); }
    void RemoveListener(LiveListener& listener);

    // `nowNs`: the machine's monotonic clock, here and below.
    void Start(std::int64_t nowNs);

    // Ends the house in order; the record is closed with that reason.
    void Stop(const std::string& why);

    // Works off what is due by now, for at most about 20 ms of real time; then a rewind under way.
    // Returns when it wants to be called again, in nanoseconds of the same clock; -1 for not before
    // something is handed in.
    std::int64_t Work(std::int64_t nowNs);

    // Hands in a visitor's line: what is due by now first, then the line; the answers come before
    // this returns, `done` last. False when it was refused. `number` counts the visitor's lines.
    bool HandIn(HouseVisitor& visitor, const std::string& line, unsigned long number,
                std::int64_t nowNs);

    // --- What can be asked ---

    HouseRun& Run() { return *m_life.run; }
    // What Options::makeView made for the present run; null without it.
    HouseView* View() { return m_life.view.get(); }
    const OutputRing& Ring() const { return m_ring; }
    const Breaks& GetBreaks() const { return m_breaks; }
    bool IsPaused() const { return m_paused; }
    double Speed() const { return m_speed; }
    bool IsTimeReal() const { return m_options.timeIsReal; }
    // By how much the house is behind where it should be by now, in milliseconds of real time.
    std::int64_t LagMs(std::int64_t nowNs) const;
    // By how much a timer was fired too late at worst so far, in nanoseconds of real time.
    std::int64_t WorstLatenessNs() const { return m_worstLatenessNs; }
    // Counts up whenever the numbers of lines may have changed.
    unsigned Branch() const { return m_branch; }
    bool IsRewinding() const { return m_rewind != nullptr; }
    std::uint64_t InputCount() const { return m_inputs.size(); }
    // The last number before what the last line that was handed in caused.
    std::uint64_t HandedInAfter() const { return m_handedInAfter; }
    // Whether a line is just having its effect: nobody can read what comes.
    bool IsHandingIn() const { return m_isHandingIn; }

    // The moment that is now, while the house stands at an earlier one.
    struct Past
    {
        std::int64_t nowMs = 0;
        std::uint64_t nowSeq = 0;
        // The break that was met at this moment; 0 for none.
        unsigned atBreak = 0;
        // How many later inputs going on from here drops.
        std::size_t droppedInputs = 0;
    };
    const std::optional<Past>& GetPast() const { return m_past; }

private:
    struct Control;
    struct Rewind;
    // A run and what is shown of it.
    struct Life
    {
        std::unique_ptr<HouseView> view;
        std::unique_ptr<HouseRun> run;
    };
    struct Input
    {
        RecordInput record;
        unsigned long number = 0;
        // The last number before it.
        std::uint64_t afterSeq = 0;
    };

    Life MakeLife(bool again);
    void OnLine(const OutputRing::Line& line);
    void OnMinute(std::int64_t timeMs, const OutputDigest& digest);
    bool Dispatch(const std::string& visitor, const std::string& line, unsigned long number);
    bool Apply(HouseRun& run, const Input& input);
    void AdvanceTo(std::int64_t ms);
    void PauseAtBreak();
    void RequirePresent(const char* what) const;
    void RequireOwnTime(const char* what) const;
    void SetPaused(bool paused);
    void Anchor();
    std::int64_t WantedMs(std::int64_t nowNs) const;
    std::int64_t NextWakeNs() const;
    void BeginRewind(std::int64_t toMs, std::uint64_t toSeq, bool toNow);
    bool GoOnWithRewind();
    void StopRewind();
    void WorkOnRewind();
    void FinishRewind();
    void GoOn();
    std::size_t InputsUpTo(std::int64_t ms, std::uint64_t seq) const;
    template <class... Parameters, class... Arguments>
    void Tell(void (LiveListener::*what)(Parameters...), const Arguments&... arguments)
    {
        for (LiveListener* const listener : m_listeners)
            (listener->*what)(arguments...);
    }
    void BecomePresent();
    RecordDigest PresentDigest();

    const HouseFile& m_file;
    Options m_options;
    std::vector<LiveListener*> m_listeners;
    OutputRing m_ring;
    Breaks m_breaks;
    Life m_life;
    std::unique_ptr<Rewind> m_rewind;
    // Of the present and what was before it.
    Milestones m_milestones;
    // Everything that was handed in since the start; of the past, what comes after it as well.
    std::vector<Input> m_inputs;
    std::optional<Past> m_past;
    // The digest at the moment that is now, while the house is in the past.
    RecordDigest m_nowDigest;
    // How the house was before it went into the past.
    bool m_pausedBefore = false;
    std::function<void(const std::string&)> m_answer;
    double m_speed;
    bool m_paused;
    // The house was at m_anchorMs when the machine's clock was at m_anchorNs.
    std::int64_t m_anchorMs = 0;
    std::int64_t m_anchorNs = 0;
    std::int64_t m_nowNs = 0;
    std::uint64_t m_handedInAfter = 0;
    bool m_isHandingIn = false;
    std::int64_t m_worstLatenessNs = 0;
    bool m_stopped = false;
    unsigned m_branch = 0;
};
} // namespace lighting_host

// What a line that is handed in to a live house does: to its time, to the house as a whole, or to a
// driver.

#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "lighting_host/text/Json.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t LONGEST_STEP_MS = 86400000;
} // namespace

// What a visitor does to time and to the house as a whole.
struct LiveHouse::Control
{
    using Handler = void (*)(LiveHouse&, Fields&);

    struct Entry
    {
        const char* word;
        Handler handle;
    };
    static const Entry TABLE[9];

    static void Pause(LiveHouse& house, Fields& fields)
    {
        fields.Finish();
        house.RequireOwnTime("pause");
        house.SetPaused(true);
    }

    static void Play(LiveHouse& house, Fields& fields)
    {
        fields.Finish();
        house.RequirePresent("play");
        house.SetPaused(false);
    }

    static void Speed(LiveHouse& house, Fields& fields)
    {
        const Json& value = fields.Get("value");
        fields.Finish();
        if (!value.is_number() || !(value.get<double>() > 0) || value.get<double>() > MOST_SPEED)
            throw InputError(
                fmt::format("\"value\" is no number above 0 and up to {}", MOST_SPEED));
        if (value.get<double>() != 1)
            house.RequireOwnTime("another speed than 1");
        house.m_speed = value.get<double>();
        house.Anchor();
        house.Tell(&LiveListener::OnClock);
    }

    static void Step(LiveHouse& house, Fields& fields)
    {
        const long long ms = fields.IntegerOr("ms", 1, LONGEST_STEP_MS, 0);
        fields.Finish();
        house.RequireOwnTime("step");
        house.RequirePresent("step");
        house.m_paused = true;
        HouseRun& run = house.Run();
        // What is known of the next timer may be no more than that nothing comes before it.
        const std::uint64_t before = run.FiredTimers();
        if (ms > 0)
            house.AdvanceTo(run.NowMs() + ms);
        while (ms == 0 && run.FiredTimers() == before && run.NextWakeMs() >= 0)
            house.AdvanceTo(run.NextWakeMs());
        house.SetPaused(true);
    }

    static void RewindTo(LiveHouse& house, Fields& fields)
    {
        const std::int64_t nowMs = house.m_past ? house.m_past->nowMs : house.Run().NowMs();
        const long long toMs = fields.Integer("t_ms", 0, nowMs);
        const long long seq = fields.IntegerOr("seq", 1, INT64_MAX, 0);
        fields.Finish();
        house.RequireOwnTime("rewind");
        // What was due at the moment of an input may have come after it.
        if (house.m_options.run.linesMoveTime)
            throw InputError("a house whose lines move the time has no past");
        house.BeginRewind(toMs, static_cast<std::uint64_t>(seq), false);
    }

    static void StopRewind(LiveHouse& house, Fields& fields)
    {
        fields.Finish();
        if (!house.m_rewind)
            throw InputError("no rewind is under way");
        house.StopRewind();
    }

    static void Now(LiveHouse& house, Fields& fields)
    {
        fields.Finish();
        if (!house.m_past)
            throw InputError("the house is not in the past");
        house.BeginRewind(house.m_past->nowMs, house.m_past->nowSeq, true);
    }

    static void GoOn(LiveHouse& house, Fields& fields)
    {
        fields.Finish();
        if (!house.m_past)
            throw InputError("the house is not in the past");
        if (house.m_rewind)
            throw InputError("a rewind is under way");
        house.GoOn();
    }

    static void Break(LiveHouse& house, Fields& fields)
    {
        if (fields.Has("when"))
        {
            const Json& when = fields.Get("when");
            BreakCondition condition = BreakCondition::Parse(when.dump());
            fields.Finish();
            house.RequireOwnTime("a break");
            house.m_breaks.Add(std::move(condition));
        }
        else
        {
            const auto id = static_cast<unsigned>(fields.Integer("id", 1, UINT32_MAX));
            const bool remove = fields.BooleanOr("remove", false);
            const bool enabled = fields.BooleanOr("enabled", true);
            fields.Finish();
            if (remove)
                house.m_breaks.Remove(id);
            else
                house.m_breaks.Enable(id, enabled);
        }
        house.Tell(&LiveListener::OnBreaksChanged);
    }
};

const LiveHouse::Control::Entry LiveHouse::Control::TABLE[9] = {
    {"pause", &Control::Pause}, {"play", &Control::Play},       {"speed", &Control::Speed},
    {"step", &Control::Step},   {"rewind", &Control::RewindTo}, {"stop", &Control::StopRewind},
    {"now", &Control::Now},     {"go_on", &Control::GoOn},      {"break", &Control::Break},
};

bool LiveHouse::Dispatch(const std::string& visitor, const std::string& line, unsigned long number)
{
    const Json input = ParseJson(line);
    Fields fields(input, "the input");
    if (fields.Has("house") && input["house"].is_string() && input["house"] != "list")
    {
        const std::string word = fields.Text("house");
        for (const Control::Entry& entry : Control::TABLE)
        {
            if (word == entry.word)
            {
                entry.handle(*this, fields);
                return true;
            }
        }
        if (!IsHouseAction(line))
            throw InputError(fmt::format("\"{}\" is nothing that can be done to the house", word));
    }
    if (fields.Has("advance_ms"))
    {
        const std::int64_t now = m_life.run->NowMs();
        const long long ms =
            fields.Integer("advance_ms", 0, embedded_host::Clock::LATEST.count() - now);
        fields.Finish();
        RequireOwnTime("advance_ms");
        RequirePresent("advance_ms");
        AdvanceTo(now + ms);
        Anchor();
        return true;
    }
    RequirePresent("an input");
    Input handed;
    handed.record = {m_life.run->NowMs(), visitor, line};
    handed.number = number;
    handed.afterSeq = m_life.run->LastNumber();
    const bool taken = Apply(*m_life.run, handed);
    // A line that was refused may have done something all the same.
    if (m_options.recorder)
        m_options.recorder->OnJsonInput(handed.record);
    m_inputs.push_back(std::move(handed));
    return taken;
}
} // namespace lighting_host

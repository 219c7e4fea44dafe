#include "lighting_host/switchboard/Relive.h"

#include "lighting_host/switchboard/LiveHouse.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// Hands in what others did.
class RecordedVisitor : public HouseVisitor
{
public:
    RecordedVisitor(LiveHouse& house, std::int64_t nowNs) : m_house(house), m_nowNs(nowNs) {}

    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string&) override {}

    void Say(const std::string& name, const std::string& line)
    {
        m_name = name;
        m_house.HandIn(*this, line, ++m_lines, m_nowNs);
    }

    // Whether a break was met.
    bool IsStopped() const
    {
        const auto& breaks = m_house.GetBreaks().All();
        return std::any_of(breaks.begin(), breaks.end(),
                           [](const Breaks::Break& one) { return one.metMs >= 0; });
    }

    void AdvanceTo(std::int64_t ms)
    {
        const std::int64_t left = ms - m_house.Run().NowMs();
        if (!IsStopped() && left > 0)
            Say("record", fmt::format("{{\"advance_ms\":{}}}", left));
    }

private:
    LiveHouse& m_house;
    const std::int64_t m_nowNs;
    std::string m_name;
    unsigned long m_lines = 0;
};
} // namespace

void Relive(LiveHouse& house, const std::vector<RecordInput>& inputs, std::int64_t toMs,
            const std::vector<BreakCondition>& breaks, std::int64_t nowNs)
{
    RecordedVisitor visitor(house, nowNs);
    for (const BreakCondition& condition : breaks)
        visitor.Say("record", fmt::format("{{\"house\":\"break\",\"when\":{}}}", condition.Json()));
    for (const RecordInput& input : inputs)
    {
        visitor.AdvanceTo(std::min(input.timeMs, toMs));
        if (input.timeMs > toMs || visitor.IsStopped())
            break;
        visitor.Say(input.from, input.line);
    }
    visitor.AdvanceTo(toMs);
}
} // namespace lighting_host

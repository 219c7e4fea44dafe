#include "lighting_host/switchboard/Symptom.h"

#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// Times, levels and counts change when a house does.
std::string WithoutFigures(const std::string& words)
{
    std::string out;
    for (const char c : words)
    {
        const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
        if (!digit)
            out += c;
        else if (out.empty() || out.back() != '#')
            out += '#';
    }
    return out;
}
} // namespace

std::unique_ptr<Breaks> Symptom::Watch() const
{
    auto breaks = std::make_unique<Breaks>([] { return std::uint64_t(0); });
    for (const BreakCondition& condition : conditions)
        breaks->Add(condition);
    if (!driver.empty())
        breaks->SetFilter([this](const Breaks::Met& met)
                          { return met.driver == driver && WithoutFigures(met.words) == words; });
    return breaks;
}

void Symptom::PinTo(const Breaks::Met& met)
{
    driver = met.driver;
    words = WithoutFigures(met.words);
}

BreakCondition ConditionOnEvent(const std::string& driverAndEvent)
{
    const std::size_t colon = driverAndEvent.rfind(':');
    const std::string event =
        colon == std::string::npos ? std::string() : driverAndEvent.substr(colon + 1);
    if (colon == 0 || event.empty() || event.size() > 10 ||
        event.find_first_not_of("0123456789") != std::string::npos)
        throw InputError(
            fmt::format("\"{}\" is no driver and event like hall:6001", driverAndEvent));
    std::string when = fmt::format("{{\"event\":{},\"driver\":", std::stoull(event));
    AppendJsonText(when, driverAndEvent.substr(0, colon));
    return BreakCondition::Parse(when + "}");
}

BreakCondition ConditionOnWarning()
{
    return BreakCondition::Parse(R"({"log":"WARN"})");
}

std::vector<BreakCondition> ConditionsOnFault()
{
    return {BreakCondition::Parse(R"({"fault":true})"),
            BreakCondition::Parse(R"({"assert":true})")};
}

SymptomRun::SymptomRun(const FlightRecord& record, const HouseFile& file,
                       const HouseRun::Options& options, const Symptom& symptom,
                       Replay::Hooks hooks)
    : m_breaks(symptom.Watch())
{
    hooks.breaks = m_breaks.get();
    HouseRun::Options plain = options;
    plain.numbered = false;
    m_replay = std::make_unique<Replay>(record, file, plain, std::move(hooks));
}

SymptomRun::~SymptomRun() = default;

bool SymptomRun::RunTo(std::int64_t ms)
{
    if (m_met)
        return true;
    m_replay->RunTo(ms);
    m_met = m_breaks->Take();
    return m_met.has_value();
}
} // namespace lighting_host

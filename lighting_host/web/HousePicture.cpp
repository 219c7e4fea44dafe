#include "lighting_host/web/HousePicture.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/simulation/DeviceSwitches.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr std::size_t MOST_MARKS = 1000;
// Members that go on counting: nearly every driver differs from an earlier moment in these.
const std::set<std::string> COUNTED = {"variables", "warnings", "facts", "energy", "sync"};
constexpr std::size_t MOST_ACTS = 20;
constexpr std::int64_t ACTIVITY_BUCKET_MS = 600000;
// Ten years of them.
constexpr std::size_t MOST_BUCKETS = 525600;

std::string Quoted(const std::string& text)
{
    std::string out;
    AppendJsonText(out, text);
    return out;
}

std::size_t LoadCount(const std::vector<HouseFileLoad>& loads)
{
    std::set<std::string> names;
    for (const HouseFileLoad& load : loads)
        names.insert(load.driver);
    return names.size();
}

std::string OrNull(std::int64_t ms, bool known)
{
    return known ? std::to_string(ms) : std::string("null");
}
} // namespace

HousePicture::HousePicture(HouseRun& run) : m_run(run)
{
    const auto& drivers = run.GetSession().House().Drivers();
    for (const auto& driver : drivers)
        m_drivers.push_back(std::make_unique<DriverPicture>(run, *driver));
}

HousePicture::~HousePicture() = default;

std::int64_t HousePicture::NowMs() const
{
    return m_run.NowMs();
}

DriverPicture& HousePicture::Of(const nx::DriverHost& driver)
{
    return *m_drivers[m_run.PlaceOf(&driver)];
}

void HousePicture::AddMark(const char* kind, const std::string& driver, const std::string& words)
{
    m_marks.push_back({NowMs(), kind, driver, words});
    ++m_markCount;
    if (m_marks.size() > MOST_MARKS)
        m_marks.pop_front();
}

void HousePicture::AddAct(const nx::DriverHost& driver, const std::string& words)
{
    m_people.push_front({NowMs(), driver.Config().name, words});
    if (m_people.size() > MOST_ACTS)
        m_people.pop_back();
}

void HousePicture::CountActivity(std::int64_t timeMs)
{
    const auto bucket = static_cast<std::size_t>(timeMs / ACTIVITY_BUCKET_MS);
    if (bucket >= MOST_BUCKETS)
        return;
    if (bucket >= m_activity.size())
        m_activity.resize(bucket + 1);
    ++m_activity[bucket];
}

// --- What is heard ---

void HousePicture::OnOutput(const Output& output)
{
    CountActivity(output.timeMs);
    const std::string& name = output.driver.Config().name;
    if (const auto* record = std::get_if<LogRecord>(&output.effect))
    {
        if (DriverPicture::IsWarning(*record))
            AddMark("warning", name, record->text);
    }
    else if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        AddMark("fault", name, fault->what);
    else if (const auto* assertion = std::get_if<AssertRecord>(&output.effect))
        AddMark("warning", name,
                fmt::format("assertion in {}:{}", assertion->file, assertion->line));
    Of(output.driver).OnOutput(output, m_run.LastNumber());
}

void HousePicture::OnPerson(const nx::DriverHost& driver, const std::string& what)
{
    AddAct(driver, what);
}

void HousePicture::OnAct(const nx::DriverHost& driver, const std::string& words)
{
    AddAct(driver, words);
}

void HousePicture::OnControllerAct(const nx::DriverHost& driver, const std::string& what)
{
    AddAct(driver, "the house " + what);
}

void HousePicture::OnPowerFailure(const nx::DriverHost& driver)
{
    AddMark("fault", driver.Config().name, "its device lost its power");
    Of(driver).OnPowerFailure();
}

void HousePicture::OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame)
{
    Of(driver).OnBus(frame);
}

void HousePicture::OnMib(const nx::DriverHost& driver, const wire::MibMessage& message)
{
    Of(driver).OnMib(message);
}

void HousePicture::OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame)
{
    Of(driver).OnZcl(frame);
}

void HousePicture::NoteBreak(std::int64_t, const std::string& driver, const std::string& words)
{
    AddMark("break", driver, words);
}

// --- What is shown ---

std::string HousePicture::MarkText(const Mark& mark)
{
    return fmt::format("{{\"t_ms\":{},\"kind\":\"{}\",\"driver\":{},\"words\":{}}}", mark.timeMs,
                       mark.kind, mark.driver.empty() ? "null" : Quoted(mark.driver),
                       Quoted(mark.words));
}

std::string HousePicture::Marks() const
{
    std::string text = "[";
    for (const Mark& mark : m_marks)
        text += (text.size() > 1 ? "," : "") + MarkText(mark);
    return text + "]";
}

std::string HousePicture::People() const
{
    std::string text = "[";
    for (const Act& act : m_people)
        text +=
            fmt::format("{}{{\"t_ms\":{},\"driver\":{},\"words\":{}}}", text.size() > 1 ? "," : "",
                        act.timeMs, Quoted(act.driver), Quoted(act.words));
    return text + "]";
}

std::string HousePicture::Activity() const
{
    return fmt::format("{{\"bucket_ms\":{},\"counts\":[{}]}}", ACTIVITY_BUCKET_MS,
                       fmt::join(m_activity, ","));
}

Members HousePicture::DescribeHouse()
{
    Members members;
    const HouseFile& file = m_run.File();
    const Simulation* const simulation = m_run.GetSimulation();
    std::string scenes = "[";
    for (std::size_t i = 0; i < file.scenes.size(); ++i)
    {
        const Controller::Count count =
            simulation ? simulation->GetController().SceneCounts()[i] : Controller::Count();
        scenes += fmt::format(
            "{}{{\"id\":{},\"name\":{},\"loads\":{},\"times\":{},\"last_ms\":{}}}",
            i > 0 ? "," : "", file.scenes[i].id, Quoted(file.scenes[i].name),
            LoadCount(file.scenes[i].loads), count.times, OrNull(count.lastMs, count.times > 0));
    }
    members.emplace_back("scenes", scenes + "]");
    std::string groups = "[";
    for (std::size_t i = 0; i < file.groups.size(); ++i)
    {
        const Controller::Count count =
            simulation ? simulation->GetController().GroupCounts()[i] : Controller::Count();
        std::string names;
        for (const std::string& member : file.groups[i].members)
            names += (names.empty() ? "" : ",") + Quoted(member);
        groups += fmt::format("{}{{\"id\":{},\"name\":{},\"members\":[{}],\"times\":{},"
                              "\"last_ms\":{}}}",
                              i > 0 ? "," : "", file.groups[i].id, Quoted(file.groups[i].name),
                              names, count.times, OrNull(count.lastMs, count.times > 0));
    }
    members.emplace_back("groups", groups + "]");
    members.emplace_back("people", People());
    if (simulation)
        members.emplace_back("faults", FaultsText(simulation->Switches().OfHouse(), true));
    return members;
}

std::string HousePicture::Drivers()
{
    std::string text = "[";
    for (const auto& driver : m_drivers)
        text += (text.size() > 1 ? "," : "") + Object(driver->Describe(true));
    return text + "]";
}

std::string HousePicture::Snapshot()
{
    Members members = DescribeHouse();
    members.emplace_back("drivers", Drivers());
    members.emplace_back("marks", Marks());
    members.emplace_back("activity", Activity());
    const std::string text = Object(members);
    return text.substr(1, text.size() - 2);
}

std::vector<std::string> HousePicture::TakeChanges()
{
    std::vector<std::string> changes;
    for (const auto& driver : m_drivers)
    {
        const Members changed = driver->TakeChanges();
        if (!changed.empty())
            changes.push_back(fmt::format("\"page\":\"driver\",\"driver\":{},\"value\":{}",
                                          Quoted(driver->Name()), Object(changed)));
    }
    const Members changed = Changed(DescribeHouse(), m_toldHouse);
    if (!changed.empty())
        changes.push_back("\"page\":\"house\",\"value\":" + Object(changed));
    const std::uint64_t oldest = m_markCount - m_marks.size();
    for (m_marksTold = std::max(m_marksTold, oldest); m_marksTold < m_markCount; ++m_marksTold)
        changes.push_back("\"page\":\"mark\",\"value\":" +
                          MarkText(m_marks[static_cast<std::size_t>(m_marksTold - oldest)]));
    return changes;
}

std::string HousePicture::DifferencesFrom(const std::string& drivers)
{
    // Our own words, which may be longer than what is taken from elsewhere.
    const Json others = Json::parse(drivers);
    std::string text = "{";
    for (std::size_t place = 0; place < m_drivers.size() && place < others.size(); ++place)
    {
        const Json& other = others[place];
        Members differing;
        for (const auto& [name, value] : m_drivers[place]->Describe(false))
        {
            const auto there = other.find(name);
            if (COUNTED.count(name) != 0 || there == other.end() || there->dump() == value)
                continue;
            differing.emplace_back(name, there->dump());
        }
        if (!differing.empty())
            text += fmt::format("{}{}:{}", text.size() > 1 ? "," : "",
                                Quoted(m_drivers[place]->Name()), Object(differing));
    }
    return text + "}";
}

std::map<std::string, DriverFigures> HousePicture::Figures()
{
    std::map<std::string, DriverFigures> figures;
    for (const auto& driver : m_drivers)
        figures[driver->Name()] = driver->Figures();
    return figures;
}
} // namespace lighting_host

#include "lighting_host/web/LiveVisitor.h"

#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr unsigned TRY_AGAIN_LATER = 1013;
constexpr std::size_t MOST_OWN_LINES = 4096;
constexpr std::size_t MOST_OWN_BYTES = 8 * 1024 * 1024;

// Who is further behind when the house puts out much at once is behind for another reason.
constexpr std::uint64_t MOST_BEHIND = OutputRing::MOST_LINES / 2;

std::string Done(unsigned long number)
{
    return fmt::format("{{\"done\":{}}}", number);
}

const Json& ListOf(Fields& fields, const char* name)
{
    const Json& list = fields.Get(name);
    if (!list.is_array())
        throw InputError(fmt::format("\"{}\" is no JSON array", name));
    return list;
}

void Append(std::string& out, const std::string& line)
{
    if (!out.empty())
        out += '\n';
    out += line;
}
} // namespace

LiveServer::Visitor::Visitor(LiveServer& server, WebSocketPeer& peer, std::string name,
                             bool watching)
    : m_server(server), m_peer(peer), m_name(std::move(name)), m_watching(watching),
      m_cursor(server.m_house->Ring().Last())
{
    m_server.m_visitors.insert(this);
    Add(fmt::format("{{\"hello\":1,{},\"watching\":{}}}", m_server.HelloMembers(), watching));
}

LiveServer::Visitor::~Visitor()
{
    m_server.m_visitors.erase(this);
    m_server.Released(*this);
}

void LiveServer::Visitor::OnMessage(const std::string& message)
{
    const unsigned long number = ++m_number;
    // Some programs end each message as a line.
    const std::string text = message.substr(0, message.find_last_not_of("\r\n") + 1);
    try
    {
        if (OwnLine(text))
            return Add(Done(number));
        if (m_watching)
            throw InputError("this visitor watches only");
    }
    catch (const InputError& error)
    {
        std::string words;
        AppendJsonText(words, error.Message());
        Add(fmt::format("{{\"error\":{},\"line\":{}}}", words, number));
        return Add(Done(number));
    }
    if (m_server.m_house->HandIn(*this, text, number, MonotonicNs()))
        NotePressed(text);
    m_server.m_wake();
}

void LiveServer::Visitor::Wake()
{
    if (!DropWhenBehind())
        m_peer.Wake();
}

bool LiveServer::Visitor::DropWhenBehind()
{
    const OutputRing& ring = m_server.m_house->Ring();
    if (m_cursor + 1 >= ring.First())
        return false;
    Drop(fmt::format("too slow: {} lines behind", ring.Last() - m_cursor));
    return true;
}

std::shared_ptr<const std::string> LiveServer::Visitor::Collect(std::size_t mostBytes)
{
    m_server.m_allAwake = false;
    if (!m_own.empty())
    {
        std::string text = OwnText(mostBytes);
        return text.empty() ? nullptr : std::make_shared<const std::string>(std::move(text));
    }
    if (DropWhenBehind())
        return nullptr;
    const SharedLines::Part part =
        m_server.m_shared.From(m_server.m_house->Ring(), m_heard, m_cursor, mostBytes,
                               [this](const OutputRing::Line& line) { return Hears(line); });
    m_cursor = part.upTo;
    return part.text;
}

// The next lines, with those among them that are for this visitor alone.
std::string LiveServer::Visitor::OwnText(std::size_t mostBytes)
{
    const OutputRing& ring = m_server.m_house->Ring();
    std::string out;
    while (out.size() < mostBytes)
    {
        if (!m_own.empty() && m_own.front().after <= m_cursor)
        {
            m_ownBytes -= m_own.front().text.size();
            Append(out, m_own.front().text);
            m_own.pop_front();
            continue;
        }
        if (m_cursor >= ring.Last())
            break;
        if (DropWhenBehind())
            return std::string();
        const OutputRing::Line& line = ring.At(++m_cursor);
        if (Hears(line))
            Append(out, line.text);
    }
    return out;
}

void LiveServer::Visitor::Add(const std::string& text)
{
    if (m_dropped)
        return;
    m_own.push_back({m_server.m_house->Ring().Last(), text});
    m_ownBytes += text.size();
    if (m_own.size() > MOST_OWN_LINES || m_ownBytes > MOST_OWN_BYTES)
        Drop(fmt::format("too slow: {} lines wait", m_own.size()));
    m_peer.Wake();
}

void LiveServer::Visitor::PassOver()
{
    const OutputRing& ring = m_server.m_house->Ring();
    if (m_cursor + 1 >= ring.First())
        return;
    if (m_cursor + MOST_BEHIND < m_server.m_house->HandedInAfter())
        return Wake();
    const std::uint64_t since = m_cursor;
    m_cursor = ring.Last();
    Add(m_server.GoneLine(since));
}

void LiveServer::Visitor::MoveTo(std::uint64_t seq, const std::string& line)
{
    m_cursor = seq;
    for (Own& own : m_own)
        own.after = std::min(own.after, seq);
    if (!m_page)
        Add(line);
}

void LiveServer::Visitor::Drop(const std::string& why)
{
    if (m_dropped)
        return;
    m_dropped = true;
    m_server.NoteDropped(m_name, why);
    m_peer.Close(TRY_AGAIN_LATER, why);
}

bool LiveServer::Visitor::Hears(const OutputRing::Line& line) const
{
    if (line.kind == std::string("cause"))
        return m_page && IsOf(line);
    return (!m_kinds || m_kinds->count(line.kind) != 0) && IsOf(line);
}

bool LiveServer::Visitor::IsOf(const OutputRing::Line& line) const
{
    return !m_drivers || line.driver == OutputRing::NO_DRIVER || m_drivers->count(line.driver) != 0;
}

// `hear` and `since` are this visitor's own business.
bool LiveServer::Visitor::OwnLine(const std::string& text)
{
    if (text.find("\"hear\"") == std::string::npos && text.find("\"since\"") == std::string::npos)
        return false;
    const Json line = ParseJson(text);
    Fields fields(line, "the input");
    const bool hears = fields.Has("hear");
    const bool resumes = fields.Has("since");
    if (!hears && !resumes)
        return false;
    const long long since = fields.IntegerOr("since", 0, INT64_MAX, 0);
    const long long branch = resumes ? fields.IntegerOr("branch", 0, UINT32_MAX, -1) : -1;
    if (hears)
    {
        Fields hear(fields.Get("hear"), "\"hear\"");
        fields.Finish();
        ReadHear(hear);
    }
    fields.Finish();
    if (resumes)
        Resume(static_cast<std::uint64_t>(since), branch);
    return true;
}

void LiveServer::Visitor::ReadHear(Fields& hear)
{
    std::optional<std::set<std::string>> kinds;
    std::optional<std::set<std::size_t>> drivers;
    if (hear.Has("kinds"))
    {
        kinds.emplace();
        for (const Json& kind : ListOf(hear, "kinds"))
            kinds->insert(ToText(kind, "kinds"));
    }
    if (hear.Has("drivers"))
    {
        drivers.emplace();
        HouseRun& run = m_server.m_house->Run();
        for (const Json& driver : ListOf(hear, "drivers"))
        {
            const std::string& name = ToText(driver, "drivers");
            const nx::DriverHost* const found = run.GetSession().House().Find(name);
            if (!found)
                throw InputError(fmt::format("there is no driver named \"{}\"", name));
            drivers->insert(run.PlaceOf(found));
        }
    }
    m_page = hear.BooleanOr("page", false);
    hear.Finish();
    m_kinds = std::move(kinds);
    m_drivers = std::move(drivers);
    NoteHeard();
}

// JSON, so that no kind's name can look like another list of kinds.
void LiveServer::Visitor::NoteHeard()
{
    m_heard = m_page ? "page" : "";
    if (m_kinds)
        m_heard += " kinds";
    for (const std::string& kind : m_kinds.value_or(std::set<std::string>()))
        AppendJsonText(m_heard, kind);
    if (m_drivers)
        m_heard += " drivers";
    for (const std::size_t driver : m_drivers.value_or(std::set<std::size_t>()))
        m_heard += fmt::format(" {}", driver);
}

void LiveServer::Visitor::Resume(std::uint64_t since, long long branch)
{
    const LiveHouse& house = *m_server.m_house;
    const OutputRing& ring = house.Ring();
    const bool other = branch >= 0 && branch != house.Branch();
    if (!other && since + 1 >= ring.First() && since <= ring.Last())
    {
        m_cursor = since;
        for (Own& own : m_own)
            own.after = std::min(own.after, since);
        return;
    }
    Add(m_server.GoneLine(since));
}

// What this visitor holds down is let go when it leaves.
void LiveServer::Visitor::NotePressed(const std::string& text)
{
    if (text.find("\"act\"") == std::string::npos)
        return;
    try
    {
        Json line = ParseJson(text);
        if (line.value("house", "") != "act")
            return;
        const std::string what = line.value("do", "");
        line["do"] = "release";
        if (what == "press")
            m_pressed.insert(line.dump());
        else if (what == "release")
            m_pressed.erase(line.dump());
    }
    catch (const std::exception&)
    {
        // It was refused, then.
    }
}
} // namespace lighting_host

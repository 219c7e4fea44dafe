#include "lighting_host/web/LiveServer.h"

#include "lighting_host/text/JsonWriter.h"
#include "lighting_host/text/MonotonicClock.h"
#include "lighting_host/web/HostCheck.h"
#include "lighting_host/web/LiveVisitor.h"
#include "lighting_host/web/Metrics.h"
#include "lighting_host/web/PageAssets.h"

#include <algorithm>
#include <random>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t MOST_NAME = 32;
constexpr std::int64_t DAY_MS = embedded_host::SECONDS_PER_DAY * 1000;
constexpr std::chrono::seconds CLOCK_INTERVAL{1};
// How many lines may come between two looks at who has fallen behind.
constexpr std::uint64_t LINES_A_LOOK = 1024;

// Another text at every start of the program.
std::string RunName()
{
    std::random_device random;
    return fmt::format("{:08x}", random());
}

bool IsName(const std::string& name)
{
    return !name.empty() && name.size() <= MOST_NAME &&
           std::all_of(name.begin(), name.end(),
                       [](unsigned char c)
                       { return std::isalnum(c) != 0 || c == '-' || c == '_'; });
}

const char* Bool(bool value)
{
    return value ? "true" : "false";
}
} // namespace

namespace
{
// Takes the answers of one line that came by HTTP.
class PostedLine : public HouseVisitor
{
public:
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string& text) override { answers.push_back(text); }
    std::vector<std::string> answers;

private:
    const std::string m_name = "http";
};

// Lets go what somebody held who has left.
class Leaver : public HouseVisitor
{
public:
    explicit Leaver(std::string name) : m_name(std::move(name)) {}
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string&) override {}

private:
    const std::string m_name;
};
} // namespace

LiveServer::LiveServer(Options options, std::function<void()> wake)
    : m_options(std::move(options)), m_shifts(m_options.zone, m_options.startLocalSeconds),
      m_wake(std::move(wake)), m_metrics(std::make_unique<Metrics>(m_options.program)),
      m_run(RunName())
{
}

LiveServer::~LiveServer() = default;

void LiveServer::Attach(LiveHouse& house)
{
    m_house = &house;
}

HouseView& LiveServer::View()
{
    return *m_house->View();
}

// --- HTTP ---

WebResponse LiveServer::OnRequest(const WebRequest& request)
{
    const bool isPost = request.method == "POST";
    if (isPost && request.path == "/api/input")
        return PostInput(request);
    if (isPost && request.path == "/token")
        return PostToken(request);
    WebResponse response;
    if (isPost)
    {
        response.status = 405;
        response.body = "nothing is taken there\n";
        return response;
    }
    if (request.path == "/healthz")
    {
        response.body = "ok\n";
        return response;
    }
    if (request.path == "/metrics")
        return MetricsText();
    if (request.path == "/api/house")
    {
        response.contentType = "application/json";
        response.body = Snapshot();
        return response;
    }
    return Asset(request.path);
}

WebResponse LiveServer::OnTokenMissing(const WebRequest& request)
{
    if (request.path == "/")
        return Asset("/token");
    WebResponse response;
    response.body = "A token is needed: send \"Authorization: Bearer TOKEN\", or open the page. It "
                    "stands in the file that --token-file named.\n";
    return response;
}

WebResponse LiveServer::Asset(const std::string& path) const
{
    WebResponse response;
    PageAsset asset;
    if (!FindPageAsset(path, m_options.pageFolder, asset))
    {
        response.status = 404;
        response.body = "there is nothing here\n";
        return response;
    }
    response.contentType = asset.contentType;
    response.body = std::move(asset.body);
    return response;
}

WebResponse LiveServer::PostInput(const WebRequest& request)
{
    std::string line = request.body;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    WebResponse response;
    response.contentType = "application/x-ndjson";
    if (line.empty() || line.find('\n') != std::string::npos)
    {
        response.status = 400;
        response.body = "{\"error\":\"one line is taken at a time\",\"line\":1}\n";
        return response;
    }
    PostedLine posted;
    const bool taken = m_house->HandIn(posted, line, 1, MonotonicNs());
    const OutputRing& ring = m_house->Ring();
    if (m_house->HandedInAfter() + 1 < ring.First())
        response.body = GoneLine(m_house->HandedInAfter()) + "\n";
    for (std::uint64_t seq = std::max(m_house->HandedInAfter() + 1, ring.First());
         seq <= ring.Last(); ++seq)
        response.body += ring.At(seq).text + "\n";
    for (const std::string& answer : posted.answers)
        response.body += answer + "\n";
    response.status = taken ? 200 : 400;
    m_wake();
    return response;
}

WebResponse LiveServer::PostToken(const WebRequest& request)
{
    const auto form = ParseQuery(request.body);
    const auto token = form.find("token");
    const bool right = token != form.end() && IsSameSecret(token->second, m_options.token);
    WebResponse response;
    response.status = 303;
    response.headers.emplace_back("Location", right ? "/" : "/token#wrong");
    if (right)
        response.headers.emplace_back(
            "Set-Cookie",
            fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict", TOKEN_COOKIE, m_options.token));
    return response;
}

WebResponse LiveServer::MetricsText()
{
    HouseRun& run = m_house->Run();
    Metrics::Moment moment;
    moment.houseSeconds = static_cast<double>(run.NowMs()) / 1000;
    moment.lagSeconds = static_cast<double>(m_house->LagMs(MonotonicNs())) / 1000;
    moment.worstLatenessSeconds = static_cast<double>(m_house->WorstLatenessNs()) / 1e9;
    moment.speed = m_house->Speed();
    moment.paused = m_house->IsPaused();
    moment.timers = run.OutstandingTimers();
    moment.firedTimers = run.FiredTimers();
    moment.visitors = m_visitors.size();
    moment.droppedVisitors = m_droppedVisitors;
    if (m_server)
    {
        moment.requests = m_server->GetCounts().requests;
        moment.refusedRequests = m_server->GetCounts().refused;
    }
    moment.inputs = m_house->InputCount();
    moment.branch = m_house->Branch();
    WebResponse response;
    response.contentType = "text/plain; version=0.0.4; charset=utf-8";
    response.body = m_metrics->Text(moment, View().Figures());
    return response;
}

// --- WebSocket ---

bool LiveServer::HasWebSocket(const WebRequest& request) const
{
    return request.path == "/protocol";
}

std::unique_ptr<WebVisitor> LiveServer::OnWebSocket(const WebRequest& request, WebSocketPeer& peer)
{
    const auto name = request.query.find("name");
    const bool named = name != request.query.end() && IsName(name->second);
    ++m_lastVisitor;
    return std::make_unique<Visitor>(
        *this, peer, named ? name->second : fmt::format("visitor {}", m_lastVisitor),
        request.query.count("watch") != 0);
}

void LiveServer::Released(Visitor& visitor)
{
    for (const std::string& line : visitor.Pressed())
    {
        Leaver leaver(visitor.Name());
        m_house->HandIn(leaver, line, 0, MonotonicNs());
    }
}

void LiveServer::NoteDropped(const std::string& name, const std::string& why)
{
    ++m_droppedVisitors;
    if (m_options.tell)
        m_options.tell(fmt::format("{} was dropped: {}", name, why));
}

void LiveServer::WakeAll()
{
    for (Visitor* visitor : m_visitors)
        visitor->Wake();
}

void LiveServer::OnLines()
{
    const OutputRing& ring = m_house->Ring();
    m_metrics->CountOutput(ring.At(ring.Last()).kind);
    // While a line has its effect nobody can read: who has fallen behind is looked for afterwards.
    const bool looks = ring.Last() % LINES_A_LOOK == 0 && !m_house->IsHandingIn();
    // Who is awake already collects this line too; who has stopped reading collects nothing.
    if (!m_allAwake || looks)
        WakeAll();
    m_allAwake = true;
}

void LiveServer::OnHandedIn()
{
    for (Visitor* visitor : m_visitors)
        visitor->PassOver();
}

std::string LiveServer::GoneLine(std::uint64_t since) const
{
    const OutputRing& ring = m_house->Ring();
    return fmt::format("{{\"gone\":{},\"first_seq\":{},\"seq\":{},\"branch\":{}}}", since,
                       ring.First(), ring.Last(), m_house->Branch());
}

// --- What pages are told ---

bool LiveServer::HasPages() const
{
    return std::any_of(m_visitors.begin(), m_visitors.end(),
                       [](const Visitor* visitor) { return visitor->HearsPage(); });
}

// `members` without braces; what is counted gets the next `rev`.
void LiveServer::SendPage(const std::string& members, bool counted)
{
    if (counted)
        ++m_rev;
    const std::string line = fmt::format("{{{},\"t_ms\":{}{}}}", members, m_house->Run().NowMs(),
                                         counted ? fmt::format(",\"rev\":{}", m_rev) : "");
    // A visitor that is dropped stays in the set until it is destroyed.
    for (Visitor* visitor : m_visitors)
        if (visitor->HearsPage())
            visitor->Add(line);
}

void LiveServer::SendChanges(std::int64_t)
{
    for (const std::string& change : View().TakeChanges())
        SendPage(change, true);
    if (m_toldVisitors != m_visitors.size())
    {
        m_toldVisitors = m_visitors.size();
        SendPage(fmt::format("\"page\":\"house\",\"value\":{{\"visitors\":{}}}", m_toldVisitors),
                 true);
    }
    const auto now = std::chrono::steady_clock::now();
    if (!m_house->IsPaused() && now - m_lastClock >= CLOCK_INTERVAL)
        OnClock();
}

void LiveServer::OnClock()
{
    m_lastClock = std::chrono::steady_clock::now();
    SendPage("\"page\":\"clock\",\"value\":" + ClockValue(), false);
}

void LiveServer::OnBreak(const Breaks::Met& met)
{
    View().NoteBreak(met.timeMs, met.driver, met.words);
    SendPage(fmt::format("\"page\":\"break\",\"id\":{},\"met_seq\":{},\"words\":{}", met.id,
                         met.seq, JsonText(met.words)),
             true);
    OnBreaksChanged();
}

void LiveServer::OnBreaksChanged()
{
    SendPage("\"page\":\"house\",\"value\":{\"breaks\":" + BreaksValue() + "}", true);
}

void LiveServer::OnLeavingNow()
{
    m_now = View().Drivers();
}

void LiveServer::OnMoment()
{
    if (!m_house->GetPast())
        m_now.clear();
    m_shared.Clear();
    const std::uint64_t seq = m_house->Ring().Last();
    const std::string line = fmt::format("{{\"moved\":{{\"branch\":{},\"seq\":{},\"t_ms\":{}}}}}",
                                         m_house->Branch(), seq, m_house->Run().NowMs());
    for (Visitor* visitor : m_visitors)
        visitor->MoveTo(seq, line);
    SendPage(fmt::format("\"page\":\"snapshot\",\"branch\":{}", m_house->Branch()), true);
}

void LiveServer::OnRewind(std::int64_t toMs, std::int64_t atMs)
{
    SendPage(fmt::format("\"page\":\"rewind\",\"to_ms\":{},\"at_ms\":{}", toMs, atMs), false);
}

// --- The snapshot ---

std::string LiveServer::HelloMembers() const
{
    const OutputRing& ring = m_house->Ring();
    return fmt::format("\"program\":{},\"run\":\"{}\",\"branch\":{},\"seq\":{},\"first_seq\":{}",
                       JsonText(m_options.program), m_run, m_house->Branch(), ring.Last(),
                       ring.First());
}

std::string LiveServer::ClockValue() const
{
    HouseRun& run = m_house->Run();
    const std::int64_t next = run.Causes().NextDueMs();
    return fmt::format("{{\"t_ms\":{},\"paused\":{},\"speed\":{},\"lag_ms\":{},\"seq\":{},"
                       "\"next_ms\":{}}}",
                       run.NowMs(), Bool(m_house->IsPaused()), m_house->Speed(),
                       m_house->LagMs(MonotonicNs()), run.LastNumber(),
                       next < 0 ? std::string("null") : std::to_string(next));
}

std::string LiveServer::BreaksValue() const
{
    std::string value = "[";
    for (const Breaks::Break& one : m_house->GetBreaks().All())
    {
        if (value.size() > 1)
            value += ',';
        value += fmt::format("{{\"id\":{},\"when\":{},\"enabled\":{}", one.id, one.condition.Json(),
                             Bool(one.enabled));
        value += one.metMs < 0
                     ? std::string(",\"met_ms\":null,\"met_seq\":null}")
                     : fmt::format(",\"met_ms\":{},\"met_seq\":{}}}", one.metMs, one.metSeq);
    }
    return value + "]";
}

std::string LiveServer::PastValue()
{
    const auto& past = m_house->GetPast();
    if (!past)
        return "null";
    return fmt::format("{{\"now_ms\":{},\"now_seq\":{},\"break\":{},\"dropped_inputs\":{},"
                       "\"now\":{}}}",
                       past->nowMs, past->nowSeq,
                       past->atBreak == 0 ? std::string("null") : std::to_string(past->atBreak),
                       past->droppedInputs, m_now.empty() ? "{}" : View().DifferencesFrom(m_now));
}

std::string LiveServer::Snapshot()
{
    // What has changed until now is in the snapshot: its `rev` is above that of these lines.
    SendChanges(0);
    const std::string view = View().Snapshot();
    return fmt::format(
        "{{{},\"rev\":{},\"name\":{},\"seed\":{},\"fault_level\":\"{}\","
        "\"start\":\"{}\",\"shifts\":{},\"real_time\":{},\"clock\":{},\"visitors\":{},\"past\":{},"
        "\"breaks\":{}{}{}}}",
        HelloMembers(), m_rev, JsonText(m_options.name), m_options.seed, m_options.faultLevel,
        embedded_host::FormatLocalTime(m_options.startLocalSeconds),
        m_shifts.UpTo(m_house->Run().NowMs() + DAY_MS), Bool(m_house->IsTimeReal()), ClockValue(),
        m_visitors.size(), PastValue(), BreaksValue(), view.empty() ? "" : ",", view);
}
} // namespace lighting_host

#include "simulated_devices/WiredDimmer.h"

#include "simulated_devices/WiredDimmerFaults.h"

#include <algorithm>
#include <array>
#include <zlib.h>

namespace simulated
{
namespace
{
// On purpose not those of the library: a device is held to the wire, not to who drives it.
constexpr unsigned INDEX_SHIFT = 12;
constexpr unsigned SCENE_MASK = 0xfff;
constexpr unsigned INDICES = 16;
constexpr unsigned SUMMED_SCENES = 255;
constexpr std::uint8_t FLAG_FLASH = 0x02;
constexpr std::uint8_t FLAG_IGNORE_RAMP = 0x04;

// A whole text of at most `digits` hexadecimal digits.
bool ReadHex(const std::string& text, std::size_t digits, std::uint32_t& value)
{
    if (text.empty() || text.size() > digits)
        return false;
    value = 0;
    for (const char c : text)
    {
        const std::size_t digit = std::string("0123456789abcdef").find(c);
        if (digit == std::string::npos)
            return false;
        value = value * 16 + static_cast<std::uint32_t>(digit);
    }
    return true;
}

// Every parameter as a number; false when one is none.
template <std::size_t N>
bool ReadAll(const std::vector<std::string>& params, const std::array<std::size_t, N>& digits,
             std::array<std::uint32_t, N>& values)
{
    for (std::size_t i = 0; i < N; ++i)
        if (!ReadHex(params[i], digits[i], values[i]))
            return false;
    return true;
}

std::uint16_t Key(unsigned scene, unsigned index)
{
    return static_cast<std::uint16_t>(index << INDEX_SHIFT | (scene & SCENE_MASK));
}

bool HasNext(std::uint16_t id)
{
    return (id >> INDEX_SHIFT) + 1u < INDICES;
}

std::uint16_t Next(std::uint16_t id)
{
    return static_cast<std::uint16_t>(id + (1u << INDEX_SHIFT));
}

// `digits` lower-case hexadecimal digits.
std::string Hex(std::uint32_t value, int digits)
{
    std::string text;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[value >> shift & 0xf];
    return text;
}

void PutNumber(std::vector<unsigned char>& bytes, std::uint32_t number, int width)
{
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<unsigned char>(number >> shift));
}

std::uint32_t Checksum(const std::vector<unsigned char>& bytes)
{
    return static_cast<std::uint32_t>(
        crc32(crc32(0, nullptr, 0), bytes.data(), static_cast<unsigned>(bytes.size())));
}
} // namespace

WiredDimmer::WiredDimmer(DeviceEnvironment& environment)
    : SimulatedDevice(environment), m_faults(WiredDimmerFaultTable())
{
}

WiredDimmer::~WiredDimmer() = default;

void WiredDimmer::AddFault(std::unique_ptr<WiredDimmerFault> fault)
{
    m_faults.Add(std::move(fault));
}

// --- requests ------------------------------------------------------------------------------------

const std::vector<WiredDimmer::Request>& WiredDimmer::Requests()
{
    static const std::vector<Request> requests = {
        {"nx.als.gad", 2, &WiredDimmer::AddGroup},
        {"nx.als.grm", 1, &WiredDimmer::RemoveGroup},
        {"nx.als.gra", 0, &WiredDimmer::RemoveAllGroups},
        {"nx.als.sad", 5, &WiredDimmer::AddElement},
        {"nx.als.srm", 1, &WiredDimmer::RemoveElement},
        {"nx.als.sra", 0, &WiredDimmer::RemoveAllElements},
        {"nx.als.sga", 1, &WiredDimmer::ReportAll},
        {"nx.als.sgt", 1, &WiredDimmer::ReportOne},
        {"nx.als.ssr", 5, &WiredDimmer::StartRamp},
        {"nx.als.skr", 1, &WiredDimmer::StopRamp},
    };
    return requests;
}

void WiredDimmer::OnMib(const wire::MibMessage& message)
{
    if (message.type != wire::MibMessage::Invoke)
        return;
    if (!m_faults.Hear(message))
        return;
    for (const Request& request : Requests())
        if (message.mib == request.mib && message.params.size() == request.params)
            (this->*request.handle)(message.params);
}

void WiredDimmer::AddGroup(const Params& params)
{
    std::array<std::uint32_t, 2> values{};
    if (!ReadAll<2>(params, {4, 2}, values))
        return;
    m_tables.groups.insert(static_cast<std::uint16_t>(values[0]));
    Answer("nx.als.gad", {Hex(values[0], 4)});
}

void WiredDimmer::RemoveGroup(const Params& params)
{
    std::uint32_t group = 0;
    if (!ReadHex(params[0], 4, group))
        return;
    m_tables.groups.erase(static_cast<std::uint16_t>(group));
    Answer("nx.als.grm", {Hex(group, 4)});
}

void WiredDimmer::RemoveAllGroups(const Params&)
{
    m_tables.groups.clear();
    Answer("nx.als.gra", {});
}

void WiredDimmer::AddElement(const Params& params)
{
    std::array<std::uint32_t, 5> values{};
    if (!ReadAll<5>(params, {4, 8, 8, 2, 2}, values))
        return;
    DimmerElement element;
    element.delay = values[1];
    element.rate = values[2];
    element.level = static_cast<std::uint8_t>(values[3]);
    element.flags = static_cast<std::uint8_t>(values[4]);
    m_tables.elements[static_cast<std::uint16_t>(values[0])] = element;
    Answer("nx.als.sad", {Hex(values[0], 8)});
}

void WiredDimmer::RemoveElement(const Params& params)
{
    std::uint32_t id = 0;
    if (!ReadHex(params[0], 8, id) || id > UINT16_MAX)
        return;
    bool obeys = true;
    for (const auto& fault : m_faults)
        obeys = fault->OnRemoveElement(static_cast<std::uint16_t>(id)) && obeys;
    if (obeys)
        m_tables.elements.erase(static_cast<std::uint16_t>(id));
    Answer("nx.als.srm", {Hex(id, 8)});
}

void WiredDimmer::RemoveAllElements(const Params&)
{
    m_tables.elements.clear();
    StopPlaying();
    Answer("nx.als.sra", {});
}

void WiredDimmer::ReportAll(const Params& params)
{
    std::uint32_t unused = 0;
    if (!ReadHex(params[0], 4, unused))
        return;
    Answer("nx.als.sga", {});
    const unsigned report = ++m_report;
    After(ANSWER_TIME + REPORT_INTERVAL, [this, report] { ReportFrom(report, 0, 0); });
}

// The next trap of the report: the first element from `firstId` on, as the store is at that moment.
void WiredDimmer::ReportFrom(unsigned report, std::uint32_t firstId, std::uint16_t sequence)
{
    if (report != m_report || firstId > UINT16_MAX)
        return;
    const auto element = m_tables.elements.lower_bound(static_cast<std::uint16_t>(firstId));
    if (element == m_tables.elements.end())
        return;
    const std::uint16_t id = element->first;
    After(REPORT_INTERVAL, [this, report, id, sequence]
          { ReportFrom(report, id + 1u, static_cast<std::uint16_t>(sequence + 1)); });
    Trap("nx.als.sga", {Hex(sequence, 4), Hex(id, 4)});
}

void WiredDimmer::ReportOne(const Params& params)
{
    std::uint32_t id = 0;
    if (!ReadHex(params[0], 4, id))
        return;
    const auto element = m_tables.elements.find(static_cast<std::uint16_t>(id));
    if (element == m_tables.elements.end())
        return;
    const DimmerElement& held = element->second;
    Answer("nx.als.sgt", {Hex(id, 4), Hex(held.delay, 8), Hex(held.rate, 8), Hex(held.level, 2),
                          Hex(held.flags, 2)});
}

void WiredDimmer::Answer(const char* mib, Params params)
{
    Transmit({wire::MibMessage::Reply, mib, std::move(params)}, ANSWER_TIME);
}

void WiredDimmer::Trap(const char* mib, Params params)
{
    Transmit({wire::MibMessage::Trap, mib, std::move(params)}, {});
}

// Everything that leaves goes through here, where faults have their say.
void WiredDimmer::Transmit(const wire::MibMessage& message, std::chrono::milliseconds delay)
{
    for (auto& leaving : m_faults.Leave(message, delay))
        After(leaving.delay,
              [this, sent = std::move(leaving.message)] { Environment().Send(sent); });
}

// --- the load ------------------------------------------------------------------------------------

void WiredDimmer::StartRamp(const Params& params)
{
    std::array<std::uint32_t, 5> values{};
    if (!ReadAll<5>(params, {4, 2, 8, 2, 2}, values))
        return;
    StopPlaying();
    RampTo(values[3] != 0 ? FULL_LEVEL : 0, std::chrono::milliseconds(values[2]));
    Answer("nx.als.ssr", {Hex(values[0], 4)});
}

void WiredDimmer::StopRamp(const Params& params)
{
    std::uint32_t scene = 0;
    if (!ReadHex(params[0], 4, scene))
        return;
    StopPlaying();
    Answer("nx.als.skr", {Hex(scene, 4)});
}

void WiredDimmer::GroupRampToLevel(std::uint16_t group, int level, std::chrono::milliseconds time)
{
    if (m_tables.groups.count(group) == 0)
        return;
    RampToLevel(level, time);
}

void WiredDimmer::RampToLevel(int level, std::chrono::milliseconds time)
{
    StopPlaying();
    RampTo(level, time);
}

void WiredDimmer::GroupStartRamp(std::uint16_t group, bool up)
{
    GroupRampToLevel(group, up ? FULL_LEVEL : 0, RAMP_TIME);
}

void WiredDimmer::GroupStopRamp(std::uint16_t group)
{
    if (m_tables.groups.count(group) != 0)
        StopPlaying();
}

void WiredDimmer::RecallScene(std::uint16_t scene)
{
    if (scene > SCENE_MASK || m_tables.elements.count(Key(scene, 0)) == 0)
        return;
    StopPlaying();
    m_playing = true;
    PlayStep(m_run, Key(scene, 0));
}

// Waits the step's delay, then ramps; EndStep comes when the ramp is over.
void WiredDimmer::PlayStep(unsigned run, std::uint16_t id)
{
    const auto step = m_tables.elements.find(id);
    if (run != m_run || step == m_tables.elements.end())
        return;
    const DimmerElement element = step->second;
    const bool atOnce = (element.flags & FLAG_IGNORE_RAMP) != 0;
    const std::chrono::milliseconds ramp(atOnce ? 0 : element.rate);
    const std::chrono::milliseconds wait(element.delay);
    After(wait,
          [this, run, element, ramp]
          {
              if (run == m_run)
                  RampTo(element.level, ramp);
          });
    // At least a millisecond a step, so that a scene of empty steps that flashes takes time.
    const std::chrono::milliseconds whole = std::max(wait + ramp, std::chrono::milliseconds(1));
    After(whole, [this, run, id] { EndStep(run, id); });
}

void WiredDimmer::EndStep(unsigned run, std::uint16_t id)
{
    if (run != m_run)
        return;
    if (HasNext(id) && m_tables.elements.count(Next(id)) != 0)
    {
        PlayStep(run, Next(id));
        return;
    }
    const auto last = m_tables.elements.find(id);
    if (last != m_tables.elements.end() && (last->second.flags & FLAG_FLASH) != 0)
    {
        PlayStep(run, Key(id, 0));
        return;
    }
    StopPlaying();
    Trap("nx.als.sac", {Hex(id & SCENE_MASK, 4)});
}

void WiredDimmer::RampTo(int level, std::chrono::milliseconds time)
{
    m_rampFrom = Level();
    m_rampTo = level;
    m_rampStart = Environment().Now();
    m_rampTime = time;
}

// The load stays where it is.
void WiredDimmer::StopPlaying()
{
    ++m_run;
    m_playing = false;
    RampTo(Level(), {});
}

std::optional<LampRamp> WiredDimmer::PresentRamp() const
{
    const std::chrono::milliseconds ends = m_rampStart + m_rampTime;
    if (ends <= Environment().Now() || m_rampTo == m_rampFrom)
        return std::nullopt;
    return LampRamp{static_cast<unsigned>(m_rampTo), ends};
}

int WiredDimmer::Level() const
{
    const std::chrono::milliseconds passed = Environment().Now() - m_rampStart;
    if (passed >= m_rampTime)
        return m_rampTo;
    const double part =
        static_cast<double>(passed.count()) / static_cast<double>(m_rampTime.count());
    return m_rampFrom + static_cast<int>((m_rampTo - m_rampFrom) * part);
}

LampLevel WiredDimmer::PresentLevel() const
{
    return {static_cast<unsigned>(std::min(Level(), FULL_LEVEL)), FULL_LEVEL};
}

void WiredDimmer::OnPowerOn()
{
    CancelPending();
    ++m_report;
    StopPlaying();
    RampTo(0, {});
    for (const auto& fault : m_faults)
        fault->OnPowerOn(m_tables);
    if (m_longestPause.count() > 0)
        AwaitPerson();
}

void WiredDimmer::LetAPersonPlay(std::chrono::milliseconds shortest,
                                 std::chrono::milliseconds longest)
{
    m_shortestPause = shortest;
    m_longestPause = longest;
}

void WiredDimmer::AwaitPerson()
{
    const std::chrono::milliseconds pause = RandomTime(m_shortestPause, m_longestPause);
    After(std::max(pause, std::chrono::milliseconds(1)),
          [this]
          {
              AwaitPerson();
              PersonPlays();
          });
}

void WiredDimmer::PersonPlays()
{
    std::vector<std::uint16_t> scenes;
    for (const auto& element : m_tables.elements)
        if (element.first <= SCENE_MASK)
            scenes.push_back(element.first);
    if (scenes.empty())
        return;
    const int chosen = Environment().Random(0, static_cast<int>(scenes.size()) - 1);
    const std::uint16_t scene = scenes[static_cast<std::size_t>(chosen)];
    Environment().ReportPerson("starts scene " + std::to_string(scene));
    RecallScene(scene);
}

// --- checksums -----------------------------------------------------------------------------------

std::uint32_t WiredDimmer::GroupChecksum() const
{
    std::vector<unsigned char> bytes;
    for (const std::uint16_t group : m_tables.groups)
    {
        PutNumber(bytes, group, 2);
        bytes.push_back(0);
    }
    return Checksum(bytes);
}

std::uint32_t WiredDimmer::ElementChecksum() const
{
    std::vector<unsigned char> bytes;
    for (unsigned scene = 0; scene < SUMMED_SCENES; ++scene)
    {
        for (unsigned index = 0; index < INDICES; ++index)
        {
            const auto element = m_tables.elements.find(Key(scene, index));
            if (element == m_tables.elements.end())
                break;
            PutNumber(bytes, element->first, 2);
            PutNumber(bytes, element->second.delay, 4);
            PutNumber(bytes, element->second.rate, 4);
            PutNumber(bytes, element->second.level, 1);
            PutNumber(bytes, element->second.flags, 1);
        }
    }
    return Checksum(bytes);
}
} // namespace simulated

// What a page shows of a wired dimmer: the groups and scene elements of both sides with their
// checksums, and the synchronisation under way.

#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/LoadFacts.h"
#include "lighting_host/types/SyncFrames.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/wired_dimmer/WiredDimmer.h"
#include "nxshared/NxMIBPacket.h"
#include "simulated_devices/WiredDimmer.h"
#include "wire/MibMessage.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <log4cplus/loglevel.h>

namespace lighting_host
{
namespace
{
using namespace embedded_host;
using gen3_lights::scenes::AdvSceneElement;

// "Forget all groups" and "report your elements".
constexpr const char* CLEAR_GROUPS = "nx.als.gra";
constexpr const char* REPORT_ALL = "nx.als.sga";
// What begins with it is about groups and scenes.
const std::string SCENES_AND_GROUPS = "nx.als.";
// A scene has at most so many elements: the index has four bits.
constexpr unsigned MOST_STEPS = 16;
// What is mended at the end of a synchronisation is answered within this time.
constexpr std::int64_t ANSWERS_MS = 2000;

Json ElementOf(const AdvSceneElement& element)
{
    return {{"id", element.id},       {"delay_ms", element.delay}, {"rate_ms", element.levelRate},
            {"level", element.level}, {"flags", element.flags},    {"known", element.onHardware}};
}

Json Wants(const WiredDimmerDriver& driver)
{
    Json groups = Json::array();
    for (const auto& [id, group] : driver.Groups().getGroups())
        groups.push_back({{"id", id}, {"sync", group.keepSync}});
    Json elements = Json::array();
    for (const unsigned scene : driver.AdvScenes().GetAllSceneIDs())
    {
        for (unsigned index = 0; index < MOST_STEPS; ++index)
        {
            const AdvSceneElement element =
                driver.AdvScenes().getElement(index << AdvSceneElement::INDEX_SHIFT | scene);
            if (element.id == AdvSceneElement::NOT_FOUND)
                break;
            elements.push_back(ElementOf(element));
        }
    }
    return {{"groups", std::move(groups)},
            {"elements", std::move(elements)},
            {"group_crc", driver.Groups().getCRC()},
            {"scene_crc", driver.AdvScenes().getCRC()}};
}

Json Holds(const simulated::WiredDimmer& dimmer)
{
    Json elements = Json::array();
    for (const auto& [id, element] : dimmer.Tables().elements)
        elements.push_back({{"id", id},
                            {"delay_ms", element.delay},
                            {"rate_ms", element.rate},
                            {"level", element.level},
                            {"flags", element.flags}});
    return {{"groups", dimmer.Tables().groups},
            {"elements", std::move(elements)},
            {"group_crc", dimmer.GroupChecksum()},
            {"scene_crc", dimmer.ElementChecksum()}};
}

// A synchronisation begins with the groups, asks for all elements, and ends when no report has come
// for the time of its timer; what differs is then mended.
class WiredDimmerPicture : public TypePicture
{
public:
    explicit WiredDimmerPicture(const HouseFileDriver& driver) : m_lampWatts(LampWatts(driver)) {}

    void OnOutput(const Output& output, std::uint64_t seq) override
    {
        if (const auto* const sent = std::get_if<MibSent>(&output.effect))
            return OnSent(sent->packet, output.timeMs, seq);
        if (const auto* const record = std::get_if<LogRecord>(&output.effect))
        {
            if (record->level >= log4cplus::WARN_LOG_LEVEL && IsOfSync(output.timeMs))
                m_sync.AddNote(output.timeMs, record->text);
            return;
        }
        const auto* const call = std::get_if<OwnerCall>(&output.effect);
        if (call && call->operation == std::string("StartSyncTimer"))
            OnTimerStarted(output);
    }

    void OnMib(std::int64_t nowMs, const wire::MibMessage& message) override
    {
        if (message.mib.compare(0, SCENES_AND_GROUPS.size(), SCENES_AND_GROUPS) == 0 &&
            IsOfSync(nowMs))
            m_sync.AddMib(nowMs, "in", 0, message);
    }

    void Describe(const Sides& sides, Json& members) const override
    {
        const auto& driver = static_cast<const WiredDimmerDriver&>(sides.driver);
        // All that the table at the end of a run says stands elsewhere on the page.
        members["facts"] = Json::array();
        members["lamp_watts"] = m_lampWatts;
        members["scene_map"] = SceneMapAnswer(driver.Scenes());
        members["wants"] = Wants(driver);
        if (sides.device)
            members["holds"] = Holds(static_cast<const simulated::WiredDimmer&>(*sides.device));
        SyncFrames::Course course;
        course.pauseMs = driver.SyncTimerMs();
        SyncFrames sync = m_sync;
        course.nextMs = m_endMs;
        if (m_endMs && sides.nowMs >= *m_endMs)
            sync.End(*m_endMs);
        members["sync"] = sync.Describe(course);
    }

private:
    void OnSent(const NxMIBPacket& packet, std::int64_t nowMs, std::uint64_t seq)
    {
        const std::string& mib = packet.GetMib();
        if (mib.compare(0, SCENES_AND_GROUPS.size(), SCENES_AND_GROUPS) != 0)
            return;
        const bool asks = mib == REPORT_ALL;
        if (mib == CLEAR_GROUPS || (asks && m_asked))
        {
            m_sync.Begin(nowMs);
            m_endMs.reset();
            m_asked = false;
        }
        else if (asks && !m_sync.HasBegun())
            m_sync.Begin(nowMs);
        m_asked = m_asked || asks;
        if (IsOfSync(nowMs))
            m_sync.AddMib(nowMs, "out", seq, {packet.GetType(), mib, packet.GetParams()});
    }

    // Until its report is complete, and what is sent and answered right after that.
    bool IsOfSync(std::int64_t nowMs) const
    {
        return m_sync.HasBegun() && (!m_endMs || nowMs <= *m_endMs + ANSWERS_MS);
    }

    // Each report starts the timer anew.
    void OnTimerStarted(const Output& output)
    {
        const auto* const driver = static_cast<const WiredDimmerDriver*>(output.driver.Driver());
        if (driver)
            m_endMs = output.timeMs + driver->SyncTimerMs();
    }

    const unsigned m_lampWatts;
    SyncFrames m_sync;
    // When its timer is due, as it was last started.
    std::optional<std::int64_t> m_endMs;
    bool m_asked = false;
};
} // namespace

std::unique_ptr<TypePicture> MakeWiredDimmerPicture(const HouseFileDriver& driver)
{
    return std::make_unique<WiredDimmerPicture>(driver);
}
} // namespace lighting_host

#include "simulated_devices/ZigbeeLight.h"

#include "simulated_devices/ZclRequest.h"
#include "simulated_devices/ZigbeeLightFaults.h"

#include <algorithm>

namespace simulated
{
namespace
{
constexpr std::uint16_t GROUPS = 0x0004;
constexpr std::uint16_t SCENES = 0x0005;
constexpr std::uint16_t ON_OFF = 0x0006;
constexpr std::uint16_t LEVEL_CONTROL = 0x0008;

constexpr std::uint8_t FRAME_GENERAL = 0x00;
constexpr std::uint8_t FRAME_CLUSTER = 0x01;
// From a device, which wants no default response.
constexpr std::uint8_t FRAME_ANSWER = 0x18;

constexpr std::uint8_t GENERAL_READ_ATTRIBUTES = 0x00;
constexpr std::uint8_t GENERAL_READ_ATTRIBUTES_RESPONSE = 0x01;
constexpr std::uint8_t GENERAL_DEFAULT_RESPONSE = 0x0B;

// To a device, which wants no default response.
constexpr std::uint8_t FRAME_COMMAND = 0x11;
constexpr std::uint8_t RECALL_SCENE = 0x05;
constexpr std::uint8_t FULL_LEVEL = 254;

constexpr std::uint8_t SUCCESS = 0x00;
constexpr std::uint8_t MALFORMED = 0x80;
constexpr std::uint8_t UNSUPPORTED_COMMAND = 0x81;
constexpr std::uint8_t UNSUPPORTED_GENERAL_COMMAND = 0x82;
constexpr std::uint8_t INVALID_FIELD = 0x85;
constexpr std::uint8_t UNSUPPORTED_ATTRIBUTE = 0x86;
constexpr std::uint8_t INVALID_VALUE = 0x87;
constexpr std::uint8_t TABLE_FULL = 0x89;
constexpr std::uint8_t ALREADY_THERE = 0x8A;
constexpr std::uint8_t NOT_THERE = 0x8B;
constexpr std::uint8_t UNSUPPORTED_CLUSTER = 0xC3;

constexpr std::uint16_t LAST_GROUP = 0xFFF7;
constexpr std::uint8_t UINT8 = 0x20;
constexpr std::uint16_t TENTHS_PER_SECOND = 10;
// What one frame over the air can hold of a list.
constexpr std::size_t MAX_LISTED = 30;
constexpr std::size_t MAX_CAPACITY = 0xFD;

bool IsGroup(std::uint16_t group)
{
    return group != 0 && group <= LAST_GROUP;
}

std::uint8_t Low(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint8_t High(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value >> 8);
}

template <class Condition>
void EraseScenes(LightTables& tables, const Condition& condition)
{
    auto& scenes = tables.scenes;
    scenes.erase(std::remove_if(scenes.begin(), scenes.end(), condition), scenes.end());
}

// The room left in a table of that size.
std::uint8_t Capacity(std::size_t size, std::size_t used)
{
    return static_cast<std::uint8_t>(std::min(size > used ? size - used : 0, MAX_CAPACITY));
}
} // namespace

bool LightTables::InGroup(std::uint16_t group) const
{
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

bool LightTables::Serves(std::uint16_t group) const
{
    return group == 0 || InGroup(group);
}

LightScene* LightTables::Find(std::uint16_t group, std::uint8_t number)
{
    for (LightScene& scene : scenes)
        if (scene.group == group && scene.number == number)
            return &scene;
    return nullptr;
}

const LightScene* LightTables::Find(std::uint16_t group, std::uint8_t number) const
{
    return const_cast<LightTables*>(this)->Find(group, number);
}

ZigbeeLight::ZigbeeLight(DeviceEnvironment& environment) : ZigbeeLight(environment, Settings()) {}

ZigbeeLight::ZigbeeLight(DeviceEnvironment& environment, const Settings& settings)
    : SimulatedDevice(environment), m_settings(settings), m_faults(ZigbeeLightFaultTable())
{
}

ZigbeeLight::~ZigbeeLight() = default;

void ZigbeeLight::AddFault(std::unique_ptr<ZigbeeLightFault> fault)
{
    m_faults.Add(std::move(fault));
}

void ZigbeeLight::OnPowerOn()
{
    CancelPending();
    for (const auto& fault : m_faults)
        fault->OnPowerOn(m_tables);
}

void ZigbeeLight::OnZcl(const wire::ZclFrame& frame)
{
    ZclRequest request(frame);
    const bool isForUs = m_settings.endpoint == 0 || m_settings.endpoint == frame.endpoint;
    if (!isForUs || !request.IsRequest() || !m_faults.Hear(frame))
        return;
    if (request.Cluster() != GROUPS && request.Cluster() != SCENES)
        return DefaultResponse(request, UNSUPPORTED_CLUSTER);
    if (request.Type() == FRAME_GENERAL)
        return OnGeneral(request);
    if (request.Type() != FRAME_CLUSTER)
        return;
    if (request.Cluster() == GROUPS)
        OnGroups(request);
    else
        OnScenes(request);
}

void ZigbeeLight::RecallScene(std::uint16_t scene)
{
    const std::uint8_t endpoint = m_settings.endpoint == 0 ? std::uint8_t{1} : m_settings.endpoint;
    OnZcl({SCENES, endpoint, {FRAME_COMMAND, 0, RECALL_SCENE, Low(scene), High(scene), 0}});
}

void ZigbeeLight::RampToLevel(int level, std::chrono::milliseconds)
{
    constexpr int PERCENT = 100;
    m_tables.on = level > 0;
    if (m_tables.on)
        m_tables.level = static_cast<std::uint8_t>(level * FULL_LEVEL / PERCENT);
}

LampLevel ZigbeeLight::PresentLevel() const
{
    return {m_tables.on ? m_tables.level : 0u, FULL_LEVEL};
}

void ZigbeeLight::OnGeneral(ZclRequest& request)
{
    // A default response is the end of every exchange.
    if (request.Command() == GENERAL_DEFAULT_RESPONSE)
        return;
    if (request.Command() == GENERAL_READ_ATTRIBUTES)
        ReadAttributes(request);
    else
        DefaultResponse(request, UNSUPPORTED_GENERAL_COMMAND);
}

void ZigbeeLight::ReadAttributes(ZclRequest& request)
{
    std::vector<std::uint8_t> payload;
    do
    {
        const std::uint16_t attribute = request.U16();
        payload.push_back(Low(attribute));
        payload.push_back(High(attribute));
        if (request.Cluster() != SCENES || attribute != 0)
        {
            payload.push_back(UNSUPPORTED_ATTRIBUTE);
            continue;
        }
        payload.push_back(SUCCESS);
        payload.push_back(UINT8);
        payload.push_back(static_cast<std::uint8_t>(m_tables.scenes.size()));
    } while (!request.IsShort() && request.Left() != 0);
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    Answer(request, true, GENERAL_READ_ATTRIBUTES_RESPONSE, std::move(payload));
}

// ---- Groups

void ZigbeeLight::OnGroups(ZclRequest& request)
{
    switch (request.Command())
    {
    case 0x00:
        return AddGroup(request);
    case 0x01:
        return ViewGroup(request);
    case 0x02:
        return GetGroupMembership(request);
    case 0x03:
        return RemoveGroup(request);
    case 0x04:
        return RemoveAllGroups(request);
    default:
        return DefaultResponse(request, UNSUPPORTED_COMMAND);
    }
}

void ZigbeeLight::AddGroup(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    request.SkipString();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    std::uint8_t status = SUCCESS;
    if (!IsGroup(group))
        status = INVALID_VALUE;
    else if (m_tables.InGroup(group))
        status = ALREADY_THERE;
    else if (m_tables.groups.size() >= GroupTableSize())
        status = TABLE_FULL;
    else
        m_tables.groups.push_back(group);
    Answer(request, false, 0x00, {status, Low(group), High(group)});
}

void ZigbeeLight::ViewGroup(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const std::uint8_t status = !IsGroup(group)           ? INVALID_VALUE
                                : m_tables.InGroup(group) ? SUCCESS
                                                          : NOT_THERE;
    Answer(request, false, 0x01, {status, Low(group), High(group), 0});
}

void ZigbeeLight::GetGroupMembership(ZclRequest& request)
{
    std::vector<std::uint16_t> asked(request.U8());
    for (std::uint16_t& group : asked)
        group = request.U16();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    std::vector<std::uint16_t> groups;
    for (const std::uint16_t group : m_tables.groups)
        if (asked.empty() || std::find(asked.begin(), asked.end(), group) != asked.end())
            groups.push_back(group);
    for (const auto& fault : m_faults)
        fault->OnGroupReport(groups);
    groups.resize(std::min(groups.size(), MAX_LISTED));
    std::vector<std::uint8_t> payload = {Capacity(GroupTableSize(), m_tables.groups.size()),
                                         static_cast<std::uint8_t>(groups.size())};
    for (const std::uint16_t group : groups)
    {
        payload.push_back(Low(group));
        payload.push_back(High(group));
    }
    Answer(request, false, 0x02, std::move(payload));
}

void ZigbeeLight::RemoveGroup(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const std::uint8_t status = !IsGroup(group)           ? INVALID_VALUE
                                : m_tables.InGroup(group) ? SUCCESS
                                                          : NOT_THERE;
    if (status == SUCCESS)
    {
        auto& groups = m_tables.groups;
        groups.erase(std::remove(groups.begin(), groups.end(), group), groups.end());
        EraseScenes(m_tables, [group](const LightScene& scene) { return scene.group == group; });
    }
    Answer(request, false, 0x03, {status, Low(group), High(group)});
}

void ZigbeeLight::RemoveAllGroups(ZclRequest& request)
{
    m_tables.groups.clear();
    EraseScenes(m_tables, [](const LightScene& scene) { return scene.group != 0; });
    DefaultResponse(request, SUCCESS);
}

// ---- Scenes

void ZigbeeLight::OnScenes(ZclRequest& request)
{
    switch (request.Command())
    {
    case 0x00:
        return AddScene(request, false);
    case 0x01:
        return ViewScene(request, false);
    case 0x02:
        return RemoveScene(request);
    case 0x03:
        return RemoveAllScenes(request);
    case 0x04:
        return StoreScene(request);
    case RECALL_SCENE:
        return RecallScene(request);
    case 0x06:
        return GetSceneMembership(request);
    case 0x40:
        return AddScene(request, true);
    case 0x41:
        return ViewScene(request, true);
    case 0x42:
        return CopyScene(request);
    default:
        return DefaultResponse(request, UNSUPPORTED_COMMAND);
    }
}

// Stores a scene in place of the one with its number, or as a new one while there is room.
std::uint8_t ZigbeeLight::Keep(LightScene scene)
{
    if (!m_tables.Serves(scene.group))
        return INVALID_FIELD;
    LightScene* const old = m_tables.Find(scene.group, scene.number);
    if (!old && m_tables.scenes.size() >= SceneTableSize())
        return TABLE_FULL;
    for (const auto& fault : m_faults)
        fault->OnStore(scene, old);
    if (old)
        *old = scene;
    else
        m_tables.scenes.push_back(scene);
    return SUCCESS;
}

void ZigbeeLight::AddScene(ZclRequest& request, bool enhanced)
{
    LightScene scene;
    scene.group = request.U16();
    scene.number = request.U8();
    const std::uint16_t time = request.U16();
    scene.seconds = enhanced ? static_cast<std::uint16_t>(time / TENTHS_PER_SECOND) : time;
    scene.tenths = enhanced ? static_cast<std::uint8_t>(time % TENTHS_PER_SECOND) : std::uint8_t{0};
    request.SkipString();
    while (!request.IsShort() && request.Left() != 0)
    {
        const std::uint16_t cluster = request.U16();
        std::size_t length = request.U8();
        if (length != 0 && (cluster == ON_OFF || cluster == LEVEL_CONTROL))
        {
            (cluster == ON_OFF ? scene.onOff : scene.level) = request.U8();
            --length;
        }
        request.Skip(length);
    }
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const std::uint8_t status = Keep(scene);
    Answer(request, false, request.Command(),
           {status, Low(scene.group), High(scene.group), scene.number});
}

void ZigbeeLight::ViewScene(ZclRequest& request, bool enhanced)
{
    const std::uint16_t group = request.U16();
    const std::uint8_t number = request.U8();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const LightScene* const scene = m_tables.Find(group, number);
    const std::uint8_t status = !m_tables.Serves(group) ? INVALID_FIELD
                                : scene                 ? SUCCESS
                                                        : NOT_THERE;
    std::vector<std::uint8_t> payload = {status, Low(group), High(group), number};
    if (status == SUCCESS)
    {
        // Whole seconds only, unless the enhanced form asks; in tenths as many as fit.
        const unsigned tenths = scene->seconds * unsigned{TENTHS_PER_SECOND} + scene->tenths;
        const auto time =
            enhanced ? static_cast<std::uint16_t>(std::min(tenths, 0xFFFFu)) : scene->seconds;
        payload.push_back(Low(time));
        payload.push_back(High(time));
        payload.push_back(0);
        const auto set = [&payload](std::uint16_t cluster, std::optional<std::uint8_t> value)
        {
            if (value)
                payload.insert(payload.end(), {Low(cluster), High(cluster), 1, *value});
        };
        set(ON_OFF, scene->onOff);
        set(LEVEL_CONTROL, scene->level);
    }
    Answer(request, false, request.Command(), std::move(payload));
}

void ZigbeeLight::RemoveScene(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    const std::uint8_t number = request.U8();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const LightScene* const scene = m_tables.Find(group, number);
    const std::uint8_t status = !m_tables.Serves(group) ? INVALID_FIELD
                                : scene                 ? SUCCESS
                                                        : NOT_THERE;
    if (status == SUCCESS)
        m_tables.scenes.erase(m_tables.scenes.begin() + (scene - m_tables.scenes.data()));
    Answer(request, false, 0x02, {status, Low(group), High(group), number});
}

void ZigbeeLight::RemoveAllScenes(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const bool inGroup = m_tables.Serves(group);
    if (inGroup)
    {
        EraseScenes(m_tables, [group](const LightScene& scene) { return scene.group == group; });
    }
    Answer(request, false, 0x03, {inGroup ? SUCCESS : INVALID_FIELD, Low(group), High(group)});
}

void ZigbeeLight::StoreScene(ZclRequest& request)
{
    LightScene scene;
    scene.group = request.U16();
    scene.number = request.U8();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    // The lamp as it is; an earlier scene keeps its time.
    if (const LightScene* const old = m_tables.Find(scene.group, scene.number))
        scene = *old;
    scene.onOff = m_tables.on ? std::uint8_t{1} : std::uint8_t{0};
    scene.level = m_tables.level;
    const std::uint8_t status = Keep(scene);
    Answer(request, false, 0x04, {status, Low(scene.group), High(scene.group), scene.number});
}

void ZigbeeLight::RecallScene(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    const std::uint8_t number = request.U8();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const LightScene* const scene = m_tables.Find(group, number);
    if (!scene)
        return DefaultResponse(request, NOT_THERE);
    // The stored attributes only: a level alone leaves a dark lamp dark.
    if (scene->onOff)
        m_tables.on = *scene->onOff != 0;
    if (scene->level)
        m_tables.level = *scene->level;
    DefaultResponse(request, SUCCESS);
}

void ZigbeeLight::GetSceneMembership(ZclRequest& request)
{
    const std::uint16_t group = request.U16();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    const bool inGroup = m_tables.Serves(group);
    std::vector<std::uint8_t> payload = {inGroup ? SUCCESS : INVALID_FIELD,
                                         Capacity(SceneTableSize(), m_tables.scenes.size()),
                                         Low(group), High(group)};
    if (inGroup)
    {
        std::vector<std::uint8_t> numbers;
        for (const LightScene& scene : m_tables.scenes)
            if (scene.group == group && numbers.size() < MAX_LISTED)
                numbers.push_back(scene.number);
        payload.push_back(static_cast<std::uint8_t>(numbers.size()));
        payload.insert(payload.end(), numbers.begin(), numbers.end());
    }
    Answer(request, false, 0x06, std::move(payload));
}

void ZigbeeLight::CopyScene(ZclRequest& request)
{
    constexpr std::uint8_t ALL_SCENES = 0x01;
    const std::uint8_t mode = request.U8();
    const std::uint16_t fromGroup = request.U16();
    const std::uint8_t fromNumber = request.U8();
    const std::uint16_t toGroup = request.U16();
    const std::uint8_t toNumber = request.U8();
    if (request.IsShort())
        return DefaultResponse(request, MALFORMED);
    std::uint8_t status = m_tables.Serves(fromGroup) ? NOT_THERE : INVALID_FIELD;
    // A copy, because storing changes the table.
    const std::vector<LightScene> scenes = m_tables.scenes;
    for (const LightScene& scene : scenes)
    {
        const bool all = (mode & ALL_SCENES) != 0;
        if (scene.group != fromGroup || (!all && scene.number != fromNumber))
            continue;
        LightScene copy = scene;
        copy.group = toGroup;
        copy.number = all ? scene.number : toNumber;
        status = Keep(copy);
        if (status != SUCCESS)
            break;
    }
    Answer(request, false, 0x42, {status, Low(fromGroup), High(fromGroup), fromNumber});
}

// ---- answers

std::size_t ZigbeeLight::GroupTableSize() const
{
    std::size_t groups = m_settings.groupTableSize;
    std::size_t scenes = m_settings.sceneTableSize;
    for (const auto& fault : m_faults)
        fault->OnTableSizes(groups, scenes);
    return groups;
}

std::size_t ZigbeeLight::SceneTableSize() const
{
    std::size_t groups = m_settings.groupTableSize;
    std::size_t scenes = m_settings.sceneTableSize;
    for (const auto& fault : m_faults)
        fault->OnTableSizes(groups, scenes);
    return scenes;
}

void ZigbeeLight::DefaultResponse(const ZclRequest& request, std::uint8_t status)
{
    if (status == SUCCESS && !request.WantsDefaultResponse())
        return;
    Answer(request, true, GENERAL_DEFAULT_RESPONSE, {request.Command(), status});
}

void ZigbeeLight::Answer(const ZclRequest& request, bool general, std::uint8_t command,
                         std::vector<std::uint8_t> payload)
{
    wire::ZclFrame frame;
    frame.cluster = request.Cluster();
    frame.endpoint = request.Endpoint();
    frame.bytes.push_back(
        static_cast<std::uint8_t>((general ? FRAME_GENERAL : FRAME_CLUSTER) | FRAME_ANSWER));
    frame.bytes.push_back(request.Sequence());
    frame.bytes.push_back(command);
    frame.bytes.insert(frame.bytes.end(), payload.begin(), payload.end());
    for (auto& leaving : m_faults.Leave(frame, m_settings.answerDelay))
        After(leaving.delay,
              [this, sent = std::move(leaving.message)] { Environment().Send(sent); });
}
} // namespace simulated

#include "lighting_common/AdvSceneManager.h"

#include "lighting_common/IAdvSceneOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/internal/AdvSceneStore.h"
#include "lighting_common/internal/Diagnostics.h"
#include "lighting_common/internal/WhileSet.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"

#include <algorithm>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

using gen3_lights::scenes::AdvSceneElement;
using gen3_lights::scenes::AdvSceneStore;

const unsigned AdvSceneManager::ID_OFFSET = AdvSceneElement::INDEX_SHIFT;

namespace
{
const char* const ADV_SCENE_SOURCE = "lighting_common/AdvSceneManager";
const char* const AGENT_PREFIX = "varnholt_adv_lighting_agent: ()::";
const char* const MEMBER_PREFIX = "lighting_common/AdvSceneMember::";

const std::string ACTIVATE_SCENE = "ACTIVATE_SCENE";
const std::string ROOT_BEGIN = "<static>";
const std::string ROOT_END = "</static>";
const std::string STEP_DELAY = "delay";
const std::string STEP_LEVEL = "level";
const std::string STEP_RATE = "rate";

constexpr std::uint16_t SEQUENCE_MASK = 0x7fff;
// What the request for all elements carries; its meaning is the device's.
constexpr unsigned short GET_ALL_PARAM = 250;
constexpr char RAMP_UP = 1;
constexpr char RAMP_DOWN = 0;

// A scene id as the controller gives it: cut to 16 bits, then widened with its sign. Ids from 32768
// on thus name keys that no element has; deliberate.
unsigned SceneIdOf(const ICmdMessage& message)
{
    return static_cast<unsigned>(static_cast<short>(message.GetParamInt(names::general::SCENE_ID)));
}

unsigned ElementKey(unsigned index, unsigned scene)
{
    return (index << AdvSceneElement::INDEX_SHIFT) | scene;
}

// The key of the next index in the same scene.
unsigned NextIndex(unsigned key)
{
    return ElementKey((key >> AdvSceneElement::INDEX_SHIFT) + 1, key & AdvSceneElement::SCENE_MASK);
}

boost::shared_ptr<NxMIBPacket> Request(const std::string& mib)
{
    return boost::make_shared<NxMIBPacket>(NxMIB::Invoke, mib);
}
} // namespace

// What one "PUSH_SCENE" says of all its elements.
struct AdvSceneManager::Push
{
    unsigned scene;
    bool flash;
    bool fromGroup;
    bool ignoreRamp;
    std::uint16_t count;
};

AdvSceneManager::AdvSceneManager(CmdDispatcher* commands, MibDispatcher* mibs)
    : m_elements(std::make_unique<AdvSceneStore>())
{
    if (commands != nullptr)
        registerCommands(*commands);
    if (mibs != nullptr)
        registerMibs(*mibs);
}

AdvSceneManager::~AdvSceneManager() = default;

void AdvSceneManager::registerCommands(CmdDispatcher& commands)
{
    using namespace boost::placeholders;
    using Handler = void (AdvSceneManager::*)(const ICmdMessage&);
    const auto on = [&](const std::string& name, Handler handler)
    {
        commands.RegisterCmd1(name, boost::bind(handler, this, _1));
    };

    on(names::general::REMOVE_SCENE, &AdvSceneManager::OnCmdRemoveScene);
    on(names::general::PUSH_SCENE, &AdvSceneManager::OnCmdPushScene);
    commands.RegisterCmd0(names::general::ALL_SCENES_PUSHED,
                          boost::bind(&AdvSceneManager::OnCmdAllScenesPushed, this));
    commands.RegisterCmd0(names::general::CLEAR_ALL_SCENES,
                          boost::bind(&AdvSceneManager::OnCmdClearAllScenes, this));
    on(ACTIVATE_SCENE, &AdvSceneManager::OnCmdActivateScene);
    on(names::general::RAMP_SCENE_UP, &AdvSceneManager::OnCmdRampSceneUp);
    on(names::general::RAMP_SCENE_DOWN, &AdvSceneManager::OnCmdRampSceneDown);
    on(names::general::STOP_SCENE_RAMP, &AdvSceneManager::OnCmdStopRamp);
}

void AdvSceneManager::registerMibs(MibDispatcher& mibs)
{
    using namespace boost::placeholders;
    using Response = void (AdvSceneManager::*)(const NxMIBPacket&, const NxMIBPacket*);
    using Trap = void (AdvSceneManager::*)(const NxMIBPacket&);
    const auto onResponse = [&](const std::string& mib, Response handler)
    {
        mibs.RegisterResponse(mib, boost::bind(handler, this, _1, _2));
    };
    const auto onTrap = [&](const std::string& mib, Trap handler)
    {
        mibs.RegisterTrap(mib, boost::bind(handler, this, _1));
    };

    onResponse(names::mib::ALS_SGA, &AdvSceneManager::OnRspGetAll);
    onResponse(names::mib::ALS_SGT, &AdvSceneManager::OnRspGetOne);
    onResponse(names::mib::ALS_SAD, &AdvSceneManager::OnRspSceneAdd);
    onTrap(names::mib::ALS_SGA, &AdvSceneManager::OnTrapGetAll);
    onTrap(names::mib::ALS_SAC, &AdvSceneManager::OnTrapSceneDone);
}

void AdvSceneManager::setOwner(IAdvSceneOwner* owner)
{
    m_owner = owner;
}

void AdvSceneManager::Initialize(unsigned, boost::shared_ptr<nx::XmlNode>) {}

void AdvSceneManager::LateInitialize() {}

// --- the store -----------------------------------------------------------------------------------

AdvSceneElement AdvSceneManager::getElement(unsigned id) const
{
    if (const AdvSceneElement* stored = m_elements->Find(id))
        return *stored;
    AdvSceneElement none;
    none.id = AdvSceneElement::NOT_FOUND;
    return none;
}

bool AdvSceneManager::InScene(unsigned id) const
{
    return std::find(m_sceneIds.begin(), m_sceneIds.end(), id & AdvSceneElement::SCENE_MASK) !=
           m_sceneIds.end();
}

bool AdvSceneManager::IsFlashScene(unsigned id) const
{
    for (unsigned key = id; const AdvSceneElement* stored = m_elements->Find(key);
         key = NextIndex(key))
    {
        if ((stored->flags & AdvSceneElement::FLAG_FLASH) != 0)
            return true;
    }
    return false;
}

const std::vector<unsigned>& AdvSceneManager::GetAllSceneIDs() const
{
    return m_sceneIds;
}

std::uint32_t AdvSceneManager::getCRC() const
{
    return m_elements->Checksum();
}

void AdvSceneManager::displayElement(const AdvSceneElement& element) const
{
    if (!diagnostics::logger.isEnabledFor(log4cplus::DEBUG_LOG_LEVEL))
        return;
    // Level and flags go out as the raw byte, flags as 1 or 0, doubles as a stream prints them; the
    // misspelt word and the label that comes twice are part of the text. All deliberate.
    const auto raw = [](std::uint8_t byte)
    {
        return static_cast<char>(byte);
    };
    const auto number = [](bool flag)
    {
        return flag ? 1 : 0;
    };
    LIGHTING_LOG_LINE(
        DEBUG, ADV_SCENE_SOURCE, 101, AGENT_PREFIX, "displayElement",
        "(): dislpayElement: ", element.id, ", level enabled: ", number(element.levelEnabled),
        ", delay: ", element.delay, ", level rate: ", element.levelRate,
        ", level: ", raw(element.level), ", flags: ", raw(element.flags),
        ", on hardware: ", number(element.onHardware),
        ", color enabled: ", number(element.colorEnabled), ", color rate: ", element.colorRate,
        ", color_x: ", fmt::format("{:g}", element.color.GetX()),
        ", color_y: ", fmt::format("{:g}", element.color.GetY()),
        ", colorPresetID: ", element.colorPresetID, ", colorPresetID: ", element.colorPresetAux);
}

void AdvSceneManager::MarkAllSynced()
{
    m_elements->ForEach(
        [](AdvSceneElement& element)
        {
            element.pushedByController = true;
            element.onHardware = true;
        });
}

// --- requests to the device ----------------------------------------------------------------------

void AdvSceneManager::pushElement(const AdvSceneElement& element) const
{
    const auto packet = Request(names::mib::ALS_SAD);
    packet->AddHexParam<unsigned short>(element.id);
    packet->AddHexParam<int>(static_cast<int>(element.delay));
    packet->AddHexParam<int>(static_cast<int>(element.levelRate));
    packet->AddHexParam<char>(static_cast<char>(element.level));
    packet->AddHexParam<char>(static_cast<char>(element.flags));
    m_owner->SendMIBPacket(packet);
}

void AdvSceneManager::removeElement(unsigned id)
{
    // By key from step to step, because the owner may change the store while it sends.
    for (unsigned key = id; m_elements->Find(key) != nullptr; key = NextIndex(key))
    {
        const auto packet = Request(names::mib::ALS_SRM);
        packet->AddHexParam<int>(static_cast<int>(key));
        m_owner->SendMIBPacket(packet);
        m_elements->Erase(key);
    }
}

void AdvSceneManager::PushAllElements() const
{
    const AdvSceneElement* next = m_elements->First();
    while (next != nullptr)
    {
        const unsigned key = next->id;
        pushElement(*next);
        next = m_elements->Next(key);
    }
}

// --- commands ------------------------------------------------------------------------------------

void AdvSceneManager::OnCmdPushScene(const ICmdMessage& message)
{
    Push push{};
    push.scene = SceneIdOf(message);
    push.flash = message.GetParamBool(names::general::FLASH);
    push.fromGroup = message.GetParamBool(names::general::FROM_GROUP);
    push.ignoreRamp = message.GetParamBool(names::general::IGNORE_RAMP);
    const std::string& elements = message.GetParamString(names::general::ELEMENTS);
    LIGHTING_LOG_LINE(TRACE, ADV_SCENE_SOURCE, 336, MEMBER_PREFIX, "OnCmdPushScene",
                      "(): Incoming element xml: ", elements);

    // The controller sends a bare sequence of nodes; this gives them a root.
    std::string whole;
    whole.reserve(ROOT_BEGIN.size() + elements.size() + ROOT_END.size());
    whole.append(ROOT_BEGIN).append(elements).append(ROOT_END);
    const auto document = nx::CreateXmlDocument(whole);
    if (!settleGroupOrigin(push.scene, push.fromGroup))
        return;
    if (document == nullptr)
        return;

    if (std::find(m_sceneIds.begin(), m_sceneIds.end(), push.scene) == m_sceneIds.end())
        m_sceneIds.push_back(push.scene);
    push.count = static_cast<std::uint16_t>(document->GetRoot()->GetChildCount());
    auto steps = document->GetIterator();
    unsigned index = 0;
    while (const auto step = steps.Next())
        pushChild(push, index++, *step);
}

// Tells the owner when the stored scene came from a load group and the pushed one does not, or the
// other way round. False when that ends the push.
bool AdvSceneManager::settleGroupOrigin(unsigned scene, bool fromGroup)
{
    const AdvSceneElement* first = m_elements->Find(scene);
    if (first == nullptr || first->fromGroup == fromGroup)
        return true;
    if (fromGroup)
    {
        m_owner->ScenePushConflict(scene, "leaving scene, joining as part of group.");
        return true;
    }
    const WhileSet guarded(m_removeGuard);
    m_owner->ScenePushConflict(scene, "already part of scene in a load group.");
    return false;
}

void AdvSceneManager::pushChild(const Push& push, unsigned index, const nx::XmlNode& step)
{
    const bool last = index + 1 == push.count;
    AdvSceneElement element;
    element.delay = static_cast<std::uint32_t>(step.GetChildDataNumber(STEP_DELAY));
    element.level = static_cast<std::uint8_t>(step.GetChildDataNumber(STEP_LEVEL));
    element.levelRate = static_cast<std::uint32_t>(step.GetChildDataNumber(STEP_RATE));
    element.pushedByController = true;
    // Deliberate: only four bits of the index fit, so that a 17th step meets the first one.
    element.id = static_cast<std::uint16_t>(ElementKey(index, push.scene));
    element.fromGroup = push.fromGroup;
    if (index == 0 && push.ignoreRamp)
        element.flags |= AdvSceneElement::FLAG_IGNORE_RAMP;
    element.flags |= AdvSceneElement::FLAG_PUSHED;
    if (m_owner->SceneModeEnabled() && !push.flash)
        element.flags |= AdvSceneElement::FLAG_MODE;
    else if (last && push.flash)
        element.flags |= AdvSceneElement::FLAG_FLASH;
    // What is left of a longer earlier version of the scene goes before the last step is settled.
    if (last)
        removeElement(ElementKey(push.count, push.scene));
    reconcile(element);
}

// Settles a pushed element against the stored one of the same id.
void AdvSceneManager::reconcile(const AdvSceneElement& pushed)
{
    AdvSceneElement* stored = m_elements->Find(pushed.id);
    if (stored != nullptr && stored->SameStep(pushed))
    {
        stored->pushedByController = true;
        if (stored->onHardware && !m_owner->ForceScenePush())
            return;
    }
    else if (stored != nullptr)
    {
        m_elements->Erase(pushed.id);
    }
    storeAndSend(pushed);
}

void AdvSceneManager::storeAndSend(const AdvSceneElement& pushed)
{
    // While a synchronisation runs the element only waits in the store for its end.
    try
    {
        if (m_timerId == 0)
        {
            pushElement(pushed);
            displayElement(pushed);
        }
    }
    catch (...)
    {
        // Not sent, but wanted: the next synchronisation sends it.
        m_elements->Insert(pushed);
        throw;
    }
    // Deliberate: an equal element that is still there stays, with its marks.
    m_elements->Insert(pushed);
}

void AdvSceneManager::OnCmdRemoveScene(const ICmdMessage& message)
{
    // Deliberate: the full number here, not the one cut to 16 bits.
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    if (m_removeGuard)
        return;
    const auto held = std::find(m_sceneIds.begin(), m_sceneIds.end(), scene);
    if (held == m_sceneIds.end())
        return;
    m_sceneIds.erase(held);
    try
    {
        removeElement(scene);
    }
    catch (...)
    {
        // Elements are left: the command can come again.
        m_sceneIds.push_back(scene);
        throw;
    }
}

void AdvSceneManager::OnCmdClearAllScenes()
{
    m_owner->SendMIBPacket(Request(names::mib::ALS_SRA));
    m_elements->Clear();
    // Deliberate: the list of pushed scenes stays.
}

void AdvSceneManager::ClearAllScenes()
{
    OnCmdClearAllScenes();
}

void AdvSceneManager::OnCmdActivateScene(const ICmdMessage& message)
{
    const unsigned scene = SceneIdOf(message);
    if (m_elements->Find(scene) == nullptr)
        return;
    // Of the scene's last element, the one before the first gap.
    unsigned char level = 0;
    for (unsigned key = scene; const AdvSceneElement* stored = m_elements->Find(key);
         key = NextIndex(key))
        level = stored->level;
    if (!m_owner->SceneModeEnabled())
        m_owner->SetSceneLevel(level);
    m_owner->ExecuteScene(scene);
}

void AdvSceneManager::OnCmdRampSceneUp(const ICmdMessage& message)
{
    ramp(message, RAMP_UP);
}

void AdvSceneManager::OnCmdRampSceneDown(const ICmdMessage& message)
{
    ramp(message, RAMP_DOWN);
}

void AdvSceneManager::ramp(const ICmdMessage& message, char direction) const
{
    const unsigned scene = SceneIdOf(message);
    if (m_elements->Find(scene) == nullptr)
        return;
    const auto packet = Request(names::mib::ALS_SSR);
    packet->AddHexParam<unsigned short>(static_cast<unsigned short>(scene));
    packet->AddHexParam<char>(0);
    packet->AddHexParam<int>(message.GetParamInt(names::general::RATE));
    packet->AddHexParam<char>(direction);
    packet->AddHexParam<char>(0);
    m_owner->SendMIBPacket(packet);
}

void AdvSceneManager::OnCmdStopRamp(const ICmdMessage& message)
{
    const unsigned scene = SceneIdOf(message);
    if (m_elements->Find(scene) == nullptr)
        return;
    const auto packet = Request(names::mib::ALS_SKR);
    packet->AddHexParam<unsigned short>(static_cast<unsigned short>(scene));
    m_owner->SendMIBPacket(packet);
    m_owner->SceneRampStopped();
}

// --- replies, traps and the synchronisation ------------------------------------------------------

void AdvSceneManager::Online()
{
    const auto packet = Request(names::mib::ALS_SGA);
    packet->AddHexParam<unsigned short>(GET_ALL_PARAM);
    m_owner->SendMIBPacket(packet);
    m_expectedTrapSeq = 0;
    m_elements->ForEach([](AdvSceneElement& element) { element.onHardware = false; });
    // Deliberate: a timer that an earlier call left running is not killed.
    m_timerId = m_owner->StartSyncTimer();
}

void AdvSceneManager::restartSyncTimer()
{
    m_owner->KillSyncTimer(m_timerId);
    try
    {
        m_timerId = m_owner->StartSyncTimer();
    }
    catch (...)
    {
        // None runs: what is pushed from here on is sent and does not wait for an end.
        m_timerId = 0;
        throw;
    }
}

void AdvSceneManager::OnRspGetAll(const NxMIBPacket&, const NxMIBPacket*)
{
    restartSyncTimer();
}

void AdvSceneManager::OnTrapGetAll(const NxMIBPacket& trap)
{
    short sequence = 0;
    short id = 0;
    if (trap.GetHexParams(sequence, id))
    {
        const auto packet = Request(names::mib::ALS_SGT);
        packet->AddHexParam<unsigned short>(static_cast<unsigned short>(id));
        m_owner->SendMIBPacket(packet);
        if ((sequence & SEQUENCE_MASK) != m_expectedTrapSeq)
            LIGHTING_LOG_LINE(ERROR, ADV_SCENE_SOURCE, 260, "missed trap ",
                              static_cast<short>(m_expectedTrapSeq));
        // Deliberate: 15 bits are compared, all 16 are kept.
        m_expectedTrapSeq = static_cast<std::uint16_t>(sequence + 1);
    }
    restartSyncTimer();
}

void AdvSceneManager::OnRspGetOne(const NxMIBPacket& reply, const NxMIBPacket*)
{
    AdvSceneElement reported;
    reported.onHardware = true;
    // Deliberate: what could not be read keeps its default, and the reply counts all the same.
    reply.GetHexParams(reported.id, reported.delay, reported.levelRate, reported.level,
                       reported.flags);

    AdvSceneElement* stored = m_elements->Find(reported.id);
    if (stored == nullptr)
    {
        displayElement(reported);
        m_elements->Insert(reported);
        if (m_allScenesPushed)
            removeElement(reported.id);
        return;
    }
    if (stored->SameStep(reported))
    {
        stored->onHardware = true;
        displayElement(*stored);
        return;
    }
    const AdvSceneElement wanted = *stored;
    pushElement(wanted);
    displayElement(wanted);
}

void AdvSceneManager::OnRspSceneAdd(const NxMIBPacket& reply, const NxMIBPacket*)
{
    unsigned id = 0;
    if (!reply.GetHexParams(id))
        return;
    if (AdvSceneElement* stored = m_elements->Find(id))
        stored->onHardware = true;
}

void AdvSceneManager::OnTrapSceneDone(const NxMIBPacket& trap)
{
    short id = 0;
    if (!trap.GetHexParams(id))
        return;
    // Deliberate: the level of the very element that is named, not of the scene's last one.
    if (const AdvSceneElement* stored = m_elements->Find(static_cast<unsigned>(id)))
        m_owner->SetSceneLevel(stored->level);
}

void AdvSceneManager::OnCmdAllScenesPushed()
{
    m_allScenesPushed = true;
    const AdvSceneElement* next = m_elements->First();
    while (next != nullptr)
    {
        unsigned key = next->id;
        if (next->onHardware && !next->pushedByController)
        {
            removeElement(key);
            // Deliberate: after a removal the walk goes on behind the first element, which is not
            // examined again.
            const AdvSceneElement* first = m_elements->First();
            if (first == nullptr)
                return;
            key = first->id;
        }
        next = m_elements->Next(key);
    }
}

void AdvSceneManager::OnTimerExpired(ID::Timer, time_t)
{
    m_timerId = 0;
    if (m_allScenesPushed)
        OnCmdAllScenesPushed();
    const AdvSceneElement* next = m_elements->First();
    while (next != nullptr)
    {
        const unsigned key = next->id;
        if (!next->onHardware)
            pushElement(*next);
        next = m_elements->Next(key);
    }
}

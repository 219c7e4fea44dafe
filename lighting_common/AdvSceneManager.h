#pragma once

#include "lighting_common/AdvSceneElement.h"
#include "lighting_common/Export.h"
#include "nxshared/ITimerManagerCallback.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

class CmdDispatcher;
class IAdvSceneOwner;
class ICmdMessage;
class MibDispatcher;
class NxMIBPacket;

namespace gen3_lights
{
namespace scenes
{
class AdvSceneStore;
}
} // namespace gen3_lights
namespace nx
{
class XmlNode;
}

// Advanced scenes of one device: sequences of level steps that the device itself stores and plays.
//
// A driver owns one, calls setOwner, and calls Online whenever its device comes online. Commands of
// the controller change the driver's copy of the elements at once, and become requests to the
// device at once unless a synchronisation runs. A synchronisation (Online until the timer expires)
// reads back what the device holds and repairs the differences. It keeps no timer and talks to no
// device itself: everything outward goes through IAdvSceneOwner. All on the driver's thread.
//
// Ids in commands are cut to signed 16 bits and widened again, save in "REMOVE_SCENE"; an element's
// key is (index << ID_OFFSET) | scene id, of which 16 bits are kept.
class LIGHTING_COMMON_API AdvSceneManager : public ITimerManagerCallback
{
public:
    // Where the index begins in an element's id; the scene id stands below.
    static const unsigned ID_OFFSET;

    // Registers the command handlers and the MIB handlers, those of a null dispatcher excepted.
    // Nothing may be dispatched before setOwner.
    AdvSceneManager(CmdDispatcher* commands, MibDispatcher* mibs);
    AdvSceneManager(const AdvSceneManager&) = delete;
    AdvSceneManager& operator=(const AdvSceneManager&) = delete;

    // Sends nothing and stops no timer: a running one is the driver's to kill.
    ~AdvSceneManager() override;

    // The driver calls this when the timer of StartSyncTimer is due: the device's report is
    // complete. When every scene has been pushed, removes what the controller never pushed. Then
    // sends every element that the device is not known to hold, in key order. Ignores both
    // arguments.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // Whom to call; not owned. Must be set before any command, reply, trap or Online.
    void setOwner(IAdvSceneOwner* owner);

    // Hooks of a driver's start-up; both do nothing.
    void Initialize(unsigned id, boost::shared_ptr<nx::XmlNode> state);
    void LateInitialize();

    // The device came online: asks it for all its elements and forgets what it was known to hold.
    // Starts the timer without killing one that runs.
    void Online();

    // The element with that key, a default one with id AdvSceneElement::NOT_FOUND when there is
    // none.
    gen3_lights::scenes::AdvSceneElement getElement(unsigned id) const;

    // Whether the scene of this scene or element id (its low 12 bits) has been pushed and not
    // removed since. Clearing all scenes does not count as removing.
    bool InScene(unsigned id) const;

    // Whether the element with this key, or one after it in its scene up to the first gap, is a
    // flash step.
    bool IsFlashScene(unsigned id) const;

    // The pushed scenes, in the order in which they were first pushed, each once. Valid as long as
    // the manager; changes with it.
    const std::vector<unsigned>& GetAllSceneIDs() const;

    // CRC-32 over id, delay, rate, level and flags of the elements of scenes 0 to 254, each scene
    // up to its first gap; 0 for none. The device computes the same over its own.
    std::uint32_t getCRC() const;

    // Logs the element at debug level.
    void displayElement(const gen3_lights::scenes::AdvSceneElement& element) const;

    // Sends the element to the device, whatever is stored.
    void pushElement(const gen3_lights::scenes::AdvSceneElement& element) const;

    // Removes the element with that key and those after it in its scene, up to the first gap, from
    // device and store. Nothing when that key is not stored.
    void removeElement(unsigned id);

    // Sends every stored element, in key order.
    void PushAllElements() const;

    // Takes every stored element as pushed by the controller and held by the device. Sends nothing.
    void MarkAllSynced();

    // The "CLEAR_ALL_SCENES" command: removes all elements from device and store. The list of
    // pushed scenes stays.
    void ClearAllScenes();

    // The handlers of the commands, replies and traps that they are named after; the dispatchers
    // call them. The second argument of a reply's handler is not used.
    void OnCmdRemoveScene(const ICmdMessage& message);
    void OnCmdPushScene(const ICmdMessage& message);
    void OnCmdAllScenesPushed();
    void OnCmdClearAllScenes();
    void OnCmdActivateScene(const ICmdMessage& message);
    void OnCmdRampSceneUp(const ICmdMessage& message);
    void OnCmdRampSceneDown(const ICmdMessage& message);
    void OnCmdStopRamp(const ICmdMessage& message);
    void OnRspGetAll(const NxMIBPacket& reply, const NxMIBPacket* request);
    void OnRspGetOne(const NxMIBPacket& reply, const NxMIBPacket* request);
    void OnRspSceneAdd(const NxMIBPacket& reply, const NxMIBPacket* request);
    void OnTrapGetAll(const NxMIBPacket& trap);
    void OnTrapSceneDone(const NxMIBPacket& trap);

private:
    struct Push;

    void registerCommands(CmdDispatcher& commands);
    void registerMibs(MibDispatcher& mibs);
    bool settleGroupOrigin(unsigned scene, bool fromGroup);
    void pushChild(const Push& push, unsigned index, const nx::XmlNode& step);
    void reconcile(const gen3_lights::scenes::AdvSceneElement& pushed);
    void storeAndSend(const gen3_lights::scenes::AdvSceneElement& pushed);
    void ramp(const ICmdMessage& message, char direction) const;
    void restartSyncTimer();

    // 0 when no synchronisation runs.
    std::uint32_t m_timerId = 0;
    // While set, "REMOVE_SCENE" is ignored.
    bool m_removeGuard = false;
    std::uint16_t m_expectedTrapSeq = 0;
    // Once set, never cleared.
    bool m_allScenesPushed = false;
    IAdvSceneOwner* m_owner = nullptr;
    // Never null; its header stays out of what drivers include.
    std::unique_ptr<gen3_lights::scenes::AdvSceneStore> m_elements;
    std::vector<unsigned> m_sceneIds;
};

#pragma once

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "lighting_common/AdvSceneManager.h"
#include "lighting_common/EnergyInfoCollector.h"
#include "lighting_common/IAdvSceneOwner.h"
#include "lighting_common/IEnergyOwner.h"
#include "lighting_common/ILoadGroupOwner.h"
#include "lighting_common/LoadGroupManager.h"
#include "lighting_common/SceneManager.h"

#include <string>

// A wired dimmer that speaks MIB: one load, its scenes, its load groups, its advanced scenes and
// its energy.
//
// What it does itself is little: it owns the library's objects, is the owner that they call, hands
// their packets to the device, and runs their timer. What the load is (on, its power, its fault) it
// is told. Load groups and advanced scenes are not persisted, because the controller pushes them
// again. Lives on the host's thread; the owner operations are virtual so that a driver derived from
// this one can do more in them.
class WiredDimmerDriver : public NxBaseMibDriver,
                          public ILoadGroupOwner,
                          public IAdvSceneOwner,
                          public IEnergyOwner
{
public:
    // Registers every command and MIB handler. `instances` must outlive the driver.
    explicit WiredDimmerDriver(IInstanceManager& instances);
    ~WiredDimmerDriver() override;

    // Reads "sync_timer_ms" from `config`, and scenes and energy from `state`.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // "State" with the children "SceneMap" and "ENERGY_DATA".
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    // Online: writes the group table to the device, then starts a synchronisation of the advanced
    // scenes; each time that it is reported. Offline: nothing.
    void OnMIBDeviceOnlineStatusChanged(DeviceStatus status, const std::string& detail,
                                        const std::string& address) override;

    // Any timer of this driver is a synchronisation timer, also one that a later going online left
    // running; each expiry reaches the advanced scenes.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // What the load is, and how the driver answers the library's questions. Default: off, energy
    // ready, both switches off.
    void SetLoadOn(bool on) { m_loadOn = on; }
    void SetEnergyReady(bool ready) { m_energyReady = ready; }
    void SetSceneMode(bool enabled) { m_sceneMode = enabled; }
    void SetForceScenePush(bool force) { m_forceScenePush = force; }

    // The level that the load was last brought to by a group or a scene, as it was given; 0 at
    // start.
    int GetLevel() const { return m_level; }

    // How long a synchronisation waits for the next report of the device, in milliseconds.
    unsigned SyncTimerMs() const { return m_syncTimerMs; }

    LoadGroupManager& Groups() { return m_groups; }
    const LoadGroupManager& Groups() const { return m_groups; }
    AdvSceneManager& AdvScenes() { return m_advScenes; }
    const AdvSceneManager& AdvScenes() const { return m_advScenes; }
    const SceneManager& Scenes() const { return m_scenes; }
    EnergyInfoCollector& Energy() { return m_energy; }
    const EnergyInfoCollector& Energy() const { return m_energy; }

    // ILoadGroupOwner. The device follows its groups by itself; the driver keeps the level.
    void GroupSyncStarted() override;
    void GroupSyncStopped() override;
    boost::shared_ptr<ICmdMessage> CreateCommand(const std::string& name) override;
    void ForwardCommandToGroup(unsigned group, const ICmdMessage& command) override;
    void GroupSetLevel(unsigned group, int level, int time) override;
    void GroupStartRamp(unsigned group, unsigned rate, bool up) override;
    void GroupStopRamp(unsigned group) override;
    void SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet) override;
    void GroupSceneAdded(unsigned scene, int level, int time) override;
    void GroupSceneModified(unsigned scene, int level, int time) override;
    void GroupSceneRemoved(unsigned scene) override;

    // IAdvSceneOwner. A conflict runs "REMOVE_SCENE" for the scene through this driver's own
    // dispatcher at once.
    void ExecuteScene(unsigned sceneId) override;
    void SetSceneLevel(unsigned char level) override;
    void SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet) override;
    void SceneRampStopped() override;
    void ScenePushConflict(unsigned sceneId, const std::string& reason) override;
    bool ForceScenePush() override;
    bool SceneModeEnabled() override;
    unsigned StartSyncTimer() override;
    void KillSyncTimer(unsigned timerId) override;

    // IEnergyOwner.
    bool IsLoadOn() override;
    bool IsEnergyReady() override;
    void EnergyValueToUI(const std::string& name, int value) override;

private:
    void OnCmdKeepScene(const ICmdMessage& message);
    void OnCmdDeleteFromScene(const ICmdMessage& message);
    void OnCmdResetEnergy();
    void RegisterCommands();

    LoadGroupManager m_groups;
    AdvSceneManager m_advScenes;
    SceneManager m_scenes;
    EnergyInfoCollector m_energy;
    unsigned m_syncTimerMs;
    int m_level = 0;
    bool m_loadOn = false;
    bool m_energyReady = true;
    bool m_sceneMode = false;
    bool m_forceScenePush = false;
};

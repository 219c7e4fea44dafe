#pragma once

#include "NxLibDriverBases/NxBaseDriver.h"
#include "drivers/zigbee_light/AnswerGate.h"
#include "lighting_common/EnergyInfoCollector.h"
#include "lighting_common/IEnergyOwner.h"
#include "lighting_common/LightSceneMember.h"
#include "lighting_common/LightSceneMemberOwner.h"
#include "lighting_common/SceneManager.h"
#include "nxshared/NxTypes.h"

#include <memory>
#include <string>

// The driver of one ZigBee light: the scenes that the light is a member of, and its energy.
//
// The library's LightSceneMember takes the scene commands and synchronises the light's groups and
// scenes. This driver keeps the scenes that the light should hold, over restarts too. It starts a
// synchronisation when the controller asks for one and each time the light comes online. What the
// load is (on, its power, its fault) it is told. Lives on the driver's thread; the owner operations
// are virtual so that a driver derived from this one can do more in them.
class ZigbeeLightDriver : public NxBaseDriver, public LightSceneMemberOwner, public IEnergyOwner
{
public:
    // `instances` must outlive the driver.
    explicit ZigbeeLightDriver(IInstanceManager& instances);
    ~ZigbeeLightDriver() override;

    // Reads "endpoint" and "stall_delay_s" from `config`, scenes and energy from `state`, and
    // registers the scene commands.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // "State" with the children "SceneMap" and "ENERGY_DATA".
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    // Online: the light has joined again and may have forgotten anything, so a synchronisation with
    // the driver's own scenes starts, each time that it is reported. Offline: nothing.
    void OnDeviceOnlineChanged(bool online) override;

    // Who gets the light's answers, for the scene member; null before Initialize.
    IZclListener* GetZclListener() override;

    // Starts a synchronisation with these scenes, or with the driver's own as they are now.
    // `stallDelay` is in seconds (see LightSceneMember). One that runs is aborted first. One with
    // the driver's own scenes is followed by another when they have changed meanwhile. Nothing
    // before Initialize.
    void Synchronize(const SceneDetailsLightMap& wanted, unsigned stallDelay);
    void SynchronizeOwnScenes(unsigned stallDelay);

    // Stops a synchronisation; SynchronizationDone does not come. Nothing before Initialize.
    void AbortSynchronization();

    // What the load is. Default: off, energy ready.
    void SetLoadOn(bool on) { m_loadOn = on; }
    void SetEnergyReady(bool ready) { m_energyReady = ready; }

    // The stall delay of the last synchronisation, in seconds; 0 when there has been none.
    unsigned LastStallDelay() const { return m_lastStallDelay; }

    // The scenes that the light should hold.
    const SceneManager& Scenes() const { return m_scenes; }
    EnergyInfoCollector& Energy() { return m_energy; }
    const EnergyInfoCollector& Energy() const { return m_energy; }

    // LightSceneMemberOwner. SynchronizationDone may come several times for one synchronisation; a
    // derived driver that overrides it calls this one. A scene that the light refused stays wanted,
    // so that the next synchronisation tries again.
    void SendZclMessage(NxZclPacket& packet, unsigned char endpoint) override;
    void SynchronizationDone() override;
    void AddSceneFailed(unsigned scene, unsigned char status, unsigned char endpoint) override;

    // IEnergyOwner.
    bool IsLoadOn() override;
    bool IsEnergyReady() override;
    void EnergyValueToUI(const std::string& name, int value) override;

private:
    void OnCmdKeepScene(const ICmdMessage& message);
    void OnCmdDeleteFromScene(const ICmdMessage& message);
    void OnCmdSynchronize(const ICmdMessage& message);
    void OnCmdResetEnergy();

    SceneDetail InRange(unsigned scene, const SceneDetail& asked) const;
    void BringScenesIntoRange();
    SceneDetailsLightMap OwnScenes() const;
    void Start(SceneDetailsLightMap wanted, unsigned stallDelay, bool own);

    SceneManager m_scenes;
    EnergyInfoCollector m_energy;
    // What the running synchronisation wants. Does not change while it runs, because the member
    // reads it.
    SceneDetailsLightMap m_wanted;
    // Made once the endpoint is known. Goes before the map that it reads.
    std::unique_ptr<LightSceneMember> m_member;
    std::unique_ptr<AnswerGate> m_gate;
    // A synchronisation runs, and it runs with the driver's own scenes.
    bool m_synchronizing = false;
    bool m_withOwnScenes = false;
    // Of the last synchronisation, in seconds.
    unsigned m_lastStallDelay = 0;
    // For a light that came back, in seconds.
    unsigned m_stallDelay;
    bool m_loadOn = false;
    bool m_energyReady = true;
};

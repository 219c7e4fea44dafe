#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/SimulatedDevice.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace simulated
{
class ZclRequest;
class ZigbeeLightFault;

// One scene as a light stores it.
struct LightScene
{
    std::uint16_t group = 0;
    std::uint8_t number = 0;
    // The transition time, whole seconds and tenths apart, as lights keep it.
    std::uint16_t seconds = 0;
    std::uint8_t tenths = 0;
    // The stored attributes; absent when the command did not bring that set.
    std::optional<std::uint8_t> onOff;
    std::optional<std::uint8_t> level;
};

// What is in a light: its tables, in table order, and what the lamp does.
struct LightTables
{
    std::vector<std::uint16_t> groups;
    std::vector<LightScene> scenes;
    bool on = false;
    // 0 to 254.
    std::uint8_t level = 0;

    bool InGroup(std::uint16_t group) const;
    // Whether scenes of the group can be stored: those of group 0, which is no group, always can.
    bool Serves(std::uint16_t group) const;
    // The scene, null when it is not there. Valid until the tables change.
    LightScene* Find(std::uint16_t group, std::uint8_t number);
    const LightScene* Find(std::uint16_t group, std::uint8_t number) const;
};

// A dimmable ZigBee light at the other end of a driver's wire: its Groups and Scenes clusters, the
// read of its scene count, and a lamp that recalls scenes.
//
// Written from the wire: it decodes and encodes frames with code of its own. Answers as most lights
// do, status codes included; each answer leaves a little later than its request came. The tables
// survive a power failure, the answers under way do not. Misbehaviour is added with AddFault, so
// that any light can have any mix of faults, and they can end.
class ZigbeeLight : public SimulatedDevice
{
public:
    struct Settings
    {
        // 0 listens on every endpoint.
        std::uint8_t endpoint = 1;
        std::size_t groupTableSize = 16;
        std::size_t sceneTableSize = 32;
        // From a request to its answer.
        std::chrono::milliseconds answerDelay{15};
    };

    // What a table can hold at most.
    static constexpr unsigned LARGEST_TABLE = 250;

    explicit ZigbeeLight(DeviceEnvironment& environment);
    ZigbeeLight(DeviceEnvironment& environment, const Settings& settings);
    ~ZigbeeLight() override;

    // Adds a fault, which from now on has its say.
    using SimulatedDevice::AddFault;
    void AddFault(std::unique_ptr<ZigbeeLightFault> fault);
    FaultList* GetFaults() override { return &m_faults; }

    const Settings& GetSettings() const { return m_settings; }

    // The light as it is; a test may write to it.
    LightTables& Tables() { return m_tables; }
    const LightTables& Tables() const { return m_tables; }

    // Called for each frame that reaches the light. Frames for other endpoints, and what is no
    // request at all, are ignored.
    void OnZcl(const wire::ZclFrame& frame) override;
    void OnPowerOn() override;

    // Scene number 0 of the group of that id, as a broadcast over the air recalls it.
    void RecallScene(std::uint16_t scene) override;
    // At once: these lights know no ramps.
    void RampToLevel(int level, std::chrono::milliseconds time) override;
    LampLevel PresentLevel() const override;

private:
    void OnGeneral(ZclRequest& request);
    void OnGroups(ZclRequest& request);
    void OnScenes(ZclRequest& request);

    void AddGroup(ZclRequest& request);
    void ViewGroup(ZclRequest& request);
    void GetGroupMembership(ZclRequest& request);
    void RemoveGroup(ZclRequest& request);
    void RemoveAllGroups(ZclRequest& request);

    void AddScene(ZclRequest& request, bool enhanced);
    void ViewScene(ZclRequest& request, bool enhanced);
    void RemoveScene(ZclRequest& request);
    void RemoveAllScenes(ZclRequest& request);
    void StoreScene(ZclRequest& request);
    void RecallScene(ZclRequest& request);
    void GetSceneMembership(ZclRequest& request);
    void CopyScene(ZclRequest& request);
    void ReadAttributes(ZclRequest& request);

    std::uint8_t Keep(LightScene scene);
    std::size_t GroupTableSize() const;
    std::size_t SceneTableSize() const;
    void Answer(const ZclRequest& request, bool general, std::uint8_t command,
                std::vector<std::uint8_t> payload);
    void DefaultResponse(const ZclRequest& request, std::uint8_t status);

    const Settings m_settings;
    LightTables m_tables;
    Faults<ZigbeeLightFault> m_faults;
};
} // namespace simulated

#pragma once

#include "ZigbeeDoubles.h"
#include "embedded_host/Messages.h"
#include "lighting_common/LightSceneMember.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace zigbee_test
{
// One light's member with everything around it written down.
class LightSceneMemberFixture : public testing::Test, public LightSceneMemberOwner
{
protected:
    static constexpr unsigned char ENDPOINT = 7;

    using Lines = std::vector<std::string>;

    LightSceneMemberFixture()
        : member(std::make_unique<LightSceneMember>(*this, timers, dispatcher, ENDPOINT))
    {
    }

    ~LightSceneMemberFixture() override
    {
        member.reset();
        Lines last = record.Take();
        EXPECT_THAT(last, testing::ElementsAre("remove all timers"));
        EXPECT_EQ(timers.Running().size(), 0u);
    }

    // The owner.
    void SendZclMessage(NxZclPacket& packet, unsigned char endpoint) override
    {
        EXPECT_EQ(endpoint, ENDPOINT);
        EXPECT_EQ(packet.GetType(), 0);
        record.Note(RequestText(packet));
        if (onSend)
            onSend();
    }
    void SynchronizationDone() override
    {
        record.Note("done");
        if (onDone)
            onDone();
    }
    void AddSceneFailed(unsigned scene, unsigned char status, unsigned char endpoint) override
    {
        EXPECT_EQ(endpoint, ENDPOINT);
        record.Note("failed " + std::to_string(scene) + " " + std::to_string(status));
    }

    void Want(unsigned scene, int level, int time) { wanted[scene] = {0, level, time}; }
    void Start(unsigned stallDelay) { member->SynchronizeStart({&wanted, stallDelay}); }

    // Runs a synchronisation up to the answer for the highest group; what was sent is not looked
    // at.
    void StartAndReachGroups(unsigned stallDelay, const nx::GroupIdVec& inTheLight)
    {
        Start(stallDelay);
        member->OnZclGroupMembership(inTheLight);
        timers.Expire();
        member->OnZclSceneCount(0);
        timers.Expire();
        record.Take();
    }

    // A command as the controller sends it.
    void Command(const std::string& name,
                 const std::vector<std::pair<std::string, std::string>>& params)
    {
        embedded_host::CmdMessage message(name);
        for (const auto& [param, value] : params)
            message.AddParam(param, "STRING", value);
        dispatcher.Dispatch(message, nullptr, CmdDispatcher::CONTROLLER);
    }

    Lines Happened() { return record.Take(); }

    Record record;
    RecordingHost services{record};
    RecordingTimers timers{record};
    NotingDispatcher dispatcher;
    SceneDetailsLightMap wanted;
    std::function<void()> onSend;
    std::function<void()> onDone;
    std::unique_ptr<LightSceneMember> member;
};
} // namespace zigbee_test

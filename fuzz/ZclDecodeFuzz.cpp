// Any octets as a ZCL frame from a light: the host may refuse them, in words, and must not do harm.
// The same octets go to the simulated light as a request, since it reads what others write too, and
// what it answers must be understood.

#include "embedded_host/ZclCodec.h"
#include "simulated_devices/ZigbeeLight.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>

namespace
{
// A world that delivers nothing and lets callbacks run at once.
class ImpatientWorld : public simulated::DeviceEnvironment
{
public:
    void Send(const wire::MibMessage&) override {}
    void Send(const wire::BusFrame&) override {}
    void Send(const wire::ZclFrame& frame) override
    {
        // What the simulated light sends, the host must understand.
        embedded_host::zcl::Reply reply;
        if (embedded_host::zcl::DecodeReply(frame.cluster, frame.bytes.data(), frame.bytes.size(),
                                            reply))
            std::abort();
    }
    void Schedule(std::uint64_t, std::function<void()> callback) override { callback(); }
    std::uint64_t NowMs() const override { return 0; }
    int Random(int min, int) override { return min; }
    void ReportPerson(const std::string&) override {}
};

// Notes that there was a call.
class CountingListener : public IZclListener
{
public:
    void OnZclSceneMembership(unsigned short, const SceneVec&) override { ++calls; }
    void OnZclViewScene(unsigned, int level, int time) override
    {
        ++calls;
        if (level < -1 || level > 100 || time < 0)
            std::abort();
    }
    void OnZclGroupMembership(const nx::GroupIdVec&) override { ++calls; }
    void OnZclSceneCount(int count) override
    {
        ++calls;
        if (count < 0)
            std::abort();
    }
    void OnAddSceneFailure(unsigned, unsigned char status) override
    {
        ++calls;
        if (status == 0)
            std::abort();
    }

    int calls = 0;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    // The first octet says the cluster; the rest is the frame.
    const auto cluster = static_cast<std::uint16_t>(data[0] % 8);
    embedded_host::zcl::Reply reply;
    const char* const error = embedded_host::zcl::DecodeReply(cluster, data + 1, size - 1, reply);
    CountingListener listener;
    embedded_host::zcl::Deliver(reply, listener);
    // A refused frame leaves the reply silent, and no frame says two things.
    if (listener.calls > (error ? 0 : 1))
        std::abort();

    ImpatientWorld world;
    simulated::ZigbeeLight light(world);
    light.Tables().groups = {1, 5};
    light.OnZcl({cluster, 1, {data + 1, data + size}});
    if (light.Tables().groups.size() > 3 || light.Tables().scenes.size() > 1)
        std::abort();
    return 0;
}

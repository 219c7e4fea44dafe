// Random sequences of what can happen to a queue, against a small model of it.
#include "lighting_common/Bus485Helper.h"
#include "tests/lighting_common/BusDoubles.h"
#include "tests/lighting_common/Gen3Doubles.h"

#include <deque>
#include <string>
#include <vector>

#include <rapidcheck/gtest.h>

namespace
{
enum Kind : int
{
    QUEUE,
    ANSWERED,
    SEND_NEXT,
    SEND_FRONT,
    EXPIRY,
    STRANGE_TIMER,
    DEVICE_OFFLINE,
    GATEWAY_OFFLINE,
    ONLINE,
    RESET,
    INSTANT,
    KINDS,
};

struct Step
{
    int kind;
    int opcode;
    bool payload;
};

void showValue(const Step& step, std::ostream& os)
{
    os << step.kind << "/" << step.opcode << (step.payload ? "+" : "");
}

// What the queue is meant to do, in as few words as possible.
struct Model
{
    std::deque<std::pair<int, bool>> queue;
    bool timer = false;
    int attempts = 0;
    bool gateway = false;
    bool device = false;
    int timesOffline = 0;
    std::vector<std::string> sent;

    static std::string Text(const std::pair<int, bool>& message)
    {
        return bus_test::Message(message.first, message.second ? "qg==" : "");
    }
    static bool Folds(int opcode)
    {
        return opcode == 4368 || opcode == 4736 || opcode == 4800 || opcode == 5056 ||
               opcode == 5312;
    }
    void Send()
    {
        timer = !queue.empty() && gateway && device;
        if (timer)
            sent.push_back(Text(queue.front()));
    }
    void Queue(int opcode, bool payload)
    {
        if (!gateway || !device)
            return;
        if (queue.size() > 1 && queue.back().first == opcode && Folds(opcode))
            queue.pop_back();
        queue.push_back({opcode, payload});
        if (!timer)
            Send();
    }
    void Next()
    {
        timer = false;
        if (queue.empty())
            return;
        queue.pop_front();
        Send();
    }
    void Expire()
    {
        if (!timer)
            return;
        timer = false;
        if (++attempts < 3)
            return Send();
        device = false;
        ++timesOffline;
    }
    void Apply(const Step& step)
    {
        switch (step.kind)
        {
        case QUEUE:
            return Queue(step.opcode, step.payload);
        case ANSWERED:
            attempts = 0;
            return Next();
        case SEND_NEXT:
            return Next();
        case SEND_FRONT:
            return Send();
        case EXPIRY:
            return Expire();
        case DEVICE_OFFLINE:
            device = false;
            return;
        case GATEWAY_OFFLINE:
            gateway = false;
            return;
        case ONLINE:
            gateway = device = true;
            return;
        case RESET:
            queue.clear();
            timer = false;
            attempts = 0;
            return;
        case INSTANT:
            sent.push_back(Text({step.opcode, step.payload}));
            return;
        default:
            return;
        }
    }
};

// The same steps on the real thing.
struct Real
{
    gen3_test::Record record;
    gen3_test::TestHost host{record, embedded_host::Draw::Random};
    bus_test::TestTimers timers;
    bus_test::TestInstances instances{&timers};
    bus_test::RecordingBusOwner owner;
    Bus485Helper helper{instances};
    std::vector<std::string> sent;
    int timesOffline = 0;

    Real()
    {
        host.ExpectSource("lighting_common/Bus485Helper", "Bus485Helper::");
        helper.setOwner(&owner);
    }
    ~Real() { record.Forget(); }

    void Apply(const Step& step)
    {
        const std::uint8_t byte = 0xAA;
        const std::uint8_t* payload = step.payload ? &byte : nullptr;
        switch (step.kind)
        {
        case QUEUE:
            return helper.queueMessage(step.opcode, payload, 1);
        case ANSWERED:
            helper.resetRetryCounter();
            return helper.sendNext();
        case SEND_NEXT:
            return helper.sendNext();
        case SEND_FRONT:
            return helper.sendQueueFront();
        case EXPIRY:
            timers.Expire();
            return;
        case STRANGE_TIMER:
            return helper.OnTimerExpired(helper.getRetryTimer() + 1, 1);
        case DEVICE_OFFLINE:
            return helper.setDeviceOnline(false);
        case GATEWAY_OFFLINE:
            return helper.setGatewayOnline(false);
        case ONLINE:
            helper.setGatewayOnline(true);
            return helper.setDeviceOnline(true);
        case RESET:
            return helper.resetQueue();
        case INSTANT:
            return helper.sendInstant(step.opcode, payload, 1);
        default:
            return;
        }
    }
};

rc::Gen<Step> AnyStep()
{
    // Queueing and going online come often enough that queues fill.
    const auto kind = rc::gen::weightedOneOf<int>({{6, rc::gen::just<int>(QUEUE)},
                                                   {3, rc::gen::just<int>(ONLINE)},
                                                   {3, rc::gen::just<int>(EXPIRY)},
                                                   {6, rc::gen::inRange<int>(0, KINDS)}});
    return rc::gen::construct<Step>(
        kind, rc::gen::element(1, 0x1110, 0x1240, 0x1280, 0x12C0, 0x13C0, 0x14C0, 0x1480),
        rc::gen::arbitrary<bool>());
}
} // namespace

RC_GTEST_PROP(Bus485HelperModel, AnySequence_DoesWhatTheModelDoes, ())
{
    const auto steps = *rc::gen::scale(3.0, rc::gen::container<std::vector<Step>>(AnyStep()));
    Model model;
    Real real;
    for (const Step& step : steps)
    {
        model.Apply(step);
        real.Apply(step);
        for (const std::string& message : real.owner.TakeSent())
            real.sent.push_back(message);
        real.timesOffline += real.owner.TakeTimesOffline();

        RC_ASSERT(real.sent == model.sent);
        RC_ASSERT(real.helper.getQueuedCount() == model.queue.size());
        RC_ASSERT((real.helper.getRetryTimer() != 0) == model.timer);
        RC_ASSERT(real.timers.Running().size() == (model.timer ? 1u : 0u));
        RC_ASSERT(real.helper.getRetryCount() == model.attempts);
        RC_ASSERT(real.helper.isGatewayOnline() == model.gateway);
        RC_ASSERT(real.helper.isDeviceOnline() == model.device);
        RC_ASSERT(real.timesOffline == model.timesOffline);
    }
    // Nothing was reported as broken on the way.
    for (const std::string& line : real.record.Take())
        RC_ASSERT(line.compare(0, 6, "assert") != 0);
}

// The row of the type gen3_keypad, and what its bus messages mean.

#include "drivers/gen3_keypad/Gen3KeypadSettings.h"
#include "drivers/gen3_keypad/KeypadBus.h"
#include "lighting_common/Names.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TrafficWatch.h"
#include "lighting_host/types/gen3_keypad/Gen3Keypad.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "wire/BusFrame.h"

#include <cstdint>
#include <map>

namespace lighting_host
{
namespace
{
using Payload = std::vector<std::uint8_t>;

// What every message to the keypad, and every answer, begins with.
using keypad_bus::NUMBER_SIZE;

unsigned NumberOf(const Payload& payload)
{
    return payload.size() < NUMBER_SIZE ? 0 : payload[0] * 256u + payload[1];
}

Payload ContentOf(const Payload& payload)
{
    return {payload.begin() + NUMBER_SIZE, payload.end()};
}

bool IsUse(const embedded_host::Effect& effect, const HouseFileUse& use)
{
    const auto* const call = std::get_if<embedded_host::OwnerCall>(&effect);
    if (!call || std::string("ReportButtonEvent") != call->operation || use.contact)
        return false;
    const auto* const id = std::get_if<std::int64_t>(&call->arguments[0]);
    const auto* const how = std::get_if<std::int64_t>(&call->arguments[1]);
    return id && how && *id == use.number && *how == use.how;
}

// The same message again is a retry. What the keypad has confirmed and is sent anew is a repair.
class KeypadWatch : public TrafficWatch
{
public:
    Meaning OnSent(const embedded_host::Effect& effect, bool asked) override
    {
        const auto* const sent = std::get_if<embedded_host::GatewaySent>(&effect);
        if (!sent)
            return Meaning::Message;
        Payload payload;
        nx::crypto::base64Decode(sent->command.GetParamString(names::general::PAYLOAD), payload);
        if (payload.size() < NUMBER_SIZE)
            return Meaning::Message;
        if (payload == m_underWay)
            return Meaning::Retry;
        m_underWay = payload;
        m_opcodeUnderWay = sent->command.GetParamInt(names::general::OPCODE);
        const auto confirmed = m_confirmed.find(m_opcodeUnderWay);
        const bool again =
            confirmed != m_confirmed.end() && confirmed->second == ContentOf(payload);
        return again && !asked ? Meaning::Repair : Meaning::Message;
    }

    void OnBus(const wire::BusFrame& frame) override
    {
        const unsigned number = NumberOf(m_underWay);
        if (frame.opcode == keypad_bus::ANSWER && number != 0 && number == NumberOf(frame.payload))
            m_confirmed[m_opcodeUnderWay] = ContentOf(m_underWay);
    }

private:
    // What the keypad has confirmed of the messages of each opcode, without their numbers.
    std::map<int, Payload> m_confirmed;
    // The message that is under way, with its number.
    Payload m_underWay;
    int m_opcodeUnderWay = 0;
};

std::unique_ptr<TrafficWatch> Watch()
{
    return std::make_unique<KeypadWatch>();
}
} // namespace

DriverType Gen3KeypadType()
{
    DriverType type{};
    type.name = "gen3_keypad";
    type.words = "keypad on the bus";
    type.make = &MakeGen3Keypad;
    type.tables = Gen3KeypadTables();
    type.picture = &MakeGen3KeypadPicture;
    type.schema = &gen3_keypad::Settings;
    type.device.name = "bus_keypad";
    type.device.make = &MakeKeypadDevice;
    type.device.watch = &Watch;
    type.isUse = &IsUse;
    return type;
}
} // namespace lighting_host

#include "lighting_host/broker/HouseLamps.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/text/Json.h"

#include <random>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
std::string Hex(const std::vector<std::uint8_t>& bytes)
{
    std::string text;
    for (const std::uint8_t octet : bytes)
        text += fmt::format("{:02x}", octet);
    return text;
}

// No other program has it.
std::string ProgramId()
{
    std::random_device draw;
    return fmt::format("lh{:08x}{:08x}", draw(), draw());
}

RemoteLight* LightOf(const Session& session, const device_wire::AttachedDevice& device)
{
    return AsRemoteLight(session.KindOf(device.Driver()), device.Device());
}
} // namespace

// Between one lamp and its driver.
class HouseLamps::Wire : public RemoteLight::Carrier, public LampListener
{
public:
    Wire(HouseLamps& owner, std::string driver, const LampPlace& place)
        : m_owner(owner), m_driver(std::move(driver)), m_number(owner.m_lamps.Add(place, *this))
    {
    }

    const std::string& Driver() const { return m_driver; }

    void SetLight(RemoteLight* light)
    {
        if (m_light)
            m_light->SetCarrier(nullptr);
        m_light = light;
        if (m_light)
            m_light->SetCarrier(this);
    }

    // To a driver that has been told nothing.
    void TellAll()
    {
        m_told = LampState();
        HandIn({{"online", m_owner.m_lamps.IsOnline(m_number)}});
        LampState known = m_state;
        known.level = m_level;
        OnLampState(known);
    }

    // RemoteLight::Carrier.
    void OnFrameForLamp(const wire::ZclFrame& frame) override
    {
        m_owner.m_lamps.Send(m_number, frame);
    }

    // LampListener.
    void OnLampOnline(bool online) override { HandIn({{"online", online}}); }

    void OnLampFrame(const wire::ZclFrame& frame) override
    {
        HandIn({{"house", "lamp"},
                {"zcl_frame", {{"cluster", frame.cluster}, {"hex", Hex(frame.bytes)}}}});
    }

    // Only what has changed is told. Zigbee2MQTT does not say more with every message.
    void OnLampState(const LampState& state) override
    {
        Json facts = Json::object();
        Take(state.isOn, m_state.isOn, m_told.isOn, "load_on", facts);
        Take(state.watts, m_state.watts, m_told.watts, "power_watts", facts);
        if (!facts.empty())
            HandIn({{"set", std::move(facts)}});
        TellLevel(state);
    }

private:
    template <class Value>
    void Take(const std::optional<Value>& now, std::optional<Value>& known,
              std::optional<Value>& told, const char* fact, Json& facts)
    {
        if (!now)
            return;
        known = now;
        // In the past of the house nobody hears.
        if (!m_light || told == now)
            return;
        told = now;
        facts[fact] = *now;
    }

    // A lamp that is off keeps the level that it will have.
    void TellLevel(const LampState& state)
    {
        if (state.level)
            m_level = *state.level;
        const bool isOn = m_state.isOn.value_or(m_level > 0);
        const std::optional<int> level = isOn ? m_level : 0;
        Json line = {{"house", "lamp"}, {"driver", m_driver}};
        Take(level, m_state.level, m_told.level, "level", line);
        if (line.contains("level"))
            m_owner.m_handIn(line.dump());
    }

    void HandIn(Json&& input)
    {
        if (!m_light)
            return;
        Json line = {{"driver", m_driver}};
        line.update(input);
        m_owner.m_handIn(line.dump());
    }

    HouseLamps& m_owner;
    const std::string m_driver;
    const std::size_t m_number;
    RemoteLight* m_light = nullptr;
    int m_level = 0;
    LampState m_state;
    LampState m_told;
};

HouseLamps::HouseLamps(const BrokerAddress& address, Session& session, MosquittoBroker::Post post,
                       HandIn handIn, SparseComplaints::Sink complain)
    : m_handIn(std::move(handIn)), m_complain(complain), m_broker(address, std::move(post)),
      m_lamps(m_broker, ProgramId(), std::move(complain))
{
    for (const auto& device : session.Devices())
    {
        if (const RemoteLight* const light = LightOf(session, *device))
            m_wires.push_back(
                std::make_unique<Wire>(*this, device->Driver().Config().name, light->Place()));
    }
    Attach(session);
}

HouseLamps::~HouseLamps()
{
    Stop();
}

std::vector<std::string> HouseLamps::DriversIn(const Session& session)
{
    std::vector<std::string> names;
    for (const auto& device : session.Devices())
    {
        if (LightOf(session, *device))
            names.push_back(device->Driver().Config().name);
    }
    return names;
}

void HouseLamps::Attach(Session& session)
{
    for (const auto& device : session.Devices())
    {
        RemoteLight* const light = LightOf(session, *device);
        for (const auto& wire : m_wires)
        {
            if (light && wire->Driver() == device->Driver().Config().name)
                wire->SetLight(light);
        }
    }
}

void HouseLamps::Detach()
{
    // Answers to what another run has asked are nobody's.
    m_lamps.Forget();
    for (const auto& wire : m_wires)
        wire->SetLight(nullptr);
}

void HouseLamps::OnPresent(HouseRun* run)
{
    Detach();
    if (!run)
        return;
    Attach(run->GetSession());
    m_isToTell = m_isStarted;
}

void HouseLamps::Start(std::int64_t nowNs)
{
    m_isStarted = true;
    m_lamps.Start(nowNs);
}

void HouseLamps::Work(std::int64_t nowNs)
{
    if (std::exchange(m_isToTell, false))
    {
        for (const auto& wire : m_wires)
            wire->TellAll();
    }
    m_lamps.Work(nowNs);
}

void HouseLamps::Stop()
{
    m_lamps.Stop();
    Detach();
}
} // namespace lighting_host

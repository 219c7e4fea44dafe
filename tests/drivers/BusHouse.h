#pragma once

#include "device_wire/AttachedDevice.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/Random.h"
#include "simulated_devices/BusGateway.h"
#include "simulated_devices/BusKeypad.h"
#include "tests/drivers/BusText.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace bus_test
{
// A house full of keypad drivers, one gateway, and a line with the keypads on it.
//
// Everything that happens to a message of a driver is handed to the Witness, which is told by the
// library's log: what was queued, dropped, replaced, answered or given up.
class BusHouse : private embedded_host::OutputSink
{
public:
    // What the log of a driver's queue said; `payload` of a queued message is base64.
    struct Witness
    {
        virtual ~Witness() = default;
        virtual void OnQueueing(unsigned device, const std::string& payload) = 0;
        virtual void OnDropped(unsigned device) = 0;
        virtual void OnReplaced(unsigned device) = 0;
        virtual void OnAnswered(unsigned device) = 0;
        virtual void OnGivenUp(unsigned device) = 0;
        // The front was not sent again, since it was too late; OnAnswered follows for it.
        virtual void OnTooLate(unsigned device) = 0;
    };

    explicit BusHouse(std::uint64_t seed = 1)
        : m_random(seed, embedded_host::Draw::Random),
          m_house(new embedded_host::House(m_clock, m_random, *this))
    {
        UseLines(m_line, m_line);
    }
    ~BusHouse() override
    {
        m_house->StopAll();
        m_ports.clear();
    }

    // Other lines than the simulated one, before keypads are added.
    void UseLines(simulated::BusLine& gatewayEnd, simulated::BusLine& deviceEnd)
    {
        m_deviceEnd = &deviceEnd;
        m_gateway = std::make_unique<simulated::BusGateway>(
            gatewayEnd, [this](const wire::BusFrame& frame) { ToDriver(frame); });
    }

    // Adds a keypad and its driver with one button; both run from Start on. Device ids count
    // from 1.
    simulated::BusKeypad& Add()
    {
        const auto id = static_cast<unsigned>(m_ports.size() + 1);
        auto keypad = std::make_unique<simulated::BusKeypad>(Environment(), *m_deviceEnd, id);
        simulated::BusKeypad& added = *keypad;
        embedded_host::DriverConfig config;
        config.name = "kp" + std::to_string(id);
        config.type = "gen3_keypad";
        config.id = id;
        config.create = [](IInstanceManager& instances)
        {
            return new Gen3KeypadDriver(instances);
        };
        auto port = std::make_unique<Port>();
        port->host = m_house->Add(std::move(config));
        port->keypad = std::move(keypad);
        port->wire = std::make_unique<device_wire::AttachedDevice>(*port->host);
        port->wire->Make<GatewayEnd>(*m_gateway);
        m_gateway->AddDevice(id);
        m_ports.push_back(std::move(port));
        return added;
    }

    // The same for a keypad with a fault of that kind.
    simulated::BusKeypad& AddFaulty(const std::string& kind,
                                    const simulated::FaultValues& values = {})
    {
        simulated::BusKeypad& added = Add();
        EXPECT_TRUE(added.AddFault(kind, values)) << kind;
        return added;
    }

    // Makes the drivers and gives gateway and keypads power.
    void Start()
    {
        m_house->StartAll();
        for (unsigned id = 1; id <= m_ports.size(); ++id)
            MakeButton(id);
        m_gateway->SetPower(true);
        for (const auto& port : m_ports)
            port->keypad->OnPowerOn();
    }

    void Advance(std::chrono::milliseconds time) { m_house->Advance(time); }
    std::chrono::milliseconds Now() const { return m_world.Now(); }
    unsigned Count() const { return static_cast<unsigned>(m_ports.size()); }
    Gen3KeypadDriver& Driver(unsigned id)
    {
        return *static_cast<Gen3KeypadDriver*>(m_ports[id - 1]->host->Driver());
    }
    simulated::BusKeypad& Keypad(unsigned id) { return *m_ports[id - 1]->keypad; }
    simulated::BusGateway& Gateway() { return *m_gateway; }
    simulated::SimulatedLine& Line() { return m_line; }
    simulated::DeviceEnvironment& Environment() { return m_world; }
    int Draw(int min, int max) { return m_random.Between(min, max); }

    // The controller shows a colour on the button of a keypad, or clicks it.
    void Show(unsigned id, const std::string& color)
    {
        m_ports[id - 1]->host->CallDriver("a test",
                                          [&] { Driver(id).Button(1)->SetCurColor(color, true); });
    }
    void RemoteClick(unsigned id)
    {
        m_ports[id - 1]->host->CallDriver("a test", [&] { Driver(id).Button(1)->RemoteClick(); });
    }

    // How many messages wait for that keypad, the one in transit among them.
    std::size_t Waiting(unsigned id)
    {
        return Driver(id).Bus().getQueuedCount() + Driver(id).WaitingCount();
    }

    // The driver is destroyed and made anew from its state, as after a restart of its host.
    void RestartDriver(unsigned id) { m_ports[id - 1]->host->Restart(); }

    // The log, as far as it tells of messages; null for nobody.
    Witness* witness = nullptr;

    // What the drivers' assertions said; a run without faults has none.
    std::vector<std::string> asserted;

private:
    // What stands at the other end of each driver's wire: the gateway, which they share.
    class GatewayEnd : public simulated::SimulatedDevice
    {
    public:
        GatewayEnd(simulated::DeviceEnvironment& environment, simulated::BusGateway& gateway)
            : SimulatedDevice(environment), m_gateway(gateway)
        {
        }
        void OnBus(const wire::BusFrame& frame) override { m_gateway.SendToDevice(frame); }

    private:
        simulated::BusGateway& m_gateway;
    };

    // One driver, its wire, and its keypad on the line.
    struct Port
    {
        nx::DriverHost* host = nullptr;
        std::unique_ptr<simulated::BusKeypad> keypad;
        std::unique_ptr<device_wire::AttachedDevice> wire;
    };

    void MakeButton(unsigned id)
    {
        embedded_host::CmdMessage command("NEW_KEYPAD_BUTTON");
        const std::pair<const char*, const char*> params[] = {
            {"BUTTON_ID", "1"},     {"SLOTS", "1"},          {"NAME", "Hall"},
            {"ON_COLOR", "ffffff"}, {"OFF_COLOR", "00ff00"}, {"BUTTON_BEHAVIOR", "3"},
            {"LED_BEHAVIOR", "1"},
        };
        for (const auto& param : params)
            command.AddParam(param.first, "STRING", std::string(param.second));
        m_ports[id - 1]->host->Command(command, 0);
    }

    void ToDriver(const wire::BusFrame& frame)
    {
        if (frame.device == 0 || frame.device > m_ports.size())
            return;
        m_ports[frame.device - 1]->wire->Send(frame);
    }

    void Write(const embedded_host::Output& output) override
    {
        if (const auto* assertion = std::get_if<embedded_host::AssertRecord>(&output.effect))
            asserted.push_back(std::string(assertion->file) + ":" +
                               std::to_string(assertion->line));
        if (const auto* fault = std::get_if<embedded_host::DriverFault>(&output.effect))
            asserted.push_back(fault->what);
        const auto* record = std::get_if<embedded_host::LogRecord>(&output.effect);
        if (record && witness)
            TellWitness(output.driver.Config().id, record->text);
    }

    void TellWitness(unsigned device, const std::string& text)
    {
        const auto says = [&text](const char* piece)
        {
            return text.find(piece) != std::string::npos;
        };
        if (says("(): queing message, opcode: "))
            witness->OnQueueing(device, text.substr(text.find(", payload: ") + 11));
        else if (says("(): Not queing packet"))
            witness->OnDropped(device);
        else if (says("(): Swapping consolidated opcode"))
            witness->OnReplaced(device);
        else if (says("(): is sending next Message"))
            witness->OnAnswered(device);
        else if (says(": a use of a button is not sent again"))
            witness->OnTooLate(device);
        else if (says("(): resetting queue"))
            witness->OnGivenUp(device);
    }

    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random;
    std::unique_ptr<embedded_host::House> m_house;
    device_wire::HouseEnvironment m_world{*m_house};
    simulated::SimulatedLine m_line{m_world};
    simulated::BusLine* m_deviceEnd = nullptr;
    std::unique_ptr<simulated::BusGateway> m_gateway;
    std::vector<std::unique_ptr<Port>> m_ports;
};
} // namespace bus_test

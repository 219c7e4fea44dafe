#pragma once

#include "simulated_devices/BusLine.h"
#include "simulated_devices/Faults.h"

#include <array>
#include <functional>
#include <map>
#include <memory>

namespace simulated
{
class BusKeypadFault;

// A third-generation keypad on an RS-485 line.
//
// Decodes what it gets with code of its own. Keeps its LEDs, backlight and button behaviours only
// as long as it has power. Answers every message for it, a repeated one again. Announces itself
// when it gets power, and from time to time. After it has lost its settings, every announce says so
// until it receives its button behaviours again, because an announce can get lost too. AddFault
// makes it misbehave; faults combine, and they can end.
class BusKeypad : public SimulatedDevice, public BusStation
{
public:
    using Color = std::array<std::uint8_t, 3>;

    struct Led
    {
        std::uint8_t actuator = 0;
        std::uint8_t behavior = 0;
        std::uint8_t blink = 0;
        Color on{};
        Color off{};
    };
    struct Backlight
    {
        bool usual = true;
        Color color{};
    };

    // What the keypad sends: the answer to a message, its announce, and that a button was used.
    static constexpr std::uint16_t ANSWER = 0x9000;
    static constexpr std::uint16_t ANNOUNCE = 0x9010;
    static constexpr std::uint16_t BUTTON_USED = 0x9030;

    static constexpr std::chrono::milliseconds DEFAULT_ANSWER_DELAY{20};
    static constexpr std::chrono::milliseconds ANNOUNCE_INTERVAL = std::chrono::minutes(10);

    // `world` and `line` must outlive the keypad. `address` is its number on the bus.
    BusKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address);
    ~BusKeypad() override;

    // Adds a fault, which is asked from now on.
    using SimulatedDevice::AddFault;
    void AddFault(std::unique_ptr<BusKeypadFault> fault);
    FaultList* GetFaults() override { return &m_faults; }

    // How long an answer takes.
    void SetAnswerDelay(std::chrono::milliseconds time) { m_answerDelay = time; }

    // The keypad gets power: its settings are gone, and its announce says so.
    void OnPowerOn() override;

    // A person uses a button; the world is told. Without power the keypad does not notice. Hold
    // presses, lets the keypad report twice a second that the button is still held, and releases
    // after that time.
    void Press(int button);
    void Release(int button);
    void Click(int button);
    void Hold(int button, std::chrono::milliseconds time);

    // Every number from 0 to LAST_BUTTON is a button.
    static constexpr int LAST_BUTTON = 127;
    bool HasPlace(Place place, int number) const override;
    // What is pressed is reported as held twice a second until it is released.
    void OnTouch(Place place, int number, Touch touch) override;

    void OnLine(const Octets& octets) override;

    // Puts octets on the line, whatever they are.
    void Transmit(Octets octets);

    std::uint32_t Address() const { return m_address; }

    // What the keypad was told.
    const std::map<std::uint8_t, Led>& Leds() const { return m_leds; }
    const std::map<std::uint8_t, Color>& CurrentColors() const { return m_currentColors; }
    const std::map<std::uint8_t, Backlight>& Backlights() const { return m_backlights; }
    const std::map<std::int8_t, std::int32_t>& Behaviors() const { return m_behaviors; }

    // How often it acted as if a button were used.
    unsigned ActionCount() const { return m_actions; }

    // Told the number of each message that reached the keypad, repeated ones too; may be empty.
    std::function<void(std::uint16_t)> onHeard;

private:
    // Sends a frame with the keypad's own address, that much later, as the faults have it.
    void SendFrame(std::uint16_t opcode, Octets payload, std::chrono::milliseconds delay = {});
    void SendAnnounce(bool restarted);
    void Await(const std::shared_ptr<BusKeypadFault>& fault);
    void OnFrame(const wire::BusFrame& frame);
    void Apply(std::uint16_t opcode, const Octets& payload);
    void TellUse(int button, std::uint8_t use);
    void KeepHeld(int button, std::chrono::milliseconds time);
    void StayHeld(int button, unsigned turn);
    void AnnounceLater();

    BusLine& m_line;
    std::uint32_t m_address;
    std::chrono::milliseconds m_answerDelay = DEFAULT_ANSWER_DELAY;
    BusFrameReader m_reader;
    bool m_power = false;
    // Whether it was told something, lost it, and was not told again.
    bool m_hasLost = false;
    std::map<std::uint8_t, Led> m_leds;
    std::map<std::uint8_t, Color> m_currentColors;
    std::map<std::uint8_t, Backlight> m_backlights;
    std::map<std::int8_t, std::int32_t> m_behaviors;
    // Of each button that OnTouch has pressed: which of its presses this is.
    std::map<int, unsigned> m_touched;
    unsigned m_touches = 0;
    unsigned m_actions = 0;
    std::uint16_t m_lastAction = 0;
    Faults<BusKeypadFault> m_faults;
};
} // namespace simulated

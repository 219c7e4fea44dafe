#include "simulated_devices/BusKeypad.h"

#include "simulated_devices/BusKeypadFaults.h"

namespace simulated
{
namespace
{
// What the driver sends. Each begins with the message's number.
constexpr std::uint16_t BACKLIGHT = 0x1110;
constexpr std::uint16_t LED_COLORS = 0x1280;
constexpr std::uint16_t LED_SETUP = 0x12C0;
constexpr std::uint16_t BEHAVIORS = 0x13C0;
constexpr std::uint16_t USE_BUTTON = 0x2110;

// How a button is used.
constexpr std::uint8_t RELEASED = 0;
constexpr std::uint8_t PRESSED = 1;
constexpr std::uint8_t CLICKED = 2;
constexpr std::uint8_t STILL_HELD = 3;
constexpr std::chrono::milliseconds HOLD_REPORT_INTERVAL{500};

// On purpose not that of the driver: the device reads the bus with code of its own.
constexpr std::size_t NUMBER_SIZE = 2;

// Version 3.258.16 with the extension "release", in the announce's extended form.
const Octets ANNOUNCE_PAYLOAD = {5, 0, 0,  0,   0,   0,   0,   0,   0,   3,  1,
                                 2, 0, 16, 'r', 'e', 'l', 'e', 'a', 's', 'e'};

BusKeypad::Color ColorAt(const Octets& payload, std::size_t at)
{
    return {payload[at], payload[at + 1], payload[at + 2]};
}
} // namespace

BusKeypad::BusKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address)
    : SimulatedDevice(world), m_line(line), m_address(address),
      m_reader(
          [this](BusDirection direction, const wire::BusFrame& frame)
          {
              if (direction == BusDirection::ToDevice && frame.device == m_address)
                  OnFrame(frame);
          }),
      m_faults(BusKeypadFaultTable())
{
    m_line.Attach(*this);
    m_faults.onAdded = [this](const std::shared_ptr<BusKeypadFault>& fault)
    {
        if (m_power)
            Await(fault);
    };
}

BusKeypad::~BusKeypad()
{
    m_line.Detach(*this);
}

void BusKeypad::AddFault(std::unique_ptr<BusKeypadFault> fault)
{
    m_faults.Add(std::move(fault));
}

void BusKeypad::OnPowerOn()
{
    CancelPending();
    m_power = true;
    m_hasLost = m_hasLost || !m_behaviors.empty();
    m_leds.clear();
    m_currentColors.clear();
    m_backlights.clear();
    m_behaviors.clear();
    m_lastAction = 0;
    m_touched.clear();
    SendAnnounce(true);
    AnnounceLater();
    for (const auto& fault : m_faults)
        Await(fault);
}

// The fault may restart the keypad, which then waits for all of its faults anew: so the next time
// is asked for first.
void BusKeypad::Await(const std::shared_ptr<BusKeypadFault>& fault)
{
    if (fault->Period().count() == 0)
        return;
    After(fault->Period(),
          [this, waiting = std::weak_ptr<BusKeypadFault>(fault)]
          {
              const std::shared_ptr<BusKeypadFault> due = waiting.lock();
              if (!due)
                  return;
              Await(due);
              due->OnPeriod(*this, Environment());
          });
}

void BusKeypad::AnnounceLater()
{
    After(ANNOUNCE_INTERVAL,
          [this]
          {
              SendAnnounce(m_hasLost);
              AnnounceLater();
          });
}

void BusKeypad::OnLine(const Octets& octets)
{
    if (m_power)
        m_reader.Read(octets.data(), octets.size());
}

void BusKeypad::OnFrame(const wire::BusFrame& frame)
{
    if (frame.payload.size() < NUMBER_SIZE || !m_faults.Hear(frame))
        return;
    const auto number = static_cast<std::uint16_t>(frame.payload[0] << 8 | frame.payload[1]);
    if (onHeard)
        onHeard(number);
    // A state may be told twice; a use of a button must not be repeated.
    if (frame.opcode != USE_BUTTON || number != m_lastAction)
        Apply(frame.opcode, Octets(frame.payload.begin() + NUMBER_SIZE, frame.payload.end()));
    if (frame.opcode == USE_BUTTON)
        m_lastAction = number;
    SendFrame(ANSWER, {frame.payload[0], frame.payload[1]}, m_answerDelay);
}

void BusKeypad::Apply(std::uint16_t opcode, const Octets& payload)
{
    const auto entries = [&payload](std::size_t size)
    {
        return payload.size() / size;
    };
    switch (opcode)
    {
    case BACKLIGHT:
        for (std::size_t i = 0; i < entries(5); ++i)
            m_backlights[payload[5 * i]] = {payload[5 * i + 1] == 0, ColorAt(payload, 5 * i + 2)};
        return;
    case LED_COLORS:
        for (std::size_t i = 0; i < entries(4); ++i)
            m_currentColors[payload[4 * i]] = ColorAt(payload, 4 * i + 1);
        return;
    case LED_SETUP:
        for (std::size_t i = 0; i < entries(10); ++i)
            m_leds[payload[10 * i]] = {payload[10 * i + 1], payload[10 * i + 2],
                                       payload[10 * i + 3], ColorAt(payload, 10 * i + 4),
                                       ColorAt(payload, 10 * i + 7)};
        return;
    case BEHAVIORS:
        m_hasLost = false;
        m_behaviors.clear();
        for (std::size_t i = 0; i < entries(5); ++i)
        {
            std::uint32_t value = 0;
            for (std::size_t k = 1; k < 5; ++k)
                value = value << 8 | payload[5 * i + k];
            m_behaviors[static_cast<std::int8_t>(payload[5 * i])] =
                static_cast<std::int32_t>(value);
        }
        return;
    case USE_BUTTON:
        ++m_actions;
        return;
    default:
        return;
    }
}

void BusKeypad::Press(int button)
{
    Environment().ReportPerson("presses button " + std::to_string(button));
    TellUse(button, PRESSED);
}

void BusKeypad::Release(int button)
{
    Environment().ReportPerson("releases button " + std::to_string(button));
    TellUse(button, RELEASED);
}

void BusKeypad::Click(int button)
{
    Environment().ReportPerson("clicks button " + std::to_string(button));
    TellUse(button, CLICKED);
}

void BusKeypad::Hold(int button, std::chrono::milliseconds time)
{
    Press(button);
    KeepHeld(button, time);
}

void BusKeypad::KeepHeld(int button, std::chrono::milliseconds time)
{
    if (time <= HOLD_REPORT_INTERVAL)
    {
        After(time, [this, button] { Release(button); });
        return;
    }
    After(HOLD_REPORT_INTERVAL,
          [this, button, time]
          {
              TellUse(button, STILL_HELD);
              KeepHeld(button, time - HOLD_REPORT_INTERVAL);
          });
}

bool BusKeypad::HasPlace(Place place, int number) const
{
    return place == Place::Button && number >= 0 && number <= LAST_BUTTON;
}

void BusKeypad::OnTouch(Place, int number, Touch touch)
{
    const bool held = m_touched.count(number) != 0;
    if (touch == Touch::Click)
        return Click(number);
    // Pressing what is pressed and releasing what is not do nothing.
    if (held == (touch == Touch::Press))
        return;
    if (touch == Touch::Release)
    {
        m_touched.erase(number);
        return Release(number);
    }
    m_touched[number] = ++m_touches;
    Press(number);
    StayHeld(number, m_touches);
}

void BusKeypad::StayHeld(int button, unsigned turn)
{
    After(HOLD_REPORT_INTERVAL,
          [this, button, turn]
          {
              const auto touched = m_touched.find(button);
              if (touched == m_touched.end() || touched->second != turn)
                  return;
              TellUse(button, STILL_HELD);
              StayHeld(button, turn);
          });
}

void BusKeypad::TellUse(int button, std::uint8_t use)
{
    if (m_power)
        SendFrame(BUTTON_USED, {static_cast<std::uint8_t>(button), use});
}

void BusKeypad::SendFrame(std::uint16_t opcode, Octets payload, std::chrono::milliseconds delay)
{
    const wire::BusFrame frame{m_address, opcode, std::move(payload)};
    for (const auto& leaving : m_faults.Leave(frame, delay))
    {
        Octets octets = EncodeBusFrame(BusDirection::FromDevice, leaving.message);
        if (leaving.delay.count() == 0)
            Transmit(std::move(octets));
        else
            After(leaving.delay, [this, sent = std::move(octets)] { Transmit(sent); });
    }
}

void BusKeypad::Transmit(Octets octets)
{
    m_line.Transmit(*this, std::move(octets));
}

void BusKeypad::SendAnnounce(bool restarted)
{
    Octets payload = ANNOUNCE_PAYLOAD;
    payload[1] = std::uint8_t{restarted};
    SendFrame(ANNOUNCE, payload);
}
} // namespace simulated

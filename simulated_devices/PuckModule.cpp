#include "simulated_devices/PuckModule.h"

#include "simulated_devices/PuckModuleFaults.h"

#include <algorithm>

namespace simulated
{
namespace
{
using Mib = wire::MibMessage;

// How many digits numbers have on the wire.
constexpr std::size_t BYTE_DIGITS = 2;
constexpr std::size_t WORD_DIGITS = 8;
constexpr std::size_t COLOR_DIGITS = 6;

// What the controller asks when it wants the hold time.
constexpr int HOLD_TIME = 1;

// The load's targets, for people through a button's behaviour and for the controller by number.
constexpr int LOAD_ON = 13;
constexpr int LOAD_OFF = 14;
constexpr int LOAD_OVER = 15;

// Remote actions.
constexpr int REMOTE_RELEASE = 0;
constexpr int REMOTE_CLICK = 2;

// What drives a contact's LED.
constexpr int BY_LOAD = 1;
constexpr int BY_CONTACT = 2;
constexpr int BY_CONTROLLER = 4;

constexpr int FIRST_COLOR_CHANNEL = 3;
constexpr std::size_t COLORS = 3;

// The value of a lower-case digit, -1 for anything else.
int DigitOf(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    return character >= 'a' && character <= 'f' ? character - 'a' + 10 : -1;
}

// The number of exactly so many digits, at most eight; -1 when the text is no such number, or one
// of more than 31 bits.
int Number(const std::string& text, std::size_t digits)
{
    if (text.size() != digits)
        return -1;
    long long number = 0;
    for (const char character : text)
    {
        const int digit = DigitOf(character);
        if (digit < 0)
            return -1;
        number = number * 16 + digit;
    }
    return number > INT32_MAX ? -1 : static_cast<int>(number);
}

bool IsColor(const std::string& text)
{
    return text.size() == COLOR_DIGITS &&
           std::all_of(text.begin(), text.end(), [](char c) { return DigitOf(c) >= 0; });
}

std::string Word(std::uint32_t number)
{
    std::string text(WORD_DIGITS, '0');
    for (std::size_t i = WORD_DIGITS; i > 0; --i, number /= 16)
        text[i - 1] = "0123456789abcdef"[number % 16];
    return text;
}

bool OnlyClicks(int behavior)
{
    return behavior == 4 || behavior == 5;
}

// Which target of the load a push, or in behaviour 4 a click, moves; 0 for none.
int TargetOf(int behavior)
{
    switch (behavior)
    {
    case 0:
        return LOAD_ON;
    case 1:
        return LOAD_OFF;
    case 2:
    case 4:
        return LOAD_OVER;
    default:
        return 0;
    }
}
} // namespace

PuckModule::PuckModule(DeviceEnvironment& environment, unsigned buttons,
                       std::chrono::milliseconds holdInterval)
    : SimulatedDevice(environment),
      m_buttons(std::min<unsigned>(buttons, static_cast<unsigned>(PuckSettings::BUTTONS))),
      m_holdInterval(holdInterval), m_faults(PuckModuleFaultTable())
{
}

PuckModule::~PuckModule() = default;

void PuckModule::AddFault(std::unique_ptr<PuckModuleFault> fault)
{
    m_faults.Add(std::move(fault));
}

// --- What the controller says -------------------------------------------------------------------

void PuckModule::OnMib(const wire::MibMessage& message)
{
    struct Request
    {
        const char* mib;
        int type;
        std::size_t params;
        bool (PuckModule::*handle)(const Params&);
    };
    static const Request REQUESTS[] = {
        {"nx.dmx.bmc", Mib::Query, 1, &PuckModule::TellHoldTime},
        {"nx.dmx.btn", Mib::Set, 3, &PuckModule::KeepButtonSetting},
        {"nx.dmx.led", Mib::Set, 3, &PuckModule::KeepLedSetting},
        {"nx.dmx.rbp", Mib::Invoke, 2, &PuckModule::ActOnLoad},
    };
    if (!m_faults.Hear(message))
        return;
    for (const Request& request : REQUESTS)
    {
        if (message.mib == request.mib && message.type == request.type &&
            message.params.size() == request.params && (this->*request.handle)(message.params))
            return;
    }
    ++m_notUnderstood;
}

bool PuckModule::TellHoldTime(const Params& params)
{
    if (Number(params[0], BYTE_DIGITS) != HOLD_TIME)
        return false;
    After(ANSWER_TIME,
          [this]
          {
              Mib reply;
              reply.type = Mib::Reply;
              reply.mib = "nx.dmx.bmc";
              reply.params = {Word(static_cast<std::uint32_t>(m_holdInterval.count()))};
              Transmit(reply);
          });
    return true;
}

// Contacts go by their device number here, snap-on buttons by their place.
bool PuckModule::KeepButtonSetting(const Params& params)
{
    const int number = Number(params[0], BYTE_DIGITS);
    const int channel = Number(params[1], BYTE_DIGITS);
    if (number < 0 || channel < 0)
        return false;
    if (number < static_cast<int>(m_buttons))
        return KeepOfButton(m_settings.buttons[static_cast<std::size_t>(number)], channel,
                            params[2]);
    const int contact = number - FIRST_CONTACT;
    const int behavior = Number(params[2], BYTE_DIGITS);
    if (contact < 0 || contact >= static_cast<int>(PuckSettings::CONTACTS) || channel != 1 ||
        behavior < 0)
        return false;
    m_settings.contacts[static_cast<std::size_t>(contact)].behavior = behavior;
    return true;
}

bool PuckModule::KeepLedSetting(const Params& params)
{
    const int contact = Number(params[0], BYTE_DIGITS);
    const int channel = Number(params[1], BYTE_DIGITS);
    if (contact < 0 || contact >= static_cast<int>(PuckSettings::CONTACTS) || channel < 0)
        return false;
    return KeepOfContact(m_settings.contacts[static_cast<std::size_t>(contact)], channel,
                         params[2]);
}

bool PuckModule::KeepOfContact(PuckSettings::Contact& contact, int channel,
                               const std::string& value)
{
    const auto place = static_cast<std::size_t>(channel);
    if (channel >= FIRST_COLOR_CHANNEL)
    {
        const std::size_t color = place - FIRST_COLOR_CHANNEL;
        if (color >= COLORS || !IsColor(value))
            return false;
        contact.colors[color] = value;
        return true;
    }
    const int number = Number(value, BYTE_DIGITS);
    if (number < 0)
        return false;
    contact.led[place] = number;
    return true;
}

bool PuckModule::KeepOfButton(PuckSettings::Button& button, int channel, const std::string& value)
{
    if (channel >= FIRST_COLOR_CHANNEL)
    {
        const auto color = static_cast<std::size_t>(channel - FIRST_COLOR_CHANNEL);
        if (color >= COLORS || !IsColor(value))
            return false;
        button.colors[color] = value;
        return true;
    }
    const int number = Number(value, BYTE_DIGITS);
    if (number < 0)
        return false;
    switch (channel)
    {
    case 0:
        button.state = number;
        return true;
    case 1:
        button.behavior = number;
        return true;
    default:
        button.localLed = number != 0;
        return true;
    }
}

bool PuckModule::ActOnLoad(const Params& params)
{
    const int target = Number(params[0], WORD_DIGITS);
    const int action = Number(params[1], WORD_DIGITS);
    if (target < LOAD_ON || target > LOAD_OVER || action < REMOTE_RELEASE || action > REMOTE_CLICK)
        return false;
    if (action != REMOTE_RELEASE)
        MoveLoad(target);
    return true;
}

void PuckModule::MoveLoad(int target)
{
    switch (target)
    {
    case LOAD_ON:
        m_loadOn = true;
        break;
    case LOAD_OFF:
        m_loadOn = false;
        break;
    case LOAD_OVER:
        m_loadOn = !m_loadOn;
        break;
    default: // the button moves no load
        break;
    }
}

// --- What people do -----------------------------------------------------------------------------

void PuckModule::Push(int number)
{
    Pushed* place = Find(number);
    if (!place || place->pushed)
        return;
    place->pushed = true;
    place->held = false;
    const unsigned turn = ++place->pushTurn;
    const int behavior = BehaviorOf(number);
    Tell("pushes", number);
    MoveLoad(TargetOf(behavior));
    if (OnlyClicks(behavior))
    {
        CountClick(number);
        return;
    }
    if (m_holdInterval.count() > 0)
        After(m_holdInterval, [this, number, turn] { ReportHold(number, turn); });
    Trap("nx.dmx.bp", {static_cast<std::uint32_t>(number)});
}

void PuckModule::Release(int number)
{
    Pushed* place = Find(number);
    if (!place || !place->pushed)
        return;
    place->pushed = false;
    ++place->pushTurn;
    const bool held = place->held;
    Tell("releases", number);
    if (OnlyClicks(BehaviorOf(number)))
        return;
    if (held)
        Trap("nx.dmx.he", {static_cast<std::uint32_t>(number)});
    else
        CountClick(number);
}

bool PuckModule::HasPlace(Place place, int number) const
{
    const auto places =
        static_cast<int>(place == Place::Contact ? PuckSettings::CONTACTS : std::size_t{m_buttons});
    return number >= 0 && number < places;
}

void PuckModule::OnTouch(Place place, int number, Touch touch)
{
    const int ours = number + (place == Place::Contact ? FIRST_CONTACT : FIRST_BUTTON);
    switch (touch)
    {
    case Touch::Press:
        return Push(ours);
    case Touch::Release:
        return Release(ours);
    default:
        return Click(ours);
    }
}

void PuckModule::Click(int number, unsigned clicks)
{
    if (clicks == 0 || !Find(number))
        return;
    ClickMore(number, clicks);
}

void PuckModule::ClickMore(int number, unsigned left)
{
    Push(number);
    After(CLICK_TIME,
          [this, number, left]
          {
              Release(number);
              if (left > 1)
                  After(CLICK_TIME, [this, number, left] { ClickMore(number, left - 1); });
          });
}

void PuckModule::Hold(int number, std::chrono::milliseconds time)
{
    Push(number);
    After(time, [this, number] { Release(number); });
}

void PuckModule::ReportHold(int number, unsigned turn)
{
    Pushed& place = *Find(number);
    if (place.pushTurn != turn)
        return;
    const char* mib = place.held ? "nx.dmx.hc" : "nx.dmx.hb";
    place.held = true;
    After(m_holdInterval, [this, number, turn] { ReportHold(number, turn); });
    Trap(mib, {static_cast<std::uint32_t>(number)});
}

void PuckModule::CountClick(int number)
{
    Pushed& place = *Find(number);
    ++place.clicks;
    const unsigned turn = ++place.clickTurn;
    After(CLICKS_TOGETHER, [this, number, turn] { ReportClicks(number, turn); });
    Trap("nx.dmx.sc", {static_cast<std::uint32_t>(number)});
}

void PuckModule::ReportClicks(int number, unsigned turn)
{
    Pushed& place = *Find(number);
    if (place.clickTurn != turn)
        return;
    const unsigned clicks = place.clicks;
    place.clicks = 0;
    Trap("nx.dmx.cc", {static_cast<std::uint32_t>(number), clicks});
}

void PuckModule::LetAPersonPlay(std::chrono::milliseconds shortest,
                                std::chrono::milliseconds longest)
{
    // A person needs some time, and the clock must come to an end of it.
    m_shortestPause = std::max(shortest, std::chrono::milliseconds(1));
    m_longestPause = std::max(longest, m_shortestPause);
    if (m_personIsThere)
        return;
    m_personIsThere = true;
    PersonPlays();
}

void PuckModule::PersonPlays()
{
    constexpr std::chrono::milliseconds LONG_HOLD = std::chrono::seconds(3);
    After(RandomTime(m_shortestPause, m_longestPause),
          [this]
          {
              const int places = static_cast<int>(PuckSettings::CONTACTS + m_buttons);
              const int place = Environment().Random(0, places - 1);
              const int contacts = static_cast<int>(PuckSettings::CONTACTS);
              const int number =
                  place < contacts ? FIRST_CONTACT + place : FIRST_BUTTON + place - contacts;
              const int mood = Environment().Random(0, 3);
              if (mood == 0)
                  Hold(number, LONG_HOLD);
              else
                  Click(number, static_cast<unsigned>(mood));
              PersonPlays();
          });
}

// --- What the module is -------------------------------------------------------------------------

void PuckModule::OnPowerOn()
{
    CancelPending();
    for (Pushed& place : m_places)
        place = Pushed();
    for (const auto& fault : m_faults)
        fault->OnPowerOn(m_settings);
    if (m_personIsThere)
        PersonPlays();
}

bool PuckModule::IsPushed(int number) const
{
    return number >= 0 && number < static_cast<int>(m_places.size()) &&
           m_places[static_cast<std::size_t>(number)].pushed;
}

std::string PuckModule::ContactLed(std::size_t index) const
{
    if (index >= PuckSettings::CONTACTS)
        return std::string();
    const PuckSettings::Contact& contact = m_settings.contacts[index];
    const int source = contact.led[1];
    if (source == BY_CONTROLLER)
        return contact.colors[2];
    const bool on = source == BY_CONTACT ? IsPushed(contact.led[0]) : source == BY_LOAD && m_loadOn;
    return contact.colors[on ? 0 : 1];
}

std::string PuckModule::ButtonLed(std::size_t index) const
{
    if (index >= m_buttons)
        return std::string();
    const PuckSettings::Button& button = m_settings.buttons[index];
    if (!button.localLed)
        return button.colors[2];
    return button.colors[button.state == 1 ? 0 : 1];
}

PuckModule::Pushed* PuckModule::Find(int number)
{
    const bool button =
        number >= FIRST_BUTTON && number < FIRST_BUTTON + static_cast<int>(m_buttons);
    const bool contact = number >= FIRST_CONTACT &&
                         number < FIRST_CONTACT + static_cast<int>(PuckSettings::CONTACTS);
    return button || contact ? &m_places[static_cast<std::size_t>(number)] : nullptr;
}

int PuckModule::BehaviorOf(int number) const
{
    if (number >= FIRST_CONTACT)
        return m_settings.contacts[static_cast<std::size_t>(number - FIRST_CONTACT)].behavior;
    return m_settings.buttons[static_cast<std::size_t>(number - FIRST_BUTTON)].behavior;
}

void PuckModule::Tell(const std::string& what, int number)
{
    Environment().ReportPerson(what + (number >= FIRST_CONTACT
                                           ? " contact " + std::to_string(number - FIRST_CONTACT)
                                           : " button " + std::to_string(number - FIRST_BUTTON)));
}

void PuckModule::Trap(const char* mib, std::vector<std::uint32_t> numbers)
{
    Mib trap;
    trap.type = Mib::Trap;
    trap.mib = mib;
    for (const std::uint32_t number : numbers)
        trap.params.push_back(Word(number));
    Transmit(trap);
}

void PuckModule::Transmit(const wire::MibMessage& message)
{
    for (auto& leaving : m_faults.Leave(message, {}))
    {
        if (leaving.delay.count() == 0)
            Environment().Send(leaving.message);
        else
            After(leaving.delay,
                  [this, sent = std::move(leaving.message)] { Environment().Send(sent); });
    }
}
} // namespace simulated

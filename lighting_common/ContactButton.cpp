#include "lighting_common/ContactButton.h"

#include "lighting_common/Gen3Button.h"
#include "lighting_common/IKeypadButtonOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/internal/AtEnd.h"
#include "nxshared/XmlNode.h"

#include <iterator>
#include <utility>

namespace
{
// The parameter of a button setting that holds the behaviour.
constexpr int BUTTON_CHANNEL_BEHAVIOR = 1;

// The parameters of an LED setting: what drives the LED, on which side, and its colors.
constexpr int LED_CHANNEL_SOURCE = 1;
constexpr int LED_CHANNEL_CONTACT = 0;
constexpr int LED_CHANNEL_LOAD = 2;
constexpr int LED_CHANNEL_ON_COLOR = 3;
constexpr int LED_CHANNEL_OFF_COLOR = 4;
constexpr int LED_CHANNEL_CURRENT = 5;

// What the device is told for each LED behaviour.
struct LedSettings
{
    int source;
    // Whether the LED is tied to the contact's device number; else 0 is sent.
    bool tiedToContact;
    int load;
    bool whiteFirst;
    bool whiteSecond;
};
constexpr LedSettings LED_SETTINGS[] = {
    {2, true, 0, false, true},   // the contact, inverse
    {2, true, 0, true, false},   // the contact
    {1, false, 1, true, false},  // the load
    {1, false, 2, false, true},  // the load, inverse
    {4, false, 0, false, false}, // the controller
};
constexpr int LED_BEHAVIORS = std::size(LED_SETTINGS);

const std::string& ColorOf(bool white)
{
    return white ? Gen3Button::WHITE : Gen3Button::BLACK;
}
} // namespace

ContactButton::ContactButton(int newId, unsigned number, IKeypadButtonOwner& newOwner,
                             boost::shared_ptr<nx::XmlNode> state)
    : PuckButton(newId, puck::MIBS::TYPE_CONTACT, number, newOwner, state),
      ledBehavior(puck::MIBS::LED_LOAD), loadLevel(0), togglePending(false)
{
    eventBase = EVENTS_PER_BUTTON * static_cast<unsigned>(id) + BASE_EVENT_NUM;
    if (!state)
        return;
    ledBehavior = state->GetChildDataNumber(names::puck::AUX_LEDS);
    behavior = state->GetChildDataNumber(names::puck::AUX_BEHAVIOR);
}

ContactButton::~ContactButton() = default;

boost::shared_ptr<nx::XmlNode> ContactButton::GetPersistState() const
{
    boost::shared_ptr<nx::XmlNode> node = nx::CreateXmlNode();
    node->Initialize(names::puck::CONTACT_STATUS, "");
    node->AddChild(names::puck::CONTACT_NUMBER, id);
    node->AddChild(names::puck::AUX_BEHAVIOR, behavior);
    node->AddChild(names::puck::AUX_LEDS, ledBehavior);
    return node;
}

void ContactButton::SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool force)
{
    if (behavior == newBehavior && !force)
        return;
    behavior = newBehavior;
    owner.SetMIBForButton(names::mib::DMX_BTN, DeviceNumber(), BUTTON_CHANNEL_BEHAVIOR, behavior);
}

void ContactButton::SetCurState(puck::MIBS::ButtonState newState, bool force)
{
    if (curState == newState && !force)
        return;
    curState = newState;
    // deliberate: LED requests carry the plain id, button requests the device's number
    owner.SetMIBForButton(names::mib::DMX_LED, id, LED_CHANNEL_CURRENT,
                          ColorOf(curState == puck::MIBS::STATE_ON));
}

void ContactButton::DoPush()
{
    const AtEnd update([this] { UpdateState(); });
    PuckButton::DoPush();
}

void ContactButton::DoClick()
{
    if (togglePending)
    {
        togglePending = false;
        pressed = !pressed;
    }
    const AtEnd update([this] { UpdateState(); });
    PuckButton::DoClick();
}

void ContactButton::DoRelease()
{
    const AtEnd update([this] { UpdateState(); });
    PuckButton::DoRelease();
}

void ContactButton::RemotePush()
{
    if (OnlyClicks())
        return;
    const AtEnd update([this] { UpdateState(); });
    PuckButton::RemotePush();
}

void ContactButton::RemoteRelease()
{
    if (OnlyClicks())
        return;
    const AtEnd update([this] { UpdateState(); });
    PuckButton::RemoteRelease();
}

void ContactButton::RemoteClick()
{
    const bool wasPending = togglePending;
    const bool wasPressed = pressed != 0;
    togglePending = false;
    try
    {
        PuckButton::RemoteClick();
    }
    catch (...)
    {
        // Only what got as far as the pressed flag has reached the device, which will report it.
        const bool asked = wasPressed != (pressed != 0);
        togglePending = OnlyClicks() && wasPending != asked;
        throw;
    }
    if (OnlyClicks())
        togglePending = !wasPending;
}

void ContactButton::SendSettingsToHW()
{
    SetBehavior(behavior, true);
    SetLEDBehavior(ledBehavior, true);
    if (ledBehavior == puck::MIBS::LED_CONTROLLER)
        SetCurState(curState, true);
}

void ContactButton::LightLevel(int level)
{
    loadLevel = level;
    UpdateState();
}

void ContactButton::SetLEDBehavior(puck::MIBS::LEDBehavior newBehavior, bool force)
{
    if (ledBehavior == newBehavior && !force)
        return;
    ledBehavior = newBehavior;
    if (newBehavior < 0 || newBehavior >= LED_BEHAVIORS)
        return;
    const LedSettings& led = LED_SETTINGS[newBehavior];
    const std::string mib = names::mib::DMX_LED;
    owner.SetMIBForButton(mib, id, LED_CHANNEL_SOURCE, led.source);
    owner.SetMIBForButton(mib, id, LED_CHANNEL_CONTACT, led.tiedToContact ? DeviceNumber() : 0);
    owner.SetMIBForButton(mib, id, LED_CHANNEL_LOAD, led.load);
    owner.SetMIBForButton(mib, id, LED_CHANNEL_ON_COLOR, ColorOf(led.whiteFirst));
    owner.SetMIBForButton(mib, id, LED_CHANNEL_OFF_COLOR, ColorOf(led.whiteSecond));
}

void ContactButton::SetStatus(puck::ButtonStatus status)
{
    pressed = status;
    UpdateState();
}

void ContactButton::UpdateState()
{
    switch (ledBehavior)
    {
    case puck::MIBS::LED_CONTACT_INVERSE:
        curState = pressed ? puck::MIBS::STATE_OFF : puck::MIBS::STATE_ON;
        break;
    case puck::MIBS::LED_CONTACT:
        curState = pressed ? puck::MIBS::STATE_ON : puck::MIBS::STATE_OFF;
        break;
    case puck::MIBS::LED_LOAD:
        curState = loadLevel > 0 ? puck::MIBS::STATE_ON : puck::MIBS::STATE_OFF;
        break;
    case puck::MIBS::LED_LOAD_INVERSE:
        // deliberate: exactly 0, so that a negative level is off in both load behaviours
        curState = loadLevel == 0 ? puck::MIBS::STATE_ON : puck::MIBS::STATE_OFF;
        break;
    default: // the controller sets the state
        break;
    }
}

int ContactButton::DeviceNumber() const
{
    return static_cast<int>(static_cast<unsigned>(id) + FIRST_DEVICE_NUMBER);
}

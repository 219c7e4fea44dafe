#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/SimulatedDevice.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace simulated
{
class PuckModuleFault;

// What a puck module is told by its driver and keeps: the settings of its contacts and of the
// buttons that are snapped onto it. A fresh one is as it leaves the factory.
struct PuckSettings
{
    static constexpr std::size_t CONTACTS = 2;
    static constexpr std::size_t BUTTONS = 6;

    struct Contact
    {
        int behavior = 2;
        // Whom the LED is tied to (a device number, 0 for nobody), what drives it (1 the load, 2 a
        // contact, 4 the controller), and how it follows the load.
        std::array<int, 3> led = {0, 1, 1};
        // The LED's colour while what drives it is on, while it is off, and from the controller.
        std::array<std::string, 3> colors = {"ffffff", "000000", "000000"};
    };
    struct Button
    {
        int state = 0;
        int behavior = 2;
        bool localLed = true;
        // The LED's colour in state 1, in any other, and from the controller.
        std::array<std::string, 3> colors = {"b00000", "0000b0", "0000b0"};
    };

    std::array<Contact, CONTACTS> contacts;
    std::array<Button, BUTTONS> buttons;
};

// A puck module in the wall: two contact inputs with an LED each, a load, and up to six snap-on
// buttons.
//
// Written from the wire: it keeps the settings that it is sent, tells its hold time when asked,
// lets the controller act on its load, and reports what people do. A short push is reported as
// push, click and, when no further one follows soon, the number of clicks; a longer one as push,
// hold reports and hold end. A button in behaviour 4 or 5 reports clicks only. Settings survive a
// power failure; a push that was going on does not. What it cannot understand changes nothing and
// is counted. Misbehaviour is added with AddFault, so that a module can have any mix of faults.
class PuckModule : public SimulatedDevice
{
public:
    // From a question to its answer.
    static constexpr std::chrono::milliseconds ANSWER_TIME{10};
    // How long a click of a person lasts, and how soon another must follow to be counted with it.
    static constexpr std::chrono::milliseconds CLICK_TIME{80};
    static constexpr std::chrono::milliseconds CLICKS_TOGETHER{350};

    // The device's numbers of contact 0 and of snap-on button 0.
    static constexpr int FIRST_CONTACT = 7;
    static constexpr int FIRST_BUTTON = 1;

    // `buttons` is how many snap-on buttons are there, at most six. `holdInterval` is the time
    // between two hold reports; 0 is a module that reports no holds.
    PuckModule(DeviceEnvironment& environment, unsigned buttons,
               std::chrono::milliseconds holdInterval = std::chrono::milliseconds(500));
    ~PuckModule() override;

    // Adds a fault, which is asked from now on.
    using SimulatedDevice::AddFault;
    void AddFault(std::unique_ptr<PuckModuleFault> fault);
    FaultList* GetFaults() override { return &m_faults; }

    // What a person does at a contact or button, by its device number; others are ignored. Pushing
    // what is pushed and releasing what is not do nothing.
    void Push(int number);
    void Release(int number);
    // Push and release at once, `clicks` times in quick succession.
    void Click(int number, unsigned clicks = 1);
    // Push, and release after that time.
    void Hold(int number, std::chrono::milliseconds time);

    // Buttons and contacts count from 0.
    bool HasPlace(Place place, int number) const override;
    void OnTouch(Place place, int number, Touch touch) override;

    // Lets a person push, click, double-click or hold something now and then, the pauses being
    // `shortest` to `longest`, a millisecond at least. A second time only the pauses change. Power
    // failures do not keep the person away.
    void LetAPersonPlay(std::chrono::milliseconds shortest, std::chrono::milliseconds longest);

    const PuckSettings& Settings() const { return m_settings; }
    bool LoadIsOn() const { return m_loadOn; }
    bool IsPushed(int number) const;

    // What the LED of a contact (0 or 1) or snap-on button (0 to 5) shows; empty for none.
    std::string ContactLed(std::size_t index) const;
    std::string ButtonLed(std::size_t index) const;

    // How many messages made no sense.
    unsigned NotUnderstood() const { return m_notUnderstood; }

    void OnMib(const wire::MibMessage& message) override;
    void OnPowerOn() override;

private:
    using Params = std::vector<std::string>;

    struct Pushed
    {
        bool pushed = false;
        // Whether a hold was reported since the push.
        bool held = false;
        // Clicks that were not reported as a number yet.
        unsigned clicks = 0;
        // Count what happens here, so that a late callback knows that it is out of date.
        unsigned pushTurn = 0;
        unsigned clickTurn = 0;
    };

    bool TellHoldTime(const Params& params);
    bool KeepButtonSetting(const Params& params);
    bool KeepLedSetting(const Params& params);
    bool ActOnLoad(const Params& params);
    bool KeepOfContact(PuckSettings::Contact& contact, int channel, const std::string& value);
    bool KeepOfButton(PuckSettings::Button& button, int channel, const std::string& value);

    Pushed* Find(int number);
    int BehaviorOf(int number) const;
    void ReportHold(int number, unsigned turn);
    void CountClick(int number);
    void ReportClicks(int number, unsigned turn);
    void ClickMore(int number, unsigned left);
    void MoveLoad(int target);
    void PersonPlays();
    void Tell(const std::string& what, int number);

    void Trap(const char* mib, std::vector<std::uint32_t> numbers);
    void Transmit(const wire::MibMessage& message);

    const unsigned m_buttons;
    const std::chrono::milliseconds m_holdInterval;
    PuckSettings m_settings;
    bool m_loadOn = false;
    unsigned m_notUnderstood = 0;
    // By device number.
    std::array<Pushed, 9> m_places;
    std::chrono::milliseconds m_shortestPause{};
    std::chrono::milliseconds m_longestPause{};
    bool m_personIsThere = false;
    Faults<PuckModuleFault> m_faults;
};
} // namespace simulated

#pragma once

#include "lighting_common/NxBasePuckDriver.h"

#include <memory>
#include <vector>

class SnapOnButton;

// The driver of a puck module: its two contacts, as the base class has them, and up to six buttons
// of a keypad that is snapped onto the module.
//
// Owns its snap-on buttons; the base owns the contacts. Lives on the driver's thread. A snap-on
// button fires events and tells its bound device as a contact does, and keeps its settings over a
// restart; they reach the device only when SnapOnButton::SendSettingsToHW is called.
class PuckDriver : public NxBasePuckDriver
{
public:
    // The most buttons that a snap-on keypad has; more are not made.
    static constexpr unsigned MAX_BUTTONS = 6;

    // `instances` must outlive the driver.
    explicit PuckDriver(IInstanceManager& instances);
    ~PuckDriver() override;

    // Makes the contacts, then as many snap-on buttons as "NUM_BUTTONS" of the configuration says,
    // 0 to MAX_BUTTONS, each from its part of the state if it has one.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // The base's node "State"; with snap-on buttons, "ALL_BUTTONS" stands at its end.
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void OnBindingChanged(unsigned id, const std::string& cls, bool bound, unsigned otherDevice,
                          unsigned otherBinding) override;
    void OnCmdGetProperties(const ICmdMessage& message, ICmdReturn* ret) override;
    void OnCmdRemoteAction(const ICmdMessage& message, ICmdReturn* ret) override;

    // The settings of a contact, which are asked to be persisted at once.
    void OnCmdContactStatus(const ICmdMessage& message, ICmdReturn* ret) override;

    // Asks for the state to be persisted. To be called when a person has changed a setting of a
    // snap-on button: the buttons themselves know nothing of states.
    void SettingsChanged() { RequestPersist(); }

    // The contact or the snap-on button with that index, from 0; null outside the sequence. Valid
    // as long as the driver.
    ContactButton* Contact(unsigned index) const { return FindContact(index); }
    SnapOnButton* SnapOn(unsigned index) const;

    // The load reported a level in percent: every button is told, contacts first.
    void ReportLightLevel(int level);

    // What is known of the device's hold reports: whether it makes them, and the time in
    // milliseconds after which a missing one ends a hold.
    bool HasHoldFeedback() const { return holdFeedback; }
    unsigned HoldTimeMs() const { return holdTimeMs; }

protected:
    PuckButton* FindTrapButton(int number) override;

private:
    std::vector<std::unique_ptr<SnapOnButton>> m_snapOns;
};

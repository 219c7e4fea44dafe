#pragma once

#include "lighting_common/IKeypadButtonOwner.h"
#include "nxshared/IBindMessage.h"
#include "nxshared/XmlNode.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace button_test
{
using Lines = std::vector<std::string>;
inline const Lines NO_LINES;

// An owner that writes down what its buttons ask for, one line each. What was written down and
// never taken fails the test, and so does a hold timer that nobody kills.
class RecordingButtonOwner : public IKeypadButtonOwner
{
public:
    ~RecordingButtonOwner() override
    {
        EXPECT_EQ(m_lines, Lines()) << "asked for and never looked at";
        EXPECT_TRUE(m_running.empty()) << "a hold timer was left running";
    }

    // Whether the device is said to report again and again that a button is held.
    void ReportsHold(bool reports) { m_reportsHold = reports; }

    // Everything asked for since the last time.
    Lines Take()
    {
        Lines taken;
        taken.swap(m_lines);
        return taken;
    }

    // The hold timer is due: it runs no longer.
    void LetTimerFire(unsigned timer) { EXPECT_EQ(m_running.erase(timer), 1u); }

    unsigned AddHoldTimer() override
    {
        m_running.insert(++m_lastTimer);
        Write("start timer " + std::to_string(m_lastTimer));
        return m_lastTimer;
    }
    void KillHoldTimer(unsigned id) override
    {
        EXPECT_NE(id, 0u);
        m_running.erase(id);
        Write("kill timer " + std::to_string(id));
    }
    void FireButtonEvent(unsigned event) override { Write("event " + std::to_string(event)); }
    void SendButtonStatusToUI(boost::shared_ptr<nx::XmlNode> status) override
    {
        Write("ui " + status->ToText());
    }
    bool HasButtonHoldFeedback() override { return m_reportsHold; }
    void SendButtonBoundCall(unsigned binding, const std::string& cmd) override
    {
        Write("call " + std::to_string(binding) + " " + cmd);
    }
    void SendButtonBoundCall(unsigned binding, boost::shared_ptr<IBindMessage>& msg) override
    {
        Write("message " + std::to_string(binding) + " " + msg->GetName());
    }
    void SetMIBForButton(std::string mib, int a, int b, int third) override
    {
        Write("set " + mib + Numbers({a, b, third}));
    }
    void SetMIBForButton(std::string mib, int a, int b, std::string text) override
    {
        Write("set " + mib + Numbers({a, b}) + " '" + text + "'");
    }
    void InvokeMIBForButton(std::string mib, int a, int b) override
    {
        Write("invoke " + mib + Numbers({a, b}));
    }
    void InvokeMIBForButton(std::string mib, int a, int b, int third) override
    {
        Write("invoke " + mib + Numbers({a, b, third}));
    }
    void VariableChanged(unsigned varId, int value) override
    {
        Write("variable" + Numbers({static_cast<int>(varId), value}));
    }
    unsigned GetNextVarID() override { return m_nextVariable++; }
    boost::shared_ptr<IBindMessage> GetBindMessage() override
    {
        ADD_FAILURE() << "no button needs a message of its own";
        return nullptr;
    }

private:
    static std::string Numbers(std::initializer_list<int> numbers)
    {
        std::string text;
        for (const int number : numbers)
            text += " " + std::to_string(number);
        return text;
    }
    void Write(std::string line) { m_lines.push_back(std::move(line)); }

    bool m_reportsHold = false;
    unsigned m_lastTimer = 0;
    unsigned m_nextVariable = 1014;
    std::set<unsigned> m_running;
    Lines m_lines;
};

// A state node with these children.
inline boost::shared_ptr<nx::XmlNode>
StateNode(const std::string& name, const std::vector<std::pair<std::string, std::string>>& children)
{
    boost::shared_ptr<nx::XmlNode> node = nx::CreateXmlNode();
    node->Initialize(name, "");
    for (const auto& child : children)
        node->AddChild(child.first, child.second);
    return node;
}
} // namespace button_test

#pragma once

#include "NxLibDriverBases/NxZclPacket.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_common/LightSceneMemberOwner.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "tests/support/HandTimers.h"
#include "tests/support/LogSwitchedOff.h"
#include "tests/support/Record.h"
#include "tests/support/StandingHost.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace zigbee_test
{
using test_support::Record;

// The host's services around a test: asserts go to the record, log records only when asked for;
// the log is switched off until then.
class RecordingHost : public test_support::StandingHost
{
public:
    explicit RecordingHost(Record& record)
        : StandingHost(embedded_host::Draw::Random), m_record(record)
    {
    }

    void WatchLog() { m_logOff.reset(); }

    void OnAssert(const char* file, int line) override
    {
        m_record.Note(std::string("assert ") + file);
        m_lastAssertLine = line;
    }
    void OnLog(const std::string& text, int level, const std::string& file, int,
               const std::string& function) override
    {
        m_lastLogFile = file;
        m_lastLogFunction = function;
        m_record.Note(log4cplus::getLogLevelManager().toString(level) + " " + text);
    }

    int LastAssertLine() const { return m_lastAssertLine; }
    const std::string& LastLogFile() const { return m_lastLogFile; }
    const std::string& LastLogFunction() const { return m_lastLogFunction; }

private:
    Record& m_record;
    std::optional<test_support::LogSwitchedOff> m_logOff{std::in_place};
    int m_lastAssertLine = 0;
    std::string m_lastLogFile;
    std::string m_lastLogFunction;
};

// The timers of a synchronisation: each runs once and is started by interval and count.
class RecordingTimers : public test_support::HandTimers
{
public:
    explicit RecordingTimers(Record& record) : m_record(record) {}

    using HandTimers::Expire;

    // The timer that was started last runs out.
    void Expire() { Expire(Last()); }

private:
    void OnStarted(const Timer& timer) override
    {
        EXPECT_TRUE(timer.byInterval);
        m_record.Note("timer " + std::to_string(timer.id) + " in " + std::to_string(timer.amount));
    }
    void OnKilled(ID::Timer timer) override
    {
        m_record.Note("kill timer " + std::to_string(timer));
    }
    void OnAllRemoved() override { m_record.Note("remove all timers"); }

    Record& m_record;
};

// Notes which commands are registered, and runs them.
class NotingDispatcher : public CmdDispatcher
{
public:
    void RegisterCmd(const std::string& name, const Handler& handler) override
    {
        m_names.push_back(name);
        m_handlers.push_back(handler);
    }
    void RegisterCmd1(const std::string& name, const Handler1&) override { ADD_FAILURE() << name; }
    void RegisterCmd0(const std::string& name, const Handler0&) override { ADD_FAILURE() << name; }
    void RemoveCmd(const std::string& name) override { ADD_FAILURE() << name; }
    bool Dispatch(const ICmdMessage& message, ICmdReturn* ret, unsigned) override
    {
        for (std::size_t index = 0; index < m_names.size(); ++index)
        {
            if (m_names[index] != message.GetName())
                continue;
            m_handlers[index](message, ret);
            return true;
        }
        return false;
    }

    const std::vector<std::string>& Names() const { return m_names; }

private:
    std::vector<std::string> m_names;
    std::vector<Handler> m_handlers;
};

// The request in the packet, in the host's words, with group, scene, level and time as they apply.
inline std::string RequestText(const NxZclPacket& packet)
{
    const auto* message = dynamic_cast<const embedded_host::HostZclMessage*>(packet.GetMessage());
    if (!message)
        return "nothing";
    const embedded_host::zcl::Request& request = message->Request();
    std::string text = message->Name();
    if (message->HasScene())
        text += " " + std::to_string(request.scene);
    else if (message->HasGroup())
        text += " " + std::to_string(request.group);
    if (message->HasDetails())
        text += " " + std::to_string(request.level) + " " + std::to_string(request.timeMs);
    return text;
}
} // namespace zigbee_test

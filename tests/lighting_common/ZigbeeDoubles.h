#pragma once

#include "NxLibDriverBases/NxZclPacket.h"
#include "embedded_host/Clock.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/Random.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_common/LightSceneMemberOwner.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ITimerManager.h"
#include "tests/support/LogSwitchedOff.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace zigbee_test
{
// What happened, in order. What was noted and never looked at fails the test.
class Journal
{
public:
    ~Journal()
    {
        for (const std::string& line : m_lines)
            ADD_FAILURE() << "never looked at: " << line;
    }

    void Note(std::string line) { m_lines.push_back(std::move(line)); }

    // Everything since the last look.
    std::vector<std::string> Look() { return std::exchange(m_lines, {}); }

private:
    std::vector<std::string> m_lines;
};

// The host's services around a test: asserts go to the journal, log records only when asked for;
// the log is switched off until then.
class JournalServices : public embedded_host::HostServices
{
public:
    explicit JournalServices(Journal& journal) : m_journal(journal), m_scope(*this) {}

    void WatchLog() { m_logOff.reset(); }

    embedded_host::Clock& GetClock() override { return m_clock; }
    embedded_host::Random& GetRandom() override { return m_random; }
    void OnAssert(const char* file, int line) override
    {
        m_journal.Note(std::string("assert ") + file);
        m_lastAssertLine = line;
    }
    void OnLog(const std::string& text, int level, const std::string& file, int,
               const std::string& function) override
    {
        m_lastLogFile = file;
        m_lastLogFunction = function;
        m_journal.Note(log4cplus::getLogLevelManager().toString(level) + " " + text);
    }

    int LastAssertLine() const { return m_lastAssertLine; }
    const std::string& LastLogFile() const { return m_lastLogFile; }
    const std::string& LastLogFunction() const { return m_lastLogFunction; }

private:
    Journal& m_journal;
    std::optional<test_support::LogSwitchedOff> m_logOff{std::in_place};
    int m_lastAssertLine = 0;
    std::string m_lastLogFile;
    std::string m_lastLogFunction;
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    embedded_host::HostScope m_scope;
};

// Timers that run out when the test says so. Ids count from 1.
class HandTimers : public ITimerManager
{
public:
    explicit HandTimers(Journal& journal) : m_journal(journal) {}

    ID::Timer AddTimer(std::uint64_t, unsigned, ITimerManagerCallback*) override
    {
        ADD_FAILURE() << "the other AddTimer is not for this";
        return ++m_lastId;
    }
    ID::Timer AddTimer(unsigned long interval, int reserved, unsigned count,
                       ITimerManagerCallback* callback) override
    {
        EXPECT_EQ(reserved, 0);
        EXPECT_EQ(count, 1u);
        m_running.push_back({++m_lastId, callback});
        m_journal.Note("timer " + std::to_string(m_lastId) + " in " + std::to_string(interval));
        return m_lastId;
    }
    void KillTimer(ID::Timer& timer) override
    {
        if (Remove(timer))
            m_journal.Note("kill timer " + std::to_string(timer));
        timer = 0;
    }
    void RemoveAllTimers(ITimerManagerCallback* callback) override
    {
        m_journal.Note("remove all timers");
        const auto ours = [&](const Outstanding& running)
        {
            return running.callback == callback;
        };
        m_running.erase(std::remove_if(m_running.begin(), m_running.end(), ours), m_running.end());
    }

    // The timer that was started last runs out, or the one with that id.
    void Expire() { Expire(m_lastId); }
    void Expire(ID::Timer timer)
    {
        for (const Outstanding& running : m_running)
        {
            if (running.id != timer)
                continue;
            ITimerManagerCallback* const callback = running.callback;
            Remove(timer);
            callback->OnTimerExpired(timer, 0);
            return;
        }
        ADD_FAILURE() << "timer " << timer << " does not run";
    }

    std::size_t Running() const { return m_running.size(); }

private:
    struct Outstanding
    {
        ID::Timer id;
        ITimerManagerCallback* callback;
    };

    bool Remove(ID::Timer timer)
    {
        const auto same = [&](const Outstanding& running)
        {
            return running.id == timer;
        };
        const auto found = std::find_if(m_running.begin(), m_running.end(), same);
        if (found == m_running.end())
            return false;
        m_running.erase(found);
        return true;
    }

    Journal& m_journal;
    ID::Timer m_lastId = 0;
    std::vector<Outstanding> m_running;
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

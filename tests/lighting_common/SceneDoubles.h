#pragma once

#include "embedded_host/LibraryLog.h"
#include "embedded_host/Messages.h"
#include "embedded_host/internal/Dispatchers.h"
#include "nxshared/NxMIBPacket.h"
#include "tests/support/Record.h"
#include "tests/support/StandingHost.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

// What the scene and group classes do to the world around them, as lines of text in the order in
// which it happened, and the dispatchers through which the world reaches them.
namespace scene_test
{
using test_support::Lines;
using test_support::Record;
using Params = std::vector<std::pair<std::string, std::string>>;

struct LogLine
{
    std::string text;
    int level;
    std::string file;
    int line;
    std::string function;
};

// A packet with these parameters as they stand.
inline NxMIBPacket Packet(NxMIB::Type type, const std::string& mib, const Lines& params)
{
    NxMIBPacket packet(type, mib);
    for (const std::string& param : params)
        packet.AddParam(param);
    return packet;
}

// The host on whose behalf the tests run: keeps log records of its level and above; a warning, an
// error or an assertion that a test never looks at fails it.
class TestHost : public test_support::StandingHost, private embedded_host::UnhandledSink
{
public:
    TestHost() : m_commands(*this) { embedded_host::ConnectLibraryLog(log4cplus::WARN_LOG_LEVEL); }
    ~TestHost() override
    {
        for (const LogLine& record : m_log)
            EXPECT_LT(record.level, log4cplus::WARN_LOG_LEVEL)
                << "never looked at: " << record.text;
        EXPECT_EQ(m_asserts, 0);
    }

    CmdDispatcher& Commands() { return m_commands; }
    MibDispatcher& Mibs() { return m_mibs; }

    // False when nobody handles that command.
    bool Command(const std::string& name, const Params& params = {})
    {
        embedded_host::CmdMessage message(name);
        for (const auto& param : params)
            message.AddParam(param.first, "STRING", param.second);
        return m_commands.Dispatch(message, nullptr, CmdDispatcher::CONTROLLER);
    }
    bool Trap(const std::string& mib, const Lines& params)
    {
        return m_mibs.DispatchTrap(Packet(NxMIB::Trap, mib, params));
    }
    bool Reply(const std::string& mib, const Lines& params, const NxMIBPacket* request = nullptr)
    {
        return m_mibs.DispatchResponse(Packet(NxMIB::Reply, mib, params), request);
    }

    // The log from `level` on; what was kept before is dropped.
    void LogFrom(int level)
    {
        embedded_host::ConnectLibraryLog(level);
        m_log.clear();
    }
    std::vector<LogLine> TakeLog()
    {
        std::vector<LogLine> taken;
        taken.swap(m_log);
        return taken;
    }
    // The texts only, without the lines of stack traces.
    Lines TakeLogTexts()
    {
        Lines texts;
        for (const LogLine& record : TakeLog())
            if (record.text.find("# ") > 2)
                texts.push_back(record.text);
        return texts;
    }

    void OnAssert(const char*, int) override { ++m_asserts; }
    void OnLog(const std::string& text, int level, const std::string& file, int line,
               const std::string& function) override
    {
        m_log.push_back({text, level, file, line, function});
    }

private:
    void OnUnhandled(const std::string&) override {}

    embedded_host::CmdTable m_commands;
    embedded_host::MibTable m_mibs;
    std::vector<LogLine> m_log;
    int m_asserts = 0;
};
} // namespace scene_test

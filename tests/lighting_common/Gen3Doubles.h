#pragma once

#include "embedded_host/Messages.h"
#include "lighting_common/Gen3Button.h"
#include "lighting_common/IGen3ButtonOwner.h"
#include "tests/support/Record.h"
#include "tests/support/StandingHost.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace gen3_test
{
using test_support::Lines;
using test_support::Record;

// A host whose log and assertions go to the record: "WARN text", "assert source:line".
class TestHost : public test_support::StandingHost
{
public:
    explicit TestHost(Record& record, embedded_host::Draw draw = embedded_host::Draw::Low)
        : StandingHost(draw), m_record(record)
    {
    }

    // The source and function that every record must carry from now on.
    void ExpectSource(const std::string& file, const std::string& functionPart)
    {
        m_file = file;
        m_function = WithoutBlanks(functionPart);
    }

    void OnAssert(const char* file, int line) override
    {
        m_record.Note("assert " + std::string(file) + ":" + std::to_string(line));
    }
    void OnLog(const std::string& text, int level, const std::string& file, int,
               const std::string& function) override
    {
        EXPECT_EQ(file, m_file);
        EXPECT_THAT(WithoutBlanks(function), testing::HasSubstr(m_function));
        m_record.Note(log4cplus::getLogLevelManager().toString(level) + " " + text);
    }

private:
    // Compilers write the same signature with other blanks.
    static std::string WithoutBlanks(std::string text)
    {
        text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
        return text;
    }

    Record& m_record;
    std::string m_file;
    std::string m_function;
};

// A keypad driver that notes every call. Timer ids count from 1.
class RecordingOwner : public IGen3ButtonOwner
{
public:
    explicit RecordingOwner(Record& record) : m_record(record) {}

    bool usesHoldTimer = true;
    bool tracksLeds = false;

    ID::Timer StartButtonTimer() override
    {
        m_record.Note("start timer " + std::to_string(++m_lastTimer));
        return m_lastTimer;
    }
    void KillButtonTimer(ID::Timer timer) override
    {
        m_record.Note("kill timer " + std::to_string(timer));
    }
    bool UsesHoldTimer() override
    {
        m_record.Note("uses hold timer?");
        return usesHoldTimer;
    }
    void SendButtonAction(int id, int action, int behavior) override
    {
        NoteAll("action", id, action, behavior);
    }
    void OnButtonBehaviorChanged(Gen3Button* button, int behavior) override
    {
        NoteAll("behavior of", button->GetBtnIndex(), behavior);
    }
    void SetLedParam(int led, int parameter, int value) override
    {
        NoteAll("led", led, parameter, value);
    }
    void SetLedColor(int led, int parameter, const std::string& color) override
    {
        NoteAll("led", led, parameter, color);
    }
    void SetBacklightDefault(int index) override { NoteAll("backlight", index, "default"); }
    void SetBacklightColor(int index, const std::string& color) override
    {
        NoteAll("backlight", index, color);
    }
    void OnRemoteClick(int id, int count) override { NoteAll("remote click", id, count); }
    void SendButtonNotification(int id, const std::string& group, const std::string& item,
                                int value) override
    {
        NoteAll("notify", id, group, item, value);
    }
    void SendButtonTextNotification(int id, const std::string& group, const std::string& item,
                                    const std::string& text) override
    {
        NoteAll("notify text", id, group, item, text);
    }
    void ReportButtonEvent(int id, int event) override { NoteAll("event", id, event); }
    bool IsLedTrackingDevice() override
    {
        m_record.Note("tracks leds?");
        return tracksLeds;
    }

private:
    static std::string Text(int value) { return std::to_string(value); }
    static std::string Text(const std::string& value) { return value; }

    template <class... Parts>
    void NoteAll(const std::string& what, const Parts&... parts)
    {
        std::string line = what;
        ((line += " " + Text(parts)), ...);
        m_record.Note(line);
    }

    Record& m_record;
    ID::Timer m_lastTimer = 0;
};

// A command with text parameters.
inline embedded_host::CmdMessage
Command(std::initializer_list<std::pair<const char*, const char*>> params)
{
    embedded_host::CmdMessage message("KEYPAD_BUTTON_INFO");
    for (const auto& param : params)
        message.AddParam(param.first, "STRING", std::string(param.second));
    return message;
}

// A button with its recorded owner. The calls of making it are forgotten.
class ButtonTest : public testing::Test
{
protected:
    ButtonTest() { host.ExpectSource("lighting_common/Gen3Button", "Gen3Button::"); }

    // A button as NEW_KEYPAD_BUTTON makes it: on colour ffffff, off colour 000000, behaviour 3.
    void Given(const char* id, const char* slots, const char* ledBehavior,
               const char* name = "Kitchen")
    {
        button = std::make_unique<Gen3Button>(owner, Command({{"BUTTON_ID", id},
                                                              {"SLOTS", slots},
                                                              {"NAME", name},
                                                              {"ON_COLOR", "ffffff"},
                                                              {"OFF_COLOR", "000000"},
                                                              {"BUTTON_BEHAVIOR", "3"},
                                                              {"LED_BEHAVIOR", ledBehavior}}));
        record.Forget();
    }

    void Settings(std::initializer_list<std::pair<const char*, const char*>> params)
    {
        button->applySettings(Command(params));
    }

    Lines Seen() { return record.Take(); }

    Record record;
    TestHost host{record};
    RecordingOwner owner{record};
    std::unique_ptr<Gen3Button> button;
};
} // namespace gen3_test

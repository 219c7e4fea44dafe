#pragma once

#include "nxshared/ITimerManager.h"
#include "nxshared/IVariableManager.h"

#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What the energy classes do to the world around them, as lines of text in the order in which it
// happened. A line that a test never looks at fails it.
namespace energy_test
{
using Lines = std::vector<std::string>;

class Record
{
public:
    ~Record() { EXPECT_THAT(m_lines, testing::IsEmpty()) << "never looked at"; }

    void Note(const std::string& line) { m_lines.push_back(line); }

    // Everything since the last call.
    Lines Take()
    {
        Lines taken;
        taken.swap(m_lines);
        return taken;
    }

private:
    Lines m_lines;
};

// How the doubles below write what they were asked.
inline std::string Added(unsigned device, unsigned id, const std::string& name, int value)
{
    return "device " + std::to_string(device) + " adds " + std::to_string(id) + " " + name + " = " +
           std::to_string(value) + ", type 2, flags 0 1 0";
}
inline std::string Set(unsigned id, int value, unsigned device = 7)
{
    const std::string number = std::to_string(device);
    return "device " + number + " sets " + std::to_string(id) + " = " + std::to_string(value) +
           ", source " + number + ", notify 1";
}
inline std::string Ui(const std::string& name, int value)
{
    return "ui " + name + " " + std::to_string(value);
}
inline std::string Started(unsigned long long amount, unsigned unit)
{
    return "starts " + std::to_string(amount) + " unit " + std::to_string(unit);
}

// A variable manager that agrees to everything, or refuses everything.
class RecordingVariables : public nx::IVariableManager
{
public:
    explicit RecordingVariables(Record& record) : m_record(record) {}

    void RefuseAll() { m_answer = -1; }

    int AddVariable(unsigned device, unsigned id, const std::string& name, unsigned type,
                    const std::string& value, int hidden, int readOnly, int reserved) override
    {
        m_record.Note("device " + std::to_string(device) + " adds " + std::to_string(id) + " " +
                      name + " = " + value + ", type " + std::to_string(type) + ", flags " +
                      std::to_string(hidden) + " " + std::to_string(readOnly) + " " +
                      std::to_string(reserved));
        return m_answer;
    }
    int SetVariable(unsigned device, unsigned id, const std::string& value, unsigned source,
                    int notify) override
    {
        m_record.Note("device " + std::to_string(device) + " sets " + std::to_string(id) + " = " +
                      value + ", source " + std::to_string(source) + ", notify " +
                      std::to_string(notify));
        return m_answer;
    }
    int RemoveVariable(unsigned, unsigned id) override
    {
        m_record.Note("removes " + std::to_string(id));
        return m_answer;
    }

private:
    Record& m_record;
    int m_answer = 0;
};

// Timers that never fire by themselves: the test plays the clock. Ids count up from 1.
class RecordingTimers : public ITimerManager
{
public:
    explicit RecordingTimers(Record& record) : m_record(record) {}

    ID::Timer AddTimer(std::uint64_t amount, unsigned unit,
                       ITimerManagerCallback* callback) override
    {
        m_record.Note(Started(amount, unit));
        m_running[++m_last] = callback;
        return m_last;
    }
    ID::Timer AddTimer(unsigned long, int, unsigned, ITimerManagerCallback*) override
    {
        m_record.Note("starts a timer by interval and count");
        return ++m_last;
    }
    void KillTimer(ID::Timer& timer) override
    {
        m_running.erase(timer);
        timer = 0;
    }
    void RemoveAllTimers(ITimerManagerCallback* callback) override
    {
        for (auto timer = m_running.begin(); timer != m_running.end();)
            timer = timer->second == callback ? m_running.erase(timer) : std::next(timer);
    }

    // The id that was given out last.
    ID::Timer Last() const { return m_last; }

    // Timers started and not stopped, fired ones included.
    std::size_t Running() const { return m_running.size(); }

private:
    Record& m_record;
    ID::Timer m_last = 0;
    std::map<ID::Timer, ITimerManagerCallback*> m_running;
};
} // namespace energy_test

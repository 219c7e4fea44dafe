#pragma once

#include "nxshared/IVariableManager.h"
#include "tests/support/HandTimers.h"
#include "tests/support/Record.h"

#include <string>

// What the energy classes do to the world around them, as lines of text in the order in which it
// happened. A line that a test never looks at fails it.
namespace energy_test
{
using test_support::Lines;
using test_support::Record;

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

// Timers whose starts are noted.
class RecordingTimers : public test_support::HandTimers
{
public:
    explicit RecordingTimers(Record& record) : m_record(record) {}

private:
    void OnStarted(const Timer& timer) override
    {
        m_record.Note(timer.byInterval ? "starts a timer by interval and count"
                                       : Started(timer.amount, timer.unit));
    }

    Record& m_record;
};
} // namespace energy_test

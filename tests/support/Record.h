#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test_support
{
using Lines = std::vector<std::string>;

// What happened around the code under test, in order, as lines of text that its doubles note. A
// line that a test never looks at fails it.
class Record
{
public:
    Record() = default;
    ~Record() { EXPECT_THAT(m_lines, testing::IsEmpty()) << "never looked at"; }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    void Note(std::string line) { m_lines.push_back(std::move(line)); }

    // Everything since the last look.
    Lines Take() { return std::exchange(m_lines, {}); }

    // For what is no matter of the test.
    void Forget() { m_lines.clear(); }

private:
    Lines m_lines;
};
} // namespace test_support

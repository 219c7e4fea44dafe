#include "embedded_host/internal/HandlerTable.h"

#include "AllocationCount.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using embedded_host::HandlerTable;
using Strings = std::vector<std::string>;
using Handler = std::function<void()>;

// A table whose handlers write down that they ran.
class HandlerTableTest : public testing::Test
{
protected:
    ~HandlerTableTest() override
    {
        EXPECT_TRUE(m_ran.empty()) << "ran and never looked at: " << m_ran.front();
    }

    // Adds a handler that writes `word` and then does `action`.
    void Add(const std::string& name, const std::string& word, Handler action = {})
    {
        table.Add(name,
                  [this, word, action]
                  {
                      m_ran.push_back(word);
                      if (action)
                          action();
                  });
    }

    bool Run(const std::string& name)
    {
        return table.Run(name, [](const Handler& handler) { handler(); });
    }

    // Runs the name and gives the handlers that ran.
    Strings RanBy(const std::string& name)
    {
        Run(name);
        return Ran();
    }

    Strings Ran() { return std::exchange(m_ran, {}); }

    HandlerTable<Handler> table;

private:
    Strings m_ran;
};

TEST_F(HandlerTableTest, NamesThatDifferInOneOctetAnywhere_AreApart)
{
    for (std::size_t size = 1; size <= 40; ++size)
    {
        for (std::size_t at = 0; at < size; ++at)
        {
            std::string name(size, 'A');
            name[at] = 'B';
            Add(name, name);
            EXPECT_EQ((Strings{name}), RanBy(name));
        }
        EXPECT_FALSE(Run(std::string(size, 'A')));
    }
    EXPECT_FALSE(Run(""));
}

TEST_F(HandlerTableTest, NamesOfOneOctetManyTimes_AreToldApartByLength)
{
    for (std::size_t size = 0; size <= 40; ++size)
        Add(std::string(size, '\0'), std::to_string(size));
    for (std::size_t size = 0; size <= 40; ++size)
        EXPECT_EQ((Strings{std::to_string(size)}), RanBy(std::string(size, '\0')));
    EXPECT_FALSE(Run(std::string(41, '\0')));
}

TEST_F(HandlerTableTest, EmptyTable_HandlesNothing)
{
    EXPECT_FALSE(Run("A"));
    EXPECT_FALSE(table.Has("A"));
    table.Remove("A");
    table.Clear();
    EXPECT_FALSE(Run(""));
}

TEST_F(HandlerTableTest, SeveralUnderOneName_RunInOrderOfRegistration)
{
    Add("A", "first");
    Add("B", "other");
    Add("A", "second");
    Add("A", "third");
    EXPECT_EQ((Strings{"first", "second", "third"}), RanBy("A"));
    EXPECT_EQ((Strings{"other"}), RanBy("B"));
}

TEST_F(HandlerTableTest, Names_AreComparedByteForByte)
{
    Add("A", "upper");
    Add("a", "lower");
    Add("", "none");
    Add(std::string("A\0B", 3), "with NUL");
    EXPECT_EQ((Strings{"upper"}), RanBy("A"));
    EXPECT_EQ((Strings{"lower"}), RanBy("a"));
    EXPECT_EQ((Strings{"none"}), RanBy(""));
    EXPECT_EQ((Strings{"with NUL"}), RanBy(std::string("A\0B", 3)));
    EXPECT_FALSE(Run("A "));
}

TEST_F(HandlerTableTest, ManyNames_AreAllFound)
{
    for (int i = 0; i < 1000; ++i)
        Add("NAME_" + std::to_string(i), std::to_string(i));
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ((Strings{std::to_string(i)}), RanBy("NAME_" + std::to_string(i)));
    EXPECT_FALSE(Run("NAME_1000"));
}

TEST_F(HandlerTableTest, Remove_TakesEveryHandlerOfTheNameOnly)
{
    Add("A", "a1");
    Add("B", "b1");
    Add("A", "a2");
    Add("B", "b2");
    table.Remove("A");
    EXPECT_FALSE(Run("A"));
    EXPECT_FALSE(table.Has("A"));
    EXPECT_EQ((Strings{"b1", "b2"}), RanBy("B"));
    Add("A", "a3");
    EXPECT_EQ((Strings{"a3"}), RanBy("A"));
}

TEST_F(HandlerTableTest, Clear_TakesEverything)
{
    Add("A", "a");
    Add("B", "b");
    table.Clear();
    EXPECT_FALSE(Run("A"));
    EXPECT_FALSE(Run("B"));
    Add("A", "again");
    EXPECT_EQ((Strings{"again"}), RanBy("A"));
}

TEST_F(HandlerTableTest, RemoveInsideOwnHandler_TheRestOfTheNameDoesNotRun)
{
    Add("A", "first");
    Add("A", "remover", [this] { table.Remove("A"); });
    Add("A", "never");
    EXPECT_EQ((Strings{"first", "remover"}), RanBy("A"));
    EXPECT_FALSE(Run("A"));
}

TEST_F(HandlerTableTest, RemoveInsideOwnHandler_HoldsAtOnceForANestedRun)
{
    bool nested = true;
    Add("A", "remover",
        [&]
        {
            table.Remove("A");
            EXPECT_FALSE(table.Has("A"));
            nested = Run("A");
        });
    EXPECT_EQ((Strings{"remover"}), RanBy("A"));
    EXPECT_FALSE(nested);
}

TEST_F(HandlerTableTest, RemoveAndAddInsideOwnHandler_TheNewOneRunsNextTime)
{
    Add("A", "old",
        [this]
        {
            table.Remove("A");
            Add("A", "new");
        });
    EXPECT_EQ((Strings{"old"}), RanBy("A"));
    EXPECT_EQ((Strings{"new"}), RanBy("A"));
}

TEST_F(HandlerTableTest, AddInsideAHandler_OfTheRunningNameRunsFromTheNextTime)
{
    Add("A", "adder", [this] { Add("A", "added"); });
    EXPECT_EQ((Strings{"adder"}), RanBy("A"));
    EXPECT_EQ((Strings{"adder", "added"}), RanBy("A"));
    EXPECT_EQ((Strings{"adder", "added", "added"}), RanBy("A"));
}

TEST_F(HandlerTableTest, AddInsideAHandler_OfAnotherNameRunsAtOnce)
{
    Add("A", "adder",
        [this]
        {
            Add("B", "added");
            EXPECT_TRUE(Run("B"));
        });
    EXPECT_EQ((Strings{"adder", "added"}), RanBy("A"));
}

TEST_F(HandlerTableTest, GrowthInsideAHandler_LeavesTheRunningHandlerWhole)
{
    const std::string kept(100, 'x');
    Add("A", "grower",
        [this, kept]
        {
            for (int i = 0; i < 500; ++i)
                Add("NEW_" + std::to_string(i), "new");
            // What the handler itself holds is still there.
            EXPECT_EQ(std::string(100, 'x'), kept);
        });
    Add("A", "behind");
    EXPECT_EQ((Strings{"grower", "behind"}), RanBy("A"));
    EXPECT_EQ((Strings{"new"}), RanBy("NEW_0"));
    EXPECT_EQ((Strings{"new"}), RanBy("NEW_499"));
}

TEST_F(HandlerTableTest, NestedRunOfTheSameName_RunsAllAgain)
{
    int depth = 0;
    Add("A", "outer",
        [&]
        {
            if (++depth < 3)
                Run("A");
        });
    Add("A", "last");
    EXPECT_EQ((Strings{"outer", "outer", "outer", "last", "last", "last"}), RanBy("A"));
}

TEST_F(HandlerTableTest, RemoveInANestedRun_HoldsForTheOuterOne)
{
    Add("A", "outer", [this] { Run("B"); });
    Add("A", "never");
    Add("B", "remover", [this] { table.Remove("A"); });
    EXPECT_EQ((Strings{"outer", "remover"}), RanBy("A"));
}

TEST_F(HandlerTableTest, AHandlerThatThrows_EndsTheRunAndLeavesTheTableInOrder)
{
    Add("A", "thrower",
        [this]
        {
            table.Remove("A");
            throw std::runtime_error("no");
        });
    EXPECT_THROW(Run("A"), std::runtime_error);
    EXPECT_EQ((Strings{"thrower"}), Ran());
    EXPECT_FALSE(Run("A"));
    Add("A", "again");
    EXPECT_EQ((Strings{"again"}), RanBy("A"));
}

// What a handler holds may touch the table when it goes.
class TouchesTable
{
public:
    explicit TouchesTable(HandlerTable<Handler>& table) : m_table(table) {}
    ~TouchesTable()
    {
        m_table.Remove("A");
        m_table.Remove("B");
        m_table.Add("LATE", [] {});
    }

private:
    HandlerTable<Handler>& m_table;
};

TEST_F(HandlerTableTest, RemovedHandlerTouchesTheTableAsItGoes_NothingBreaks)
{
    const auto add = [this](const std::string& name)
    {
        auto held = std::make_shared<TouchesTable>(table);
        table.Add(name, [held] {});
    };
    for (int i = 0; i < 20; ++i)
        Add("KEPT_" + std::to_string(i), std::to_string(i));
    add("A");
    Add("B", "b");
    table.Remove("A");
    EXPECT_FALSE(table.Has("B"));
    EXPECT_TRUE(table.Has("LATE"));
    EXPECT_EQ((Strings{"19"}), RanBy("KEPT_19"));
}

TEST_F(HandlerTableTest, ClearedHandlerTouchesTheTableAsItGoes_NothingBreaks)
{
    auto held = std::make_shared<TouchesTable>(table);
    for (int i = 0; i < 20; ++i)
        table.Add("NAME_" + std::to_string(i), [held] {});
    held.reset();
    table.Clear();
    EXPECT_FALSE(table.Has("NAME_0"));
    EXPECT_TRUE(table.Has("LATE"));
}

TEST_F(HandlerTableTest, MoreHandlersThanATableHolds_AreRefusedAndTheRestStays)
{
    for (int i = 0; i < 65535; ++i)
        table.Add("NAME_" + std::to_string(i % 100), [] {});
    EXPECT_THROW(Add("ONE_MORE", "never"), std::length_error);
    EXPECT_FALSE(table.Has("ONE_MORE"));
    EXPECT_TRUE(Run("NAME_99"));
}

TEST_F(HandlerTableTest, OnceLookedUp_RunningAllocatesNothing)
{
    int runs = 0;
    for (int i = 0; i < 50; ++i)
        table.Add("A_NAME_THAT_IS_TOO_LONG_TO_STAND_IN_THE_STRING_" + std::to_string(i),
                  [&runs] { ++runs; });
    const std::string name = "A_NAME_THAT_IS_TOO_LONG_TO_STAND_IN_THE_STRING_7";
    const std::string unknown = "ANOTHER_NAME_THAT_IS_TOO_LONG_TO_STAND_IN_THE_STRING";
    EXPECT_TRUE(Run(name));
    const std::size_t before = host_test::Allocations();
    EXPECT_TRUE(Run(name));
    EXPECT_FALSE(Run(unknown));
    EXPECT_TRUE(table.Has(name));
    EXPECT_EQ(before, host_test::Allocations());
    EXPECT_EQ(2, runs);
}

TEST(InternName, EqualNames_AreOneCopy)
{
    const std::string* one = embedded_host::InternName("A_NAME_OF_A_HANDLER");
    const std::string* two = embedded_host::InternName(std::string("A_NAME_OF_") + "A_HANDLER");
    EXPECT_EQ(one, two);
    EXPECT_EQ("A_NAME_OF_A_HANDLER", *one);
    EXPECT_NE(one, embedded_host::InternName("ANOTHER"));
}
} // namespace

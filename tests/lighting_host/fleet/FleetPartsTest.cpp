#include "FakeFleetBus.h"
#include "lighting_host/fleet/FleetStateStore.h"
#include "lighting_host/fleet/FleetTexts.h"
#include "lighting_host/fleet/FleetWorker.h"

#include <gtest/gtest.h>

using namespace lighting_host;
using embedded_host::StateStoreError;

namespace
{
// Two machines that come to own the same house, one after the other.
struct FleetStateStoreTest : testing::Test
{
    std::unique_ptr<FleetStateStore> Open(std::uint64_t token)
    {
        FleetStateStore::Owner owner;
        owner.token = token;
        owner.owns = [this]
        {
            return owns;
        };
        return std::make_unique<FleetStateStore>(*bucket, "house", owner);
    }

    bool owns = true;
    FakeFleetBus bus;
    std::unique_ptr<Bucket> bucket = bus.OpenBucket("states", 0);
};
} // namespace

TEST_F(FleetStateStoreTest, NextOwner_HasWhatTheLastOneSaved)
{
    Open(1)->Save({{"lamp", "light", "<a/>"}, {"gone", "light", "<b/>"}});
    Open(2)->Save({{"gone", "light", ""}});
    const auto store = Open(3);
    EXPECT_EQ(store->Load("lamp", "light"), "<a/>");
    EXPECT_EQ(store->Load("lamp", "puck"), std::nullopt);
    EXPECT_EQ(store->TypesOf("lamp"), std::vector<std::string>{"light"});
    EXPECT_TRUE(store->TypesOf("gone").empty());
}

TEST_F(FleetStateStoreTest, LaterOwnerWasThere_EarlierOneCannotSave)
{
    const auto first = Open(1);
    first->Save({{"lamp", "light", "<a/>"}});
    const auto second = Open(2);
    EXPECT_THROW(first->Save({{"lamp", "light", "<late/>"}}), StateStoreError);
    EXPECT_THROW(Open(1), StateStoreError);
    EXPECT_EQ(Open(3)->Load("lamp", "light"), "<a/>");
}

TEST_F(FleetStateStoreTest, LeaseIsLost_NothingIsSaved)
{
    const auto store = Open(1);
    owns = false;
    EXPECT_THROW(store->Save({{"lamp", "light", "<a/>"}}), StateStoreError);
    EXPECT_EQ(Open(1)->Load("lamp", "light"), std::nullopt);
}

TEST_F(FleetStateStoreTest, SaveFails_KeepsWhatWasSavedAndSavesLater)
{
    const auto store = Open(1);
    store->Save({{"lamp", "light", "<a/>"}});
    bus.isDown = true;
    EXPECT_THROW(store->Save({{"lamp", "light", "<b/>"}}), StateStoreError);
    EXPECT_EQ(store->Load("lamp", "light"), "<a/>");
    bus.isDown = false;
    store->Save({{"lamp", "light", "<c/>"}});
    EXPECT_EQ(Open(2)->Load("lamp", "light"), "<c/>");
}

TEST_F(FleetStateStoreTest, AnswerToAnEarlierSaveWasLost_SavesOn)
{
    const auto store = Open(1);
    // What came there without an answer to the store.
    FleetStates unheard;
    unheard.token = 1;
    unheard.states = {{"lamp", "light", "<unheard/>"}};
    WriteAndWait(*bucket, "house", WriteFleetStates(unheard), bucket->Get("house").revision, 0);
    store->Save({{"lamp", "light", "<next/>"}});
    EXPECT_EQ(Open(2)->Load("lamp", "light"), "<next/>");
}

TEST_F(FleetStateStoreTest, WhatStandsThereIsNone_IsSaidAndKept)
{
    WriteAndWait(*bucket, "house", "{", 0, 0);
    EXPECT_THROW(Open(1), StateStoreError);
    EXPECT_EQ(bucket->Get("house").value, "{");
}

TEST(AssignHousesTest, Room_IsFilledAndNotOverfilled)
{
    const auto assigned = AssignHouses({"a", "b", "c", "d"}, {{"x", 1}, {"y", 2}, {"z", 0}});
    std::map<std::string, int> counts;
    for (const auto& house : assigned)
        ++counts[house.second];
    EXPECT_EQ(counts["x"], 1);
    EXPECT_EQ(counts["y"], 2);
    EXPECT_EQ(counts["z"], 0);
}

TEST(AssignHousesTest, WorkerComes_OnlyItsOwnHousesMove)
{
    std::set<std::string> houses;
    for (int i = 0; i < 300; ++i)
        houses.insert("house" + std::to_string(i));
    const auto before = AssignHouses(houses, {{"x", 1000}, {"y", 1000}});
    const auto after = AssignHouses(houses, {{"x", 1000}, {"y", 1000}, {"z", 1000}});
    int moved = 0;
    for (const auto& house : after)
    {
        EXPECT_TRUE(house.second == "z" || house.second == before.at(house.first));
        moved += house.second == "z" ? 1 : 0;
    }
    // A third of them, more or less.
    EXPECT_GT(moved, 60);
    EXPECT_LT(moved, 140);
}

TEST(FleetIdTest, SmallLettersDigitsAndTwoSigns_AreOneUpTo64)
{
    EXPECT_TRUE(IsFleetId("a-0_z"));
    EXPECT_TRUE(IsFleetId(std::string(64, 'a')));
    EXPECT_FALSE(IsFleetId(std::string(65, 'a')));
    for (const char* const wrong : {"", "A", "a.b", "a b", "a*"})
        EXPECT_FALSE(IsFleetId(wrong)) << wrong;
}

TEST(FleetTextsTest, Entries_AreReadAsTheyWereWritten)
{
    const FleetLeaseEntry lease = ReadFleetLease(WriteFleetLease({"a", 1767225600, 7}));
    EXPECT_EQ(FleetListLine("one", lease, 7),
              R"({"id":"one","owner":"a","token":7,"since":"2026-01-01T00:00:00Z"})");
    EXPECT_EQ(FleetListLine("one", {}, 0), R"({"id":"one","owner":null})");
    EXPECT_EQ(ReadFleetHouse(WriteFleetHouse({"<house/>", "/f"})).house, "<house/>");
    EXPECT_THROW(ReadFleetWorker("[]"), FleetError);
    EXPECT_THROW(ReadFleetLease("{"), FleetError);
}

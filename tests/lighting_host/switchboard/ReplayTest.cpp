#include "lighting_host/switchboard/Replay.h"

#include "tests/lighting_host/switchboard/RecordedHouse.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

using namespace lighting_host;
using testing::HasSubstr;

namespace
{
constexpr const char* ONE_KEYPAD = R"(<house>
  <driver name="hall" type="puck" id="101">
    <device simulated="true">
      <act at="2s" do="click" contact="0"/>
      <act at="70s" every="90s" do="click" contact="0"/>
    </device>
  </driver>
</house>)";
constexpr const char* PRESS = R"({"driver":"hall","condition":"ON"})";

// Runs a record again and gives its outputs.
struct Again
{
    explicit Again(const FlightRecord& record)
        : file(HouseOf(record, {})), replay(record, file, RunOptionsOf(record), Listening())
    {
        replay.RunToEnd();
    }

    Replay::Hooks Listening()
    {
        Replay::Hooks hooks;
        hooks.onOutput = [this](std::int64_t, const std::string& text)
        {
            outputs.push_back(text);
        };
        return hooks;
    }

    std::vector<std::string> outputs;
    const HouseFile file;
    Replay replay;
};

// A house of some drivers of each type, named by their place.
std::string AnyHouse(const std::vector<int>& types)
{
    constexpr const char* NAMES[] = {"puck", "gen3_keypad", "zigbee_light", "wired_dimmer",
                                     "energy_switch"};
    std::string text = "<house>\n";
    for (std::size_t i = 0; i < types.size(); ++i)
        text += fmt::format("<driver name=\"d{}\" type=\"{}\" id=\"{}\"><device "
                            "simulated=\"true\"/></driver>\n",
                            i, NAMES[types[i]], i + 1);
    return text + "</house>";
}

std::string AnyLine(std::size_t drivers)
{
    const auto driver = *rc::gen::inRange<std::size_t>(0, drivers + 1);
    const std::string what = *rc::gen::elementOf(std::vector<std::string>{
        R"("online":false)", R"("online":true)", R"("restart":true)", R"("condition":"ON")",
        R"("command":"ON","params":{})", R"("command":"SET_LEVEL","params":{"LEVEL":40})",
        R"("trap":"nx.dmx.bp","params":["00000007"])", R"("trap":"nx.dmx.bp","params":["x"])",
        R"("persist":true)", R"("nonsense":1.50)"});
    return fmt::format("{{\"driver\":\"d{}\",{}}}", driver, what);
}

// Lives for a while, with whatever is handed in, going back in time now and then.
void LiveAnyLife(RecordedHouse& house, std::size_t drivers)
{
    const int turns = *rc::gen::inRange(0, 7);
    for (int turn = 0; turn < turns; ++turn)
    {
        house.Pass(*rc::gen::inRange<std::int64_t>(0, 45000));
        const int kind = *rc::gen::inRange(0, 10);
        if (kind > 1)
            house.Say(AnyLine(drivers));
        else if (kind == 1)
            house.Say("no json {");
        else
        {
            const auto toMs = *rc::gen::inRange<std::int64_t>(0, house.House().Run().NowMs() + 1);
            house.Say(fmt::format(R"({{"house":"rewind","t_ms":{}}})", toMs));
            house.Say(*rc::gen::arbitrary<bool>() ? R"({"house":"go_on"})" : R"({"house":"now"})");
            house.Say(R"({"house":"play"})");
        }
    }
    house.Pass(*rc::gen::inRange<std::int64_t>(0, 45000));
}

FlightRecord RecordOfPresses(bool keepsOutputs)
{
    RecordedHouse house(ONE_KEYPAD, 3, FaultLevel::None, keepsOutputs);
    house.Pass(61000);
    house.Say(PRESS);
    house.Pass(100000);
    house.Say(PRESS);
    house.Pass(24000);
    house.Say(PRESS);
    house.Pass(6000);
    return house.End();
}
} // namespace

TEST(ReplayTest, AnyHouseSeedFaultsAndInputs_SameToTheByte)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto types = *rc::gen::container<std::vector<int>>(*rc::gen::inRange(1, 6),
                                                                     rc::gen::inRange(0, 5));
            const auto seed = *rc::gen::arbitrary<std::uint64_t>();
            const auto faults =
                *rc::gen::element(FaultLevel::None, FaultLevel::Light, FaultLevel::Heavy);
            RecordedHouse house(AnyHouse(types), seed, faults);
            LiveAnyLife(house, types.size());
            FlightRecord record = house.End();
            // What the end itself causes is no part of the run.
            record.outputs.resize(record.digests.back().outputs);
            const Again again(record);
            RC_ASSERT(!again.replay.Found());
            RC_ASSERT(again.replay.DigestsCompared() == record.digests.size());
            RC_ASSERT(again.outputs == record.outputs);
        }));
}

TEST(ReplayTest, RecordThatWasCutOffAnywhere_IsTheSameUpToThere)
{
    HouseFolder folder;
    std::string text;
    {
        const FlightRecord record = RecordOfPresses(true);
        text = HeadLine(record.head) + "\n";
        for (const RecordInput& input : record.inputs)
            text += InputLine(input) + "\n";
        text += DigestLine(record.digests.back()) + "\n";
    }
    for (std::size_t size = text.find('\n') + 1; size < text.size(); size += 7)
    {
        const FlightRecord torn = ParseFlightRecord(text.substr(0, size));
        const Again again(torn);
        EXPECT_FALSE(again.replay.Found()) << size;
        EXPECT_EQ(again.replay.InputCount(), torn.inputs.size());
    }
}

TEST(ReplayTest, InputThatIsMissing_FirstOutputThatDiffersIsFoundWithBothSides)
{
    FlightRecord record = RecordOfPresses(true);
    record.inputs.erase(record.inputs.begin() + 1);
    const Again again(record);
    ASSERT_TRUE(again.replay.Found());
    EXPECT_EQ(again.replay.Found()->minuteMs, 180000);
    EXPECT_THAT(again.replay.Found()->recorded, HasSubstr("\"t_ms\":161000"));
    // What the input caused is missing: the run ends before the output that the record has there.
    ASSERT_EQ(again.replay.Found()->output, again.outputs.size() + 1);
    EXPECT_EQ(again.replay.Found()->here, "");
    EXPECT_TRUE(again.replay.Found()->isKept);
}

TEST(ReplayTest, DifferenceAfterTheLastMinute_IsFoundAtTheEnd)
{
    FlightRecord record = RecordOfPresses(false);
    ASSERT_EQ(record.digests.back().timeMs, 191000);
    record.digests.back().digest[0] ^= 1;
    record.digests.back().sums[0] ^= 1;
    const Again again(record);
    ASSERT_TRUE(again.replay.Found());
    EXPECT_EQ(again.replay.Found()->minuteMs, 191000);
    EXPECT_FALSE(again.replay.Found()->isKept);
    EXPECT_EQ(again.replay.Found()->recordedSum, record.digests.back().sums.substr(0, 8));
}

TEST(ReplayTest, RecordWithoutOutputs_RunAsItWasGivesThem)
{
    const FlightRecord kept = RecordOfPresses(true);
    const std::uint64_t count = kept.digests.back().outputs;
    for (std::uint64_t number = 1; number <= count; number += 3)
        EXPECT_EQ(OutputOf(kept, "", number, kept.endMs), kept.outputs[number - 1]);
    EXPECT_EQ(OutputOf(kept, "", count + 1, kept.endMs), "");
}

TEST(ReplayTest, HouseThatIsNotRightAnyMore_IsRefused)
{
    FlightRecord record = RecordOfPresses(false);
    EXPECT_THROW(HouseOf(record, {{{"nobody", "x.so"}}, ""}), RecordError);
    EXPECT_THROW(HouseOf(record, {{{"hall", "no_such.so"}}, ""}), RecordError);
    record.head.start = "yesterday";
    EXPECT_THROW(RunOptionsOf(record), RecordError);
}

// Elements of advanced scenes, the store that holds them, its checksum and its debug line.

#include "lighting_common/AdvSceneElement.h"

#include "AdvSceneFixture.h"

#include <functional>
#include <zlib.h>

namespace
{
using namespace scene_test;
using gen3_lights::scenes::AdvSceneElement;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(AdvSceneElement, Default_HasTheDocumentedValues)
{
    const AdvSceneElement element;
    EXPECT_EQ(element.id, 0);
    EXPECT_EQ(element.delay, 0u);
    EXPECT_TRUE(element.levelEnabled);
    EXPECT_EQ(element.levelRate, 1000u);
    EXPECT_EQ(element.text, "");
    EXPECT_EQ(element.level, 0);
    EXPECT_EQ(element.flags, 0);
    EXPECT_FALSE(element.pushedByController || element.onHardware || element.fromGroup);
    EXPECT_EQ(element.colorRate, 1000u);
    EXPECT_FALSE(element.colorEnabled);
    EXPECT_EQ(element.color.GetMode(), 0);
    EXPECT_EQ(element.colorPresetID, 0u);
    EXPECT_EQ(element.colorPresetAux, 1u);
}

// A field, and what makes it differ from its default.
struct FieldChange
{
    const char* field;
    std::function<void(AdvSceneElement&)> change;
};

// Every field that SameStep compares.
std::vector<FieldChange> ComparedFields()
{
    return {
        {"id",
         [](AdvSceneElement& e)
         {
             e.id = 1;
         }},
        {"delay",
         [](AdvSceneElement& e)
         {
             e.delay = 1;
         }},
        {"levelEnabled",
         [](AdvSceneElement& e)
         {
             e.levelEnabled = false;
         }},
        {"levelRate",
         [](AdvSceneElement& e)
         {
             e.levelRate = 1;
         }},
        {"level",
         [](AdvSceneElement& e)
         {
             e.level = 1;
         }},
        {"flags",
         [](AdvSceneElement& e)
         {
             e.flags = 1;
         }},
        {"colorEnabled",
         [](AdvSceneElement& e)
         {
             e.colorEnabled = true;
         }},
        {"colorRate",
         [](AdvSceneElement& e)
         {
             e.colorRate = 1;
         }},
        {"color x",
         [](AdvSceneElement& e)
         {
             e.color.SetXY(0.5, 0);
         }},
        {"color y",
         [](AdvSceneElement& e)
         {
             e.color.SetXY(0, 0.5);
         }},
    };
}

TEST(AdvSceneElement, SameStep_DependsOnExactlyTheTenComparedFields)
{
    for (const FieldChange& changed : ComparedFields())
    {
        AdvSceneElement other;
        changed.change(other);
        EXPECT_FALSE(AdvSceneElement().SameStep(other)) << changed.field;
        EXPECT_FALSE(other.SameStep(AdvSceneElement())) << changed.field;
    }
}

TEST(AdvSceneElement, SameStep_IgnoresOriginMarksTextModeAndPreset)
{
    AdvSceneElement other;
    other.text = "text";
    other.pushedByController = other.onHardware = other.fromGroup = true;
    other.color = NxColor(3);
    other.colorPresetID = 7;
    other.colorPresetAux = 8;
    EXPECT_TRUE(AdvSceneElement().SameStep(other));
}

TEST(AdvSceneElement, FlagBits_AreThoseOfTheWire)
{
    EXPECT_EQ(AdvSceneElement::FLAG_MODE, 0x01);
    EXPECT_EQ(AdvSceneElement::FLAG_FLASH, 0x02);
    EXPECT_EQ(AdvSceneElement::FLAG_IGNORE_RAMP, 0x04);
    EXPECT_EQ(AdvSceneElement::FLAG_PUSHED, 0x08);
    EXPECT_EQ(AdvSceneManager::ID_OFFSET, 12u);
}

class AdvSceneStoreQueries : public AdvSceneFixture
{
};

TEST_F(AdvSceneStoreQueries, GetElementOfAnAbsentKey_IsADefaultWithTheIdMinusOne)
{
    const AdvSceneElement none = m_manager.getElement(5);
    EXPECT_EQ(none.id, 0xffff);
    AdvSceneElement expected;
    expected.id = 0xffff;
    EXPECT_TRUE(none.SameStep(expected));
    EXPECT_EQ(none.colorPresetAux, 1u);
    EXPECT_FALSE(none.onHardware || none.pushedByController || none.fromGroup);
}

TEST_F(AdvSceneStoreQueries, GetElement_MatchesTheKeyExactly)
{
    Report("1005", "14");
    EXPECT_EQ(m_manager.getElement(0x1005).level, 0x14);
    EXPECT_EQ(m_manager.getElement(0x11005).id, 0xffff);
    EXPECT_EQ(m_manager.getElement(0xffff1005).id, 0xffff);
    EXPECT_EQ(m_manager.getElement(0x0005).id, 0xffff);
}

TEST_F(AdvSceneStoreQueries, InScene_LooksAtTheLowTwelveBitsAndTheListOnly)
{
    Push(5, {});
    Report("0006", "14");
    EXPECT_TRUE(m_manager.InScene(5));
    EXPECT_TRUE(m_manager.InScene(0x2005));
    EXPECT_TRUE(m_manager.InScene(0xfffff005));
    EXPECT_FALSE(m_manager.InScene(6));
    EXPECT_FALSE(m_manager.InScene(0));
}

TEST_F(AdvSceneStoreQueries, InSceneOfAnIdAboveTwelveBits_IsFalseThoughTheListHasIt)
{
    Push(5000, {});
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(5000u));
    EXPECT_FALSE(m_manager.InScene(5000));
}

TEST_F(AdvSceneStoreQueries, SceneIds_KeepTheOrderOfTheFirstPushWithoutRepeats)
{
    for (const int scene : {9, 2, 5, 2, 9})
        Push(scene, {});
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(9u, 2u, 5u));
    Remove("2");
    EXPECT_THAT(m_manager.GetAllSceneIDs(), ElementsAre(9u, 5u));
    EXPECT_FALSE(m_manager.InScene(2));
}

TEST_F(AdvSceneStoreQueries, IsFlashScene_NeedsTheNamedElementItself)
{
    Report("1005", "14", "0a");
    EXPECT_FALSE(m_manager.IsFlashScene(5));
    EXPECT_TRUE(m_manager.IsFlashScene(0x1005));
    EXPECT_FALSE(m_manager.IsFlashScene(0x2005));
}

TEST_F(AdvSceneStoreQueries, IsFlashScene_StopsAtTheFirstGap)
{
    Report("0005", "14");
    Report("1005", "14");
    Report("3005", "14", "0a");
    EXPECT_FALSE(m_manager.IsFlashScene(5));
    Report("2005", "14");
    EXPECT_TRUE(m_manager.IsFlashScene(5));
    EXPECT_TRUE(m_manager.IsFlashScene(0x2005));
}

TEST_F(AdvSceneStoreQueries, IsFlashSceneOfTheHighestKey_Ends)
{
    Report("ffff", "14", "08");
    EXPECT_FALSE(m_manager.IsFlashScene(0xffff));
    EXPECT_FALSE(m_manager.IsFlashScene(0xffffffff));
    Report("f00f", "14", "02");
    EXPECT_TRUE(m_manager.IsFlashScene(0xf00f));
}

class AdvSceneChecksum : public AdvSceneFixture
{
protected:
    // zlib's checksum over elements with rate 1000 and flags 8: id, level.
    static unsigned long Expected(const std::vector<std::pair<unsigned, unsigned char>>& elements)
    {
        std::vector<unsigned char> bytes;
        for (const auto& e : elements)
            for (const unsigned byte : {e.first >> 8, e.first & 0xff, 0u, 0u, 0u, 0u, 0u, 0u, 3u,
                                        0xe8u, unsigned{e.second}, 8u})
                bytes.push_back(static_cast<unsigned char>(byte));
        return crc32(crc32(0, nullptr, 0), bytes.data(), static_cast<unsigned>(bytes.size()));
    }
};

TEST_F(AdvSceneChecksum, OfNothing_IsZero)
{
    EXPECT_EQ(m_manager.getCRC(), 0u);
}

TEST_F(AdvSceneChecksum, OfOneElement_IsThatOfItsTwelveBytes)
{
    // 00 01 00 00 00 02 00 00 03 e8 64 0a
    m_host.Reply("nx.als.sgt", {"0001", "00000002", "000003e8", "64", "0a"});
    EXPECT_EQ(m_manager.getCRC(), 0x79c461cdu);
}

TEST_F(AdvSceneChecksum, GoesSceneBySceneNotKeyByKey)
{
    Report("0002", "1e");
    Report("1001", "14");
    Report("0001", "0a");
    // Of scene 1 both elements, then scene 2.
    EXPECT_EQ(m_manager.getCRC(), 0x952f3404u);
}

TEST_F(AdvSceneChecksum, LeavesOutScenesFrom255On)
{
    Report("00fe", "0a");
    const auto counted = m_manager.getCRC();
    EXPECT_EQ(counted, Expected({{0x00fe, 10}}));
    for (const char* id : {"00ff", "10ff", "0100", "0fff", "ffff"})
        Report(id, "0a");
    EXPECT_EQ(m_manager.getCRC(), counted);
    Report("0000", "0a");
    EXPECT_EQ(m_manager.getCRC(), Expected({{0x0000, 10}, {0x00fe, 10}}));
}

TEST_F(AdvSceneChecksum, LeavesOutWhatFollowsAGap)
{
    Report("1007", "0a");
    EXPECT_EQ(m_manager.getCRC(), 0u);
    Report("0005", "0a");
    Report("2005", "0a");
    EXPECT_EQ(m_manager.getCRC(), Expected({{0x0005, 10}}));
    Report("1005", "0b");
    EXPECT_EQ(m_manager.getCRC(), Expected({{0x0005, 10}, {0x1005, 11}, {0x2005, 10}}));
}

TEST_F(AdvSceneChecksum, DoesNotDependOnMarks)
{
    Push(5, {10});
    Forget();
    const auto before = m_manager.getCRC();
    EXPECT_EQ(before, Expected({{0x0005, 10}}));
    m_manager.MarkAllSynced();
    EXPECT_EQ(m_manager.getCRC(), before);
}

TEST_F(AdvSceneChecksum, OfAFullStore_IsThatOfAllItsBytes)
{
    std::vector<std::pair<unsigned, unsigned char>> all;
    for (unsigned scene = 0; scene < 255; ++scene)
        for (unsigned index = 0; index < 16; ++index)
            all.push_back({index << 12 | scene, static_cast<unsigned char>(scene * 16 + index)});
    // Filled from the far end, so that no order of arrival helps.
    for (auto element = all.rbegin(); element != all.rend(); ++element)
    {
        NxMIBPacket reply(NxMIB::Reply, "nx.als.sgt");
        reply.AddHexParam(static_cast<unsigned short>(element->first));
        reply.AddHexParam(0);
        reply.AddHexParam(1000);
        reply.AddHexParam(element->second);
        reply.AddHexParam(static_cast<unsigned char>(8));
        m_manager.OnRspGetOne(reply, nullptr);
    }
    EXPECT_EQ(m_manager.getCRC(), Expected(all));
}

class AdvSceneDebugLine : public AdvSceneFixture
{
};

TEST_F(AdvSceneDebugLine, PrintsEveryFieldWithRawBytesAndTheKeptMisspelling)
{
    AdvSceneElement element;
    element.id = 4101;
    element.delay = 4294967295u;
    element.levelRate = 500;
    element.level = 65;
    element.flags = 'z';
    element.onHardware = true;
    element.colorEnabled = true;
    element.colorRate = 2000;
    element.color.SetXY(0.31271999, 1.0 / 3);
    element.colorPresetID = 7;
    element.colorPresetAux = 9;
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    m_manager.displayElement(element);
    const auto log = m_host.TakeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].text, "varnholt_adv_lighting_agent: ()::displayElement(): dislpayElement: 4101"
                           ", level enabled: 1, delay: 4294967295, level rate: 500, level: A"
                           ", flags: z, on hardware: 1, color enabled: 1, color rate: 2000"
                           ", color_x: 0.31272, color_y: 0.333333, colorPresetID: 7"
                           ", colorPresetID: 9");
    EXPECT_EQ(log[0].level, log4cplus::DEBUG_LOG_LEVEL);
    EXPECT_EQ(log[0].file, "lighting_common/AdvSceneManager");
    EXPECT_EQ(log[0].line, 101);
    EXPECT_NE(log[0].function.find("AdvSceneManager::displayElement("), std::string::npos);
}

TEST_F(AdvSceneDebugLine, OfDefaults_HasNulBytesAndZeros)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    AdvSceneElement element;
    element.levelEnabled = false;
    element.color.SetXY(1e-7, 1234567);
    m_manager.displayElement(element);
    const std::string nul(1, '\0');
    EXPECT_THAT(m_host.TakeLogTexts(),
                ElementsAre("varnholt_adv_lighting_agent: ()::displayElement(): dislpayElement: 0"
                            ", level enabled: 0, delay: 0, level rate: 1000, level: " +
                            nul + ", flags: " + nul +
                            ", on hardware: 0, color enabled: 0, color rate: 1000"
                            ", color_x: 1e-07, color_y: 1.23457e+06, colorPresetID: 0"
                            ", colorPresetID: 1"));
}

TEST_F(AdvSceneDebugLine, OfBytesFrom0x80On_AreThoseBytes)
{
    m_host.LogFrom(log4cplus::DEBUG_LOG_LEVEL);
    AdvSceneElement element;
    element.level = 0xff;
    element.flags = 0x80;
    m_manager.displayElement(element);
    const Lines log = m_host.TakeLogTexts();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find(", level: \xff, flags: \x80, on hardware"), std::string::npos);
}

TEST_F(AdvSceneDebugLine, AboveDebugLevel_IsNotWritten)
{
    m_host.LogFrom(log4cplus::INFO_LOG_LEVEL);
    m_manager.displayElement(AdvSceneElement());
    EXPECT_THAT(m_host.TakeLogTexts(), IsEmpty());
}
} // namespace

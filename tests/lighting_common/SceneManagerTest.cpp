#include "lighting_common/SceneManager.h"

#include "ZigbeeDoubles.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"

#include <gmock/gmock.h>

using namespace zigbee_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
const char* const ASSERTED = "assert lighting_common/SceneManager";

class SceneManagerTest : public testing::Test
{
protected:
    // All scenes as "id level time".
    std::vector<std::string> Scenes() const
    {
        std::vector<std::string> lines;
        for (const auto& [id, detail] : scenes.getAllScenes())
            lines.push_back(std::to_string(id) + " " + std::to_string(detail.level) + " " +
                            std::to_string(detail.time));
        return lines;
    }

    void Load(const std::string& xml)
    {
        const auto document = nx::CreateXmlDocument(xml);
        ASSERT_TRUE(document);
        scenes.FromXML(document->GetRoot());
    }

    Record record;
    RecordingHost services{record};
    SceneManager scenes;
};
} // namespace

TEST_F(SceneManagerTest, New_HoldsNothing)
{
    EXPECT_EQ(scenes.NumScenes(), 0u);
    EXPECT_FALSE(scenes.inScene(0));
    EXPECT_THAT(Scenes(), IsEmpty());
}

TEST_F(SceneManagerTest, Add_KeepsScenesInOrderOfId)
{
    scenes.addScene(4294967295u, 100, 2000);
    scenes.addScene(0, 0, 0);
    scenes.addScene(65537, -1, -2);
    EXPECT_THAT(Scenes(), ElementsAre("0 0 0", "65537 -1 -2", "4294967295 100 2000"));
    EXPECT_EQ(scenes.NumScenes(), 3u);
    EXPECT_TRUE(scenes.inScene(65537));
    EXPECT_FALSE(scenes.inScene(65536));
}

TEST_F(SceneManagerTest, AddOfHeldScene_AssertsAndKeepsTheFirst)
{
    scenes.addScene(5, 10, 20);
    scenes.addScene(5, 30, 40);
    EXPECT_THAT(record.Take(), ElementsAre(ASSERTED));
    EXPECT_THAT(Scenes(), ElementsAre("5 10 20"));
}

TEST_F(SceneManagerTest, Modify_OverwritesLevelAndTime)
{
    scenes.addScene(5, 10, 20);
    scenes.modifyScene(5, 30, 40);
    EXPECT_THAT(Scenes(), ElementsAre("5 30 40"));
}

TEST_F(SceneManagerTest, ModifyOfAbsentScene_AssertsAndAddsNothing)
{
    scenes.modifyScene(5, 30, 40);
    EXPECT_THAT(record.Take(), ElementsAre(ASSERTED));
    EXPECT_THAT(Scenes(), IsEmpty());
}

TEST_F(SceneManagerTest, Delete_RemovesThatSceneOnly)
{
    scenes.addScene(5, 10, 20);
    scenes.addScene(6, 30, 40);
    scenes.deleteScene(5);
    EXPECT_THAT(Scenes(), ElementsAre("6 30 40"));
}

TEST_F(SceneManagerTest, DeleteOfAbsentScene_ChangesAndReportsNothing)
{
    scenes.addScene(5, 10, 20);
    scenes.deleteScene(6);
    EXPECT_THAT(Scenes(), ElementsAre("5 10 20"));
    EXPECT_THAT(record.Take(), IsEmpty());
}

TEST_F(SceneManagerTest, DeleteAll_LeavesNothing)
{
    scenes.addScene(5, 10, 20);
    scenes.addScene(6, 10, 20);
    scenes.deleteAllScenes();
    EXPECT_EQ(scenes.NumScenes(), 0u);
}

TEST_F(SceneManagerTest, GetDetail_GivesLevelAndTime)
{
    scenes.addScene(5, 10, 20);
    EXPECT_EQ(scenes.getDetail(5).level, 10);
    EXPECT_EQ(scenes.getDetail(5).time, 20);
}

TEST_F(SceneManagerTest, GetDetailOfAbsentScene_AssertsAndGivesZero)
{
    EXPECT_EQ(scenes.getDetail(5).level, 0);
    EXPECT_EQ(scenes.getDetail(5).time, 0);
    EXPECT_THAT(record.Take(), ElementsAre(ASSERTED, ASSERTED));
}

TEST_F(SceneManagerTest, ToXml_WritesIdLevelAndTime)
{
    scenes.addScene(5, 100, 2000);
    EXPECT_EQ(scenes.ToXML()->ToText(),
              "<SceneMap><SceneMapEntry><SceneID>5</SceneID><Level>100</Level>"
              "<Time>2000</Time></SceneMapEntry></SceneMap>");
}

TEST_F(SceneManagerTest, ToXml_OrdersByIdAndWritesSigns)
{
    scenes.addScene(4294967295u, -1, -2);
    scenes.addScene(7, 1, 2);
    EXPECT_EQ(scenes.ToXML()->ToText(),
              "<SceneMap><SceneMapEntry><SceneID>7</SceneID><Level>1</Level><Time>2</Time>"
              "</SceneMapEntry><SceneMapEntry><SceneID>4294967295</SceneID><Level>-1</Level>"
              "<Time>-2</Time></SceneMapEntry></SceneMap>");
}

TEST_F(SceneManagerTest, ToXmlOfNothing_HasNoChildren)
{
    const auto map = scenes.ToXML();
    EXPECT_EQ(map->GetName(), "SceneMap");
    EXPECT_EQ(map->GetChildCount(), 0u);
}

TEST_F(SceneManagerTest, FromXml_ReplacesWhatWasHeld)
{
    scenes.addScene(9, 1, 1);
    Load("<State><SceneMap><SceneMapEntry><SceneID>7</SceneID><Level>-1</Level><Time>-2</Time>"
         "</SceneMapEntry><SceneMapEntry><SceneID>3</SceneID><Level>4</Level><Time>5</Time>"
         "</SceneMapEntry></SceneMap></State>");
    EXPECT_THAT(Scenes(), ElementsAre("3 4 5", "7 -1 -2"));
}

TEST_F(SceneManagerTest, FromXmlWithoutSceneMap_KeepsWhatIsHeld)
{
    scenes.addScene(9, 1, 1);
    Load("<State><Other/></State>");
    // The map itself is not what is handed in, but its parent.
    scenes.FromXML(scenes.ToXML());
    scenes.FromXML(nullptr);
    EXPECT_THAT(Scenes(), ElementsAre("9 1 1"));
}

TEST_F(SceneManagerTest, FromXmlWithEmptySceneMap_LeavesNothing)
{
    scenes.addScene(9, 1, 1);
    Load("<State><SceneMap/></State>");
    EXPECT_THAT(Scenes(), IsEmpty());
}

TEST_F(SceneManagerTest, FromXmlWithRepeatedId_TheFirstWinsWithoutAssertion)
{
    Load("<State><SceneMap>"
         "<SceneMapEntry><SceneID>5</SceneID><Level>1</Level><Time>1</Time></SceneMapEntry>"
         "<SceneMapEntry><SceneID>5</SceneID><Level>2</Level><Time>2</Time></SceneMapEntry>"
         "</SceneMap></State>");
    EXPECT_THAT(Scenes(), ElementsAre("5 1 1"));
    EXPECT_THAT(record.Take(), IsEmpty());
}

TEST_F(SceneManagerTest, FromXml_SkipsChildrenOfOtherNames)
{
    Load("<State><SceneMap>"
         "<SceneMapEntries><SceneID>1</SceneID></SceneMapEntries>"
         "<sceneMapEntry><SceneID>2</SceneID></sceneMapEntry>"
         "<SceneMapEntry><SceneID>3</SceneID></SceneMapEntry>"
         "</SceneMap></State>");
    EXPECT_THAT(Scenes(), ElementsAre("3 0 0"));
}

TEST_F(SceneManagerTest, FromXmlWithMissingOrUnreadableNumbers_ReadsZero)
{
    Load("<State><SceneMap><SceneMapEntry><SceneID>x</SceneID><Level/></SceneMapEntry>"
         "</SceneMap></State>");
    EXPECT_THAT(Scenes(), ElementsAre("0 0 0"));
}

TEST_F(SceneManagerTest, FromXmlBeyond32Bits_StoresTheLowBits)
{
    Load("<State><SceneMap><SceneMapEntry><SceneID>4294967301</SceneID>"
         "<Level>4294967295</Level><Time>4294967298</Time></SceneMapEntry></SceneMap></State>");
    EXPECT_THAT(Scenes(), ElementsAre("5 -1 2"));
}

TEST_F(SceneManagerTest, FromXmlOfToXml_GivesTheSameScenes)
{
    scenes.addScene(5, 100, 2000);
    scenes.addScene(65541, -7, 2147483647);
    const auto state = nx::CreateXmlNode();
    state->Initialize("State", "");
    state->AddChild(scenes.ToXML());
    scenes.deleteAllScenes();
    scenes.FromXML(state);
    EXPECT_THAT(Scenes(), ElementsAre("5 100 2000", "65541 -7 2147483647"));
}

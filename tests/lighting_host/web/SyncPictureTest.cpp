// What a page shows of a light's synchronisation, as the run of a real one tells it.

#include "lighting_host/web/SyncPicture.h"

#include "lighting_host/switchboard/HouseActions.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"

#include <gtest/gtest.h>

using namespace lighting_host;

namespace
{
constexpr const char* HOUSE = R"(<house>
  <driver name="sofa" type="zigbee_light" id="7"><device simulated="true" watts="9"/></driver>
  <scene id="5" name="Film"><load driver="sofa" level="20" time="1s"/></scene></house>)";
} // namespace

// Hears a house with one light.
class SyncPictureTest : public testing::Test, public HouseListener
{
protected:
    SyncPictureTest() : m_file(ParseHouseFile(HOUSE, "."))
    {
        m_run = std::make_unique<HouseRun>(m_file, HouseRun::Options(), HouseRun::Sinks());
        m_run->AddListener(*this);
    }
    void OnOutput(const embedded_host::Output& output) override
    {
        m_sync.OnOutput(output, m_run->LastNumber());
    }
    void OnZcl(const nx::DriverHost&, const wire::ZclFrame& frame) override
    {
        m_sync.OnZcl(frame, m_run->NowMs());
    }

    Json Sync() { return ParseJson(m_sync.Text(m_run->NowMs())); }

    const HouseFile m_file;
    SyncPicture m_sync;
    std::unique_ptr<HouseRun> m_run;
};

TEST_F(SyncPictureTest, BeforeAnything_ThereIsNone)
{
    EXPECT_TRUE(m_file.errors.empty());
    EXPECT_TRUE(Sync().is_null());
}

TEST_F(SyncPictureTest, SynchronisationThatEnds_IsDoneWithBothSidesFrames)
{
    m_run->Start();
    m_run->AdvanceTo(600000);
    const Json sync = Sync();
    EXPECT_EQ(sync["how"], "done");
    EXPECT_GT(sync["ended_ms"], sync["since_ms"]);
    bool out = false;
    bool in = false;
    for (const Json& frame : sync["frames"])
    {
        out = out || frame["way"] == "out";
        in = in || frame["way"] == "in";
    }
    EXPECT_TRUE(out);
    EXPECT_TRUE(in);
}

TEST_F(SyncPictureTest, FramesOfALongOne_AreTheLast)
{
    m_run->Start();
    m_run->AdvanceTo(1000);
    for (int i = 0; i < 300; ++i)
    {
        m_sync.OnZcl({4, 1, {1, 2, 3}}, m_run->NowMs());
    }
    EXPECT_LE(Sync()["frames"].size(), SyncPicture::MOST_FRAMES);
}

#include "simulator/atlashandover.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "landscape/atlas.h"
#include "simulator/simulatr.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using Words = std::vector<std::string>;

/// Writes down, in order, what the user is shown and what is started.
class AtlasHandoverTest : public testing::Test {
protected:
    AtlasHandoverTest() {
        EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim")));
        COORDREFSYS system;
        EXPECT_TRUE(Good(COORDREFSYS::FromText("EPSG:32633", system)));
        EXPECT_TRUE(Good(TransGenInit(layer, {500000, 30, 0, 5600000, 0, -30}, system)));
        // On the central meridian of zone 33, 15 degrees east.
        place.map = {500000, 5500000, 200};
        place.scene = {0, -100000, 200};
    }
    FILEPATH Put(const std::string& name, const std::string& object = "/Land") const {
        const std::string text =
            "; mine\n[Sedgelineatlas]\nTitle=T\nFile=land.sim\nObject=" + object + "\n";
        ZPF::WriteFile(folder / name.c_str(), text);
        return folder / name.c_str();
    }
    Status Hand() { return handover.HandOver(place, {300, -100000, 600}, layer); }

    ZPF::ScratchFolder folder;
    TransGen layer;
    GroundPoint place;
    Words log;
    StatusCode startResult = StatusCode::Ok;
    AtlasHandover handover{
        [this](Status shown) { log.push_back("shown " + std::to_string(shown.Value())); },
        [this](const std::string& program, std::span<const std::string> arguments) -> Status {
            log.push_back(program);
            log.insert(log.end(), arguments.begin(), arguments.end());
            return startResult;
        }};
};

TEST_F(AtlasHandoverTest, ThePlaceIsWrittenAndTheViewerStartedWhateverTheFileIsCalled) {
    for (const char* name : {"plain.atl", "a blank.atl", "it's \"quoted\".atl", "$(x) `y`; & z.atl",
                             "-dash.atl", "--help", "\xC3\xBC\xC3\xB1.atl"}) {
        const FILEPATH atlas = Put(name);
        log.clear();
        ASSERT_TRUE(Good(handover.Choose(atlas))) << name;
        ASSERT_TRUE(Good(Hand())) << name;
        EXPECT_EQ(log, (Words{"sedgelinestart", "sedgelineatlas", atlas.string()})) << name;
        Atlas written;
        ASSERT_TRUE(Good(written.Read(atlas)));
        EXPECT_TRUE(written.hasStartCentre && written.hasZoomWidth);
        EXPECT_NEAR(written.startLongitude, 15, 1e-9);
        // A meridian arc of 5500000 / 0.9996 m, integrated on the ellipsoid.
        EXPECT_NEAR(written.startLatitude, 49.652542922, 1e-8);
        EXPECT_DOUBLE_EQ(written.startZoomWidth, 500);
        EXPECT_NE(std::string(ZPF::ReadFile(atlas).data(), 6).find("; mine"), std::string::npos);
    }
}

TEST_F(AtlasHandoverTest, ARelativeNameReachesTheViewerWhole) {
    const auto before = std::filesystem::current_path();
    Put("-dash.atl");
    std::filesystem::current_path(FILEPATH(folder / "land.sim").parent_path());
    EXPECT_TRUE(Good(handover.Choose("-dash.atl")));
    EXPECT_TRUE(Good(Hand()));
    std::filesystem::current_path(before);
    EXPECT_EQ(log.back().front(), '/') << log.back();
}

TEST_F(AtlasHandoverTest, FailuresAreShownFirstAndOnlyAMissingAtlasStopsTheStart) {
    const std::string unknown = Put("unknown.atl", "/Absent").string();
    ASSERT_TRUE(Good(handover.Choose(unknown)));
    EXPECT_EQ(Hand().Code(), StatusCode::ObjectNotFound);
    EXPECT_EQ(log, (Words{"shown -2012", "sedgelinestart", "sedgelineatlas", unknown}));

    log.clear();
    ASSERT_TRUE(Good(handover.Choose(Put("incomplete.atl", ""))));
    EXPECT_EQ(Hand().Code(), StatusCode::AtlasIncomplete);
    EXPECT_EQ(log, (Words{"shown -1563"}));

    log.clear();
    const FILEPATH gone = Put("gone.atl");
    ASSERT_TRUE(Good(handover.Choose(gone)));
    std::filesystem::remove(gone);
    EXPECT_EQ(Hand().Code(), StatusCode::AtlasIncomplete);
    EXPECT_EQ(log, (Words{"shown -1563"}));
    EXPECT_FALSE(std::filesystem::exists(gone));

    // A place that isn't on the globe is no reason not to see the map.
    log.clear();
    const std::string good = Put("good.atl").string();
    ASSERT_TRUE(Good(handover.Choose(good)));
    place.map.x = 1e12;
    EXPECT_FALSE(Hand().Good());
    ASSERT_EQ(log.size(), 4U);
    EXPECT_EQ(log[3], good);
    Atlas kept;
    ASSERT_TRUE(Good(kept.Read(good)));
    EXPECT_FALSE(kept.hasStartCentre);
}

TEST_F(AtlasHandoverTest, AViewerThatDoesNotStartIsShownOnce) {
    ASSERT_TRUE(Good(handover.Choose(Put("good.atl"))));
    startResult = StatusCode::BadState;
    EXPECT_EQ(Hand().Code(), StatusCode::BadState);
    EXPECT_EQ(log.back(), "shown -1213");
    EXPECT_EQ(log.size(), 4U);
}

TEST_F(AtlasHandoverTest, AMissingAtlasCanNotBeChosenAndNoneHandsNothingOver) {
    EXPECT_TRUE(Hand().Good());
    EXPECT_EQ(log, Words());
    const FILEPATH good = Put("good.atl");
    ASSERT_TRUE(Good(handover.Choose(good)));
    EXPECT_EQ(handover.Choose(folder / "absent.atl").Code(), StatusCode::AtlasIncomplete);
    EXPECT_EQ(log, (Words{"shown -1563"}));
    EXPECT_EQ(handover.Chosen(), good);
    handover.SetList({good});
    EXPECT_TRUE(handover.Chosen().empty());
    handover.Add(good);
    EXPECT_EQ(handover.List().size(), 1U);
}

TEST(StartHelper, WhatIsNotThereIsNamed) {
    const std::vector<std::string> arguments{"no-such-viewer", "x"};
    EXPECT_EQ(StartHelper("no-such-launcher", arguments).Code(), StatusCode::BadState);
    EXPECT_NE(GetErrPosn().detail.find("no-such-launcher"), std::string::npos);
    EXPECT_EQ(StartHelper("sh", arguments).Code(), StatusCode::BadState);
    EXPECT_NE(GetErrPosn().detail.find("no-such-viewer"), std::string::npos);
}

}  // namespace
}  // namespace tarnvale

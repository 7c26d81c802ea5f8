#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

using fakes::Entry;
using testing::ElementsAre;

class LayerOffsetsTest : public testing::Test, protected fakes::World {
protected:
    LayerOffsetsTest() { specs["first"] = specs["second"] = {}; }
    void Build() { World::Build({Entry("first", {"a", "b"}), Entry("second", {"c"})}); }
    [[nodiscard]] std::vector<std::string> Rows() const {
        std::vector<std::string> rows;
        for (const LayerOffset& row : simulator.LayerOffsets()) {
            rows.push_back(row.layer + "/" + row.name + "=" +
                           std::to_string(static_cast<int>(row.offset)));
        }
        return rows;
    }
    [[nodiscard]] std::span<const float> ListOf(std::size_t layer) const {
        return simulator.GetScene()->Layers()[layer]->terrain->ElevationOffsets();
    }
    // Heights of the last strip that one frame drew, which has corners at 1, 2, 3 and 4.
    std::vector<float> DrawnHeights() {
        main.meshes.clear();
        EXPECT_TRUE(simulator.DrawFrame(false).Good());
        std::vector<float> heights;
        for (std::size_t i = 0; i < 4; ++i) heights.push_back(main.meshes.at(i).z);
        return heights;
    }

    fakes::RecordingGraphics& main = Attach(View::kMain);
};

TEST_F(LayerOffsetsTest, GoInAndOutLayerByLayer) {
    EXPECT_TRUE(simulator.LayerOffsets().empty());
    EXPECT_EQ(simulator.SetLayerOffsets({}), StatusCode::NoLandscape);
    Build();
    EXPECT_THAT(Rows(), ElementsAre("first/a=0", "first/b=0", "second/c=0"));
    EXPECT_THAT(ListOf(0), ElementsAre(0)) << "one offset of 0 until offsets are set";

    ASSERT_TRUE(simulator.SetLayerOffsets(std::vector<float>{10, -20, 30}).Good());
    EXPECT_THAT(Rows(), ElementsAre("first/a=10", "first/b=-20", "second/c=30"));
    EXPECT_THAT(ListOf(0), ElementsAre(10, -20)) << "culling sees where each texture is drawn";
    EXPECT_THAT(ListOf(1), ElementsAre(30));
    EXPECT_EQ(simulator.GetScene()->TextureOffsets().minimum, -20);
    EXPECT_EQ(simulator.GetScene()->TextureOffsets().maximum, 30);
}

TEST_F(LayerOffsetsTest, ATextureIsDrawnThatMuchHigherTimesTheExaggeration) {
    Build();
    EXPECT_THAT(DrawnHeights(), ElementsAre(1, 2, 3, 4));
    settings::VerticalExaggeration.SetUnsaved(3);
    ASSERT_TRUE(simulator.SetLayerOffsets(std::vector<float>{10, 0, 0}).Good());
    EXPECT_THAT(DrawnHeights(), ElementsAre(31, 32, 33, 34));
}

TEST_F(LayerOffsetsTest, WhatDoesNotFitChangesNothing) {
    Build();
    ASSERT_TRUE(simulator.SetLayerOffsets(std::vector<float>{1, 2, 3}).Good());
    EXPECT_EQ(simulator.SetLayerOffsets(std::vector<float>{4, 5}), StatusCode::BadState);
    EXPECT_EQ(simulator.SetLayerOffsets(
                  std::vector<float>{4, 5, std::numeric_limits<float>::quiet_NaN()}),
              StatusCode::BadState);
    EXPECT_THAT(Rows(), ElementsAre("first/a=1", "first/b=2", "second/c=3"));
    EXPECT_THAT(ListOf(0), ElementsAre(1, 2));
}

TEST_F(LayerOffsetsTest, OutliveTheTerrainModelButNotTheLandscape) {
    Build();
    ASSERT_TRUE(simulator.SetLayerOffsets(std::vector<float>{1, 2, 3}).Good());
    ASSERT_TRUE(simulator.SetTerrainModel(0).Good());
    EXPECT_THAT(ListOf(0), ElementsAre(1, 2));
    Build();
    EXPECT_THAT(ListOf(0), ElementsAre(0));
    EXPECT_THAT(Rows(), ElementsAre("first/a=0", "first/b=0", "second/c=0"));
}

}  // namespace
}  // namespace tarnvale

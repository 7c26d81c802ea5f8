#include "overlays/maplocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "base/settings.h"
#include "overlays/recordinggraphics_for_test.h"

namespace tarnvale {
namespace {

constexpr COLOR kViewer{1, 0, 0, 0}, kCentre{2, 0, 0, 0}, kLine{3, 0, 0, 0}, kArrow{4, 0, 0, 0};

MATCHER_P2(IsAt, point, tolerance, "") {
    return Length(arg - point) <= tolerance;
}

class MapLocatorTest : public testing::Test {
protected:
    void SetUp() override {
        settings::MapLocator.SetUnsaved(0);
        settings::MapLocatorViewerColor.SetUnsaved(kViewer);
        settings::MapLocatorCenterColor.SetUnsaved(kCentre);
        settings::MapLocatorLineColor.SetUnsaved(kLine);
        settings::MapLocatorArrowColor.SetUnsaved(kArrow);
    }
    void TearDown() override { settings::MapLocator.SetUnsaved(0); }
    void Draw() {
        graphics.calls.clear();
        graphics.lines.clear();
        graphics.meshes.clear();
        locator.Draw(graphics, {}, scene);
        EXPECT_EQ(graphics.calls.front(), "begin overlay");
    }
    // The line drawn in a colour; an empty one if none was.
    [[nodiscard]] fakes::DrawingRecorder::Line In(COLOR colour) const {
        for (const auto& line : graphics.lines) {
            if (line.colour == colour) return line;
        }
        return {};
    }

    MapLocator locator;
    fakes::DrawingRecorder graphics;
    // At (100, -200), 300 up, looking east.
    LocatorScene scene{.viewer = {100, -200, 300},
                       .lookAt = {140, -200, 330},
                       .forward = {0.8F, 0, 0.6F},
                       .centre = {},
                       .beyond = 1000,
                       .unit = 8};
};

TEST_F(MapLocatorTest, DashesOfAUnitLeadFromTheViewerToTheEnd) {
    struct Case {
        const char* what;
        float length;
        std::size_t vertices;
    };
    for (const Case& c : {Case{"fifty dashes and gaps", 400, 50}, Case{"an odd end", 43, 5},
                          Case{"not even two", 15, 0}, Case{"as many as may be", 1600, 200},
                          Case{"farther than that", 9000, 200}, Case{"nowhere at all", 0, 0}}) {
        scene.centre = {100 + c.length, -200, 0};
        Draw();
        const auto line = In(kLine);
        ASSERT_EQ(line.vertices.size(), c.vertices) << c.what;
        if (c.vertices == 0) continue;
        EXPECT_EQ(line.mode, LineMode::Segments);
        EXPECT_EQ(line.vertices.back(), (Vec3f{100 + c.length, -200, 0})) << c.what;
        for (std::size_t i = 0; i + 1 < line.vertices.size(); ++i) {
            EXPECT_THAT(line.vertices[i],
                        IsAt(Vec3f{100 + 8 * static_cast<float>(i), -200, 0}, 0.01F))
                << c.what << ", " << i;
        }
    }
}

TEST_F(MapLocatorTest, StraightDownTheArrowPointsNorth) {
    settings::MapLocator.SetUnsaved(1);
    scene.forward = {0, 0, -1};
    Draw();
    EXPECT_TRUE(graphics.lines.empty());
    ASSERT_EQ(graphics.meshes.size(), 1U);
    EXPECT_THAT(graphics.meshes.front().vertices,
                testing::ElementsAre(testing::_, testing::_, IsAt(Vec3f{100, -168, 0}, 1e-3F)));
}

TEST_F(MapLocatorTest, NumbersThatLeadNowhereDrawNoLine) {
    for (const float number :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        scene.centre = {number, -200, 0};
        Draw();
        EXPECT_TRUE(In(kLine).vertices.empty()) << number;
    }
    scene.unit = 0;
    Draw();
    EXPECT_TRUE(graphics.lines.empty());
}

}  // namespace
}  // namespace tarnvale

#include "overlays/maplocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
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

TEST_F(MapLocatorTest, CirclesStandFlatAtTheViewerAndAtWhatItSees) {
    scene.centre = {500, -200, 90};
    Draw();
    for (const auto& [colour, middle] :
         {std::pair{kViewer, Vec3f{100, -200, 0}}, std::pair{kCentre, Vec3f{500, -200, 0}}}) {
        const auto circle = In(colour);
        EXPECT_EQ(circle.mode, LineMode::Strip);
        ASSERT_EQ(circle.vertices.size(), 21U);
        EXPECT_THAT(circle.vertices[0], IsAt(middle + Vec3f{0, 8, 0}, 1e-4F));
        EXPECT_THAT(circle.vertices[5], IsAt(middle + Vec3f{8, 0, 0}, 1e-4F));
        EXPECT_THAT(circle.vertices[20], IsAt(circle.vertices[0], 1e-4F)) << "it closes";
        for (const Vec3f& vertex : circle.vertices) {
            EXPECT_NEAR(Length(vertex - middle), 8, 1e-3);
            EXPECT_EQ(vertex.z, 0);
        }
    }
}

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

// Looking 36.87 degrees up: 50 to the look point and 1000 beyond, four fifths of it level.
TEST_F(MapLocatorTest, AnUnseenCentreLiesBeyondTheLookPoint) {
    Draw();
    EXPECT_TRUE(In(kCentre).vertices.empty());
    EXPECT_THAT(In(kLine).vertices.back(), IsAt(Vec3f{100 + 0.8F * 1050, -200, 0}, 0.01F));
}

TEST_F(MapLocatorTest, TheArrowPointsWhereTheViewerFlies) {
    settings::MapLocator.SetUnsaved(1);
    Draw();
    EXPECT_TRUE(graphics.lines.empty());
    ASSERT_EQ(graphics.meshes.size(), 1U);
    const auto& arrow = graphics.meshes.front();
    EXPECT_EQ(arrow.colour, kArrow);
    EXPECT_TRUE(arrow.normals.empty());
    EXPECT_THAT(arrow.vertices, testing::ElementsAre(IsAt(Vec3f{100, -208, 0}, 1e-3F),
                                                     IsAt(Vec3f{100, -192, 0}, 1e-3F),
                                                     IsAt(Vec3f{132, -200, 0}, 1e-3F)));
    scene.forward = {0, 0, -1};
    Draw();
    for (const Vec3f& vertex : graphics.meshes.front().vertices) {
        EXPECT_TRUE(std::isfinite(vertex.x) && std::isfinite(vertex.y));
    }
    EXPECT_THAT(graphics.meshes.front().vertices[2], IsAt(Vec3f{100, -168, 0}, 1e-3F));
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

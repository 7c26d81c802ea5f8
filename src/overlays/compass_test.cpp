#include "overlays/compass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/settings.h"
#include "overlays/recordinggraphics_for_test.h"

namespace tarnvale {
namespace {

using testing::ElementsAre;

constexpr float kWide = 1.5F;

class CompassTest : public testing::Test {
protected:
    void SetUp() override {
        camera.fieldOfView = 45;
        camera.nearPlane = 10;
        camera.farPlane = 5000;
    }
    void TearDown() override { settings::CompassSize.SetUnsaved(1); }

    // Drawn for a viewer who looks north. The rose's own coordinates: those of its middle are off.
    const std::vector<fakes::DrawingRecorder::Mesh>& Draw() {
        graphics.meshes.clear();
        graphics.calls.clear();
        graphics.models.clear();
        compass.Draw(graphics, camera, kWide, pose);
        for (auto& mesh : graphics.meshes) {
            for (Vec3f& vertex : mesh.vertices) vertex -= kMiddle;
        }
        return graphics.meshes;
    }

    static constexpr Vec3f kMiddle{0.9F, 2.0F, -0.6F};  // 0.6 x 1.5 to the right

    Compass compass;
    fakes::DrawingRecorder graphics;
    RenderCamera camera;
    CompassPose pose{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, 0};
};

MATCHER_P2(IsAt, point, tolerance, "") {
    return Length(arg - point) <= tolerance;
}

std::vector<Vec3f> TipsOf(const fakes::DrawingRecorder::Mesh& mesh) {
    std::vector<Vec3f> tips;  // the third vertex of the last side but one, in either kind of head
    for (std::size_t i = 14; i < mesh.vertices.size(); i += 18) tips.push_back(mesh.vertices[i]);
    return tips;
}

// A normal that points inward leaves its face dark.
TEST_F(CompassTest, EveryFaceLooksOutward) {
    const auto& meshes = Draw();
    ASSERT_EQ(meshes.size(), 5U);
    for (std::size_t part = 0; part < 3; ++part) {
        const auto& [kind, colour, wireframe, vertices, normals] = meshes[part];
        for (std::size_t head = 0; head < vertices.size(); head += 18) {
            Vec3f middle;
            for (std::size_t i = head; i < head + 18; ++i) middle += vertices[i] * (1.0F / 18);
            for (std::size_t i = head; i < head + 18; i += 3) {
                const Vec3f face = (vertices[i] + vertices[i + 1] + vertices[i + 2]) * (1.0F / 3);
                EXPECT_GT(Dot(normals[i], face - middle), 0) << part << " " << i;
                EXPECT_NEAR(Length(normals[i]), 1, 2e-4) << part << " " << i;
                const Vec3f across =
                    Cross(vertices[i + 1] - vertices[i], vertices[i + 2] - vertices[i]);
                EXPECT_GT(std::abs(Dot(Normalized(across), normals[i])), 0.97) << part << " " << i;
            }
        }
    }
    for (const std::size_t hub : {3U, 4U}) {
        for (std::size_t i = 0; i < meshes[hub].vertices.size(); ++i)
            EXPECT_THAT(meshes[hub].vertices[i] * 16, IsAt(meshes[hub].normals[i], 1e-4F)) << i;
    }
}

TEST_F(CompassTest, ItsPassHasPlanesAndALightOfItsOwnAndLeavesNothingBehind) {
    Draw();
    EXPECT_THAT(graphics.calls,
                ElementsAre("begin overlay", "matrix", "set light 0", "light 0 on", "meshes",
                            "meshes", "meshes", "meshes", "meshes", "light 0 off", "matrix"));
    EXPECT_EQ(graphics.camera.nearPlane, 1);
    EXPECT_EQ(graphics.camera.farPlane, 10);
    EXPECT_EQ(graphics.camera.fieldOfView, 45);
    EXPECT_EQ(camera.nearPlane, 10) << "the view's own planes stay";
    EXPECT_THAT(graphics.models.back(),
                ElementsAre(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
    EXPECT_TRUE(graphics.ScratchMesh().vertices.Empty());
    EXPECT_TRUE(graphics.ScratchMesh().normals.Empty());
    EXPECT_THAT(graphics.light, IsAt(kMiddle + Vec3f{0, 1, 1}, 1e-6F));
    EXPECT_THAT(graphics.lightDirection, IsAt(Vec3f{0, -1, -1}, 1e-6F));
}

TEST_F(CompassTest, SizesFromAPointToTwice) {
    settings::CompassSize.SetUnsaved(2);
    EXPECT_THAT(TipsOf(Draw()[0]), ElementsAre(IsAt(Vec3f{0, 0.375F, 0}, 1e-6F)));
    EXPECT_THAT(graphics.light, IsAt(kMiddle + Vec3f{0, 2, 2}, 1e-6F));
    settings::CompassSize.SetUnsaved(0);
    for (const auto& mesh : Draw()) EXPECT_THAT(mesh.vertices, testing::Each(IsAt(Vec3f{}, 1e-6F)));
}

}  // namespace
}  // namespace tarnvale

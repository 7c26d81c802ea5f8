#include "overlays/skydome.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "base/allocations_for_test.h"
#include "base/settings.h"
#include "graphics/quietgraphics_for_test.h"

namespace tarnvale {
namespace {

/// Remembers what it is asked to draw.
class SkyRecorder final : public QuietGraphics {
public:
    SkyRecorder() : QuietGraphics("recorder") {}
    TextureHandle* CreateTexture(std::span<const std::byte> pixels, TextureUse use) override {
        ++asked;
        EXPECT_EQ(use, TextureUse::Sky);
        EXPECT_EQ(pixels.size(), static_cast<std::size_t>(skyWidth_ * skyHeight_ * 4));
        if (full) return nullptr;
        textures.push_back(std::make_unique<TextureHandle>(this, asked));
        alive.insert(textures.back().get());
        return textures.back().get();
    }
    void DestroyTexture(TextureHandle* handle) override { alive.erase(handle); }
    void SetDepthWrite(bool enable) override { depthWrite = enable; }
    void DrawMeshes(const RenderMeshBatch& batch) override {
        ++drawn;
        ASSERT_EQ(batch.size(), 1U);
        wireframe = batch[0]->wireframe;
        texture = batch[0]->texture;
        depthWritten = depthWrite;
        sent.assign(batch[0]->vertices.begin(), batch[0]->vertices.end());
        EXPECT_TRUE(texture == nullptr || alive.count(texture) == 1);
    }

    std::uint64_t asked = 0;
    int drawn = 0;
    bool full = false, wireframe = false, depthWrite = true, depthWritten = true;
    TextureHandle* texture = nullptr;
    std::vector<Vec3f> sent;
    std::vector<std::unique_ptr<TextureHandle>> textures;
    std::set<TextureHandle*> alive;
};

SkyPicture SmallPicture() {
    SkyPicture picture{4, 2, {}};
    picture.pixels.resize(4 * 2 * 4);
    return picture;
}

constexpr float kX = 1000, kY = -2000, kSide = 800, kRadius = kSide / 2;
constexpr Vec3f kInside{kX + 50, kY + 50, 100};

class SkyDomeTest : public testing::Test {
protected:
    SkyDomeTest() {
        settings::SkyCentered.SetUnsaved(true);
        settings::Wireframe.SetUnsaved(false);
        dome.Build(kX, kY, kSide);
        dome.SetPicture(SmallPicture());
    }
    ~SkyDomeTest() override { dome.Clear(); }

    void Draw(const Vec3f& viewer = kInside, int view = View::kMain) {
        dome.Draw(graphics, view, viewer);
    }
    [[nodiscard]] Vec3f Centre() const {
        // The poles lie opposite each other.
        const RenderMesh& mesh = dome.Mesh();
        return (mesh.vertices[0] + mesh.vertices[mesh.vertices.Count() - 2]) * 0.5F;
    }

    SkyRecorder graphics;
    SkyDome dome;
};

void ExpectNear(const Vec3f& a, const Vec3f& b, float tolerance, const char* what) {
    EXPECT_LT(Length(a - b), tolerance) << what << ": " << a.x << " " << a.y << " " << a.z;
}

TEST_F(SkyDomeTest, IsAClosedSphereWhosePictureEndsAtTheHorizon) {
    const RenderMesh& mesh = dome.Mesh();
    ASSERT_EQ(mesh.vertices.Count(), 30U * 30U * 6U);
    ASSERT_EQ(mesh.texcoords.Count(), mesh.vertices.Count());
    EXPECT_EQ(mesh.kind, PrimitiveKind::List);
    ExpectNear(mesh.vertices[0], {kX, kY, kRadius}, 0.01F, "the first vertex is the zenith");
    ExpectNear(mesh.vertices[1],
               {kX, kY + kRadius * std::sin(0.10471976F), kRadius * std::cos(0.10471976F)}, 0.01F,
               "sectors begin in the north");
    double area = 0;
    int firstColumn = 0, lastColumn = 0;
    for (std::uint32_t i = 0; i < mesh.vertices.Count(); i += 3) {
        const Vec3f &a = mesh.vertices[i], &b = mesh.vertices[i + 1], &c = mesh.vertices[i + 2];
        area += Length(Cross(b - a, c - a)) * 0.5;
        const bool lower = (a.z + b.z + c.z) < 0;
        for (std::uint32_t k = i; k < i + 3; ++k) {
            const Vec3f from = mesh.vertices[k] - Vec3f{kX, kY, 0};
            EXPECT_NEAR(Length(from), kRadius, 0.01F);
            const Vec2f& at = mesh.texcoords[k];
            EXPECT_NEAR(at.x, std::acos(from.z / kRadius) / 3.14159265F, 2e-3F);
            if (lower) {
                EXPECT_EQ(at.y, 100.0F);
                continue;
            }
            EXPECT_GE(at.y, 0.0F);
            EXPECT_LE(at.y, 2.0F + 1e-5F);
            firstColumn += at.y == 0 ? 1 : 0;
            if (at.y > 1.999F) {
                ++lastColumn;
                EXPECT_NEAR(from.x, 0, 0.01F) << "the last column stands where the first does";
                EXPECT_GE(from.y, -0.01F);
            }
        }
    }
    EXPECT_EQ(firstColumn, lastColumn);
    EXPECT_GT(firstColumn, 0);
    EXPECT_NEAR(area / (4 * 3.14159265 * kRadius * kRadius), 0.99, 0.01)
        << "no hole, nothing twice";
}

TEST_F(SkyDomeTest, StandsOverTheLandscapeOrGoesWithTheViewer) {
    Draw({kX + 100, kY + 30, 50});
    ExpectNear(Centre(), {kX, kY, 0}, 0.01F, "over the landscape");
    settings::SkyCentered.SetUnsaved(false);
    Draw({kX + 100, kY + 30, 50});
    ExpectNear(Centre(), {kX + 100, kY + 30, 0}, 0.01F, "with the viewer");
    Draw({kX + 9000, kY - 9000, 50});
    ExpectNear(Centre(), {kX + 9000, kY - 9000, 0}, 0.01F, "wherever that goes");
    EXPECT_FALSE(graphics.wireframe);
    settings::SkyCentered.SetUnsaved(true);
    Draw();
    ExpectNear(Centre(), {kX, kY, 0}, 0.01F, "and back");
}

TEST_F(SkyDomeTest, TurnsGrowsAndRisesAsToldUntilItIsBuiltAnew) {
    const auto zenith = [this] {
        Draw();
        return dome.Mesh().vertices[0] - Vec3f{kX, kY, 0};
    };
    SkyParameters& sky = dome.Parameters();
    sky.scale = 150;
    ExpectNear(zenith(), {0, 0, kRadius * 1.5F}, 0.01F, "scale");
    sky.height = -50;
    ExpectNear(zenith(), {0, 0, kRadius}, 0.01F, "height");
    sky = {};
    sky.roll = 90;
    ExpectNear(zenith(), {kRadius, 0, 0}, 0.01F, "roll to the right");
    sky = {};
    sky.pitch = 90;
    ExpectNear(zenith(), {0, -kRadius, 0}, 0.01F, "pitch to the back");
    sky = {};
    sky.yaw = 90;
    Draw();
    ExpectNear(dome.Mesh().vertices[1] - Vec3f{kX, kY, 0},
               {kRadius * std::sin(0.10471976F), 0, kRadius * std::cos(0.10471976F)}, 0.01F,
               "what stood in the north stands in the east");
    dome.Build(kX, kY, kSide);
    EXPECT_EQ(dome.Parameters().yaw, 0.0F);
    EXPECT_EQ(dome.Parameters().scale, 100.0F);
    ExpectNear(dome.Mesh().vertices[0], {kX, kY, kRadius}, 0.01F, "set back");
}

// No place of a quad that isn't sent shows in the picture.
TEST_F(SkyDomeTest, LeavesOutWhatIsBesideThePicture) {
    constexpr float kFov = 45, kAspect = 1.6F;
    const float high = std::tan(kFov / 2 * 0.017453292F);
    std::mt19937 dice(11);
    std::uniform_real_distribution<float> part(-1, 1);
    std::size_t left = 0;
    for (int round = 0; round < 40; ++round) {
        const Vec3f eye{kX + 0.4F * kRadius * part(dice), kY + 0.4F * kRadius * part(dice),
                        0.4F * kRadius * part(dice)};
        const Vec3f ahead = Normalized({part(dice), part(dice), part(dice)});
        const Vec3f right = Normalized(Cross(ahead, {part(dice), part(dice), part(dice)}));
        const Vec3f up = Cross(right, ahead);
        ViewPyramid seen;
        seen.Build(eye, eye + 100 * ahead, up, kFov, kAspect);
        dome.Draw(graphics, View::kMain, eye, nullptr, &seen);
        const auto all = dome.Mesh().vertices.Span();
        for (std::size_t quad = 0; quad < all.size(); quad += 6) {
            const auto corners = all.subspan(quad, 6);
            if (!std::ranges::search(graphics.sent, corners).empty()) continue;
            ++left;
            for (int i = 0; i <= 8; ++i) {
                for (int j = 0; j <= 8 - i; ++j) {
                    const float a = static_cast<float>(i) / 8, b = static_cast<float>(j) / 8;
                    for (const std::size_t triangle : {0U, 3U}) {
                        const Vec3f& from = corners[triangle];
                        const Vec3f off = from + a * (corners[triangle + 1] - from) +
                                          b * (corners[triangle + 2] - from) - eye;
                        const float depth = Dot(off, ahead);
                        EXPECT_FALSE(depth > 0 && std::abs(Dot(off, up)) < high * depth &&
                                     std::abs(Dot(off, right)) < high * kAspect * depth);
                    }
                }
            }
        }
    }
    EXPECT_GT(left, 40U * 600) << "two thirds at least";
}

// Whatever isn't sent lies behind the floor under the ground, and so behind the ground.
TEST_F(SkyDomeTest, LeavesOutOnlyWhatTheGroundHides) {
    std::mt19937 dice(7);
    std::uniform_real_distribution<float> part(0, 1);
    std::size_t left = 0;
    for (int round = 0; round < 60; ++round) {
        const SolidGround ground{kX - kRadius * part(dice), kY - kRadius * part(dice),
                                 kX + kRadius * part(dice), kY + kRadius * part(dice),
                                 -50 * part(dice)};
        const Vec3f viewer{std::lerp(ground.xMin, ground.xMax, part(dice)),
                           std::lerp(ground.yMin, ground.yMax, part(dice)), 10 + 200 * part(dice)};
        dome.Parameters().pitch = 40 * part(dice);
        dome.Draw(graphics, View::kMain, viewer, &ground);
        const std::vector<Vec3f> sent = graphics.sent;
        const std::set<std::array<float, 3>> kept = [&] {
            std::set<std::array<float, 3>> corners;
            for (const Vec3f& v : sent) corners.insert({v.x, v.y, v.z});
            return corners;
        }();
        for (const Vec3f& v : dome.Mesh().vertices) {
            if (kept.contains({v.x, v.y, v.z})) continue;
            ++left;
            const float reach = (ground.lowest - viewer.z) / (v.z - viewer.z);
            const Vec3f floor = viewer + reach * (v - viewer);
            EXPECT_TRUE(reach > 0 && floor.x >= ground.xMin && floor.x <= ground.xMax &&
                        floor.y >= ground.yMin && floor.y <= ground.yMax);
        }
        dome.Draw(graphics, View::kMain, {viewer.x, viewer.y, ground.lowest - 1}, &ground);
        EXPECT_EQ(graphics.sent.size(), dome.Mesh().vertices.Count()) << "from below the ground";
    }
    EXPECT_GT(left, 10000U);
}

TEST_F(SkyDomeTest, IsABallOfWireFromOutside) {
    Draw({kX, kY, kRadius - 1});
    EXPECT_FALSE(graphics.wireframe);
    EXPECT_FALSE(graphics.depthWritten) << "what stands beyond the dome must show before it";
    EXPECT_TRUE(graphics.depthWrite) << "the terrain leaves its depth again";
    Draw({kX, kY, kRadius + 1});
    EXPECT_TRUE(graphics.wireframe);
    EXPECT_TRUE(graphics.depthWritten);
    Draw();
    EXPECT_FALSE(graphics.wireframe);
    settings::Wireframe.SetUnsaved(true);
    Draw();
    EXPECT_TRUE(graphics.wireframe);
    settings::Wireframe.SetUnsaved(false);
}

TEST_F(SkyDomeTest, HasATextureInEachViewThatLastsAsLongAsPictureAndView) {
    Draw(kInside, View::kMap);
    EXPECT_EQ(graphics.drawn, 0) << "none in the map";
    Draw();
    Draw();
    EXPECT_EQ(graphics.asked, 1U);
    SkyRecorder side;
    dome.Draw(side, View::kLeft, kInside);
    EXPECT_EQ(side.asked, 1U);
    EXPECT_NE(side.texture, graphics.texture);
    Draw();
    EXPECT_EQ(graphics.texture->Owner(), &graphics);

    dome.DetachView(View::kLeft);
    EXPECT_TRUE(side.alive.empty());
    EXPECT_EQ(graphics.alive.size(), 1U);
    dome.SetPicture(SmallPicture());
    EXPECT_TRUE(graphics.alive.empty()) << "the old picture's";
    Draw();
    EXPECT_EQ(graphics.asked, 2U);

    dome.SetPicture({});
    const int drawn = graphics.drawn;
    Draw();
    EXPECT_EQ(graphics.drawn, drawn) << "no picture, no sky";
    EXPECT_TRUE(graphics.alive.empty());
}

TEST_F(SkyDomeTest, AsksOnceForATextureThatThereIsNoRoomFor) {
    graphics.full = true;
    for (int frame = 0; frame < 3; ++frame) Draw();
    EXPECT_EQ(graphics.asked, 1U) << "the pixels needn't go through the driver in each frame";
    EXPECT_EQ(graphics.drawn, 0);
}

TEST_F(SkyDomeTest, AllocatesNothingInASteadyFrame) {
    settings::SkyCentered.SetUnsaved(false);
    Draw();
    const std::size_t before = Allocations();
    for (int frame = 0; frame < 20; ++frame) {
        dome.Parameters().yaw = static_cast<float>(frame);
        Draw({kX + static_cast<float>(frame), kY, 100});
    }
    EXPECT_EQ(Allocations(), before);
    EXPECT_GT(before, 0U);
}

}  // namespace
}  // namespace tarnvale

#include "graphics/graphicssystem.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "graphics/quietgraphics_for_test.h"

namespace tarnvale {
namespace {

/// A window that has a size and nothing else.
class SizeOnlyWindow final : public RenderWindow {
public:
    SizeOnlyWindow(int width, int height) : width_(width), height_(height) {}
    [[nodiscard]] int PixelWidth() const override { return width_; }
    [[nodiscard]] int PixelHeight() const override { return height_; }
    [[nodiscard]] double PixelPitch() const override { return 0.25; }
    [[nodiscard]] bool CreateContext(const char*& /*why*/) override { return false; }
    void DestroyContext() override {}
    bool MakeCurrent() override { return false; }
    void DoneCurrent() override {}
    bool SwapBuffers() override { return false; }

    int width_, height_;
};

/// Answers CheckAvailable as told; everything else is of no interest.
class Candidate final : public QuietGraphics {
public:
    Candidate(std::string name, int answer, std::string libraries = "")
        : QuietGraphics(std::move(name), 0, std::move(libraries)), answer_(answer) {}
    [[nodiscard]] int CheckAvailable() const override { return answer_; }

private:
    int answer_;
};

TEST(GraphicsSystemRegistry, TheNamedSystemIsChosenElseTheFirstThatWorks) {
    GraphicsSystemRegistry registry;
    registry.Register(0, std::make_unique<Candidate>("directx", 1));
    registry.Register(GraphicsSystemRegistry::kOpenGL,
                      std::make_unique<Candidate>("opengl", 2, "libGLU.so.1:libGL.so.1"));
    registry.Register(GraphicsSystemRegistry::kOpenGL3,
                      std::make_unique<Candidate>("broken", 2, "libGL.so.1:libno-such-thing.so.7"));
    registry.Register(3, std::make_unique<Candidate>("null", 0));
    registry.Register(3, std::make_unique<Candidate>("second", 0));
    registry.Register(9, std::make_unique<Candidate>("nowhere", 0));
    EXPECT_EQ(registry.Choose("null"), nullptr) << "nobody has been asked yet";
    registry.FindAvailable();
    EXPECT_EQ(registry.Choose("OpenGL")->Name(), "opengl");
    EXPECT_EQ(registry.Choose("NULL")->Name(), "null");
    for (const char* name : {"", "directx", "broken", "second", "nowhere"}) {
        EXPECT_EQ(registry.Choose(name)->Name(), "opengl") << name;
    }
}

TEST(GraphicsSystemRegistry, AsksOnlyWhereThereIsAChoice) {
    GraphicsSystemRegistry one;
    one.Register(0, std::make_unique<Candidate>("directx", 1));
    one.Register(1, std::make_unique<Candidate>("opengl", 0));
    one.FindAvailable();
    EXPECT_EQ(one.CountAvailable(), 1);
    GraphicsSystemRegistry two;
    two.Register(0, std::make_unique<Candidate>("directx", 0));
    two.Register(1, std::make_unique<Candidate>("opengl", 0));
    two.FindAvailable();
    EXPECT_EQ(two.CountAvailable(), 2);
    for (const bool wanted : {false, true}) {
        for (const bool cleanly : {false, true}) {
            EXPECT_FALSE(one.MustAsk(wanted, cleanly));
            EXPECT_EQ(two.MustAsk(wanted, cleanly), wanted || !cleanly);
        }
    }
}

TEST(GraphicsSystemRegistry, TheNextSystemThatOpensTakesOver) {
    GraphicsSystemRegistry registry;
    registry.Register(0, std::make_unique<Candidate>("a", 0));
    registry.Register(1, std::make_unique<Candidate>("b", 1));
    registry.Register(2, std::make_unique<Candidate>("c", 0));
    registry.Register(3, std::make_unique<Candidate>("d", 0));
    registry.FindAvailable();
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        // those that open, the chosen one, the one that draws, those tried
        {"acd", "c", "c", "c"},
        {"ad", "c", "a", "ca"},
        {"d", "c", "d", "cad"},
        {"", "c", "c", "cad"}};
    for (const auto& [opening, chosen, drawing, tried] : cases) {
        std::string asked;
        Status failed = StatusCode::Ok;
        const auto open = [&](GraphicsSystem& system) -> Status {
            asked += system.Name();
            return opening.find(system.Name()) == std::string::npos ? StatusCode::DeviceFailed
                                                                    : StatusCode::Ok;
        };
        EXPECT_EQ(registry.OpenOne(*registry.Choose(chosen), open, failed)->Name(), drawing);
        EXPECT_EQ(asked, tried);
        EXPECT_EQ(failed.Good(), tried == chosen);
    }
}

TEST(GraphicsSystem, PixelScalesFollowTheWindowAndTheQuality) {
    settings::StyleQuality.SetUnsaved(0x100);
    NullGraphicsSystem system;
    SizeOnlyWindow window(800, 500);
    int width = 0;
    int height = 0;
    EXPECT_EQ(system.Open(nullptr).Code(), StatusCode::BadState);
    EXPECT_FALSE(system.IsOpen());
    ASSERT_TRUE(system.Open(&window).Good());
    RenderCamera camera;
    camera.fieldOfView = 90;
    system.BeginView(camera, width, height, FramePass::Full);
    EXPECT_EQ(width, 800);
    EXPECT_EQ(height, 500);
    // 500 pixels of 0.25 mm at quality 256: 32000. Twice the tangent of 45 degrees is 2.
    EXPECT_FLOAT_EQ(system.PixelScales()[0], 2.0F / 32000.0F);
    EXPECT_FLOAT_EQ(system.PixelScales()[1], 0.1F / 32000.0F);
    settings::StyleQuality.SetUnsaved(0x200);
    system.BeginView(camera, width, height, FramePass::Full);
    EXPECT_FLOAT_EQ(system.PixelScales()[1], 0.1F / 64000.0F);
    window.height_ = 0;  // minimised
    system.BeginView(camera, width, height, FramePass::Full);
    EXPECT_EQ(system.PixelScales()[0], 0.0F);
    settings::StyleQuality.SetUnsaved(0x100);
}

TEST(GraphicsSystem, SunVectorLeadsFromTheSunToTheGround) {
    const std::tuple<const char*, float, float, float, Vec3f> cases[] = {
        {"overhead", 90, 0, 0, {0, 0, -1}},
        {"east, at the horizon", 0, 90, 0, {1, 0, 0}},
        {"north, at the horizon", 0, 0, 0, {0, 1, 0}},
        {"north, where north is turned left by 90 degrees", 0, 0, 90, {-1, 0, 0}},
        {"east, half high", 45, 90, 0, {0.70710678F, 0, -0.70710678F}},
    };
    for (const auto& [what, elevation, azimuth, north, expected] : cases) {
        EXPECT_LT(Length(GraphicsSystem::ComputeSunVector(elevation, azimuth, north) - expected),
                  1e-6F)
            << what;
    }
}

// The same rules as where something is drawn, or an engine measured alone would stream differently.
TEST(NullGraphicsSystem, TexturesAreRefusedBeyondTheBudgetThatAllViewsShare) {
    settings::TextureMemory.SetUnsaved(10);  // 20 textures of 512 x 512 at two bytes
    const NullGraphicsSystem prototype;
    const auto first = prototype.CreateInstance();
    const auto second = prototype.CreateInstance();
    SizeOnlyWindow window(100, 100);
    const std::vector<std::byte> pixels(512 * 512 * 4);
    EXPECT_EQ(first->CreateTexture(pixels, TextureUse::Terrain), nullptr) << "closed";
    ASSERT_TRUE(first->Open(&window).Good());
    ASSERT_TRUE(second->Open(&window).Good());
    const auto fill = [&](GraphicsSystem& system) {
        std::vector<TextureHandle*> made;
        while (TextureHandle* handle = system.CreateTexture(pixels, TextureUse::Terrain)) {
            made.push_back(handle);
        }
        return made;
    };
    const auto firstTextures = fill(*first);
    EXPECT_EQ(firstTextures.size(), 20U);
    EXPECT_EQ(fill(*second).size(), 8U) << "a late view gets its coarse tiles all the same";
    first->RecycleTexture(firstTextures[3]);
    EXPECT_FALSE(firstTextures[3]->Loaded());
    EXPECT_EQ(fill(*first).size(), 1U) << "a recycled texture is used again";
    second->DestroyTexture(firstTextures[0]);
    EXPECT_TRUE(fill(*first).empty()) << "another system's texture isn't destroyed";
    ASSERT_TRUE(second->Shutdown().Good());
    first->DestroyTexture(firstTextures[0]);
    EXPECT_EQ(fill(*first).size(), 1U);
    settings::TextureMemory.SetUnsaved(0);
}

}  // namespace
}  // namespace tarnvale

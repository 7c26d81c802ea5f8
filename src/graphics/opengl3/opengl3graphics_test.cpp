#include "graphics/opengl3/opengl3graphics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>

#include "graphics/drawing_for_test.h"

namespace tarnvale {
namespace {

/// The kind of system that these tests are about.
const DrawingKind& Kind() {
    return *std::ranges::find_if(DrawingKinds(), [](const auto& kind) { return kind.smooths; });
}

struct View : ViewUnderTest {
    explicit View(int width = kSide, int height = kSide) : ViewUnderTest(Kind(), width, height) {}
    [[nodiscard]] OpenGL3GraphicsSystem& Own() {
        return dynamic_cast<OpenGL3GraphicsSystem&>(system);
    }
    /// By column and row from the upper left.
    [[nodiscard]] Rgb Pixel(int column, int row) const {
        const std::byte* p =
            &picture[static_cast<std::size_t>(row * window.PixelWidth() + column) * 4];
        return {static_cast<int>(p[0]), static_cast<int>(p[1]), static_cast<int>(p[2])};
    }
};

/// A texture of any image, by column and row from the lower left.
TextureHandle* Image(GraphicsSystem& system, const std::function<Rgb(int, int)>& image) {
    std::vector<std::byte> pixels;
    pixels.reserve(512 * 512 * 4);
    for (int row = 0; row < 512; ++row) {
        for (int column = 0; column < 512; ++column) {
            const Rgb c = image(column, row);
            for (const int part : {c.b, c.g, c.r, 255})
                pixels.push_back(static_cast<std::byte>(part));
        }
    }
    return system.CreateTexture(pixels, TextureUse::Terrain);
}

/// A window of a system without OpenGL 3.3.
class OldWindow final : public RenderWindow {
public:
    explicit OldWindow(const char* why = "the driver is too old") : why_(why) {}
    [[nodiscard]] int PixelWidth() const override { return 8; }
    [[nodiscard]] int PixelHeight() const override { return 8; }
    [[nodiscard]] double PixelPitch() const override { return 0.25; }
    [[nodiscard]] bool CreateContext(const char*& why) override {
        why = why_;
        return WantedContext() == ContextKind::Compatibility;
    }
    void DestroyContext() override {}
    bool MakeCurrent() override { return false; }
    void DoneCurrent() override {}
    bool SwapBuffers() override { return false; }

private:
    const char* why_;
};

TEST(OpenGL3Graphics, EightBitsAChannelComeThroughAsTheyAre) {
    View view(512, 512);
    const auto ramp = [](int column, int row) {
        return Rgb{column / 2, row / 2, 255 - column / 2};
    };
    for (const bool buffers : {false, true}) {
        view.Own().SetPixelBuffers(buffers);
        TextureHandle* texture = Image(view.system, ramp);
        view.Begin();
        view.Draw(Textured(texture, -1, -1, 1, 1));
        view.End();
        for (int i = 0; i < 512; i += 7) {
            EXPECT_EQ(view.Pixel(i, 511 - (i * 5) % 512), ramp(i, (i * 5) % 512)) << i;
        }
    }
}

// Distances by hand: the eye is 10 above the plane.
TEST(OpenGL3Graphics, FogFollowsItsModeAndDistances) {
    const Scoped colour(settings::FogColor, kBlue);
    const Scoped on(settings::Fog, true);
    View view;
    const std::tuple<const char*, int, float, float, float, double> cases[] = {
        // mode, start, end, density, what remains of the own colour
        {"linear, in the middle", 0, 5.0F, 15.0F, 0.0F, 0.5},
        {"linear, three quarters", 0, 2.0F, 34.0F, 0.0F, 0.75},
        {"linear, before it", 0, 11.0F, 15.0F, 0.0F, 1.0},
        {"linear, behind it", 0, 5.0F, 9.0F, 0.0F, 0.0},
        {"linear, a wall behind", 0, 12.0F, 12.0F, 0.0F, 1.0},
        {"linear, a wall before", 0, 8.0F, 8.0F, 0.0F, 0.0},
        {"exponential", 1, 0.0F, 0.0F, 0.1F, 0.36788},           // e^-1
        {"exponential, squared", 2, 0.0F, 0.0F, 0.05F, 0.7788},  // e^-0.25
    };
    for (const auto& [what, mode, start, end, density, own] : cases) {
        const Scoped type(settings::FogType, mode);
        const Scoped from(settings::FogStart, start);
        const Scoped to(settings::FogEnd, end);
        const Scoped thick(settings::FogDensity, density);
        view.Begin();
        view.Draw(Quad(-1, -1, 0, 1, kRed));
        const std::vector<Vec3f> line{{0.5F + 1.0F / kSide, -1, 0}, {0.5F + 1.0F / kSide, 1, 0}};
        view.system.DrawLines(line, kRed, LineMode::Segments);
        view.End();
        const Rgb expected{static_cast<int>(std::lround(own * 255)), 0,
                           static_cast<int>(std::lround((1 - own) * 255))};
        EXPECT_TRUE(IsNear(view.At(-0.5F, 0), expected, 2)) << what << view.At(-0.5F, 0);
        EXPECT_TRUE(IsNear(view.At(0.5F, 0), expected, 2)) << what << ", a line";
    }
}

TEST(OpenGL3Graphics, EightLightsAndTheSunAddUp) {
    View view;
    GraphicsSystem::SetSunVector({0, 0, -1});
    const auto seen = [&](float normalZ) {
        RenderMesh mesh = Quad(-1, -1, 1, 1, {0xFFFF, 0xFFFF, 0xFFFF, 0});
        for (std::uint32_t i = 0; i < 4; ++i) mesh.normals.Append({0, 0, normalZ});
        view.Begin();
        view.Draw(std::move(mesh));
        view.End();
        return view.At(0, 0);
    };
    // Each light gives a tenth of one channel, straight down, whatever its vector's length.
    constexpr std::uint16_t kTenth = 0x199A;
    for (int i = 0; i < 8; ++i) {
        view.system.SetLight(i, {5, 5, 5}, {0, 0, -3},
                             {static_cast<std::uint16_t>(i < 4 ? kTenth : 0),
                              static_cast<std::uint16_t>(i < 4 ? 0 : kTenth), 0, 0});
        view.system.EnableLight(i, true);
    }
    view.system.SetAmbient({0, 0, 0x3333, 0});
    EXPECT_TRUE(IsNear(seen(1), {102, 102, 51}, 2)) << view.At(0, 0);
    EXPECT_TRUE(IsNear(seen(-1), {0, 0, 51}, 1)) << view.At(0, 0);
    view.system.SetLightingWanted(true);
    EXPECT_TRUE(IsNear(seen(1), {255, 255, 242}, 2)) << "the sun's 0.75 on top " << view.At(0, 0);
    view.system.SetLightingWanted(false);
    view.system.EnableLight(7, false);
    view.system.EnableLight(8, true);  // isn't a caller's
    view.system.SetLight(8, {}, {0, 0, -1}, {0xFFFF, 0xFFFF, 0xFFFF, 0});
    EXPECT_TRUE(IsNear(seen(1), {102, 76, 51}, 2)) << view.At(0, 0);
}

TEST(OpenGL3Graphics, StatesSetWhileClosedHoldFromOpeningOn) {
    OffscreenWindow window(kSide, kSide);
    View view;
    ASSERT_TRUE(view.system.Shutdown().Good());
    view.system.SetLight(2, {}, {0, 0, -1}, kRed);
    view.system.EnableLight(2, true);
    view.system.SetAlphaTest(true);
    view.system.SetAlphaFunction(AlphaFunction::Never, 0);
    ASSERT_TRUE(view.system.Open(&view.window).Good());
    view.Begin();
    view.Draw(Quad(-1, -1, 0, 1, kGreen));
    view.system.SetAlphaTest(false);
    view.system.SetAmbient({});
    RenderMesh mesh = Quad(0, -1, 1, 1, {0xFFFF, 0xFFFF, 0xFFFF, 0});
    for (int i = 0; i < 4; ++i) mesh.normals.Append({0, 0, 1});
    view.Draw(std::move(mesh));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kBlackPixel);
    EXPECT_EQ(view.At(0.5F, 0), kRedPixel);
}

TEST(OpenGL3Graphics, SmoothTextureActsFromTheNextFrameOn) {
    View view(512, 512);
    // Two texels wide over the whole picture would be sharp; the place between them tells.
    TextureHandle* texture = Image(view.system, [](int column, int) {
        return column < 256 ? Rgb{} : Rgb{255, 255, 255};
    });
    const auto middle = [&] {
        view.Begin();
        RenderMesh mesh = Textured(texture, -1, -1, 1, 1);
        for (Vec2f& at : mesh.texcoords) at.x = 0.5F + (at.x - 0.5F) / 128;  // 4 texels across
        view.Draw(std::move(mesh));
        view.End();
        return std::pair(view.Pixel(254, 256).g, view.Pixel(200, 256).g);
    };
    EXPECT_EQ(middle(), std::pair(0, 0));
    const Scoped smooth(settings::SmoothTexture, true);
    const auto [edge, aside] = middle();
    // Light, not numbers, is averaged: half the light of white is 188, not 128.
    EXPECT_NEAR(edge, 188, 4);
    EXPECT_GT(aside, 0);
    EXPECT_LT(aside, edge);
    settings::SmoothTexture.SetUnsaved(false);
    EXPECT_EQ(middle(), std::pair(0, 0));
}

// From afar a pattern of black and white is as bright as a grey that gives as much light.
TEST(OpenGL3Graphics, SmallerCopiesKeepTheLight) {
    const Scoped smooth(settings::SmoothTexture, true);
    View view;
    TextureHandle* texture = Image(view.system, [](int column, int row) {
        return (column + row) % 2 == 0 ? Rgb{} : Rgb{255, 255, 255};
    });
    view.Begin();
    view.Draw(Textured(texture, -1, -1, 1, 1));  // 8 texels a pixel
    view.End();
    EXPECT_TRUE(IsNear(view.At(0.1F, 0.3F), {188, 188, 188}, 3)) << view.At(0.1F, 0.3F);
    EXPECT_TRUE(IsNear(view.At(-0.9F, 0.95F), {188, 188, 188}, 3)) << view.At(-0.9F, 0.95F);
}

/// A source image that spans four tiles, smooth enough that filtering hardly changes it.
Rgb Source(double x, double y) {
    const auto wave = [](double at) { return 128 + 100 * std::sin(at / 61); };
    return {static_cast<int>(std::lround(wave(x))), static_cast<int>(std::lround(wave(y))),
            static_cast<int>(std::lround(wave(x + y)))};
}

class TileBorders : public testing::TestWithParam<std::tuple<bool, double>> {};
INSTANTIATE_TEST_SUITE_P(Views, TileBorders,
                         testing::Combine(testing::Bool(), testing::Values(1.0, 2.0, 3.3, 0.5)));

// Four tiles of one image, looked at across their borders at several sizes: the picture is the
// image, with no line where the tiles meet and nothing of the far side of a tile.
TEST_P(TileBorders, ShowTheSourceImageWithoutASeam) {
    const auto [smooth, texelsAPixel] = GetParam();
    const Scoped on(settings::SmoothTexture, smooth);
    constexpr int kPicture = 240;
    View view(kPicture, kPicture);
    // The middle of the picture is where the four tiles meet.
    const auto side = static_cast<float>(512 / texelsAPixel * 2 / kPicture);
    view.Begin();
    for (int tileX = 0; tileX < 2; ++tileX) {
        for (int tileY = 0; tileY < 2; ++tileY) {
            TextureHandle* texture = Image(view.system, [&, x = tileX, y = tileY](int c, int r) {
                return Source(c + 512 * x, r + 512 * y);
            });
            const float left = static_cast<float>(tileX - 1) * side;
            const float low = static_cast<float>(tileY - 1) * side;
            view.Draw(Textured(texture, left, low, left + side, low + side));
        }
    }
    view.End();
    int worst = 0;
    for (int row = 0; row < kPicture; ++row) {
        for (int column = 0; column < kPicture; ++column) {
            const double x = 512 + (column + 0.5 - kPicture / 2.0) * texelsAPixel - 0.5;
            const double y = 512 - (row + 0.5 - kPicture / 2.0) * texelsAPixel - 0.5;
            if (x < 0 || y < 0 || x > 1023 || y > 1023) continue;
            const Rgb expected = Source(x, y), seen = view.Pixel(column, row);
            worst = std::max({worst, std::abs(expected.r - seen.r), std::abs(expected.g - seen.g),
                              std::abs(expected.b - seen.b)});
        }
    }
    // The image changes by at most 3.4 a texel: half a texel at an edge, plus the filter's width.
    EXPECT_LE(worst, smooth ? 3 + static_cast<int>(3 * texelsAPixel) : 4);
}

// A plane that runs to the horizon, so that many texels fall on a pixel one way and few the other.
TEST(OpenGL3Graphics, TilesMeetWithoutASeamAtAGrazingAngle) {
    const Scoped smooth(settings::SmoothTexture, true);
    View view(256, 256);
    // Both tiles are grey at their common border; their far sides are black and white.
    const auto grey = [](int share) { return Rgb{share, share, share}; };
    TextureHandle* left = Image(view.system, [&](int c, int) { return grey(c < 256 ? 0 : 128); });
    TextureHandle* right =
        Image(view.system, [&](int c, int) { return grey(c > 255 ? 255 : 128); });
    RenderCamera camera;
    camera.eye = {0, -1, 0.15F};
    camera.lookAt = {0, 3, 0};
    camera.up = {0, 0, 1};
    camera.fieldOfView = 50;
    camera.nearPlane = 0.05F;
    camera.farPlane = 100;
    view.Begin(camera);
    view.Draw(Textured(left, -4, -1, 0, 7));
    view.Draw(Textured(right, 0, -1, 4, 7));
    view.End();
    int checked = 0;
    for (int row = 150; row < 250; ++row) {
        for (int column = 126; column < 130; ++column, ++checked)
            EXPECT_TRUE(IsNear(view.Pixel(column, row), grey(128), 1)) << column << "," << row;
    }
    EXPECT_GT(checked, 300);
}

TEST(OpenGL3Graphics, AntialiasActsFromTheNextFrameOn) {
    View view;
    const auto shades = [&] {
        view.Begin();
        RenderMesh mesh;
        for (const Vec3f& corner : {Vec3f{-0.9F, -0.8F, 0}, {0.9F, -0.3F, 0}, {-0.2F, 0.9F, 0}})
            mesh.vertices.Append(corner);
        mesh.colour = {0xFFFF, 0xFFFF, 0xFFFF, 0};
        view.Draw(std::move(mesh));
        view.End();
        int between = 0;
        for (std::size_t i = 0; i < view.picture.size(); i += 4) {
            const int value = static_cast<int>(view.picture[i]);
            if (value > 0 && value < 255) ++between;
        }
        return between;
    };
    EXPECT_EQ(shades(), 0);
    EXPECT_EQ(view.Own().Samples(), 1);
    {
        const Scoped on(settings::Antialias, true);
        EXPECT_GT(shades(), 20);
        EXPECT_EQ(view.Own().Samples(), 4);
        ASSERT_TRUE(view.window.Resize(50, 30).Good());
        EXPECT_GT(shades(), 10);
    }
    EXPECT_EQ(shades(), 0);
}

// Two grounds a unit apart, seen from 30,000 units through planes from 10 units to 100,000: a
// window's own depth of 24 bits can't tell them apart beyond some 1,300.
TEST(OpenGL3Graphics, DepthTellsUnitsApartAtTheHorizon) {
    View view;
    if (view.Own().Depth() != DepthRange::Reversed) GTEST_SKIP() << "the driver has no such depth";
    RenderCamera camera = FromAbove();
    camera.eye = {0, 0, 30000};
    camera.nearPlane = 10;
    camera.farPlane = 100000;
    view.Begin(camera);
    view.Draw(Quad(-3000, -3000, 3000, 3000, kGreen, 1));
    view.Draw(Quad(-3000, -3000, 3000, 3000, kRed, 0));
    view.End();
    for (std::size_t i = 0; i < view.picture.size(); i += 4) {
        ASSERT_EQ(static_cast<int>(view.picture[i + 1]), 255) << "pixel " << i / 4;
    }
}

TEST(OpenGL3Graphics, AHiddenWindowTellsOnceWhetherItCanBeUsed) {
    int windows = 0;
    std::string told;
    const OpenGL3GraphicsSystem usable({.makeWindow =
                                            [&] {
                                                ++windows;
                                                return std::make_unique<OffscreenWindow>(8, 8);
                                            },
                                        .tell = [&](const std::string& why) { told = why; }});
    EXPECT_EQ(usable.CheckAvailable(), 0);
    EXPECT_EQ(usable.CheckAvailable(), 0);
    EXPECT_EQ(windows, 1);
    EXPECT_EQ(told, "");
    const OpenGL3GraphicsSystem unusable(
        {.makeWindow = [] { return std::make_unique<OldWindow>(); },
         .tell = [&](const std::string& why) { told = why; }});
    EXPECT_EQ(unusable.CheckAvailable(), 1);
    EXPECT_EQ(told, "the driver is too old");
    told = "-";
    const OpenGL3GraphicsSystem silent(
        {.makeWindow = [] { return std::make_unique<OldWindow>(""); },
         .tell = [&](const std::string& why) { told = why; }});
    EXPECT_EQ(silent.CheckAvailable(), 1) << "also where the driver gives no reason";
    EXPECT_EQ(told, "");
    EXPECT_EQ(OpenGL3GraphicsSystem().CheckAvailable(), 2) << "nothing to find out with";
}

TEST(OpenGL3Graphics, ALostDeviceOpensAgainAsItWas) {
    View view;
    TextureHandle* texture = view.Texture({0, 0, 255});
    view.system.SetDepthWrite(false);
    view.system.SetAmbient({0x8000, 0x8000, 0x8000, 0});
    view.Begin();
    view.Own().Lose();
    view.Begin();
    view.Draw(Textured(texture, -1, -1, 1, 1));
    EXPECT_FALSE(view.system.EndFrame().Good());
    EXPECT_TRUE(view.system.IsLost());
    ASSERT_TRUE(view.system.Rebuild().Good());
    EXPECT_FALSE(view.system.IsLost());
    EXPECT_EQ(view.Budget().Used(), 0U) << "the tiles are gone";
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, {0xFFFF, 0, 0, 0}, 1));
    view.Draw(Quad(-1, -1, 0, 1, {0, 0xFFFF, 0, 0}));  // behind, but no depth was written
    view.End();
    EXPECT_TRUE(IsNear(view.At(-0.5F, 0), {0, 128, 0}, 1)) << view.At(-0.5F, 0);
    EXPECT_TRUE(IsNear(view.At(0.5F, 0), {128, 0, 0}, 1)) << view.At(0.5F, 0);
}

TEST(OpenGL3Graphics, SmallerCopiesTakeAThirdOfTheBudgetOnceTheyAreWanted) {
    constexpr std::uint64_t kMiB = 1 << 20;
    const Scoped memory(settings::TextureMemory, 12);
    View view;
    std::array<TextureHandle*, 12> made{};
    for (TextureHandle*& texture : made) texture = view.Texture({1, 2, 3});
    EXPECT_NE(made.back(), nullptr);
    EXPECT_EQ(view.Budget().Used(), 12 * kMiB);
    const auto draw = [&] {
        view.Begin();
        for (TextureHandle* texture : made) view.Draw(Textured(texture, -1, -1, 1, 1));
        view.End();
    };
    draw();
    EXPECT_EQ(view.Budget().Used(), 12 * kMiB);
    const Scoped smooth(settings::SmoothTexture, true);
    for (int frame = 0; frame < 3; ++frame) draw();  // some each frame, and each of them once
    EXPECT_EQ(view.Budget().Used(), 12 * (kMiB + kMiB / 3)) << "what is held gets them all";
    EXPECT_EQ(view.Texture({1, 2, 3}), nullptr);
    for (TextureHandle* texture : made) view.system.DestroyTexture(texture);
    EXPECT_EQ(view.Budget().Used(), 0U);
    for (int i = 0; i < 9; ++i) EXPECT_NE(view.Texture({1, 2, 3}), nullptr);
    EXPECT_EQ(view.Texture({1, 2, 3}), nullptr) << "made with them from the start";
}

TEST(OpenGL3Graphics, AStateSetAgainToWhatItIsSendsNothing) {
    View view;
    const auto draw = [&] {
        view.system.SetLight(0, {1, 2, 3}, {0, 0, -1}, kRed);
        view.system.EnableLight(0, true);
        view.system.SetAmbient(kGreen);
        view.system.SetAlphaFunction(AlphaFunction::Less, 0.5F);
        view.system.SetDepthWrite(true);
        view.Draw(Quad(-1, -1, 1, 1, kBlue));
    };
    view.Begin();
    for (int i = 0; i < 3; ++i) draw();
    view.End();
    EXPECT_EQ(view.system.Counters().drawCalls, 1U);
}

TEST(OpenGL3Graphics, BlendedMeshesKeepTheirPlaceInTheOrder) {
    View view;
    TextureHandle* red = view.Texture({255, 0, 0});
    TextureHandle* green = view.Texture({0, 255, 0});
    TextureHandle* veil = view.Texture({0, 0, 255}, 128);
    view.Begin();
    view.Draw(Textured(red, -1, -1, 1, 1, 0));
    view.Draw(Textured(green, -1, -1, 0, 1, 1));
    view.Draw(Textured(veil, -1, -1, 1, 1, 2));
    view.Draw(Textured(red, -1, -1, 1, 0, 3));  // in front of the veil, and after it
    view.End();
    EXPECT_TRUE(IsNear(view.At(-0.5F, 0.5F), {0, 127, 128}, 1)) << view.At(-0.5F, 0.5F);
    EXPECT_TRUE(IsNear(view.At(0.5F, 0.5F), {127, 0, 128}, 1)) << view.At(0.5F, 0.5F);
    EXPECT_EQ(view.At(0.5F, -0.5F), kRedPixel);
    EXPECT_EQ(view.At(-0.5F, -0.5F), kRedPixel);
}

}  // namespace
}  // namespace tarnvale

#include "graphics/opengl/openglgraphics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "base/settings.h"
#include "graphics/offscreen/offscreenwindow.h"

namespace tarnvale {
namespace {

constexpr int kSide = 64;
constexpr COLOR kRed{0xFFFF, 0, 0, 0}, kGreen{0, 0xFFFF, 0, 0}, kBlue{0, 0, 0xFFFF, 0};

/// Red, green and blue of a pixel, 0 to 255.
struct Rgb {
    int r = 0, g = 0, b = 0;
    friend bool operator==(const Rgb&, const Rgb&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Rgb& c) {
        return out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
    }
};
constexpr Rgb kBlackPixel{0, 0, 0}, kRedPixel{255, 0, 0}, kGreenPixel{0, 255, 0},
    kBluePixel{0, 0, 255};

/// Sets a setting for a test.
template <typename T>
class Scoped {
public:
    Scoped(Setting<T>& setting, T value) : setting_(setting), old_(setting.Get()) {
        setting_.SetUnsaved(std::move(value));
    }
    ~Scoped() { setting_.SetUnsaved(old_); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;

private:
    Setting<T>& setting_;
    T old_;
};

/// The plane z = 0 seen from above: x and y from -1 to 1 just fill the picture.
RenderCamera FromAbove() {
    RenderCamera camera;
    camera.eye = {0, 0, 10};
    camera.up = {0, 1, 0};
    camera.fieldOfView = 2.0F * std::atan(0.1F) * 57.29578F;
    camera.nearPlane = 1;
    camera.farPlane = 100;
    return camera;
}

RenderMesh Quad(float x0, float y0, float x1, float y1, COLOR colour, float z = 0) {
    RenderMesh mesh;
    mesh.kind = PrimitiveKind::Fan;
    for (const auto& [x, y, u, v] :
         {std::tuple{x0, y0, 0.0F, 0.0F}, std::tuple{x1, y0, 1.0F, 0.0F},
          std::tuple{x1, y1, 1.0F, 1.0F}, std::tuple{x0, y1, 0.0F, 1.0F}}) {
        mesh.vertices.Append({x, y, z});
        mesh.texcoords.Append({u, v});
    }
    mesh.colour = colour;
    return mesh;
}

RenderMesh Textured(TextureHandle* texture, float x0, float y0, float x1, float y1, float z = 0) {
    RenderMesh mesh = Quad(x0, y0, x1, y1, COLOR::Plain(), z);
    mesh.texture = texture;
    return mesh;
}

std::vector<std::byte> Pixels(Rgb colour, int alpha = 255) {
    std::vector<std::byte> pixels;
    pixels.reserve(512 * 512 * 4);
    for (int i = 0; i < 512 * 512; ++i) {
        for (const int part : {colour.b, colour.g, colour.r, alpha}) {
            pixels.push_back(static_cast<std::byte>(part));
        }
    }
    return pixels;
}

/// One view: a window, its system, and the picture after EndFrame.
struct ViewUnderTest {
    explicit ViewUnderTest(int width = kSide, int height = kSide) : window(width, height) {
        EXPECT_TRUE(system.Open(&window).Good()) << GetErrPosn().detail;
    }
    void Begin(const RenderCamera& camera = FromAbove(), FramePass pass = FramePass::Full) {
        int width = 0;
        int height = 0;
        system.BeginView(camera, width, height, pass);
    }
    void Draw(RenderMesh mesh) { system.DrawMeshes({&mesh}); }
    void End() {
        ASSERT_TRUE(system.EndFrame().Good());
        ASSERT_TRUE(window.ReadPicture(picture).Good());
    }
    TextureHandle* Texture(Rgb colour, int alpha = 255) {
        return system.CreateTexture(Pixels(colour, alpha), TextureUse::Terrain);
    }
    /// At a point of the plane z = 0.
    [[nodiscard]] Rgb At(float x, float y) const {
        const auto column = static_cast<int>((x + 1) / 2 * static_cast<float>(window.PixelWidth()));
        const auto row = static_cast<int>((1 - y) / 2 * static_cast<float>(window.PixelHeight()));
        const std::byte* p =
            &picture[static_cast<std::size_t>(row * window.PixelWidth() + column) * 4];
        return {static_cast<int>(p[0]), static_cast<int>(p[1]), static_cast<int>(p[2])};
    }

    OffscreenWindow window;
    OpenGLGraphicsSystem system;
    std::vector<std::byte> picture;
};

TEST(OpenGLGraphics, ClearsToTheBackgroundAlsoAfterDepthWritesWereOff) {
    ViewUnderTest view;
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kRed, 5));
    view.system.SetDepthWrite(false);
    view.End();
    EXPECT_EQ(view.At(0, 0), kRedPixel);
    const Scoped background(settings::BackgroundColor, COLOR{0, 0x8000, 0xFFFF, 0});
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kBlue));  // in a frame that is never ended
    view.Begin();
    view.Draw(Quad(-1, -1, 0, 1, kGreen));  // hidden if the old depth were still there
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kGreenPixel);
    EXPECT_EQ(view.At(0.5F, 0), (Rgb{0, 128, 255}));
}

TEST(OpenGLGraphics, TexturesLieBottomRowFirstAndAreNotLit) {
    ViewUnderTest view;
    std::vector<std::byte> pixels = Pixels({255, 0, 0});
    for (std::size_t row = 256; row < 512; ++row) {  // the upper half blue, its right half green
        for (std::size_t column = 0; column < 512; ++column) {
            std::byte* p = &pixels[(row * 512 + column) * 4];
            p[0] = std::byte{static_cast<unsigned char>(column < 256 ? 255 : 0)};
            p[1] = std::byte{static_cast<unsigned char>(column < 256 ? 0 : 255)};
            p[2] = std::byte{0};
        }
    }
    TextureHandle* texture = view.system.CreateTexture(pixels, TextureUse::Terrain);
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->Loaded());
    view.Begin();
    view.system.SetAmbient({0x1000, 0x1000, 0x1000, 0});
    view.Draw(Textured(texture, -1, -1, 1, 1));
    view.End();
    EXPECT_EQ(view.At(-0.5F, -0.5F), kRedPixel);
    EXPECT_EQ(view.At(-0.5F, 0.5F), kBluePixel);
    EXPECT_EQ(view.At(0.5F, 0.5F), kGreenPixel);
    EXPECT_EQ(view.system.CreateTexture(std::span(pixels).first(100), TextureUse::Terrain),
              nullptr);
}

TEST(OpenGLGraphics, TheSkysTextureTakesItsOwnSize) {
    ViewUnderTest view;
    std::vector<std::byte> pixels(std::size_t{4} * 2 * 4);
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        pixels[i + (i < 16 ? 2 : 0)] = std::byte{255};
    EXPECT_EQ(view.system.CreateTexture(pixels, TextureUse::Sky), nullptr) << "no size was given";
    view.system.SetSkyTextureSize(4, 2);
    TextureHandle* sky = view.system.CreateTexture(pixels, TextureUse::Sky);
    ASSERT_NE(sky, nullptr);
    view.Begin();
    view.system.SetAlphaFunction(AlphaFunction::Equal, 1.0F);
    view.system.SetAlphaTest(true);
    view.Draw(Textured(sky, -1, -1, 1, 1));  // opaque although the spare bytes are 0
    view.End();
    EXPECT_EQ(view.At(0, -0.5F), kRedPixel);
    EXPECT_EQ(view.At(0, 0.5F), kBluePixel);
}

TEST(OpenGLGraphics, ClearTexelsAreDroppedAndLeaveNoDepth) {
    ViewUnderTest view;
    TextureHandle* clear = view.Texture({255, 0, 0}, 0);
    TextureHandle* solid = view.Texture({0, 255, 0}, 255);
    view.Begin();
    view.system.SetAlphaFunction(AlphaFunction::Equal, 1.0F);
    view.system.SetAlphaTest(true);
    view.Draw(Textured(clear, -1, -1, 0, 1, 5));
    view.Draw(Textured(solid, -1, -1, 1, 1));
    view.system.SetAlphaTest(false);
    view.Draw(Textured(clear, 0.5F, -1, 1, 1));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kGreenPixel);
    EXPECT_EQ(view.At(0.25F, 0), kGreenPixel);
    EXPECT_EQ(view.At(0.7F, 0), kRedPixel) << "without the test it is drawn";
}

TEST(OpenGLGraphics, AModelMatrixReplacesTheOneBefore) {
    ViewUnderTest view;
    std::array<double, 16> move{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -0.5, 0, 0, 1};
    view.Begin();
    view.system.SetModelMatrix(move);
    view.Draw(Quad(-0.2F, -0.2F, 0.2F, 0.2F, kRed));
    move[12] = 0.5;
    view.system.SetModelMatrix(move);
    view.Draw(Quad(-0.2F, -0.2F, 0.2F, 0.2F, kGreen));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kRedPixel);
    EXPECT_EQ(view.At(0.5F, 0), kGreenPixel);
    EXPECT_EQ(view.At(0, 0), kBlackPixel);
    view.Begin();  // a new frame starts without one, also if the same comes again
    view.Draw(Quad(-0.2F, -0.2F, 0.2F, 0.2F, kBlue));
    view.system.SetModelMatrix(move);
    view.Draw(Quad(-0.2F, -0.2F, 0.2F, 0.2F, kGreen));
    view.End();
    EXPECT_EQ(view.At(0, 0), kBluePixel);
    EXPECT_EQ(view.At(0.5F, 0), kGreenPixel);
}

TEST(OpenGLGraphics, AnOverlayPassLiesOverThePicture) {
    ViewUnderTest view;
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kRed, 5));
    view.Begin(FromAbove(), FramePass::Overlay);
    view.Draw(Quad(-1, -1, 0, 1, kGreen, -5));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kGreenPixel) << "its depth was cleared";
    EXPECT_EQ(view.At(0.5F, 0), kRedPixel) << "its colour wasn't";
}

TEST(OpenGLGraphics, TheCamerasFogWinsForItsFrameAlone) {
    const Scoped colour(settings::FogColor, kBlue);
    ViewUnderTest view;
    const auto seen = [&](bool setting, bool overriding, bool on) {
        const Scoped fog(settings::Fog, setting);
        RenderCamera camera = FromAbove();
        camera.overrideFog = overriding;
        camera.fogOn = on;
        view.Begin(camera);
        view.Draw(Quad(-1, -1, 1, 1, kRed));
        view.End();
        return view.At(0, 0);
    };
    EXPECT_EQ(seen(true, false, false), kBluePixel);
    EXPECT_EQ(seen(true, true, false), kRedPixel);
    EXPECT_EQ(seen(true, false, false), kBluePixel);
    EXPECT_EQ(seen(false, true, true), kBluePixel);
    EXPECT_EQ(seen(false, false, true), kRedPixel);
}

TEST(OpenGLGraphics, OfTwoLayersInOnePlaceTheLaterIsSeen) {
    ViewUnderTest view;
    std::vector<TextureHandle*> lower;
    std::vector<TextureHandle*> upper;
    for (int i = 0; i < 4; ++i) {
        lower.push_back(view.Texture({255, 0, 0}));
        upper.push_back(view.Texture({0, 255, 0}));
    }
    view.Begin();
    for (const auto& layer : {lower, upper}) {
        for (int round = 0; round < 6; ++round) {  // the layer's textures take turns
            for (std::size_t i = 0; i < 4; ++i) {
                const float x = -1 + static_cast<float>(i) * 0.5F;
                const float y = -1 + static_cast<float>(round) / 3;
                view.Draw(Textured(layer[(i + static_cast<std::size_t>(round)) % 4], x, y, x + 0.5F,
                                   y + 1.0F / 3));
            }
        }
    }
    view.Draw(Quad(-1, 0, 0, 1, kBlue));  // plain over textured
    view.Draw(Textured(lower[0], -1, 0, -0.5F, 0.5F));
    view.End();
    EXPECT_EQ(view.At(0.5F, 0.5F), kGreenPixel);
    EXPECT_EQ(view.At(-0.5F, -0.5F), kGreenPixel);
    EXPECT_EQ(view.At(-0.25F, 0.75F), kBluePixel);
    EXPECT_LE(view.system.Counters().drawCalls, 10U);
    EXPECT_EQ(view.system.Counters().triangles, (48U + 2U) * 2U);
}

TEST(OpenGLGraphics, WithoutDepthWritesTheOrderOfDrawingIsKept) {
    ViewUnderTest view;
    TextureHandle* red = view.Texture({255, 0, 0});
    TextureHandle* green = view.Texture({0, 255, 0});
    view.Begin();
    view.system.SetDepthWrite(false);
    view.Draw(Textured(red, -1, -1, 1, 1, 1));
    view.Draw(Textured(green, -1, -1, 1, 1, 2));
    view.Draw(Textured(red, -1, -1, 0, 1, 3));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kRedPixel);
    EXPECT_EQ(view.At(0.5F, 0), kGreenPixel);
    view.system.SetDepthWrite(true);
}

TEST(OpenGLGraphics, ABatchEndsAtItsFirstShortMesh) {
    ViewUnderTest view;
    RenderMesh first = Quad(-1, -1, 0, 1, kRed);
    RenderMesh shortOne = Quad(-1, -1, 0, 1, kRed);
    shortOne.vertices.Truncate(2);
    RenderMesh third = Quad(0, -1, 1, 1, kGreen);
    view.Begin();
    view.system.DrawMeshes({&first, &shortOne, &third});
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kRedPixel);
    EXPECT_EQ(view.At(0.5F, 0), kBlackPixel);
}

TEST(OpenGLGraphics, TheSunShadesLitMeshesWhileItIsWanted) {
    ViewUnderTest view;
    GraphicsSystem::SetSunVector({0, 0, -1});
    const auto seen = [&](float normalZ, bool wanted, bool use) {
        const Scoped sun(settings::UseSun, use);
        RenderMesh mesh = Quad(-1, -1, 1, 1, {0xFFFF, 0xFFFF, 0xFFFF, 0});
        for (std::uint32_t i = 0; i < 4; ++i) mesh.normals.Append({0, 0, normalZ});
        view.Begin();
        view.system.SetAmbient({0x3333, 0x3333, 0x3333, 0});  // a fifth
        view.system.SetLightingWanted(wanted);
        view.Draw(std::move(mesh));
        view.End();
        return view.At(0, 0).g;
    };
    EXPECT_NEAR(seen(1, true, true), 242, 1);  // 0.2 + 0.75
    EXPECT_NEAR(seen(-1, true, true), 51, 1);
    EXPECT_NEAR(seen(1, false, true), 51, 1);
    EXPECT_NEAR(seen(1, true, false), 51, 1);
    GraphicsSystem::SetSunVector({1, 0, 0});
    EXPECT_NEAR(seen(1, true, true), 51, 1) << "from the side, in the first frame already";

    // Without normals a mesh looks up, whatever was drawn before.
    GraphicsSystem::SetSunVector({0, 0, -1});
    RenderMesh tilted = Quad(-1, -1, 0, 0, {0xFFFF, 0xFFFF, 0xFFFF, 0});
    for (int i = 0; i < 4; ++i) tilted.normals.Append({1, 0, 0});
    view.Begin();
    view.system.SetLightingWanted(false);
    view.Draw(Quad(-1, 0, 0, 1, {0xFFFF, 0xFFFF, 0xFFFF, 0}));
    view.system.SetLightingWanted(true);
    view.Draw(std::move(tilted));
    view.Draw(Quad(0, -1, 1, 0, {0xFFFF, 0xFFFF, 0xFFFF, 0}));
    view.End();
    EXPECT_NEAR(view.At(-0.5F, 0.5F).g, 51, 1) << "drawn while the sun was off";
    EXPECT_NEAR(view.At(-0.5F, -0.5F).g, 51, 1) << "turned away";
    EXPECT_NEAR(view.At(0.5F, -0.5F).g, 242, 1);
}

TEST(OpenGLGraphics, LinesPointsAndWireframes) {
    const Scoped wire(settings::WireframeColor, kGreen);
    ViewUnderTest view;
    const float half = 1.0F / kSide;  // to the middle of a pixel
    const std::vector<Vec3f> ends{{-1, half, 0}, {half, half, 0}, {half, 0.5F, 0}, {1, 0.5F, 0}};
    RenderMesh frame = Quad(-0.5F + half, -0.75F + half, 0.5F + half, -0.25F + half, kRed);
    frame.wireframe = true;
    view.Begin();
    view.Draw(std::move(frame));
    view.Draw(Quad(-1, 0.7F, 1, 0.8F, kGreen));
    view.Draw(Quad(-1, -0.1F, -0.25F, 0.1F, kGreen));
    view.system.DrawLines(ends, kRed, LineMode::Segments);
    view.system.DrawLines(std::span(ends).first(1), kRed, LineMode::Strip);
    const std::vector<Vec3f> points{{0.5F + half, 0.75F + half, 0}};
    view.system.DrawPoints(points, kBlue);
    view.End();
    EXPECT_EQ(view.At(-0.5F, half), kRedPixel);
    EXPECT_EQ(view.At(half, 0.25F), kBlackPixel) << "two segments aren't joined";
    EXPECT_EQ(view.At(0.5F + half, 0.75F + half), kBluePixel);
    EXPECT_EQ(view.At(0.25F + half, -0.75F + half), kGreenPixel) << "an edge";
    EXPECT_EQ(view.At(0.25F + half, -0.4F), kBlackPixel) << "between the edges";
    view.Begin();
    view.system.DrawLines(ends, kRed, LineMode::Strip);
    view.End();
    EXPECT_EQ(view.At(half, 0.25F), kRedPixel);
}

TEST(OpenGLGraphics, TheVeilAddsItsColourOverEverything) {
    const Scoped on(settings::Subterrain, true);
    const Scoped colour(settings::SubterrainColor, COLOR{0, 0x80FF, 0, 0});
    const Scoped opacity(settings::SubterrainOpacity, 50.0F);
    ViewUnderTest view;
    for (int round = 0; round < 2; ++round) {
        view.Begin();
        view.Draw(Quad(-1, -1, 0, 1, kRed, 5));
        RenderMesh frame = Quad(0, 0.9F, 0.1F, 1, kRed);
        frame.wireframe = true;  // lines must not make lines of the veil
        view.Draw(std::move(frame));
        view.system.DrawSubterrainVeil();
        view.Draw(Quad(0.5F, -1, 1, 1, {0, 0, 0xFFFF, 0x8000}));  // half clear, yet not blended
        view.Draw(Quad(-1, -1, 0, 1, kGreen));                    // behind the red one
        view.End();
        EXPECT_EQ(view.At(-0.5F, 0), (Rgb{255, 64, 0})) << round;
        EXPECT_EQ(view.At(0.25F, 0), (Rgb{0, 64, 0})) << round;
        EXPECT_EQ(view.At(0.75F, 0), kBluePixel) << round;
    }
}

/// A terrain as an engine sends it: many small meshes of all kinds, interleaved.
class RandomScene {
public:
    RandomScene(ViewUnderTest& view, unsigned seed) : random_(seed) {
        std::vector<TextureHandle*> textures{nullptr};
        for (int i = 0; i < 12; ++i) {
            textures.push_back(
                view.Texture({Number(256), Number(256), Number(256)}, i % 3 == 0 ? 0 : 255));
        }
        for (int i = 0; i < 1500; ++i) {
            RenderMesh& mesh = meshes_.emplace_back();
            mesh.kind = static_cast<PrimitiveKind>(Number(3));
            mesh.texture = textures[Number(20) == 0 ? 0 : static_cast<std::size_t>(1 + Number(12))];
            mesh.wireframe = Number(200) == 0;
            const bool lit = mesh.texture == nullptr && Number(2) == 0;
            mesh.colour.red = static_cast<std::uint16_t>(Number(65536));
            const float x = Real() * 2 - 1;
            const float y = Real() * 2 - 1;
            for (int corner = 3 + Number(7); corner > 0; --corner) {
                mesh.vertices.Append({x + Real() * 0.3F, y + Real() * 0.3F, Real() * 8});
                mesh.texcoords.Append({Real(), Real()});
                if (lit) mesh.normals.Append(Normalized({Real(), Real(), Real() + 0.1F}));
            }
        }
    }
    void Draw(GraphicsSystem& system) {
        system.SetAlphaFunction(AlphaFunction::Equal, 1.0F);
        for (std::size_t i = 0; i < meshes_.size(); i += 5) {
            if (i == 500) system.SetAlphaTest(true);
            if (i == 1000) system.SetAlphaTest(false);
            RenderMeshBatch batch;
            for (std::size_t k = i; k < i + 5; ++k) batch.push_back(&meshes_[k]);
            system.DrawMeshes(batch);
        }
    }

private:
    int Number(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
    float Real() { return static_cast<float>(random_() % 100000) / 100000.0F; }

    std::mt19937 random_;
    std::vector<RenderMesh> meshes_;
};

TEST(OpenGLGraphics, GatheringChangesTheNumberOfCallsAndNotThePicture) {
    const Scoped wire(settings::WireframeColor, kGreen);
    GraphicsSystem::SetSunVector({0, 0, -1});
    for (unsigned seed = 1; seed <= 6; ++seed) {
        ViewUnderTest view(256, 256);
        view.system.SetLightingWanted(true);
        RandomScene scene(view, seed);
        std::array<std::vector<std::byte>, 2> pictures;
        std::array<DrawCounters, 2> counters;
        for (const int gather : {0, 1}) {
            view.system.SetGathering(gather != 0);
            view.Begin();
            scene.Draw(view.system);
            view.End();
            pictures[static_cast<std::size_t>(gather)] = view.picture;
            counters[static_cast<std::size_t>(gather)] = view.system.Counters();
        }
        EXPECT_EQ(pictures[0], pictures[1]) << "seed " << seed;
        EXPECT_EQ(counters[0].drawCalls, 1500U);
        EXPECT_EQ(counters[0].triangles, counters[1].triangles);
        EXPECT_LT(counters[1].drawCalls, 600U);  // colours of untextured meshes differ
    }
}

TEST(OpenGLGraphics, AFrameOfManySmallMeshesTakesFewCalls) {
    ViewUnderTest view;
    std::vector<TextureHandle*> textures;
    textures.reserve(60);
    for (int i = 0; i < 60; ++i) textures.push_back(view.Texture({i, 0, 0}));
    RenderMesh mesh;
    RenderMesh plain;
    for (int i = 0; i < 15; ++i) {
        const Vec3f corner{static_cast<float>(i % 3) * 0.01F, static_cast<float>(i % 2) * 0.01F, 0};
        mesh.vertices.Append(corner);
        mesh.texcoords.Append({0, 0});
        plain.vertices.Append(corner);
    }
    view.Begin();
    for (int i = 0; i < 10000; ++i) {
        mesh.texture = textures[static_cast<std::size_t>(i * 7 % 60)];
        if (i % 100 == 0) view.system.DrawMeshes({&plain});
        view.system.DrawMeshes({&mesh});
    }
    view.End();
    EXPECT_EQ(view.system.Counters().triangles, 50000U + 500U);
    EXPECT_LT(view.system.Counters().drawCalls, 200U);
}

TEST(OpenGLGraphics, WhatWaitsIsDrawnWithItsTextureAsItWas) {
    ViewUnderTest view;
    TextureHandle* first = view.Texture({255, 0, 0});
    TextureHandle* second = view.Texture({0, 255, 0});
    view.Begin();
    view.Draw(Textured(first, -1, -1, 0, 1));
    view.Draw(Textured(second, 0, -1, 1, 1));
    view.system.RecycleTexture(first);
    TextureHandle* again = view.Texture({0, 0, 255});
    EXPECT_EQ(again, first) << "a recycled texture is taken first";
    view.Draw(Textured(again, -1, -1, -0.5F, 1));
    view.system.DestroyTexture(second);
    view.End();
    EXPECT_EQ(view.At(-0.25F, 0), kRedPixel);
    EXPECT_EQ(view.At(-0.75F, 0), kBluePixel);
    EXPECT_EQ(view.At(0.5F, 0), kGreenPixel);
}

TEST(OpenGLGraphics, TexturesBeyondTheBudgetAreRefused) {
    const Scoped memory(settings::TextureMemory, 12);
    ViewUnderTest view;
    const auto pixels = Pixels({1, 2, 3});
    std::vector<TextureHandle*> made;
    while (made.size() < 1000) {
        TextureHandle* handle = view.system.CreateTexture(pixels, TextureUse::Terrain);
        if (handle == nullptr) break;
        made.push_back(handle);
    }
    EXPECT_GE(made.size(), 12U);  // at four bytes a pixel
    EXPECT_LE(made.size(), 24U);  // at two
    EXPECT_LE(view.system.Budget().Used(), 12U << 20);
    const std::uint64_t full = view.system.Budget().Used();
    view.system.RecycleTexture(made[0]);
    EXPECT_EQ(view.system.Budget().Used(), full) << "a recycled texture still takes its room";
    EXPECT_NE(view.system.CreateTexture(pixels, TextureUse::Terrain), nullptr);
    EXPECT_EQ(view.system.CreateTexture(pixels, TextureUse::Terrain), nullptr);

    OffscreenWindow other(kSide, kSide);
    const auto second = view.system.CreateInstance();
    ASSERT_TRUE(second->Open(&other).Good());
    TextureHandle* late = second->CreateTexture(pixels, TextureUse::Terrain);
    EXPECT_NE(late, nullptr) << "a late view gets its coarse tiles";
    view.system.DestroyTexture(nullptr);
    for (TextureHandle* foreign : made) {  // native names are the same in both
        second->RecycleTexture(foreign);
        second->DestroyTexture(foreign);
    }
    EXPECT_TRUE(late->Loaded());
    EXPECT_TRUE(made[1]->Loaded());
    EXPECT_GT(view.system.Budget().Used(), full);
    second->DestroyTexture(late);
    EXPECT_EQ(view.system.Budget().Used(), full);
    view.system.DestroyTexture(made[1]);
    EXPECT_NE(view.system.CreateTexture(pixels, TextureUse::Terrain), nullptr);
    ASSERT_TRUE(view.system.Shutdown().Good());
    EXPECT_EQ(view.system.Budget().Used(), 0U);
}

TEST(OpenGLGraphics, AScreenShotIsABitmapOfThePicture) {
    const FILEPATH path = FILEPATH(TARNVALE_TEST_TEMP) / "graphics shot \xC3\xA9.bmp";
    std::filesystem::remove(path);
    ViewUnderTest view(50, 30);
    view.system.RequestScreenShot(path);
    view.Begin();
    view.Draw(Quad(-1.7F, -1, 1.7F, 0, kRed));
    view.End();
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    file.close();
    ASSERT_EQ(bytes.size(), 54U + 50 * 30 * 4);
    const auto number = [&](std::size_t at) {
        std::uint32_t value = 0;
        std::memcpy(&value, &bytes[at], 4);
        return value;
    };
    EXPECT_EQ(std::string(bytes.data(), 2), "BM");
    EXPECT_EQ(number(10), 54U);
    EXPECT_EQ(number(14), 40U);
    EXPECT_EQ(number(18), 50U);
    EXPECT_EQ(number(22), 30U);
    EXPECT_EQ(number(26), 1U | 32U << 16);
    EXPECT_EQ(number(54 + 25 * 4) & 0xFFFFFF, 0xFF0000U) << "the lowest row, red";
    EXPECT_EQ(number(54 + (29 * 50 + 25) * 4) & 0xFFFFFF, 0U) << "the highest row, background";
    std::filesystem::remove(path);
    view.Begin();
    view.End();
    EXPECT_FALSE(std::filesystem::exists(path)) << "one request, one file";
    view.system.RequestScreenShot(FILEPATH(TARNVALE_TEST_TEMP) / "no such folder" / "shot.bmp");
    view.Begin();
    EXPECT_TRUE(view.system.TakeScreenShotResult()->Good()) << "of the first one";
    view.End();  // flight goes on as if nothing had been
    EXPECT_EQ(view.system.TakeScreenShotResult(), Status(StatusCode::ScreenShotFailed));
    EXPECT_FALSE(view.system.TakeScreenShotResult().has_value()) << "told once";
}

TEST(OpenGLGraphics, ASystemCanBeOpenedAgainAndElsewhere) {
    ViewUnderTest view;
    OffscreenWindow second(kSide, kSide);
    (void)view.Texture({1, 2, 3});
    ASSERT_TRUE(view.system.Shutdown().Good());
    ASSERT_TRUE(view.system.Shutdown().Good());
    EXPECT_FALSE(view.system.IsOpen());
    view.Begin();  // a closed system lets everything pass
    view.Draw(Quad(-1, -1, 1, 1, kRed));
    EXPECT_EQ(view.Texture({1, 2, 3}), nullptr);
    EXPECT_FALSE(view.system.EndFrame().Good());
    ASSERT_TRUE(view.system.Open(&second).Good());
    ASSERT_TRUE(view.system.Open(&view.window).Good());
    view.Begin();
    view.Draw(Textured(view.Texture({0, 0, 255}), -1, -1, 1, 1));
    view.End();
    EXPECT_EQ(view.At(0, 0), kBluePixel);
    ASSERT_TRUE(view.window.Resize(20, 10).Good());
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kGreen));
    view.End();
    EXPECT_EQ(view.picture.size(), 20U * 10 * 4);
    EXPECT_EQ(view.At(0, 0), kGreenPixel);
}

TEST(OpenGLGraphics, SeventeenViewsTakeTurnsOnOneThread) {
    std::vector<std::unique_ptr<ViewUnderTest>> views;
    std::vector<TextureHandle*> textures;
    for (int i = 0; i < 17; ++i) {
        views.push_back(std::make_unique<ViewUnderTest>());
        textures.push_back(views.back()->Texture({i * 8, 255, 0}));
    }
    for (auto& view : views) view->Begin();  // frames of all at once, each operation in turn
    for (int step = 0; step < 3; ++step) {
        for (std::size_t i = 0; i < views.size(); ++i) {
            const float y = 1 - static_cast<float>(step);
            if (step < 2) views[i]->Draw(Textured(textures[i], -1, y - 1, 1, y));
            if (step == 1) views[i]->system.SetAlphaTest(i % 2 == 0);
        }
    }
    views[3].reset();  // its context goes while another's frame is open
    for (std::size_t i = 0; i < views.size(); ++i) {
        if (i == 3) continue;
        views[i]->End();
        for (const float y : {-0.5F, 0.5F}) {
            EXPECT_NEAR(views[i]->At(0, y).r, static_cast<int>(i) * 8, 4) << i;
            EXPECT_EQ(views[i]->At(0, y).g, 255) << i;
        }
    }
}

TEST(OpenGLGraphics, AReplayDrawsTheCapturedFrame) {
    ViewUnderTest view(256, 256);
    RandomScene scene(view, 99);
    EXPECT_EQ(view.system.ReplayCaptured(1), 0.0);
    view.system.CaptureNextFrame();
    view.Begin();
    scene.Draw(view.system);
    view.End();
    const std::vector<std::byte> frame = view.picture;
    view.Begin();
    view.End();
    EXPECT_NE(view.picture, frame);
    EXPECT_GT(view.system.ReplayCaptured(2), 0.0);
    ASSERT_TRUE(view.window.ReadPicture(view.picture).Good());
    EXPECT_EQ(view.picture, frame);
}

#ifdef __linux__
/// Megabytes of main memory in use.
double Resident() {
    std::ifstream file("/proc/self/statm");
    double all = 0;
    double pages = 0;
    file >> all >> pages;
    return pages * 4096 / 1e6;
}

// Frames that are sent faster than they are drawn would wait in memory, each with all its
// triangles.
TEST(OpenGLGraphics, FramesDontPileUp) {
    ViewUnderTest view(1280, 720);
    RenderMesh mesh;
    mesh.texture = view.Texture({0, 255, 0});
    constexpr int kAcross = 200;
    for (int i = 0; i < kAcross * kAcross; ++i) {
        const float x = static_cast<float>(i % kAcross) / kAcross * 3 - 1.5F;
        const int row = i / kAcross;
        const float y = static_cast<float>(row) / kAcross * 2 - 1;
        for (const auto& [dx, dy] :
             {std::pair{0.0F, 0.0F}, std::pair{0.04F, 0.0F}, std::pair{0.0F, 0.04F}}) {
            mesh.vertices.Append({x + dx, y + dy, y});
            mesh.texcoords.Append({dx, dy});
        }
    }
    double before = 0;
    for (int frame = 0; frame < 25; ++frame) {
        if (frame == 5) before = Resident();
        view.Begin();
        view.system.DrawMeshes({&mesh});
        ASSERT_TRUE(view.system.EndFrame().Good());
    }
    EXPECT_LT(Resident() - before, 50);
}
#endif

/// Fails where told.
class BrokenWindow final : public RenderWindow {
public:
    [[nodiscard]] int PixelWidth() const override { return kSide; }
    [[nodiscard]] int PixelHeight() const override { return kSide; }
    [[nodiscard]] double PixelPitch() const override { return 0.25; }
    [[nodiscard]] bool CreateContext(const char*& why) override {
        why = "no such pixel format";
        return hasContext;
    }
    void DestroyContext() override {}
    bool MakeCurrent() override { return false; }
    void DoneCurrent() override {}
    bool SwapBuffers() override { return false; }

    bool hasContext = false;
};

TEST(OpenGLGraphics, AWindowWithoutContextIsAnErrorWithItsReason) {
    BrokenWindow window;
    OpenGLGraphicsSystem system;
    EXPECT_EQ(system.Open(&window).Code(), StatusCode::NotBuilt);
    EXPECT_EQ(GetErrPosn().detail, "no such pixel format");
    EXPECT_FALSE(system.IsOpen());
    window.hasContext = true;
    EXPECT_EQ(system.Open(&window).Code(), StatusCode::NotBuilt);
    EXPECT_EQ(system.Open(nullptr).Code(), StatusCode::BadState);
}

}  // namespace
}  // namespace tarnvale

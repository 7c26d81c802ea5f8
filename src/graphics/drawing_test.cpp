#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "graphics/drawing_for_test.h"

namespace tarnvale {
namespace {

class Drawing : public testing::TestWithParam<DrawingKind> {};
INSTANTIATE_TEST_SUITE_P(Systems, Drawing, testing::ValuesIn(DrawingKinds()),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(Drawing, ClearsToTheBackgroundAlsoAfterDepthWritesWereOff) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, TexturesLieBottomRowFirst) {
    ViewUnderTest view(GetParam());
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
    view.Draw(Textured(texture, -1, -1, 1, 1));
    view.End();
    EXPECT_EQ(view.At(-0.5F, -0.5F), kRedPixel);
    EXPECT_EQ(view.At(-0.5F, 0.5F), kBluePixel);
    EXPECT_EQ(view.At(0.5F, 0.5F), kGreenPixel);
    EXPECT_EQ(view.system.CreateTexture(std::span(pixels).first(100), TextureUse::Terrain),
              nullptr);
}

TEST_P(Drawing, LightFallsOnTexturesWhereTheKindHasIt) {
    ViewUnderTest view(GetParam());
    GraphicsSystem::SetSunVector({0, 0, -1});
    TextureHandle* texture = view.Texture({200, 100, 248});
    const auto seen = [&](COLOR ambient, COLOR colour, bool normals) {
        RenderMesh mesh = Textured(texture, -1, -1, 1, 1);
        mesh.colour = colour;
        for (int i = 0; normals && i < 4; ++i) mesh.normals.Append({0, 0, 1});
        view.Begin();
        view.system.SetAmbient(ambient);
        view.system.SetLightingWanted(true);
        view.Draw(std::move(mesh));
        view.End();
        return view.At(0, 0);
    };
    constexpr COLOR kWhite{0xFFFF, 0xFFFF, 0xFFFF, 0}, kFifth{0x3333, 0x3333, 0x3333, 0};
    const std::tuple<const char*, COLOR, COLOR, bool, Rgb> cases[] = {
        {"full light", kWhite, COLOR::Plain(), false, {200, 100, 248}},
        {"a fifth of it", kFifth, kWhite, false, {40, 20, 50}},
        {"and the sun's 0.75", kFifth, kWhite, true, {190, 95, 236}},
        {"a red material", kWhite, {0x8000, 0, 0, 0}, false, {100, 0, 0}},
    };
    for (const auto& [what, ambient, colour, normals, lit] : cases) {
        const Rgb expected = GetParam().texturesTakeLight ? lit : Rgb{200, 100, 248};
        EXPECT_TRUE(IsNear(seen(ambient, colour, normals), expected, GetParam().texelSteps + 1))
            << what << ": " << view.At(0, 0);
    }
}

TEST_P(Drawing, WhatIsTranslucentLetsThroughWhereTheKindBlends) {
    ViewUnderTest view(GetParam());
    TextureHandle* half = view.Texture({0, 0, 255}, 128);
    TextureHandle* solid = view.Texture({255, 255, 255});
    const COLOR quarter{0, 0xFFFF, 0, 0xC000};  // transparency 192 of 255
    const Scoped wire(settings::WireframeColor, quarter);
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kRed));
    view.Draw(Textured(half, -1, 0, 0, 1, 1));
    for (TextureHandle* const texture : {half, solid}) {
        const float x = texture == half ? -1.0F : -0.5F;
        RenderMesh tinted = Textured(texture, x, -1, x + 0.5F, 0, 1);
        tinted.colour = {0xFFFF, 0xFFFF, 0xFFFF, 0xC000};
        view.Draw(std::move(tinted));
    }
    RenderMesh frame = Quad(0.5F + 1.0F / kSide, -2, 2, 2, kBlue, 1);
    frame.wireframe = true;
    view.Draw(std::move(frame));
    view.Draw(Quad(0, -1, 0.5F, 1, quarter, 1));
    const std::vector<Vec3f> line{{0.75F + 1.0F / kSide, -1, 0}, {0.75F + 1.0F / kSide, 1, 0}};
    view.system.DrawLines(line, quarter, LineMode::Segments);
    view.End();
    const bool blends = GetParam().blends;
    const int steps = GetParam().texelSteps + 1;
    EXPECT_TRUE(IsNear(view.At(-0.5F, 0.5F), blends ? Rgb{127, 0, 128} : kBluePixel, steps))
        << "a texture's alpha: " << view.At(-0.5F, 0.5F);
    EXPECT_TRUE(IsNear(view.At(-0.75F, -0.5F), blends ? Rgb{127, 0, 128} : kBluePixel, steps))
        << "whatever the material's: " << view.At(-0.75F, -0.5F);
    EXPECT_TRUE(IsNear(view.At(-0.25F, -0.5F), {255, 255, 255}, steps))
        << "of a texture without any: " << view.At(-0.25F, -0.5F);
    EXPECT_TRUE(IsNear(view.At(0.5F, 0), blends ? Rgb{192, 63, 0} : kGreenPixel, 1))
        << "a wire's: " << view.At(0.5F, 0);
    EXPECT_TRUE(IsNear(view.At(0.25F, 0), blends ? Rgb{192, 63, 0} : kGreenPixel, 1))
        << "a material's: " << view.At(0.25F, 0);
    EXPECT_TRUE(IsNear(view.At(0.75F, 0), blends ? Rgb{192, 63, 0} : kGreenPixel, 1))
        << "a line's: " << view.At(0.75F, 0);
}

// All comparisons against a reference between two of the steps that alpha has.
TEST_P(Drawing, TheAlphaTestComparesAsTold) {
    ViewUnderTest view(GetParam());
    std::vector<TextureHandle*> textures;
    constexpr std::array kAlphas{0, 255};
    for (const int alpha : kAlphas) textures.push_back(view.Texture({0, 255, 0}, alpha));
    using enum AlphaFunction;
    const std::tuple<AlphaFunction, float, bool, bool> cases[] = {
        // function, reference, whether alpha 0 passes, whether alpha 1 does
        {Never, 0.5F, false, false},       {Always, 0.5F, true, true},
        {Equal, 1.0F, false, true},        {Equal, 0.0F, true, false},
        {NotEqual, 1.0F, true, false},     {Less, 0.5F, true, false},
        {Less, 0.0F, false, false},        {LessEqual, 0.0F, true, false},
        {Greater, 0.5F, false, true},      {Greater, 1.0F, false, false},
        {GreaterEqual, 1.0F, false, true},
    };
    for (const auto& [function, reference, clear, solid] : cases) {
        view.Begin();
        view.system.SetAlphaTest(true);
        view.system.SetAlphaFunction(function, reference);
        view.Draw(Quad(-1, -1, 1, 0, kRed));  // a material is opaque
        for (std::size_t i = 0; i < 2; ++i) {
            const float x = static_cast<float>(i) - 1;
            // Beneath it stands what a passing texel that is clear shows where it is blended.
            view.Draw(Textured(textures[i], x, 0, x + 1, 1));
        }
        view.system.SetAlphaTest(false);
        // Behind all that: it is seen where nothing left a depth.
        view.Draw(Quad(-1, -1, 1, 1, kBlue, -1));
        view.End();
        const auto what = [function = function, reference = reference] {
            return testing::Message()
                   << "function " << static_cast<int>(function) << ", " << reference;
        };
        EXPECT_EQ(view.At(0, -0.5F), solid ? kRedPixel : kBluePixel) << what();
        EXPECT_EQ(view.At(0.5F, 0.5F), solid ? kGreenPixel : kBluePixel) << what();
        const Rgb passed = GetParam().blends ? kBlackPixel : kGreenPixel;
        EXPECT_EQ(view.At(-0.5F, 0.5F), clear ? passed : kBluePixel) << what();
    }
}

TEST_P(Drawing, TheSkysTextureTakesItsOwnSize) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, ASkyGoesAroundAgainAsItIsOrMirrored) {
    ViewUnderTest view(GetParam());
    std::vector<std::byte> pixels(std::size_t{8} * 8 * 4);
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        pixels[i + (i < pixels.size() / 2 ? 2 : 0)] = std::byte{255};
    view.system.SetSkyTextureSize(8, 8);
    for (const bool mirrored : {false, true}) {
        view.system.SetSkyMirrored(mirrored);
        TextureHandle* sky = view.system.CreateTexture(pixels, TextureUse::Sky);
        ASSERT_NE(sky, nullptr);
        RenderMesh mesh = Textured(sky, -1, -1, 1, 1);
        for (Vec2f& place : mesh.texcoords) {
            place.x *= 100;  // beyond the sides there is only the last column
            place.y *= 2;
        }
        view.Begin();
        view.Draw(std::move(mesh));
        view.End();
        EXPECT_EQ(view.At(0, -0.75F), kRedPixel);
        EXPECT_EQ(view.At(0, -0.25F), kBluePixel);
        EXPECT_EQ(view.At(0, 0.25F), mirrored ? kBluePixel : kRedPixel);
        EXPECT_EQ(view.At(0, 0.75F), mirrored ? kRedPixel : kBluePixel);
        view.system.DestroyTexture(sky);
    }
}

TEST_P(Drawing, ClearTexelsAreDroppedAndLeaveNoDepth) {
    ViewUnderTest view(GetParam());
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
    EXPECT_EQ(view.At(0.7F, 0), GetParam().blends ? kGreenPixel : kRedPixel)
        << "without the test it is drawn, and clear where that counts";
}

TEST_P(Drawing, AModelMatrixReplacesTheOneBefore) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, AnOverlayPassLiesOverThePicture) {
    ViewUnderTest view(GetParam());
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kRed, 5));
    view.Begin(FromAbove(), FramePass::Overlay);
    view.Draw(Quad(-1, -1, 0, 1, kGreen, -5));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kGreenPixel) << "its depth was cleared";
    EXPECT_EQ(view.At(0.5F, 0), kRedPixel) << "its colour wasn't";

    // A second one lies over the first, and each hides its own by depth.
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kRed, 5));
    view.Begin(FromAbove(), FramePass::Overlay);
    view.Draw(Quad(-1, -1, 0, 1, kGreen, 5));
    view.Draw(Quad(-1, -1, 0, 1, kRed, -5));
    view.Begin(FromAbove(), FramePass::Overlay);
    view.Draw(Quad(-1, -1, 1, 0, kBlue, -5));
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0.5F), kGreenPixel);
    EXPECT_EQ(view.At(-0.5F, -0.5F), kBluePixel);
    EXPECT_EQ(view.At(0.5F, 0.5F), kRedPixel);
}

TEST_P(Drawing, TheCamerasFogWinsForItsFrameAlone) {
    const Scoped colour(settings::FogColor, kBlue);
    const Scoped start(settings::FogStart, 1.0F);
    const Scoped end(settings::FogEnd, 5.0F);
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, OfTwoLayersInOnePlaceTheLaterIsSeen) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, WithoutDepthWritesTheOrderOfDrawingIsKept) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, MeshesTooShortForATriangleAreNotDrawn) {
    ViewUnderTest view(GetParam());
    RenderMesh first = Quad(-1, -1, 0, 1, kRed);
    RenderMesh shortOne = Quad(-1, -1, 0, 1, kBlue);
    shortOne.vertices.Truncate(2);
    RenderMesh none;
    RenderMesh last = Quad(0, -1, 1, 1, kGreen);
    view.Begin();
    view.system.DrawMeshes({});
    view.system.DrawMeshes({&first, &shortOne, &none, &last});
    view.End();
    EXPECT_EQ(view.At(-0.5F, 0), kRedPixel);
    EXPECT_EQ(view.At(0.5F, 0), GetParam().shortMeshEndsBatch ? kBlackPixel : kGreenPixel);
}

// List, fan and strip of the same corners, with and without a texture, and what is left over.
TEST_P(Drawing, ThreeKindsOfMeshesFillTheSamePlace) {
    ViewUnderTest view(GetParam());
    TextureHandle* texture = view.Texture({0, 255, 0});
    constexpr std::array<Vec3f, 4> kCorners{
        Vec3f{-0.5F, -0.5F, 0}, {0.5F, -0.5F, 0}, {0.5F, 0.5F, 0}, {-0.5F, 0.5F, 0}};
    const std::tuple<PrimitiveKind, std::vector<std::size_t>, std::uint64_t> cases[] = {
        {PrimitiveKind::List, {0, 1, 2, 0, 2, 3, 1, 3}, 2},  // two vertices are no triangle
        {PrimitiveKind::Fan, {0, 1, 2, 3}, 2},
        {PrimitiveKind::Strip, {0, 1, 3, 2}, 2},
        {PrimitiveKind::Strip, {0, 1, 3, 3, 1, 2}, 4},  // two without any area
    };
    for (const auto& [kind, corners, triangles] : cases) {
        for (TextureHandle* with : {static_cast<TextureHandle*>(nullptr), texture}) {
            RenderMesh mesh;
            mesh.kind = kind;
            mesh.colour = with != nullptr ? COLOR::Plain() : kGreen;
            mesh.texture = with;
            for (const std::size_t corner : corners) {
                mesh.vertices.Append(kCorners[corner]);
                mesh.texcoords.Append({kCorners[corner].x + 0.5F, kCorners[corner].y + 0.5F});
            }
            view.Begin();
            view.Draw(std::move(mesh));
            view.End();
            for (const auto& [x, y] :
                 {std::pair{-0.4F, 0.4F}, {0.4F, 0.4F}, {-0.4F, -0.4F}, {0.4F, -0.4F}})
                EXPECT_EQ(view.At(x, y), kGreenPixel) << static_cast<int>(kind) << x << y;
            EXPECT_EQ(view.At(0.6F, 0), kBlackPixel);
            EXPECT_EQ(view.system.Counters().triangles, triangles);
        }
    }
}

// Vertices that are no numbers, or behind the eye, must not draw over the rest or end the program.
TEST_P(Drawing, VerticesThatAreNowhereHarmNothing) {
    ViewUnderTest view(GetParam());
    const float none = std::numeric_limits<float>::quiet_NaN();
    const float far = std::numeric_limits<float>::max();
    view.Begin();
    view.Draw(Quad(-1, -1, 1, 1, kGreen));
    for (const Vec3f& odd : {Vec3f{none, none, none}, {far, far, far}, {0, 0, 50}}) {
        RenderMesh mesh;
        for (int i = 0; i < 3; ++i) mesh.vertices.Append(odd);
        mesh.colour = kRed;
        view.Draw(std::move(mesh));
        const std::vector<Vec3f> line{odd, odd};
        view.system.DrawLines(line, kRed, LineMode::Segments);
        view.system.DrawPoints(line, kRed);
    }
    view.End();
    EXPECT_EQ(view.At(0, 0), kGreenPixel);
}

TEST_P(Drawing, TheSunShadesLitMeshesWhileItIsWanted) {
    ViewUnderTest view(GetParam());
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

    // A mesh without normals is lit alike, whatever was drawn before.
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
    EXPECT_NEAR(view.At(0.5F, -0.5F).g, GetParam().plainMeshesTakeSun ? 242 : 51, 1);
}

// Half a turn about x: what looked up looks down. Then twice the size, which halves the light.
TEST_P(Drawing, ATurnedModelTakesItsLightAlongWhereTheKindDoesThat) {
    ViewUnderTest view(GetParam());
    GraphicsSystem::SetSunVector({0, 0, -1});
    view.system.SetLightingWanted(true);
    const auto seen = [&](const std::array<double, 16>& model, float normalZ) {
        view.Begin();
        view.system.SetAmbient({});
        view.system.SetModelMatrix(model);
        RenderMesh mesh = Quad(-1, -1, 1, 1, {0xFFFF, 0xFFFF, 0xFFFF, 0});
        for (std::uint32_t i = 0; i < 4; ++i) mesh.normals.Append({0, 0, normalZ});
        view.Draw(std::move(mesh));
        view.End();
        return view.At(0, 0).g;
    };
    const std::array<double, 16> turn{1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1};
    const std::array<double, 16> grow{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1};
    const bool along = GetParam().lightsTurnWithModels;
    EXPECT_NEAR(seen(turn, 1), along ? 191 : 0, 1);
    EXPECT_NEAR(seen(turn, -1), along ? 0 : 191, 1);
    EXPECT_NEAR(seen(grow, 1), 96, 1);
    view.system.SetLightingWanted(false);
}

TEST_P(Drawing, LinesPointsAndWireframes) {
    const Scoped wire(settings::WireframeColor, kGreen);
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, TheVeilLiesOverEverythingAndLeavesNothingBehind) {
    const Scoped on(settings::Subterrain, true);
    const Scoped colour(settings::SubterrainColor, COLOR{0, 0x40FF, 0, 0});
    const Scoped opacity(settings::SubterrainOpacity, 50.0F);
    ViewUnderTest view(GetParam());
    for (int round = 0; round < 2; ++round) {
        view.Begin();
        view.Draw(Quad(-1, -1, 0, 1, kRed, 5));
        RenderMesh frame = Quad(0, 0.9F, 0.1F, 1, kRed);
        frame.wireframe = true;  // lines must not make lines of the veil
        view.Draw(std::move(frame));
        if (round == 1) view.system.SetAmbient({});
        view.system.DrawSubterrainVeil();
        view.system.SetAmbient({0xFFFF, 0xFFFF, 0xFFFF, 0});
        view.Draw(Quad(0.5F, -1, 1, 1, {0, 0, 0xFFFF, 0x8000}));  // half clear
        view.Draw(Quad(-1, -1, 0, 1, kGreen));                    // behind the red one
        view.End();
        const int red = GetParam().veilAdds ? 255 : 128;
        const int veil = (round == 0 ? 32 : 0) + (GetParam().veilGlows ? 32 : 0);
        EXPECT_TRUE(IsNear(view.At(-0.5F, 0), {red, veil, 0}, 1)) << round << view.At(-0.5F, 0);
        EXPECT_TRUE(IsNear(view.At(0.25F, 0), {0, veil, 0}, 1)) << round << view.At(0.25F, 0);
        const Rgb half = GetParam().blends ? Rgb{0, veil / 2, 127} : kBluePixel;
        EXPECT_TRUE(IsNear(view.At(0.75F, 0), half, 1)) << round << view.At(0.75F, 0);
    }
}

TEST_P(Drawing, GatheringChangesTheNumberOfCallsAndNotThePicture) {
    const Scoped wire(settings::WireframeColor, kGreen);
    GraphicsSystem::SetSunVector({0, 0, -1});
    for (unsigned seed = 1; seed <= 6; ++seed) {
        ViewUnderTest view(GetParam(), 256, 256);
        view.system.SetLightingWanted(true);
        RandomScene scene(view, seed);
        std::array<std::vector<std::byte>, 2> pictures;
        std::array<DrawCounters, 2> counters;
        for (const int gather : {0, 1}) {
            view.kind.gather(view.system, gather != 0);
            view.Begin();
            scene.Draw(view.system);
            view.End();
            pictures[static_cast<std::size_t>(gather)] = view.picture;
            counters[static_cast<std::size_t>(gather)] = view.system.Counters();
        }
        EXPECT_EQ(pictures[0], pictures[1]) << "seed " << seed;
        EXPECT_EQ(counters[0].drawCalls, 1500U);
        EXPECT_EQ(counters[0].triangles, counters[1].triangles);
        // Colours of untextured meshes differ, and what is blended stays where it is.
        EXPECT_LT(counters[1].drawCalls, GetParam().blends ? 1200U : 650U);
    }
}

TEST_P(Drawing, AFrameOfManySmallMeshesTakesFewCalls) {
    ViewUnderTest view(GetParam());
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

TEST_P(Drawing, WhatWaitsIsDrawnWithItsTextureAsItWas) {
    ViewUnderTest view(GetParam());
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

}  // namespace
}  // namespace tarnvale

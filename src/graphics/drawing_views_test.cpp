#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "graphics/drawing_for_test.h"

namespace tarnvale {
namespace {

class DrawingViews : public testing::TestWithParam<DrawingKind> {};
INSTANTIATE_TEST_SUITE_P(Systems, DrawingViews, testing::ValuesIn(DrawingKinds()),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(DrawingViews, TexturesBeyondTheBudgetAreRefused) {
    const Scoped memory(settings::TextureMemory, 12);
    ViewUnderTest view(GetParam());
    const auto pixels = Pixels({1, 2, 3});
    view.system.SetSkyTextureSize(512, 512);
    for (int i = 0; i < 14; ++i)  // more than the budget
        EXPECT_NE(view.system.CreateTexture(pixels, TextureUse::Sky), nullptr);
    EXPECT_EQ(view.Budget().Used(), 0U) << "skies leave the room to tiles";
    std::vector<TextureHandle*> made;
    while (made.size() < 1000) {
        TextureHandle* handle = view.system.CreateTexture(pixels, TextureUse::Terrain);
        if (handle == nullptr) break;
        made.push_back(handle);
    }
    EXPECT_GE(made.size(), 9U);   // at four bytes a pixel and a third for smaller copies
    EXPECT_LE(made.size(), 24U);  // at two bytes
    EXPECT_LE(view.Budget().Used(), 12U << 20);
    const std::uint64_t full = view.Budget().Used();
    view.system.RecycleTexture(made[0]);
    EXPECT_EQ(view.Budget().Used(), full) << "a recycled texture still takes its room";
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
    EXPECT_GT(view.Budget().Used(), full);
    second->DestroyTexture(late);
    EXPECT_EQ(view.Budget().Used(), full);
    view.system.DestroyTexture(made[1]);
    EXPECT_NE(view.system.CreateTexture(pixels, TextureUse::Terrain), nullptr);

    // An automatic limit grows with the open views.
    const Scoped automatic(settings::TextureMemory, 0);
    const std::uint64_t both = view.Budget().Limit();
    ASSERT_TRUE(second->Shutdown().Good());
    EXPECT_EQ(view.Budget().Limit(), both - TextureBudget::kFurtherView);
    ASSERT_TRUE(view.system.Shutdown().Good());
    EXPECT_EQ(view.Budget().Used(), 0U);
}

TEST_P(DrawingViews, AScreenShotIsABitmapOfThePicture) {
    const FILEPATH path = FILEPATH(TARNVALE_TEST_TEMP) / "graphics shot \xC3\xA9.bmp";
    std::filesystem::remove(path);
    ViewUnderTest view(GetParam(), 50, 30);
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

TEST_P(DrawingViews, ASystemCanBeOpenedAgainAndElsewhere) {
    ViewUnderTest view(GetParam());
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
    TextureHandle* blue = view.Texture({0, 0, 255});
    view.Draw(Textured(blue, -1, -1, 1, 1));
    view.End();
    EXPECT_EQ(view.At(0, 0), kBluePixel);
    for (const auto& [width, height] : {std::pair{20, 10}, {300, 200}, {1, 1}, {64, 64}}) {
        ASSERT_TRUE(view.window.Resize(width, height).Good());
        view.Begin();  // with what was drawn last before
        view.Draw(Textured(blue, -1.7F, -1, 1.7F, 1));
        view.End();
        EXPECT_EQ(view.picture.size(), static_cast<std::size_t>(width * height * 4));
        EXPECT_EQ(view.At(0, 0), kBluePixel);
    }
}

TEST_P(DrawingViews, SeventeenViewsTakeTurnsOnOneThread) {
    std::vector<std::unique_ptr<ViewUnderTest>> views;
    std::vector<TextureHandle*> textures;
    for (int i = 0; i < 17; ++i) {
        views.push_back(std::make_unique<ViewUnderTest>(GetParam()));
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
            EXPECT_NEAR(views[i]->At(0, y).r, static_cast<int>(i) * 8, GetParam().texelSteps) << i;
            EXPECT_EQ(views[i]->At(0, y).g, 255) << i;
        }
    }
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
TEST_P(DrawingViews, FramesDontPileUp) {
    ViewUnderTest view(GetParam(), 1280, 720);
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

TEST_P(DrawingViews, AWindowWithoutContextIsAnErrorWithItsReason) {
    BrokenWindow window;
    const auto system = GetParam().make();
    EXPECT_EQ(system->Open(&window).Code(), StatusCode::NotBuilt);
    EXPECT_EQ(GetErrPosn().detail, "no such pixel format");
    EXPECT_FALSE(system->IsOpen());
    window.hasContext = true;
    EXPECT_EQ(system->Open(&window).Code(), StatusCode::NotBuilt);
    EXPECT_EQ(system->Open(nullptr).Code(), StatusCode::BadState);
}

}  // namespace
}  // namespace tarnvale

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/settings.h"
#include "graphics/offscreen/offscreenwindow.h"
#include "graphics/opengl/openglgraphics.h"
#include "simulator/fakes_for_test.h"
#include "simulator/simulatr.h"

// Compass and locator as they come out in pictures.
namespace tarnvale {
namespace {

struct Picture {
    int width = 0, height = 0;
    std::vector<std::byte> rgba;

    struct Pixel {
        int red, green, blue;
        friend bool operator==(const Pixel&, const Pixel&) = default;
    };
    [[nodiscard]] Pixel At(int x, int y) const {
        const std::size_t at = (static_cast<std::size_t>(y) * width + x) * 4;
        const auto channel = [&](std::size_t i) { return std::to_integer<int>(rgba[at + i]); };
        return {channel(0), channel(1), channel(2)};
    }
};

/// Where pixels lie; of the picture, y downward.
struct Spot {
    double x = 0, y = 0;
    int count = 0, left = 1 << 20, right = -1, top = 1 << 20, bottom = -1;
};
template <typename Wanted>
Spot Find(const Picture& picture, const Wanted& wanted) {
    Spot spot;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            if (!wanted(picture.At(x, y))) continue;
            ++spot.count;
            spot.x += x + 0.5;
            spot.y += y + 0.5;
            spot.left = std::min(spot.left, x);
            spot.right = std::max(spot.right, x);
            spot.top = std::min(spot.top, y);
            spot.bottom = std::max(spot.bottom, y);
        }
    }
    if (spot.count > 0) {
        spot.x /= spot.count;
        spot.y /= spot.count;
    }
    return spot;
}

bool IsRed(const Picture::Pixel& p) {
    return p.red > 80 && p.green < 40 && p.blue < 40;
}
bool IsGreen(const Picture::Pixel& p) {
    return p.green > 50 && p.red < 40 && p.blue < 40;
}
bool IsBlue(const Picture::Pixel& p) {
    return p.blue > 80 && p.red < 40 && p.green < 40;
}
bool IsGrey(const Picture::Pixel& p) {
    return p.red > 90 && p.red == p.green && p.green == p.blue;
}
bool IsDrawn(const Picture::Pixel& p) {
    return p != Picture::Pixel{0, 0, 0};
}

// A flat landscape of 650 x 650 whose terrain covers less than a pixel, over black.
class InstrumentsTest : public testing::Test {
protected:
    void SetUp() override {
        background_ = settings::BackgroundColor.Get();
        veil_ = settings::SubterrainColor.Get();
        settings::BackgroundColor.SetUnsaved({0, 0, 0, 0});
        settings::Wireframe.SetUnsaved(false);
        settings::Subterrain.SetUnsaved(false);
        ASSERT_TRUE(simulator_->Initialize(nullptr).Good());
    }
    void TearDown() override {
        simulator_.reset();
        settings::BackgroundColor.SetUnsaved(background_);
        settings::SubterrainColor.SetUnsaved(veil_);
        settings::Compass.SetUnsaved(true);
        settings::CompassSize.SetUnsaved(1);
        settings::MapLocator.SetUnsaved(0);
        settings::MapViewOrientationNorth.SetUnsaved(true);
        for (Setting<COLOR>* colour :
             {&settings::MapLocatorViewerColor, &settings::MapLocatorCenterColor,
              &settings::MapLocatorLineColor}) {
            colour->SetUnsaved(settings::MapLocatorArrowColor.Get());
        }
    }
    void Open(int view, int width, int height) {
        const auto at = static_cast<std::size_t>(view);
        if (systems_[at] != nullptr) {
            ASSERT_TRUE(simulator_->AttachGraphicsSystem(nullptr, view).Good());
            systems_[at].reset();
        }
        windows_[at] = std::make_unique<OffscreenWindow>(width, height);
        systems_[at] = std::make_unique<OpenGLGraphicsSystem>();
        const Status opened = systems_[at]->Open(windows_[at].get());
        ASSERT_TRUE(opened.Good()) << GetErrString(opened);
        ASSERT_TRUE(simulator_->AttachGraphicsSystem(systems_[at].get(), view).Good());
    }
    void Build(float northDegrees = 0) {
        fakes::FakeTerrainSpec spec;
        spec.northRadians = northDegrees * 0.0174532925F;
        specs_["land"] = spec;
        ASSERT_TRUE(simulator_->BuildScene({fakes::Entry("land", {"a"})}).Good());
    }
    Picture Draw(int view) {
        EXPECT_TRUE(simulator_->DrawFrame(true).Good());
        OffscreenWindow& window = *windows_[static_cast<std::size_t>(view)];
        Picture picture{window.PixelWidth(), window.PixelHeight(), {}};
        EXPECT_TRUE(window.ReadPicture(picture.rgba).Good());
        return picture;
    }
    void Place(const Vec3f& position, const Attitude& attitude) {
        ASSERT_TRUE(simulator_->PlaceByOrientation(position, attitude, false).Good());
    }

    fakes::Log log_;
    std::map<std::string, fakes::FakeTerrainSpec> specs_;
    int alive_ = 0;
    const int room_ = 100;
    std::array<std::unique_ptr<OffscreenWindow>, View::kCount> windows_;
    std::array<std::unique_ptr<OpenGLGraphicsSystem>, View::kCount> systems_;
    std::unique_ptr<Simulator> simulator_ = std::make_unique<Simulator>(
        std::make_unique<fakes::FakeModels>(log_, specs_, alive_, room_));
    COLOR background_, veil_;
};

constexpr Vec3f kAbove{325, -325, 900};
// Half the picture's height is tan 22.5 degrees at distance 1; 0.6 at distance 2 is this share.
constexpr double kShare = 0.3 / 0.41421356;

TEST_F(InstrumentsTest, TheCompassStandsInTheLowerRightCornerOfEveryWindow) {
    const struct {
        int width, height;
    } shapes[] = {{1280, 720}, {600, 600}, {1600, 400}, {500, 600}, {320, 240}};
    for (const auto& [width, height] : shapes) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        Open(View::kMain, width, height);
        Build();
        Place(kAbove, {-30, 0, 40});
        const Spot whole = Find(Draw(View::kMain), IsDrawn);
        EXPECT_NEAR(whole.x, width * (0.5 + kShare / 2), height * 0.012);
        EXPECT_NEAR(whole.y, height * (0.5 + kShare / 2), height * 0.012);
        EXPECT_GT(whole.left, width / 2);
        EXPECT_LT(whole.right, width - 1) << "not cut off";
        EXPECT_GT(whole.top, height / 2);
        EXPECT_LT(whole.bottom, height - 1);
        EXPECT_GT(whole.right - whole.left, height / 6);
        settings::Compass.SetUnsaved(false);
        EXPECT_EQ(Find(Draw(View::kMain), IsDrawn).count, 0);
        settings::Compass.SetUnsaved(true);
    }
    // In a window much higher than wide the hub stays where it belongs, and the side is cut off.
    Open(View::kMain, 300, 600);
    Build();
    const Spot hub = Find(Draw(View::kMain), IsGrey);
    EXPECT_NEAR(hub.x, 300 * (0.5 + kShare / 2), 8);
    EXPECT_NEAR(hub.y, 600 * (0.5 + kShare / 2), 8);
}

// Seen from straight above; the heading is the picture's upper edge.
TEST_F(InstrumentsTest, ItPointsToTrueNorth) {
    Open(View::kMain, 900, 700);
    const struct {
        float north, heading;
        double right, up;  // where the red tip lies from the middle
    } cases[] = {
        {0, 0, 0, 1},    {30, 0, -0.5, 0.8660254}, {-75, 0, 0.9659258, 0.2588190},
        {180, 0, 0, -1}, {0, 90, -1, 0},           {30, 210, 0.8660254, -0.5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.north) + " heading " + std::to_string(c.heading));
        Build(c.north);
        Place(kAbove, {-90, 0, c.heading});
        const Picture picture = Draw(View::kMain);
        const Spot tip = Find(picture, IsRed), blue = Find(picture, IsBlue);
        const Spot green = Find(picture, IsGreen);
        EXPECT_GT(tip.count, 300);
        EXPECT_GT(blue.count, tip.count * 2) << "three heads against one";
        EXPECT_GT(green.count, tip.count / 2);
        // The four green heads lie evenly about the middle.
        const double length = std::hypot(tip.x - green.x, tip.y - green.y);
        EXPECT_NEAR((tip.x - green.x) / length, c.right, 0.03);
        EXPECT_NEAR((green.y - tip.y) / length, c.up, 0.03);
        EXPECT_LT((blue.x - green.x) * c.right + (green.y - blue.y) * c.up, 0)
            << "the blue heads are on the other side";
    }
}

TEST_F(InstrumentsTest, TheCompassIsLitFromAboveItsNorth) {
    Open(View::kMain, 900, 700);
    Build();
    Place(kAbove, {-90, 0, 0});
    const Picture lit = Draw(View::kMain);
    int brightest = 0;
    (void)Find(lit, [&](const Picture::Pixel& p) {
        if (IsRed(p)) brightest = std::max(brightest, p.red);
        return false;
    });
    // 30000 of 65535 is 117; the light adds up to as much again.
    EXPECT_GT(brightest, 180);
    const Spot hub = Find(lit, IsGrey);
    const auto shine = [&](double dy) {
        return lit.At(static_cast<int>(hub.x), static_cast<int>(hub.y + dy)).red;
    };
    EXPECT_GT(shine(-20), shine(20) + 15) << "the hub's northern side is the brighter one";
}

TEST_F(InstrumentsTest, TheCompassStaysWholeFarFromTheOrigin) {
    Open(View::kMain, 900, 700);
    Build();
    Place({0, 0, 900}, {-90, 0, 0});
    const Picture near = Draw(View::kMain);
    const Spot tip = Find(near, IsRed);
    Place({1'000'000, -3'000'000, 900}, {-90, 0, 0});
    const Spot farTip = Find(Draw(View::kMain), IsRed);
    EXPECT_NEAR(farTip.x, tip.x, 1);
    EXPECT_NEAR(farTip.y, tip.y, 1);
    EXPECT_NEAR(farTip.count, tip.count, tip.count * 0.03);
}

TEST_F(InstrumentsTest, WhereTheCompassIsNothingElseChanges) {
    Open(View::kMain, 640, 480);
    settings::Subterrain.SetUnsaved(true);
    settings::SubterrainColor.SetUnsaved({0, 0, 0xFFFF, 0});
    Build();
    Place({325, -325, 20}, {10, 0, 0});  // under ground, behind the veil
    settings::Compass.SetUnsaved(false);
    const Picture without = Draw(View::kMain);
    EXPECT_TRUE(IsDrawn(without.At(0, 0))) << "the veil";
    settings::Compass.SetUnsaved(true);
    Picture with = Draw(View::kMain);
    with = Draw(View::kMain);  // what a frame leaves behind shows in the next
    int outside = 0, inside = 0;
    for (int y = 0; y < with.height; ++y) {
        for (int x = 0; x < with.width; ++x) {
            const bool corner = x > with.width / 2 && y > with.height / 2;
            if (with.At(x, y) != without.At(x, y)) ++(corner ? inside : outside);
        }
    }
    EXPECT_EQ(outside, 0);
    EXPECT_GT(inside, 1000);
}

// The map of 650 x 650 in 600 x 600 pixels, north up: 1.02 of the side in the whole height.
TEST_F(InstrumentsTest, TheMapShowsWhereTheViewerStandsAndLooks) {
    settings::MapLocatorViewerColor.SetUnsaved({0xFFFF, 0, 0, 0});
    settings::MapLocatorCenterColor.SetUnsaved({0, 0xFFFF, 0, 0});
    settings::MapLocatorLineColor.SetUnsaved({0, 0, 0xFFFF, 0});
    Open(View::kMain, 300, 200);
    Open(View::kMap, 600, 600);
    Build();
    const double pixels = 600 / (650 * 1.02);
    const auto x = [&](double scene) { return 300 + (scene - 325) * pixels; };
    const auto y = [&](double scene) { return 300 - (scene + 325) * pixels; };
    // Down by 45 degrees to the east, from 200 above ground that stands at 100.
    Place({125, -425, 300}, {-45, 0, 90});
    const Picture seen = Draw(View::kMap);
    const Spot viewer = Find(seen, IsRed), centre = Find(seen, IsGreen), line = Find(seen, IsBlue);
    EXPECT_NEAR(viewer.x, x(125), 1);
    EXPECT_NEAR(viewer.y, y(-425), 1);
    EXPECT_NEAR((viewer.right - viewer.left) / 2.0, 7.5 / 1.02, 1);
    EXPECT_NEAR(centre.x, x(325), 1.5);
    EXPECT_NEAR(centre.y, y(-425), 1.5);
    EXPECT_NEAR(line.left, x(125), 8);
    EXPECT_NEAR(line.right, x(325), 8) << "from the one to the other";
    EXPECT_LT(line.bottom - line.top, 3);
    const double length = line.right - line.left;
    EXPECT_NEAR(line.count, length / 2, length / 6) << "dashes as long as gaps";

    Place({325, -325, 300}, {20, 0, 0});  // north, into the sky
    const Picture sky = Draw(View::kMap);
    EXPECT_EQ(Find(sky, IsGreen).count, 0);
    EXPECT_LT(Find(sky, IsBlue).top, 8) << "the line leaves the map";
}

TEST_F(InstrumentsTest, TheArrowTurnsWithTheViewerOrTheMapDoes) {
    settings::MapLocator.SetUnsaved(1);
    Open(View::kMain, 300, 200);
    Open(View::kMap, 600, 600);
    Build(25);
    for (const float heading : {0.0F, 90.0F, 200.0F}) {
        Place({325, -325, 300}, {-20, 0, heading});
        for (const bool northUp : {true, false}) {
            SCOPED_TRACE(std::to_string(heading) + (northUp ? " north up" : " viewer up"));
            settings::MapViewOrientationNorth.SetUnsaved(northUp);
            const Spot arrow = Find(Draw(View::kMap), IsRed);
            // The middle of a triangle lies a third of its height above the base, where the viewer
            // is; true north is 25 degrees to the left of the grid's.
            ASSERT_GT(arrow.count, 100);
            const double angle = northUp ? (heading + 25) * 0.0174532925 : 0;
            EXPECT_NEAR(arrow.x - 300, std::sin(angle) * 9.8, 1.2);
            EXPECT_NEAR(300 - arrow.y, std::cos(angle) * 9.8, 1.2);
        }
    }
}

}  // namespace
}  // namespace tarnvale

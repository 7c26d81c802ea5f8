#include <gtest/gtest.h>

#include <QAccessible>
#include <QAction>
#include <QMenu>
#include <QTest>
#include <cmath>
#include <filesystem>
#include <set>

#include "atlas/atlaswindow.h"
#include "atlas/mapcamera.h"
#include "atlas/mappicture.h"
#include "atlas/singleinstance.h"
#include "base/textres.h"
#include "landscape/atlas.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;

// --- The camera ------------------------------------------------------------------------------

TEST(MapCamera, ThePlaceUnderTheCursorStaysWhereverItIs) {
    MapCamera camera(1, 1);
    camera.SetView(400, 200);
    camera.SetCentre({500'000, 5'200'000});
    camera.SetWidth(4000);
    const MapPoint corner = camera.ToMap({0, 0});
    EXPECT_NEAR(corner.x, 498'000, 1e-6);
    EXPECT_NEAR(corner.y, 5'201'000, 1e-6) << "north is up";
    for (const double factor : {0.5, 3.0}) {
        const MapPoint at{50, 180}, before = camera.ToMap(at);
        camera.ZoomAbout(at, factor);
        EXPECT_NEAR(camera.ToMap(at).x, before.x, 1e-6);
        EXPECT_NEAR(camera.ToMap(at).y, before.y, 1e-6);
    }
    EXPECT_NEAR(camera.Width(), 6000, 1e-6);
    camera.Drag(40, 0);
    EXPECT_NEAR(camera.MetresPerPixel(), 15, 1e-9);
    camera.SetWidth(NAN);
    camera.SetCentre({INFINITY, 0});
    EXPECT_NEAR(camera.Width(), 6000, 1e-6);
    EXPECT_TRUE(std::isfinite(camera.Centre().x));
}

TEST(MapCamera, AFittedRectangleIsSeenWholeInEveryShapeOfView) {
    for (const auto& [width, height] : {std::pair(400, 100), std::pair(100, 400)}) {
        MapCamera camera(2, 1);  // a unit of x is twice as long
        camera.SetView(width, height);
        camera.Fit({0, 0}, {100, 100});
        const MapPoint low = camera.ToScreen({0, 0}), high = camera.ToScreen({100, 100});
        EXPECT_GE(low.x, -1e-9);
        EXPECT_LE(high.x, width + 1e-9);
        EXPECT_LE(low.y, height + 1e-9);
        EXPECT_GE(high.y, -1e-9);
        EXPECT_TRUE(low.x < 1e-9 || high.y < 1e-9) << "and no smaller than it must be";
    }
}

TEST(RoundLength, IsOneTwoOrFiveAndNeverLonger) {
    for (const auto& [most, wanted] : {std::pair(1.0, 1.0),
                                       {1.99, 1.0},
                                       {2.0, 2.0},
                                       {4.9, 2.0},
                                       {5.1, 5.0},
                                       {9.99, 5.0},
                                       {10.0, 10.0},
                                       {7300.0, 5000.0},
                                       {0.3, 0.2},
                                       {0.0, 0.0},
                                       {-1.0, 0.0},
                                       {NAN, 0.0}}) {
        EXPECT_NEAR(RoundLength(most), wanted, 1e-9) << most;
    }
}

TEST(ViewLink, ViewsShareWhatBothAreLockedIn) {
    const ViewLink both = ViewLink::FromAtlas(3, 1), centre = ViewLink::FromAtlas(1, 2),
                   width = ViewLink::FromAtlas(2, 1), none = ViewLink::FromAtlas(0, 1);
    EXPECT_TRUE(both.SharesCentre(centre) && !both.SharesWidth(centre));
    EXPECT_TRUE(both.SharesWidth(width) && !both.SharesCentre(width));
    EXPECT_FALSE(centre.SharesCentre(width) || centre.SharesWidth(width));
    EXPECT_FALSE(none.SharesCentre(both) || none.SharesWidth(both));
    EXPECT_EQ(ViewLink::FromAtlas(77, -1).mode, 3);
    EXPECT_EQ(ViewLink::FromAtlas(77, -1).scale, 1);
}

// --- Pictures --------------------------------------------------------------------------------

// Of 513 x 513 heights and 1024 x 1024 colours with two levels; the file has no third one.
class MapPictureTest : public testing::Test {
protected:
    static Status Open(MapPicture& picture, const FILEPATH& file, const QNSTRING& object) {
        ZPF::FILEHANDLE opened;
        EXPECT_TRUE(Good(opened.Open(file, ZPF::OpenMode::Read)));
        ZPFObjectItem item;
        EXPECT_TRUE(Good(FindObjectByPath(opened, object, item)));
        return picture.Open(std::move(opened), item);
    }
    MapPictureTest() { EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim"))); }
    MapTile Tile(MapPicture& picture, int level, int column = 0, int row = 0) const {
        MapTile tile;
        picture.RenderTile(level, column, row, tile);
        return tile;
    }
    static int Red(const MapTile& tile, int x, int y) {
        return static_cast<int>(tile.pixels[static_cast<std::size_t>(y * tile.width + x)] >> 16 &
                                0xFF);
    }

    ZPF::ScratchFolder folder;
};

TEST_F(MapPictureTest, ImageryIsShownAsItIsOnEveryLevel) {
    MapPicture picture;
    ASSERT_TRUE(Good(Open(picture, folder / "land.sim", "/Land")));
    EXPECT_FALSE(picture.IsHeights());
    EXPECT_EQ(picture.Levels(), 2);
    EXPECT_EQ(picture.SystemName(), "EPSG:32633");
    // The sample's red is the column of its level by eight; JPEG comes near.
    for (const int x : {4, 260, 500}) {
        EXPECT_NEAR(Red(Tile(picture, 0), x, 100), x / 8, 6) << x;
        EXPECT_NEAR(Red(Tile(picture, 0, 1), x, 100), (x + 512) / 8, 6) << x;
        EXPECT_NEAR(Red(Tile(picture, 1), x, 100), x / 8, 6) << x;
    }
    EXPECT_EQ(Tile(picture, 0, 2).width, 0) << "beyond the edge";
    EXPECT_EQ(Tile(picture, 7).width, 0);
}

TEST_F(MapPictureTest, HeightsHaveColoursOfTheirRangeAndHolesAreClear) {
    MapPicture picture;
    ASSERT_TRUE(Good(Open(picture, folder / "land.sim", "height")));
    EXPECT_TRUE(picture.IsHeights());
    EXPECT_EQ(picture.Lowest(), -40);
    EXPECT_EQ(picture.Highest(), 512 + 59);
    EXPECT_EQ(picture.Levels(), 2) << "513 cells are sampled to 257 pixels";
    const MapTile fine = Tile(picture, 0);
    EXPECT_EQ(fine.pixels[7], 0U) << "the null cell";
    EXPECT_NE(fine.pixels[8], 0U);
    EXPECT_EQ(Tile(picture, 0, 1).width, 1);
    const MapTile coarse = Tile(picture, 1);
    ASSERT_EQ(coarse.width, 257);
    // Low in the west, high in the east: green at one end, nearly white at the other.
    EXPECT_LT(Red(coarse, 2, 128), 140);
    EXPECT_GT(Red(coarse, 250, 128), Red(coarse, 2, 128) + 40);
}

TEST_F(MapPictureTest, ASlopeTowardsTheLightIsBrighter) {
    std::vector<std::int16_t> heights;
    for (int i = 0; i < 65 * 65; ++i)
        heights.push_back(static_cast<std::int16_t>(1000 - 8 * std::abs(i % 65 - 32)));
    const auto spec = ZPF::Placed(ZPF::Spec("Tent", ZPF::RasterType::Signed16, 65, 65),
                                  {400000, 10, 0, 5600000, 0, -10});
    ASSERT_TRUE(
        Good(ZPF::WriteRaster(folder / "tent.sim", spec, {std::as_bytes(std::span(heights))})));
    MapPicture picture;
    ASSERT_TRUE(Good(Open(picture, folder / "tent.sim", "/Tent")));
    const MapTile tile = Tile(picture, 0);
    // The same height on both sides of the ridge; the west looks to the light.
    EXPECT_GT(Red(tile, 22, 30), Red(tile, 42, 30) + 30);
}

TEST_F(MapPictureTest, ADamagedTileIsClearAndSaidAndTheOthersAreShown) {
    ZPF::RunSql(folder / "land.sim",
                "UPDATE Land SET tile_data = x'0badcafe' WHERE tile_column = 0 AND tile_row = 0");
    MapPicture picture;
    ASSERT_TRUE(Good(Open(picture, folder / "land.sim", "/Land")));
    const MapTile bad = Tile(picture, 0, 0, 0), good = Tile(picture, 0, 1, 1);
    EXPECT_TRUE(bad.damaged);
    EXPECT_EQ(bad.pixels[100 * 512 + 100], 0U);
    EXPECT_NE(good.pixels[100 * 512 + 100], 0U);
}

// --- The window ------------------------------------------------------------------------------

class AtlasWindowTest : public testing::Test {
protected:
    AtlasWindowTest() {
        ::setenv("TARNVALE_INI", (folder / "viewer.ini").c_str(), 1);
        EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim")));
        atlas.title = "Tarn";
        atlas.file = folder / "land.sim";
        atlas.object = "/Land";
        atlas.views.resize(2);
        atlas.views[0].position = {0, 1, 2, 0, 1, 1};
        atlas.views[1].position = {1, 1, 2, 0, 1, 1};
        atlas.views[1].object = "/Height";
        atlas.views[1].geoLockScale = 2;
        Place(13.7, 50.48, 3000);
    }
    // Of the object's system: 50.48 degrees north, 13.7 east lies within the sample's 15 km.
    void Place(double longitude, double latitude, double width) {
        atlas.hasStartCentre = atlas.hasZoomWidth = true;
        atlas.startLongitude = longitude;
        atlas.startLatitude = latitude;
        atlas.startZoomWidth = width;
        EXPECT_TRUE(Good(atlas.Write(path)));
    }
    void Show(AtlasWindow& window) const {
        ASSERT_TRUE(Good(window.Open(path)));
        window.resize(800, 500);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    static GeographicPlace CentreOf(const MapWidget& map) {
        return map.Source().ToGlobe(map.Camera().Centre()).value_or(GeographicPlace{999, 999});
    }
    static void ExpectCentre(const MapWidget& map, double longitude, double latitude) {
        EXPECT_NEAR(CentreOf(map).longitude, longitude, 1e-7);
        EXPECT_NEAR(CentreOf(map).latitude, latitude, 1e-7);
    }

    ZPF::ScratchFolder folder;
    FILEPATH path = folder / "tarn.atl";
    Atlas atlas;
};

TEST_F(AtlasWindowTest, ViewsStartAtThePlaceAndMoveTogether) {
    AtlasWindow window;
    Show(window);
    ASSERT_EQ(window.Views().size(), 2U);
    MapWidget &land = *window.Views()[0], &height = *window.Views()[1];
    ExpectCentre(land, 13.7, 50.48);
    ExpectCentre(height, 13.7, 50.48);
    EXPECT_DOUBLE_EQ(land.Camera().Width(), 3000);
    EXPECT_DOUBLE_EQ(height.Camera().Width(), 6000) << "its scale is 2";
    EXPECT_LE(land.geometry().right(), height.geometry().left());
    EXPECT_FALSE(land.LegendShown());
    EXPECT_TRUE(height.LegendShown()) << "heights say what their colours mean";

    QTest::keyClick(&land, Qt::Key_Right);
    EXPECT_GT(CentreOf(land).longitude, 13.701);
    ExpectCentre(height, CentreOf(land).longitude, CentreOf(land).latitude);
    QTest::keyClick(&height, Qt::Key_Plus);
    EXPECT_NEAR(land.Camera().Width(), 2000, 1e-6);
    const MapPoint before = land.Camera().Centre();
    QTest::mousePress(&land, Qt::LeftButton, {}, {100, 100});
    QTest::mouseMove(&land, {150, 100});
    QTest::mouseRelease(&land, Qt::LeftButton, {}, {150, 100});
    EXPECT_NEAR(before.x - land.Camera().Centre().x, 50 * land.Camera().MetresPerPixel(), 1e-3);
    window.findChild<QAction*>("atlas_start")->trigger();
    ExpectCentre(land, 13.7, 50.48);
    window.findChild<QAction*>("atlas_whole")->trigger();
    EXPECT_GE(land.Camera().Width(), 15 * 1024);
}

TEST_F(AtlasWindowTest, TheFileIsFollowedHoweverItIsReplaced) {
    AtlasWindow window;
    Show(window);
    const MapWidget* const land = window.Views()[0];
    for (const double longitude : {13.71, 13.72, 13.73}) {
        Place(longitude, 50.48, 1000);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return std::abs(CentreOf(*land).longitude - longitude) < 1e-7; }, 5000))
            << longitude;
        EXPECT_DOUBLE_EQ(land->Camera().Width(), 1000);
    }
    // Damage is no reason to lose the window, and mends.
    ZPF::WriteFile(path, std::string("nothing"));
    QTest::qWait(300);
    EXPECT_EQ(window.Views().size(), 2U);
    std::filesystem::remove(path);
    Place(13.74, 50.48, 500);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return std::abs(CentreOf(*land).longitude - 13.74) < 1e-7; }, 5000));
    EXPECT_EQ(window.Views()[0], land) << "no view is made anew for another place";
    atlas.views.resize(1);
    atlas.views[0].position = {};
    std::filesystem::remove(path);
    Place(13.74, 50.48, 500);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.Views().size() == 1; }, 5000));
}

TEST_F(AtlasWindowTest, EverythingHasANameAndTheTabKeyReachesIt) {
    for (const char* language : {"en", "de"}) {
        ::setenv("LC_ALL", language, 1);
        TEXTRES::Terminate();
        AtlasWindow window;
        Show(window);
        window.activateWindow();
        std::set<QWidget*> wanted;
        for (QWidget* const control : window.findChildren<QWidget*>()) {
            if (!control->isVisible() || control->focusPolicy() == Qt::NoFocus) continue;
            QAccessibleInterface* const known = QAccessible::queryAccessibleInterface(control);
            EXPECT_FALSE(known == nullptr || known->text(QAccessible::Name).isEmpty())
                << language << ' ' << control->metaObject()->className();
            wanted.insert(control);
        }
        EXPECT_EQ(wanted.size(), 2U);
        for (std::size_t i = 0; i < 4; ++i) {
            wanted.erase(window.focusWidget());
            QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        }
        EXPECT_TRUE(wanted.empty()) << language;
        EXPECT_TRUE(window.Views()[0]->accessibleDescription().contains("32633"));
        // Each menu letter once.
        for (const QMenu* const menu : window.findChildren<QMenu*>()) {
            std::set<QChar> letters;
            for (const QAction* const action : menu->actions()) {
                const auto mark = action->text().indexOf('&');
                if (mark < 0) continue;
                EXPECT_TRUE(letters.insert(action->text().at(mark + 1).toLower()).second)
                    << language << ' ' << action->text().toStdString();
            }
        }
    }
    ::setenv("LC_ALL", "C", 1);
    TEXTRES::Terminate();
}

TEST_F(AtlasWindowTest, ABadAtlasIsNotClaimedInPlaceOfTheShownOne) {
    std::filesystem::permissions(folder / "", std::filesystem::perms::owner_all);
    const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
    qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString((folder / "").parent_path().string()));
    const auto claims = [this] {
        std::set<std::string> locks;
        for (const auto& entry : std::filesystem::directory_iterator(folder / ""))
            if (entry.path().extension() == ".lock") locks.insert(entry.path().string());
        return locks;
    };
    SingleInstance instance;
    ASSERT_EQ(instance.Take(path), SingleInstance::Claim::Mine);
    AtlasWindow window;
    window.SetInstance(&instance);
    Show(window);
    const std::set<std::string> own = claims();
    ASSERT_EQ(own.size(), 1U);
    ZPF::WriteFile(folder / "bad.atl", std::string("[Sedgelineatlas]\nTitle=T\n"));
    EXPECT_EQ(window.OpenInstead(folder / "bad.atl").Code(), StatusCode::AtlasIncomplete);
    EXPECT_EQ(claims(), own);
    qputenv("XDG_RUNTIME_DIR", before);
}

TEST_F(AtlasWindowTest, ABadAtlasLeavesTheWindowAsItWas) {
    AtlasWindow window;
    Show(window);
    ZPF::WriteFile(folder / "bad.atl", std::string("[Sedgelineatlas]\nTitle=T\n"));
    EXPECT_EQ(window.Open(folder / "bad.atl").Code(), StatusCode::AtlasIncomplete);
    atlas.views[1].object = "/Absent";
    EXPECT_TRUE(Good(atlas.Write(folder / "absent.atl")));
    EXPECT_EQ(window.Open(folder / "absent.atl").Code(), StatusCode::ObjectNotFound);
    EXPECT_EQ(window.File(), path);
    EXPECT_EQ(window.Views().size(), 2U);
}

}  // namespace
}  // namespace tarnvale

#include <gdal_priv.h>
#include <gtest/gtest.h>
#include <ogrsf_frmts.h>

#include <QAction>
#include <QTest>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "atlas/atlaswindow.h"
#include "atlas/openmap.h"
#include "atlas/vectorimage.h"
#include "atlas/vectorservice.h"
#include "landscape/atlas.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;

// The maps are 1000 units wide, from here on.
constexpr double kEast = 400'000, kNorth = 5'600'000;
constexpr int kSide = 200;  // pixels of a picture of that

enum class Indexed : std::uint8_t { No, Yes };

// Adds a layer to a file, which is made where it isn't there.
void AddLayer(const FILEPATH& file, const char* name, OGRwkbGeometryType type,
              const std::vector<std::string>& features, Indexed indexed = Indexed::Yes,
              int epsg = 32633) {
    RegisterOGRGeoPackage();
    CPLPushErrorHandler(CPLQuietErrorHandler);  // it wants another extension
    GDALDatasetUniquePtr dataset(
        std::filesystem::exists(file)
            ? GDALDataset::Open(file.c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE)
            : GetGDALDriverManager()->GetDriverByName("GPKG")->Create(file.c_str(), 0, 0, 0,
                                                                      GDT_Unknown, nullptr));
    ASSERT_NE(dataset, nullptr);
    OGRSpatialReference system;
    system.importFromEPSG(epsg);
    CPLStringList options;
    options.SetNameValue("SPATIAL_INDEX", indexed == Indexed::Yes ? "YES" : "NO");
    OGRLayer* const layer =
        dataset->CreateLayer(name, epsg > 0 ? &system : nullptr, type, options.List());
    ASSERT_NE(layer, nullptr);
    for (const std::string& text : features) {
        OGRGeometry* made = nullptr;
        ASSERT_EQ(OGRGeometryFactory::createFromWkt(text.c_str(), nullptr, &made), OGRERR_NONE)
            << text;
        OGRFeature feature(layer->GetLayerDefn());
        feature.SetGeometryDirectly(made);
        ASSERT_EQ(layer->CreateFeature(&feature), OGRERR_NONE);
    }
    dataset.reset();
    CPLPopErrorHandler();
}

// Texts of geometries say only where in the map they are.
std::string Placed(const std::string& wkt) {
    OGRGeometry* made = nullptr;
    EXPECT_EQ(OGRGeometryFactory::createFromWkt(wkt.c_str(), nullptr, &made), OGRERR_NONE) << wkt;
    const std::unique_ptr<OGRGeometry> geometry(made);
    struct Mover final : OGRDefaultGeometryVisitor {
        using OGRDefaultGeometryVisitor::visit;
        void visit(OGRPoint* point) override {
            point->setX(point->getX() + kEast);
            point->setY(point->getY() + kNorth);
        }
    } mover;
    geometry->accept(&mover);
    return geometry->exportToWkt();
}

VectorScene Scene(double width = 1000, double ratio = 1) {
    VectorScene scene;
    scene.camera.SetView(kSide, kSide);
    scene.camera.SetCentre({kEast + 500, kNorth + 500});
    scene.camera.SetWidth(width);
    scene.view = {kSide, kSide};
    scene.ratio = ratio;
    scene.colours = VectorColours::On(Qt::white);
    return scene;
}

// 'L' on a line, an outline or a mark; 'A' in an area; '.' where there is nothing.
char Seen(const VectorImage& painted, double x, double y) {
    const MapPoint at = painted.scene.camera.ToScreen({kEast + x, kNorth + y});
    const auto pixel = [&](double value) {
        return static_cast<int>((value + painted.scene.margin) * painted.scene.ratio);
    };
    const int alpha = qAlpha(painted.image.pixel(pixel(at.x), pixel(at.y)));
    const int area = painted.scene.colours.area.alpha();
    return alpha == 0 ? '.' : std::abs(alpha - area) < 3 ? 'A' : alpha > 150 ? 'L' : '?';
}

class VectorTest : public testing::Test {
protected:
    VectorTest() {
        ::setenv("TARNVALE_INI", (folder / "viewer.ini").c_str(), 1);
        EXPECT_TRUE(Good(ZPF::WriteLandscape(folder / "land.sim")));
    }
    static std::shared_ptr<VectorLayer> Open(const FILEPATH& file, const char* name) {
        std::shared_ptr<MapSource> map;
        EXPECT_TRUE(Good(OpenMap(file, name, map))) << name;
        auto layer = std::dynamic_pointer_cast<VectorLayer>(map);
        EXPECT_NE(layer, nullptr) << name;
        return layer;
    }
    static VectorImage Paint(VectorLayer& layer, const VectorScene& scene = Scene()) {
        const std::atomic<bool> cancel = false;
        return PaintVectors(layer, scene, cancel);
    }

    ZPF::ScratchFolder folder;
};

// --- Geometries ------------------------------------------------------------------------------

TEST_F(VectorTest, EveryKindOfGeometryIsSeenWhereItLies) {
    struct Place {
        double x, y;
        char seen;
    };
    struct Case {
        OGRwkbGeometryType type;
        const char* wkt;
        std::uint8_t kinds;
        std::vector<Place> places;
    };
    constexpr auto kPoints = VectorLayer::kPoints, kLines = VectorLayer::kLines,
                   kPolygons = VectorLayer::kPolygons;
    const std::vector<Place> ring{{100, 500, 'L'}, {200, 500, 'A'}, {500, 500, '.'},
                                  {400, 500, 'L'}, {800, 500, 'A'}, {950, 500, '.'}};
    const Case cases[] = {
        {wkbPoint, "POINT (250 750)", kPoints, {{250, 750, 'L'}, {250, 250, '.'}}},
        {wkbPoint25D, "POINT Z (250 750 40)", kPoints, {{250, 750, 'L'}, {750, 250, '.'}}},
        {wkbMultiPoint,
         "MULTIPOINT (100 100, 900 900)",
         kPoints,
         {{100, 100, 'L'}, {900, 900, 'L'}, {500, 500, '.'}}},
        {wkbLineString,
         "LINESTRING (100 200, 900 200, 900 800)",
         kLines,
         {{500, 200, 'L'}, {900, 500, 'L'}, {500, 500, '.'}}},
        {wkbLineString,  // both ends outside, far away
         "LINESTRING (-4000000 500, 9000000 500)",
         kLines,
         {{2, 500, 'L'}, {998, 500, 'L'}, {500, 600, '.'}}},
        {wkbMultiLineString,
         "MULTILINESTRING ((100 100, 900 100), (100 900, 900 900))",
         kLines,
         {{500, 100, 'L'}, {500, 900, 'L'}, {500, 500, '.'}}},
        {wkbCircularString,  // half a circle about the middle
         "CIRCULARSTRING (100 500, 500 900, 900 500)",
         kLines,
         {{500, 900, 'L'}, {217.2, 782.8, 'L'}, {500, 500, '.'}, {500, 100, '.'}}},
        {wkbPolygon,
         "POLYGON ((100 100, 900 100, 900 900, 100 900, 100 100), "
         "(400 400, 600 400, 600 600, 400 600, 400 400))",
         kPolygons, ring},
        {wkbPolygon,  // all of the view lies in it
         "POLYGON ((-90000000 -90000000, 90000000 -90000000, 90000000 90000000, -90000000 90000000,"
         " -90000000 -90000000), (400 400, 600 400, 600 600, 400 600, 400 400))",
         kPolygons,
         {{2, 2, 'A'}, {998, 998, 'A'}, {400, 500, 'L'}, {500, 500, '.'}}},
        {wkbMultiPolygon,
         "MULTIPOLYGON (((100 100, 300 100, 300 300, 100 300, 100 100)), "
         "((700 700, 900 700, 900 900, 700 900, 700 700)))",
         kPolygons,
         {{200, 200, 'A'}, {800, 800, 'A'}, {300, 200, 'L'}, {500, 500, '.'}}},
        {wkbCurvePolygon,
         "CURVEPOLYGON (CIRCULARSTRING (100 500, 500 900, 900 500, 500 100, 100 500))",
         kPolygons,
         {{500, 500, 'A'}, {500, 900, 'L'}, {110, 110, '.'}, {250, 750, 'A'}}},
        {wkbTINZ,
         "TIN Z (((100 100 0, 900 100 0, 500 500 9, 100 100 0)))",
         kPolygons,
         {{500, 200, 'A'}, {500, 100, 'L'}, {500, 700, '.'}}},
        {wkbGeometryCollection,
         "GEOMETRYCOLLECTION (POINT (200 800), LINESTRING (100 500, 900 500), "
         "GEOMETRYCOLLECTION (POLYGON ((600 100, 900 100, 900 300, 600 300, 600 100))))",
         0,
         {{200, 800, 'L'}, {300, 500, 'L'}, {750, 200, 'A'}, {500, 800, '.'}}},
        {wkbUnknown,
         "POLYGON ((100 100, 900 100, 900 900, 100 900, 100 100))",
         0,
         {{500, 500, 'A'}, {900, 500, 'L'}, {950, 500, '.'}}},
        {wkbPoint, "POINT EMPTY", kPoints, {{500, 500, '.'}}},
    };
    int number = 0;
    for (const Case& one : cases) {
        for (const Indexed indexed : {Indexed::No, Indexed::Yes}) {
            const std::string name = "layer" + std::to_string(++number);
            const std::string corner = one.type == wkbPoint25D ? "POINT Z (5 5 0)" : "POINT (5 5)";
            std::vector<std::string> features{Placed(one.wkt)};
            if (one.kinds == kPoints) features.push_back(Placed(corner));
            AddLayer(folder / "land.sim", name.c_str(), one.type, features, indexed);
            const auto layer = Open(folder / "land.sim", name.c_str());
            ASSERT_NE(layer, nullptr) << one.wkt;
            EXPECT_EQ(layer->Kinds(), one.kinds) << one.wkt;
            EXPECT_EQ(layer->SystemName(), "EPSG:32633");
            for (const double ratio : {1.0, 2.0}) {
                const VectorImage painted = Paint(*layer, Scene(1000, ratio));
                EXPECT_FALSE(painted.outcome.damaged || painted.outcome.capped) << one.wkt;
                for (const Place& place : one.places) {
                    EXPECT_EQ(Seen(painted, place.x, place.y), place.seen)
                        << one.wkt << " at " << place.x << ' ' << place.y << ", ratio " << ratio;
                }
            }
        }
    }
}

TEST_F(VectorTest, OnlyWhatIsInTheViewIsTakenInAndWhatIsSmallLeavesASpeck) {
    std::vector<std::string> squares;
    for (int i = 0; i < 50; ++i) {
        const std::string x = std::to_string(i * 20), y = std::to_string(i * 20 + 8);
        squares.push_back(Placed("POLYGON ((" + x + " " + x + ", " + y + " " + x + ", " + y + " " +
                                 y + ", " + x + " " + y + ", " + x + " " + x + "))"));
    }
    for (const Indexed indexed : {Indexed::No, Indexed::Yes}) {
        const char* const name = indexed == Indexed::Yes ? "indexed" : "plain";
        AddLayer(folder / "land.sim", name, wkbPolygon, squares, indexed);
        const auto layer = Open(folder / "land.sim", name);
        struct Counter final : VectorLayer::Sink {
            void Speck(const MapPoint&, std::uint8_t) override { ++specks; }
            void Shape(const OGRGeometry&) override { ++shapes; }
            int specks = 0, shapes = 0;
        };
        const std::atomic<bool> cancel = false, cancelled = true;
        Counter near, far, none;
        const ZPF::VectorBox part{kEast + 390, kNorth + 390, kEast + 450, kNorth + 450};
        EXPECT_FALSE(layer->Read(part, 1, 1, cancel, near).cancelled);
        EXPECT_EQ(near.shapes, 3) << "at 400, 420 and 440";
        EXPECT_EQ(near.specks, 0);
        const ZPF::VectorBox all{kEast, kNorth, kEast + 1000, kNorth + 1000};
        (void)layer->Read(all, 10, 10, cancel, far);
        EXPECT_EQ(far.shapes, 0);
        EXPECT_EQ(far.specks, 50);
        EXPECT_TRUE(layer->Read(all, 1, 1, cancelled, none).cancelled);
        EXPECT_EQ(none.shapes, 0);
        const VectorImage painted = Paint(*layer, Scene(4000));
        EXPECT_NE(Seen(painted, 404, 404), '.') << name;
        EXPECT_EQ(Seen(painted, 404, 604), '.') << name;
    }
}

TEST_F(VectorTest, WhatIsSmallerThanAPixelIsADotAndTheFileStaysFree) {
    // Of a layer whose kind isn't told, what the features are is seen in them alone.
    AddLayer(folder / "land.sim", "small", wkbUnknown,
             {Placed("POLYGON ((200 200, 212 200, 212 212, 200 212, 200 200))"),
              Placed("LINESTRING (600 600, 604 600, 600 600)")});
    const auto layer = Open(folder / "land.sim", "small");
    const VectorImage painted = Paint(*layer, Scene(100'000));
    EXPECT_EQ(painted.kinds, VectorLayer::kPolygons | VectorLayer::kLines);
    // A viewer that only shows it keeps no other program from writing.
    ZPF::RunSql(folder / "land.sim", "DELETE FROM small");
}

TEST_F(VectorTest, MoreThanTheLimitIsSaid) {
    AddLayer(folder / "many.gpkg", "many", wkbLineString,
             {Placed("LINESTRING (100 200, 140 200)"), Placed("LINESTRING (100 800, 900 800)")},
             Indexed::No);
    ZPF::RunSql(folder / "many.gpkg",
                "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)"
                "INSERT INTO many (geom) SELECT geom FROM many, n WHERE fid = 1");
    const auto layer = Open(folder / "many.gpkg", "many");
    const VectorImage all = Paint(*layer);
    EXPECT_TRUE(all.outcome.capped);
    EXPECT_EQ(Seen(all, 120, 200), 'L');
    VectorScene part = Scene(200);
    part.camera.SetCentre({kEast + 800, kNorth + 800});
    EXPECT_FALSE(Paint(*layer, part).outcome.capped) << "closer all is there";
}

// A saw of many teeth, each across the view.
TEST_F(VectorTest, AnAreaThatWouldTakeMinutesIsOutlinedAndSaid) {
    std::string saw = "(400000 5600100", away = "(500000 5600100";
    for (int i = 1; i < 20'000; ++i) {
        const std::string y = i % 2 == 0 ? " 5600100" : " 5600900";
        saw += "," + std::to_string(400'000 + i % 1000) + y;
        away += "," + std::to_string(500'000 + i) + y;
    }
    AddLayer(folder / "land.sim", "saw", wkbPolygon, {"POLYGON (" + saw + ",400000 5600100))"});
    AddLayer(folder / "land.sim", "away", wkbPolygon,
             {"POLYGON (" + away + ", 400400 5600900, 400400 5600100, 500000 5600100))"});
    const VectorImage all = Paint(*Open(folder / "land.sim", "saw"));
    EXPECT_TRUE(all.outcome.capped);
    EXPECT_EQ(Seen(all, 500, 500), 'L');
    // What is cut off doesn't count.
    const VectorImage part = Paint(*Open(folder / "land.sim", "away"));
    EXPECT_FALSE(part.outcome.capped);
    EXPECT_EQ(Seen(part, 400, 500), 'L');
    EXPECT_EQ(Seen(part, 300, 500), '.');
}

TEST(VectorColours, CanBeToldFromEveryGround) {
    const auto light = [](const QColor& colour) {
        const auto linear = [](double v) {
            return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
               0.0722 * linear(colour.blueF()) + 0.05;
    };
    for (int red = 0; red < 256; red += 51) {
        for (int green = 0; green < 256; green += 51) {
            for (int blue = 0; blue < 256; blue += 51) {
                const QColor ground(red, green, blue);
                const double a = light(VectorColours::On(ground).line), b = light(ground);
                EXPECT_GE(std::max(a, b) / std::min(a, b), 3.5)
                    << red << ' ' << green << ' ' << blue;
            }
        }
    }
}

// --- Bad input -------------------------------------------------------------------------------

TEST_F(VectorTest, ABadLayerSaysInOneLineWhatIsWrong) {
    struct Case {
        const char* what;
        const char* sql;
        StatusCode code;     // of opening
        const char* saying;  // of the line
        bool damaged;        // of what opens
    };
    constexpr auto kOk = StatusCode::Ok, kBad = StatusCode::BadState;
    const Case cases[] = {
        {"nothing", "SELECT 1", kOk, "", false},
        {"no such layer", "DELETE FROM gpkg_contents WHERE table_name = 'bad'",
         StatusCode::ObjectNotFound, "no object", false},
        {"no geometry column", "DELETE FROM gpkg_geometry_columns", kBad, "no geometry column",
         false},
        {"no table of columns", "DROP TABLE gpkg_geometry_columns", kBad, "no geometry column",
         false},
        {"another column", "UPDATE gpkg_geometry_columns SET column_name = 'shape'", kBad,
         "no geometry column", false},
        {"hostile column", "UPDATE gpkg_geometry_columns SET column_name = 'geom\" FROM x --'",
         kBad, "no geometry column", false},
        {"no features", "DELETE FROM bad", kBad, "has no features", false},
        {"no geometry in any", "UPDATE bad SET geom = NULL; UPDATE gpkg_contents SET min_x = NULL",
         kBad, "no geometry", false},
        {"all of it broken", "UPDATE bad SET geom = x'00'; UPDATE gpkg_contents SET min_x = NULL",
         kBad, "no geometry", false},
        {"absurd extent", "UPDATE gpkg_contents SET min_x = -1e300, max_x = 9e999", kOk, "", false},
        {"extent of text", "UPDATE gpkg_contents SET min_x = 'west'", kOk, "", false},
        {"no geometry in one", "UPDATE bad SET geom = NULL WHERE fid = 2", kOk, "", false},
        {"no blob", "UPDATE bad SET geom = 'text' WHERE fid = 2", kOk, "", true},
        {"foreign blob", "UPDATE bad SET geom = x'0badcafe0badcafe0badcafe' WHERE fid = 2", kOk, "",
         true},
        {"cut short", "UPDATE bad SET geom = substr(geom, 1, length(geom) - 9) WHERE fid = 2", kOk,
         "", true},
        {"head alone", "UPDATE bad SET geom = substr(geom, 1, 8) WHERE fid = 2", kOk, "", true},
        {"unknown kind",
         "UPDATE bad SET geom = CAST(substr(geom, 1, 41) || x'ff' || substr(geom, 43) AS BLOB) "
         "WHERE fid = 2",
         kOk, "", true},
        {"no number",
         "UPDATE bad SET geom = CAST(substr(geom, 1, 65) || x'000000000000f87f' || substr(geom, "
         "74) AS BLOB) WHERE fid = 2",
         kOk, "", true},
        {"no number in a ring",
         "UPDATE bad SET geom = (SELECT CAST(substr(geom, 1, 69) || x'000000000000f87f' || "
         "substr(geom, 78) AS BLOB) FROM area) WHERE fid = 2",
         kOk, "", true},
        {"far away", "UPDATE bad SET geom = (SELECT geom FROM far) WHERE fid = 2", kOk, "", true},
        {"all far away",
         "UPDATE bad SET geom = (SELECT geom FROM far); UPDATE gpkg_contents SET max_x = 1e30",
         kBad, "no geometry", false},
        {"another name for the system",
         "UPDATE gpkg_geometry_columns SET srs_id = 4711 WHERE table_name = 'bad'", kOk, "", false},
        {"unknown system",
         "UPDATE gpkg_spatial_ref_sys SET definition = 'x', organization "
         "= "
         "'x' WHERE srs_id = 32633",
         kOk, "", false},
    };
    AddLayer(folder / "good.gpkg", "bad", wkbLineString,
             {Placed("LINESTRING (100 200, 900 200)"), Placed("LINESTRING (100 800, 900 800)")},
             Indexed::No);
    AddLayer(folder / "good.gpkg", "area", wkbPolygon,
             {Placed("POLYGON ((100 700, 900 700, 900 900, 100 900, 100 700))")}, Indexed::No);
    AddLayer(folder / "good.gpkg", "far", wkbLineString, {"LINESTRING (1e30 0, 1e31 5)"},
             Indexed::No);
    for (const Case& one : cases) {
        const FILEPATH path = folder / "case.gpkg";
        std::filesystem::copy_file(folder / "good.gpkg", path,
                                   std::filesystem::copy_options::overwrite_existing);
        ZPF::RunSql(path, one.sql);
        std::shared_ptr<MapSource> map;
        const Status opened = OpenMap(path, "/bad", map);
        EXPECT_EQ(opened.Code(), one.code) << one.what;
        if (!opened.Good()) {
            const std::string line = GetErrString(opened);
            EXPECT_NE(line.find(one.saying), std::string::npos) << one.what << ": " << line;
            EXPECT_NE(line.find("case.gpkg"), std::string::npos) << one.what << ": " << line;
            EXPECT_EQ(line.find('\n'), std::string::npos) << line;
            continue;
        }
        auto& layer = dynamic_cast<VectorLayer&>(*map);
        const VectorImage painted = Paint(layer);
        EXPECT_EQ(painted.outcome.damaged, one.damaged) << one.what;
        EXPECT_EQ(Seen(painted, 500, 200), 'L') << one.what << ": the good one is shown";
        MapPoint low, high;
        layer.Bounds(low, high);
        EXPECT_NEAR(low.x, kEast + 100, 1e-6) << one.what;
        EXPECT_EQ(layer.HasSystem(), std::string_view(one.what).find("system") == std::string::npos)
            << one.what;
    }
}

TEST_F(VectorTest, AnObjectOfTheTreeNamesItsTable) {
    AddLayer(folder / "land.sim", "roads", wkbLineString, {Placed("LINESTRING (0 500, 1000 500)")});
    ZPF::RunSql(folder / "land.sim",
                "INSERT INTO zpf_object VALUES (90, 0, 2, 'Maps', '', 0), (91, 90, 4, 'Roads', '', "
                "0), (92, 90, 4, 'Rivers', '', 0)");
    const auto layer = Open(folder / "land.sim", "/maps/roads");
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->ObjectPath(), "/Maps/Roads");
    EXPECT_EQ(Seen(Paint(*layer), 500, 500), 'L');
    std::shared_ptr<MapSource> map;
    const Status opened = OpenMap(folder / "land.sim", "/Maps/Rivers", map);
    EXPECT_EQ(opened.Code(), StatusCode::ObjectNotFound);
    EXPECT_NE(GetErrString(opened).find("Rivers"), std::string::npos) << GetErrString(opened);
    EXPECT_EQ(OpenMap(folder / "land.sim", "/Maps", map).Code(), StatusCode::BadState);
}

TEST_F(VectorTest, WhatAnIndexHasBeyondEveryMapIsSaid) {
    const std::string line = Placed("LINESTRING (100 200, 900 200)");
    for (const char* far : {"LINESTRING (1e30 0, 1e31 5)", "LINESTRING (0 -3e12, 0 0)"}) {
        AddLayer(folder / "far.gpkg", "far", wkbLineString, {line, far});
        const auto layer = Open(folder / "far.gpkg", "far");
        const VectorImage painted = Paint(*layer);
        EXPECT_TRUE(painted.outcome.damaged) << far;
        EXPECT_EQ(Seen(painted, 500, 200), 'L') << far;
        MapPoint low, high;
        layer->Bounds(low, high);
        EXPECT_NEAR(high.x, kEast + 900, 1) << far;
        std::filesystem::remove(folder / "far.gpkg");
    }
}

// --- The window ------------------------------------------------------------------------------

TEST_F(VectorTest, AViewOfALayerMovesWithARasterAndFollowsTheFile) {
    AddLayer(folder / "land.sim", "areas", wkbPolygon,
             {"POLYGON ((13.58 50.40, 13.80 50.40, 13.80 50.55, 13.58 50.55, 13.58 50.40))"},
             Indexed::Yes, 4326);
    Atlas atlas;
    atlas.title = "Areas";
    atlas.file = folder / "land.sim";
    atlas.object = "/areas";
    atlas.views.resize(2);
    atlas.views[0].position = {0, 1, 2, 0, 1, 1};
    atlas.views[1].position = {1, 1, 2, 0, 1, 1};
    atlas.views[1].object = "/Land";
    atlas.backgroundColor = {0xFFFF, 0xFFFF, 0xFFFF, 0};
    const FILEPATH path = folder / "areas.atl";
    const auto hand = [&](double longitude, double latitude) {
        atlas.hasStartCentre = atlas.hasZoomWidth = true;
        atlas.startLongitude = longitude;
        atlas.startLatitude = latitude;
        atlas.startZoomWidth = 2000;
        EXPECT_TRUE(Good(atlas.Write(path)));
    };
    hand(13.7, 50.48);
    Atlas read;
    EXPECT_TRUE(Good(read.Read(path))) << "a place can be handed over to it";
    AtlasWindow window;
    ASSERT_TRUE(Good(window.Open(path)));
    window.resize(800, 500);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    MapWidget &areas = *window.Views()[0], &land = *window.Views()[1];
    EXPECT_TRUE(areas.LegendShown()) << "it says what the colours mean";
    const auto colourAt = [&](double longitude, double latitude) {
        const auto map = areas.Source().FromGlobe({longitude, latitude});
        const MapPoint at = areas.Camera().ToScreen(map.value_or(MapPoint{}));
        const QImage seen = areas.grab().toImage();
        const QPoint pixel(static_cast<int>(at.x), static_cast<int>(at.y));
        return seen.valid(pixel) ? seen.pixelColor(pixel) : QColor();
    };
    const VectorColours colours = VectorColours::On(Qt::white);
    const double share = colours.area.alphaF();
    const auto blended = [&](int channel) {
        return static_cast<int>(std::lround(channel * share + 255 * (1 - share)));
    };
    const auto isArea = [&](const QColor& seen) {
        return std::abs(seen.red() - blended(colours.area.red())) < 3 &&
               std::abs(seen.green() - blended(colours.area.green())) < 3 &&
               std::abs(seen.blue() - blended(colours.area.blue())) < 3;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return isArea(colourAt(13.703, 50.482)); }, 5000));

    // The eastern edge comes into the middle: area to its left, nothing to its right.
    hand(13.8, 50.48);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return isArea(colourAt(13.798, 50.482)) &&
                   colourAt(13.802, 50.482) == QColor(Qt::white);
        },
        5000));
    EXPECT_NEAR(areas.Camera().Width(), 2000, 1e-6);
    const auto centre = land.Source().ToGlobe(land.Camera().Centre());
    ASSERT_TRUE(centre.has_value());
    EXPECT_NEAR(centre->longitude, 13.8, 1e-7);
    QTest::keyClick(&areas, Qt::Key_Left);
    QTest::keyClick(&areas, Qt::Key_Minus);
    EXPECT_NEAR(land.Camera().Width(), 3000, 1e-6);
    EXPECT_LT(land.Source().ToGlobe(land.Camera().Centre())->longitude, 13.797);
    EXPECT_TRUE(areas.accessibleDescription().contains("4326"));

    // All of it, on a dark ground.
    window.findChild<QAction*>("atlas_whole")->trigger();
    areas.SetBackground(Qt::black);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            const QColor seen = colourAt(13.7, 50.5);
            return window.Settled() && seen.red() > 60 && seen.blue() < seen.red();
        },
        5000));
}

TEST_F(VectorTest, ANewWishReplacesTheOldOne) {
    AddLayer(folder / "land.sim", "line", wkbLineString, {Placed("LINESTRING (0 500, 1000 500)")});
    const auto layer = Open(folder / "land.sim", "line");
    VectorService service;
    const int view = 0;
    for (const double width : {4000.0, 3000.0, 2000.0, 1000.0})
        service.Want(&view, layer, Scene(width));
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return service.Image(&view) != nullptr && service.Image(&view)->scene == Scene(1000);
        },
        5000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return service.Idle(); }));
    EXPECT_EQ(Seen(*service.Image(&view), 500, 500), 'L');
    service.Forget(&view);
    EXPECT_EQ(service.Image(&view), nullptr);
}

}  // namespace
}  // namespace tarnvale

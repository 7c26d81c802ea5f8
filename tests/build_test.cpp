#include <gdal_priv.h>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "landscape/simfile.h"
#include "landscapes.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;

TEST(Build, ADemThatFitsIsStoredSampleForSample) {
    const fs::path folder = FreshFolder();
    std::mt19937 random(1);
    std::uniform_int_distribution<int> height(-500, 9000);
    Sketch dem = SmallDem();
    dem.Band([&](double, double) { return height(random); });
    const std::string out = (folder / "out.sim").string();
    BuildWell({"--dem", dem.Save(folder / "heights.tif"), out});
    const Stored stored = ReadRaster(out, "heights");
    ASSERT_EQ(stored.header.columns, 65);
    ASSERT_EQ(stored.header.rows, 33);
    EXPECT_EQ(stored.header.type, ZPF::RasterType::Signed16);
    EXPECT_FALSE(stored.header.hasNull);
    EXPECT_EQ(stored.place, (GeoTransform{599990, 20, 0, 6000010, 0, -20}));
    EXPECT_EQ(stored.system.EpsgCode(), 25832);
    for (int row = 0; row < 33; ++row) {
        for (int column = 0; column < 65; ++column) {
            ASSERT_EQ(stored.Height(column, row), dem.bands[0][stored.At(column, row)])
                << column << " " << row;
        }
    }
    // Painted over the whole of it, at four pixels to a cell.
    const Stored painted = ReadRaster(out, "heights_map");
    EXPECT_EQ(painted.header.columns, 256);
    EXPECT_EQ(painted.header.rows, 128);
}

TEST(Build, PixelsOfATextureThatFitsAreCopiedToTheirPlaces) {
    const fs::path folder = FreshFolder();
    const std::string dem = SmallDem().Even({100}).Save(folder / "dem.tif");
    // Noise shows each shift by a pixel. The image begins at the first sample's centre, 16 pixels a
    // cell.
    std::mt19937 random(2);
    Sketch image(1024, 512, {600000, 1.25, 0, 6000000, 0, -1.25}, GDT_Byte);
    for (int band = 0; band < 3; ++band) {
        image.Band([&](double, double) { return static_cast<double>(random() % 256); });
    }
    const std::string out = (folder / "out.sim").string();
    BuildWell({"--dem", dem, "--texture", image.Save(folder / "image.tif"), "--quality", "lossless",
               out});
    const Stored stored = ReadRaster(out, "image");
    ASSERT_EQ(stored.header.columns, 1024);
    ASSERT_EQ(stored.header.rows, 512);
    EXPECT_TRUE(stored.mask.empty());
    int wrong = 0;
    for (int row = 0; row < 512; ++row) {
        for (int column = 0; column < 1024; ++column) {
            for (int channel = 0; channel < 3; ++channel) {
                wrong += stored.Color(column, row, channel) !=
                         image.bands[static_cast<std::size_t>(channel)][stored.At(column, row)];
            }
        }
    }
    EXPECT_EQ(wrong, 0);

    // The next level holds the average of each four, across the border of two tiles too.
    const Stored half = ReadRaster(out, "image", 1);
    ASSERT_EQ(half.header.columns, 512);
    for (const int column : {0, 200, 255, 256, 511}) {
        double sum = 0;
        for (const auto& [dx, dy] :
             {std::pair{0, 0}, std::pair{1, 0}, std::pair{0, 1}, std::pair{1, 1}}) {
            sum += stored.Color(2 * column + dx, 2 * 100 + dy, 1);
        }
        EXPECT_NEAR(half.Color(column, 100, 1), sum / 4, 0.51) << column;
    }
}

// The image's ramps tell each pixel's place on the map, whatever grid or CRS it comes in.
TEST(Build, ResampledPixelsLieWhereTheyDidOnTheMap) {
    const fs::path folder = FreshFolder();
    const std::string dem = SmallDem().Even({100}).Save(folder / "dem.tif");

    Sketch shifted(500, 300, {599950.3, 2.9, 0, 6000061.7, 0, -2.7}, GDT_Byte);
    shifted.Band(RampX).Band(RampY).Even({77});
    // South up, and mirrored.
    Sketch turned(500, 300, {599950.3 + 500 * 2.9, -2.9, 0, 6000061.7 - 300 * 2.7, 0, 2.7},
                  GDT_Byte);
    turned.Band(RampX).Band(RampY).Even({77});
    // The same land in degrees.
    const auto toGrid = Conversion("EPSG:4258", "EPSG:25832"),
               toGlobe = Conversion("EPSG:25832", "EPSG:4258");
    double west = 599900, north = 6000100, east = 601400, south = 5999200;
    toGlobe->Transform(1, &west, &north);
    toGlobe->Transform(1, &east, &south);
    Sketch degrees(540, 330, {west, (east - west) / 540, 0, north, 0, (south - north) / 330},
                   GDT_Byte);
    degrees.system = "EPSG:4258";
    const auto onGrid = [&](double (*ramp)(double, double)) {
        return [&, ramp](double x, double y) {
            toGrid->Transform(1, &x, &y);
            return ramp(x, y);
        };
    };
    degrees.Band(onGrid(RampX)).Band(onGrid(RampY)).Even({77});

    for (const auto& [name, sketch] : {std::pair<std::string, Sketch>{"shifted", shifted},
                                       std::pair<std::string, Sketch>{"turned", turned},
                                       std::pair<std::string, Sketch>{"degrees", degrees}}) {
        const std::string out = (folder / (name + ".sim")).string();
        BuildWell({"--dem", dem, "--texture", sketch.Save(folder / (name + ".tif")), "--quality",
                   "lossless", out});
        const Stored stored = ReadRaster(out, name);
        ASSERT_EQ(stored.header.columns, 512) << name;  // 2.5 m: the image's 2.8 m, a little finer
        ASSERT_EQ(stored.header.rows, 256) << name;
        EXPECT_TRUE(stored.mask.empty()) << name;
        double worst = 0;
        for (int row = 0; row < 256; ++row) {
            for (int column = 0; column < 512; ++column) {
                const double x = 600000 + (column + 0.5) * 2.5, y = 6000000 - (row + 0.5) * 2.5;
                worst = std::max({worst, std::abs(stored.Color(column, row, 0) - RampX(x, y)),
                                  std::abs(stored.Color(column, row, 1) - RampY(x, y)),
                                  std::abs(stored.Color(column, row, 2) - 77.0)});
            }
        }
        // Rounding to bytes, twice. A pixel's shift would be 0.2 more.
        EXPECT_LT(worst, 1.05) << name;
    }
    // JPEG at the default quality changes colours a little, not their place.
    const std::string out = (folder / "jpeg.sim").string();
    BuildWell({"--dem", dem, "--texture", (folder / "shifted.tif").string(), out});
    const Stored stored = ReadRaster(out, "shifted");
    EXPECT_NEAR(stored.Color(300, 200, 0), RampX(600751.25, 5999498.75), 4);
    EXPECT_NEAR(stored.Color(300, 200, 1), RampY(600751.25, 5999498.75), 4);
}

TEST(Build, DegreesAreBroughtToTheUtmZoneAndHeightsKeepTheirPlaces) {
    const fs::path folder = FreshFolder();
    // Close to the zone's border, where a warped tile is ragged most; the same counted on; across
    // the meridian where counts begin anew.
    for (const auto& [west, code] :
         {std::pair{11.5, 32632}, std::pair{371.5, 32632}, std::pair{179.75, 32660}}) {
        SCOPED_TRACE(west);
        Sketch dem(301, 201, {west, 0.001, 0, 60.4, 0, -0.001}, GDT_Float32);
        dem.system = "EPSG:4326";
        const auto height = [west = west](double lon, double lat) {
            return 1000 + std::fmod(lon - west + 720, 360) * 4000 + (60.4 - lat) * 7000;
        };
        dem.Band(height);
        const std::string out = (folder / "out.sim").string();
        BuildWell({"--overwrite", "--dem", dem.Save(folder / "dem.tif"), out});
        const Stored stored = ReadRaster(out, "dem");
        EXPECT_EQ(stored.system.EpsgCode(), code);
        EXPECT_FALSE(stored.header.hasNull) << "the border is ragged";
        EXPECT_LE(stored.place.xColumn / -stored.place.yRow, 1.4143);
        EXPECT_GE(stored.place.xColumn / -stored.place.yRow, 0.7071);
        // Pixels of 55 x 111 m: never more than a tenth coarser.
        EXPECT_LE(-stored.place.xColumn * stored.place.yRow, 55.1 * 111.5 * 1.21);
        const auto toGlobe = Conversion("EPSG:" + std::to_string(code), "EPSG:4326");
        for (int row = 0; row < stored.header.rows; row += 7) {
            for (int column = 0; column < stored.header.columns; column += 7) {
                double lon = stored.X(column + 0.5), lat = stored.Y(row + 0.5);
                toGlobe->Transform(1, &lon, &lat);
                ASSERT_NEAR(stored.Height(column, row), height(lon, lat), 0.6)
                    << column << " " << row;
            }
        }
    }
}

TEST(Build, SmallDemsGetAsManySamplesAsTheTerrainNeeds) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    for (const auto& [columns, rows] : {std::pair{129, 5}, std::pair{4, 600}, std::pair{4, 4}}) {
        Sketch dem(columns, rows, {600000, 30, 0, 6000000, 0, -30});
        BuildWell({"--overwrite", "-q", "--dem", dem.Even({100}).Save(folder / "dem.tif"), out});
        const Stored stored = ReadRaster(out, "dem");
        EXPECT_GE(std::min(stored.header.columns, stored.header.rows), 9) << columns;
    }
}

TEST(Build, VoidsBecomeNullHeights) {
    const fs::path folder = FreshFolder();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto inHole = [](double x, double y) {
        return x > 600200 && x < 600400 && y < 5999900 && y > 5999800;
    };
    Sketch declared = SmallDem();
    declared.noData = -9999;
    declared.Band([&](double x, double y) { return inHole(x, y) ? -9999 : 250; });
    Sketch notANumber = SmallDem();
    notANumber.type = GDT_Float32;
    notANumber.Band([&](double x, double y) { return inHole(x, y) ? nan : 250; });
    for (const auto& [name, sketch] : {std::pair<std::string, Sketch>{"declared", declared},
                                       std::pair<std::string, Sketch>{"nan", notANumber}}) {
        const std::string out = (folder / (name + ".sim")).string();
        BuildWell({"--dem", sketch.Save(folder / (name + ".tif")), out});
        const Stored stored = ReadRaster(out, name);
        EXPECT_TRUE(stored.header.hasNull) << name;
        EXPECT_EQ(stored.header.nullValue, kNull) << name;
        for (int row = 0; row < 33; ++row) {
            for (int column = 0; column < 65; ++column) {
                const bool hole = inHole(stored.X(column + 0.5), stored.Y(row + 0.5));
                ASSERT_EQ(stored.Height(column, row), hole ? kNull : 250)
                    << name << column << " " << row;
            }
        }
        BuildWell(
            {"--overwrite", "--fill-voids", "--dem", (folder / (name + ".tif")).string(), out});
        const Stored filled = ReadRaster(out, name);
        EXPECT_FALSE(filled.header.hasNull) << name;
        EXPECT_EQ(filled.Height(15, 7), 250) << name;
    }
}

TEST(Build, ImageryWithoutDataIsMasked) {
    const fs::path folder = FreshFolder();
    const std::string dem = SmallDem().Even({100}).Save(folder / "dem.tif");
    const auto inHole = [](double x, double y) {
        return x > 600100 && x < 600300 && y < 5999900 && y > 5999700;
    };

    Sketch alpha(256, 128, {600000, 5, 0, 6000000, 0, -5}, GDT_Byte);
    alpha.lastIsAlpha = true;
    alpha.Even({120, 120, 120}).Band([&](double x, double y) { return inHole(x, y) ? 0 : 255; });
    Sketch noData(256, 128, {600000, 5, 0, 6000000, 0, -5}, GDT_Byte);
    noData.noData = 0;
    const auto blackHole = [&](double x, double y) { return inHole(x, y) ? 0 : 120; };
    // A single dark channel isn't a pixel without data.
    noData.Band(blackHole).Band(blackHole).Band(
        [&](double x, double y) { return inHole(x, y) || x > 601000 ? 0 : 120; });
    Sketch part(64, 64, {600320, 5, 0, 5999840, 0, -5}, GDT_Byte);
    part.Even({120, 120, 120});
    using Covered = std::function<bool(double, double)>;
    const Covered outside = [&](double x, double y) { return !inHole(x, y); };
    const Covered onPart = [](double x, double y) {
        return x > 600320 && x < 600640 && y < 5999840 && y > 5999520;
    };
    for (const auto& [name, sketch, hasData] :
         {std::tuple<std::string, Sketch, Covered>{"alpha", alpha, outside},
          {"nodata", noData, outside},
          {"part", part, onPart}}) {
        const std::string out = (folder / (name + ".sim")).string();
        BuildWell({"--dem", dem, "--texture", sketch.Save(folder / (name + ".tif")), out});
        const Stored stored = ReadRaster(out, name);
        ASSERT_EQ(stored.header.columns, 256) << name;
        ASSERT_FALSE(stored.mask.empty()) << name;
        for (int row = 0; row < 128; ++row) {
            for (int column = 0; column < 256; ++column) {
                const bool wanted = hasData(stored.X(column + 0.5), stored.Y(row + 0.5));
                ASSERT_EQ(stored.HasData(column, row), wanted)
                    << name << " " << column << " " << row;
                if (wanted) {
                    ASSERT_NEAR(stored.Color(column, row, 0), 120, 6) << name;
                }
            }
        }
        SimulatorFile landscape;
        EXPECT_TRUE(landscape.Read(out).Good()) << name;
    }
}

TEST(Build, ElevationsInFeetBecomeMetres) {
    const fs::path folder = FreshFolder();
    const struct {
        const char* declared;
        std::vector<std::string> options;
        int metres;  // of 3000 units
    } cases[] = {
        {"", {}, 3000},
        {"m", {}, 3000},
        {"ft", {}, 914},
        {"Feet", {}, 914},
        {"US survey foot", {}, 914},
        {"ft", {"--vertical-unit", "m"}, 3000},
        {"", {"--vertical-unit", "ft"}, 914},
        {"m", {"--vertical-unit", "us-ft"}, 914},
    };
    for (const auto& c : cases) {
        Sketch dem = SmallDem();
        dem.unit = c.declared;
        dem.Even({3000});
        const std::string out = (folder / "out.sim").string();
        std::vector<std::string> arguments{"--overwrite", "-q", "--dem",
                                           dem.Save(folder / "dem.tif"), out};
        arguments.insert(arguments.begin(), c.options.begin(), c.options.end());
        BuildWell(arguments);
        EXPECT_EQ(ReadRaster(out, "dem").Height(10, 10), c.metres) << c.declared;
    }
}

TEST(Build, HeightsBeyondSixteenBitsAreHeldAndToldOf) {
    const fs::path folder = FreshFolder();
    Sketch dem = SmallDem();
    dem.type = GDT_Int32;
    dem.Band([](double x, double) { return x > 601000 ? 500000 : 12; });
    const std::string out = (folder / "out.sim").string();
    const Outcome outcome = Build({"-q", "--dem", dem.Save(folder / "dem.tif"), out});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.err.find("warning"), std::string::npos) << outcome.err;
    const Stored stored = ReadRaster(out, "dem");
    EXPECT_EQ(stored.Height(64, 3), 32767);
    EXPECT_EQ(stored.Height(3, 3), 12);
}

TEST(Build, AreaCellAndSizeAreAsAskedFor) {
    const fs::path folder = FreshFolder();
    // 111 x 90 cells of 30 m; heights are eastings.
    Sketch dem(111, 90, {600000, 30, 0, 6000000, 0, -30});
    dem.Band([](double x, double) { return x - 600000; });
    const std::string source = dem.Save(folder / "dem.tif");
    const std::string out = (folder / "out.sim").string();
    const struct {
        std::vector<std::string> options;
        int columns, rows;
        double west, north, cellWidth, cellHeight;  // of the first sample's centre
    } cases[] = {
        // All of it: 110 cells of 30 m in 128, 89 in 128.
        {{}, 129, 129, 600015, 5999985, 3300.0 / 128, 2670.0 / 128},
        {{"-te", "600100", "5998000", "602100", "5999000"}, 65, 33, 600100, 5999000, 31.25, 31.25},
        // 64 cells of 30 m around the middle of 3300 x 2670 m.
        {{"-tr", "30"}, 65, 65, 600015 + 1650 - 960, 5999985 - 1335 + 960, 30, 30},
        {{"-tr", "30", "20"}, 65, 129, 600015 + 1650 - 960, 5999985 - 1335 + 1280, 30, 20},
        {{"--size", "257"}, 257, 257, 600015, 5999985, 3300.0 / 256, 2670.0 / 256},
        {{"--size", "250"}, 257, 257, 600015, 5999985, 3300.0 / 256, 2670.0 / 256},
        {{"-t_srs", "EPSG:25832", "--te", "600500", "5998500", "600820", "5998820", "--tr", "10"},
         33,
         33,
         600500,
         5998820,
         10,
         10},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments{"--overwrite", "-q", "--dem", source};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        arguments.push_back(out);  // an option's last value stands right before it
        BuildWell(arguments);
        const Stored stored = ReadRaster(out, "dem");
        const std::string what = c.options.empty() ? "default" : testing::PrintToString(c.options);
        ASSERT_EQ(stored.header.columns, c.columns) << what;
        ASSERT_EQ(stored.header.rows, c.rows) << what;
        EXPECT_NEAR(stored.X(0.5), c.west, 1e-6) << what;
        EXPECT_NEAR(stored.Y(0.5), c.north, 1e-6) << what;
        EXPECT_NEAR(stored.place.xColumn, c.cellWidth, 1e-9) << what;
        EXPECT_NEAR(-stored.place.yRow, c.cellHeight, 1e-9) << what;
        for (const int column : {0, 20, c.columns - 1}) {
            EXPECT_NEAR(stored.Height(column, c.rows / 2), stored.X(column + 0.5) - 600000, 0.51)
                << what;
        }
        SimulatorFile landscape;
        EXPECT_TRUE(landscape.Read(out).Good()) << what;
    }
}

TEST(Build, BandsStretchAndPalette) {
    const fs::path folder = FreshFolder();
    const std::string dem = SmallDem().Even({100}).Save(folder / "dem.tif");
    const std::array<double, 6> place{600000, 5, 0, 6000000, 0, -5};
    Sketch six(256, 128, place, GDT_Byte);
    six.Even({10, 60, 110, 160, 210, 250});
    const std::string sixBands = six.Save(folder / "six.tif");
    Sketch deep(256, 128, place, GDT_UInt16);
    deep.Band([](double x, double) { return 1000 + (x - 600000) * 10; });
    const std::string deepBand = deep.Save(folder / "deep.tif");
    const std::string out = (folder / "out.sim").string();
    const auto expect = [&](const std::vector<std::string>& options, const std::string& name,
                            std::array<int, 3> rgb) {
        std::vector<std::string> arguments{"--overwrite", "-q",    "--quality",
                                           "lossless",    "--dem", dem};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back(out);
        BuildWell(arguments);
        const Stored stored = ReadRaster(out, name);
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(stored.Color(128, 64, channel), rgb[static_cast<std::size_t>(channel)], 1)
                << testing::PrintToString(options) << channel;
        }
    };
    expect({"--texture", sixBands}, "six", {10, 60, 110});
    expect({"--texture", sixBands, "-b", "5", "-b", "4", "-b", "2"}, "six", {210, 160, 60});
    expect({"--texture", sixBands, "-b", "6"}, "six", {250, 250, 250});
    // The middle of 2 to 98 percent.
    expect({"--texture", deepBand}, "deep", {128, 128, 128});

    GDALDriverManager* drivers = GetGDALDriverManager();
    const std::string palette = (folder / "palette.png").string();
    {
        std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
            drivers->GetDriverByName("MEM")->Create("", 256, 128, 1, GDT_Byte, nullptr), GDALClose);
        GDALDataset* dataset = file.get();
        std::array<double, 6> six2 = place;
        dataset->SetGeoTransform(six2.data());
        OGRSpatialReference crs;
        crs.importFromEPSG(25832);
        dataset->SetSpatialRef(&crs);
        GDALColorTable colors;
        const GDALColorEntry entry{200, 30, 90, 255}, glass{10, 20, 30, 0};
        colors.SetColorEntry(7, &entry);
        colors.SetColorEntry(3, &glass);
        colors.SetColorEntry(4, &glass);
        dataset->GetRasterBand(1)->SetColorTable(&colors);
        dataset->GetRasterBand(1)->Fill(7);
        std::array<std::uint8_t, 64> seenThrough;
        seenThrough.fill(3);
        ASSERT_EQ(dataset->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, 8, 8, seenThrough.data(), 8,
                                                      8, GDT_Byte, 0, 0, nullptr),
                  CE_None);
        GDALClose(drivers->GetDriverByName("PNG")->CreateCopy(palette.c_str(), dataset, 0, nullptr,
                                                              nullptr, nullptr));
    }
    expect({"--texture", palette}, "palette", {200, 30, 90});
    const Stored stored = ReadRaster(out, "palette");
    EXPECT_TRUE(stored.HasData(8, 8));
    EXPECT_FALSE(stored.HasData(7, 7)) << "entries of the palette may be seen through";
}

TEST(Build, EachTextureBelongsToTheDemBeforeIt) {
    const fs::path folder = FreshFolder();
    Sketch far = Sketch(33, 33, {700000 - 10, 20, 0, 6000000 + 10, 0, -20});
    const std::string first = SmallDem().Even({10}).Save(folder / "terrain.tif");
    fs::create_directories(folder / "b");
    const std::string second = far.Even({20}).Save(folder / "b" / "terrain.tif");
    const auto picture = [&](const char* name, double west, int columns) {
        return Sketch(columns, 128, {west, 5, 0, 6000000, 0, -5}, GDT_Byte)
            .Even({9})
            .Save(folder / name);
    };
    const std::string out = (folder / "out.sim").string();
    BuildWell({"--dem", first, "--texture", picture("summer.tif", 600000, 256), "--texture",
               picture("winter.tif", 600000, 256), "--dem", second, "--texture",
               picture("far.tif", 700000, 128), out});
    SimulatorFile landscape;
    ASSERT_TRUE(landscape.Read(out).Good());
    std::vector<std::vector<std::string>> found;
    for (const SimTerrainEntry& entry : landscape.Terrains()) {
        found.push_back({entry.dem.header.name});
        for (const ZPFObjectItem& texture : entry.textures)
            found.back().push_back(texture.header.name);
    }
    EXPECT_EQ(found, (std::vector<std::vector<std::string>>{{"terrain", "summer", "winter"},
                                                            {"terrain_2", "far"}}));
}

}  // namespace
}  // namespace tarnvale::test

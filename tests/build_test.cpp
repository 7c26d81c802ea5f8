#include <gdal_priv.h>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "landscape/simfile.h"
#include "toolrun.h"
#include "zpf/zpfraster.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;
constexpr std::int16_t kNull = -32768;

/// A raster to be built from, band by band, row by row.
struct Sketch {
    int columns = 0, rows = 0;
    std::array<double, 6> place{};
    std::string system = "EPSG:25832";
    GDALDataType type = GDT_Int16;
    std::vector<std::vector<double>> bands;
    std::optional<double> noData;
    std::string unit;
    bool lastIsAlpha = false;

    Sketch(int c, int r, std::array<double, 6> p) : columns(c), rows(r), place(p) {}

    /// Adds a band whose value at each pixel's centre is a function of the map's x and y.
    template <typename Function>
    Sketch& Band(Function value) {
        std::vector<double> band;
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                band.push_back(
                    value(place[0] + (column + 0.5) * place[1], place[3] + (row + 0.5) * place[5]));
            }
        }
        bands.push_back(std::move(band));
        return *this;
    }

    std::string Save(const fs::path& path) const {
        GDALAllRegister();
        GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
        std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
            driver->Create(path.c_str(), columns, rows, static_cast<int>(bands.size()), type,
                           nullptr),
            GDALClose);
        GDALDataset* dataset = file.get();
        std::array<double, 6> six = place;
        EXPECT_EQ(dataset->SetGeoTransform(six.data()), CE_None);
        if (!system.empty()) {
            OGRSpatialReference crs;
            EXPECT_EQ(crs.SetFromUserInput(system.c_str()), OGRERR_NONE);
            dataset->SetSpatialRef(&crs);
        }
        for (std::size_t i = 0; i < bands.size(); ++i) {
            GDALRasterBand* band = dataset->GetRasterBand(static_cast<int>(i) + 1);
            if (noData) band->SetNoDataValue(*noData);
            if (!unit.empty()) band->SetUnitType(unit.c_str());
            if (lastIsAlpha && i + 1 == bands.size()) band->SetColorInterpretation(GCI_AlphaBand);
            std::vector<double> values = bands[i];
            EXPECT_EQ(band->RasterIO(GF_Write, 0, 0, columns, rows, values.data(), columns, rows,
                                     GDT_Float64, 0, 0, nullptr),
                      CE_None);
        }
        return path.string();
    }
};

/// A raster of a landscape, read back whole.
struct Stored {
    ZPF::RasterHeader header;
    GeoTransform place;
    COORDREFSYS system;
    std::vector<ZPF::PyramidLevel> levels;
    std::vector<std::byte> bytes;
    std::vector<std::byte> mask;  // a byte for each pixel; empty if there is no mask

    [[nodiscard]] std::size_t At(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(header.columns) +
               static_cast<std::size_t>(column);
    }
    [[nodiscard]] std::int16_t Height(int column, int row) const {
        std::int16_t height = 0;
        std::memcpy(&height, &bytes[At(column, row) * 2], 2);
        return height;
    }
    [[nodiscard]] int Color(int column, int row, int channel) const {
        return std::to_integer<int>(bytes[At(column, row) * 3 + static_cast<std::size_t>(channel)]);
    }
    [[nodiscard]] bool HasData(int column, int row) const {
        return mask.empty() || mask[At(column, row)] != std::byte{0};
    }
    [[nodiscard]] double X(double column) const { return place.xOrigin + column * place.xColumn; }
    [[nodiscard]] double Y(double row) const { return place.yOrigin + row * place.yRow; }
};

std::vector<std::byte> ReadCells(ZPF::RASTERHANDLE& raster) {
    const ZPF::RasterHeader& header = raster.Header();
    std::vector<std::byte> cells(static_cast<std::size_t>(header.columns) *
                                 static_cast<std::size_t>(header.rows) *
                                 static_cast<std::size_t>(ZPF::BytesOf(header.type)));
    const Status read =
        raster.ReadBlock(0, 0, header.columns, header.rows, cells, ZPF::LineForm::Raw);
    EXPECT_TRUE(read.Good()) << GetErrString(read);
    return cells;
}

Stored ReadRaster(const fs::path& path, const std::string& name, int level = 0) {
    Stored stored;
    ZPF::FILEHANDLE file;
    const Status opened = file.Open(path, ZPF::OpenMode::Read);
    EXPECT_TRUE(opened.Good()) << GetErrString(opened);
    int number = file.FindObject(kRootObject, ObjectType::Raster, name);
    ZPF::RASTERHANDLE raster;
    EXPECT_TRUE(raster.Open(file, number).Good()) << name;
    if (!raster.IsOpen()) return stored;
    EXPECT_TRUE(raster.GetPyramidList(stored.levels).Good());
    if (level > 0) {
        number = stored.levels.at(static_cast<std::size_t>(level) - 1).object;
        EXPECT_TRUE(raster.Open(file, number).Good());
    }
    stored.header = raster.Header();
    EXPECT_TRUE(raster.GetGeoreference(stored.place, stored.system).Good() || level > 0);
    stored.bytes = ReadCells(raster);
    if (const int maskNumber = raster.FindMask(); maskNumber != kNoObject) {
        ZPF::RASTERHANDLE mask;
        EXPECT_TRUE(mask.Open(file, maskNumber).Good());
        stored.mask = ReadCells(mask);
    }
    return stored;
}

Outcome Build(const std::vector<std::string>& arguments, const RunOptions& options = {}) {
    return RunTool("tarnvale-build", arguments, options);
}

void BuildWell(const std::vector<std::string>& arguments) {
    const Outcome outcome = Build(arguments);
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.err << outcome.out;
    ASSERT_EQ(outcome.err, "");
}

/// Values in 0 to 255 that tell where on the map a pixel lies.
double RampX(double x, double y) {
    return 20 + (x - 600000) * 0.08 + (6000000 - y) * 0.02;
}
double RampY(double x, double y) {
    return 230 - (6000000 - y) * 0.09 + (x - 600000) * 0.01;
}

/// A DEM that fits: 65 x 33 samples, 20 m apart, the first one at 600000, 6000000.
Sketch SmallDem() {
    return Sketch(65, 33, {600000 - 10, 20, 0, 6000000 + 10, 0, -20});
}

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
    const std::string dem =
        SmallDem().Band([](double, double) { return 100; }).Save(folder / "dem.tif");
    // Noise shows each shift by a pixel. The image begins at the first sample's centre, 16 pixels a
    // cell.
    std::mt19937 random(2);
    Sketch image(1024, 512, {600000, 1.25, 0, 6000000, 0, -1.25});
    image.type = GDT_Byte;
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
    const std::string dem =
        SmallDem().Band([](double, double) { return 100; }).Save(folder / "dem.tif");

    Sketch shifted(500, 300, {599950.3, 2.9, 0, 6000061.7, 0, -2.7});
    shifted.type = GDT_Byte;
    shifted.Band(RampX).Band(RampY).Band([](double, double) { return 77; });
    // South up, and mirrored.
    Sketch turned(500, 300, {599950.3 + 500 * 2.9, -2.9, 0, 6000061.7 - 300 * 2.7, 0, 2.7});
    turned.type = GDT_Byte;
    turned.Band(RampX).Band(RampY).Band([](double, double) { return 77; });
    // The same land in degrees.
    OGRSpatialReference globe, grid;
    globe.importFromEPSG(4258);
    grid.importFromEPSG(25832);
    globe.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    grid.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const std::unique_ptr<OGRCoordinateTransformation> toGrid(
        OGRCreateCoordinateTransformation(&globe, &grid));
    const std::unique_ptr<OGRCoordinateTransformation> toGlobe(
        OGRCreateCoordinateTransformation(&grid, &globe));
    double west = 599900, north = 6000100, east = 601400, south = 5999200;
    toGlobe->Transform(1, &west, &north);
    toGlobe->Transform(1, &east, &south);
    Sketch degrees(540, 330, {west, (east - west) / 540, 0, north, 0, (south - north) / 330});
    degrees.system = "EPSG:4258";
    degrees.type = GDT_Byte;
    const auto onGrid = [&](double (*ramp)(double, double)) {
        return [&, ramp](double x, double y) {
            toGrid->Transform(1, &x, &y);
            return ramp(x, y);
        };
    };
    degrees.Band(onGrid(RampX)).Band(onGrid(RampY)).Band([](double, double) { return 77; });

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
    // Close to the zone's border, where a warped tile is ragged most.
    Sketch dem(301, 201, {11.5, 0.001, 0, 60.4, 0, -0.001});
    dem.system = "EPSG:4326";
    dem.type = GDT_Float32;
    const auto height = [](double lon, double lat) {
        return 1000 + (lon - 11.5) * 4000 + (60.4 - lat) * 7000;
    };
    dem.Band(height);
    const std::string out = (folder / "out.sim").string();
    BuildWell({"--dem", dem.Save(folder / "dem.tif"), out});
    const Stored stored = ReadRaster(out, "dem");
    EXPECT_EQ(stored.system.EpsgCode(), 32632);
    EXPECT_FALSE(stored.header.hasNull) << "the border is ragged";
    EXPECT_LE(stored.place.xColumn / -stored.place.yRow, 1.4143);
    EXPECT_GE(stored.place.xColumn / -stored.place.yRow, 0.7071);
    // Pixels of 55 x 111 m: never more than a tenth coarser.
    EXPECT_LE(-stored.place.xColumn * stored.place.yRow, 55.1 * 111.5 * 1.21);
    OGRSpatialReference globe, grid;
    globe.importFromEPSG(4326);
    grid.importFromEPSG(32632);
    globe.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    grid.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const std::unique_ptr<OGRCoordinateTransformation> toGlobe(
        OGRCreateCoordinateTransformation(&grid, &globe));
    for (int row = 0; row < stored.header.rows; row += 7) {
        for (int column = 0; column < stored.header.columns; column += 7) {
            double lon = stored.X(column + 0.5), lat = stored.Y(row + 0.5);
            toGlobe->Transform(1, &lon, &lat);
            ASSERT_NEAR(stored.Height(column, row), height(lon, lat), 0.6) << column << " " << row;
        }
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
    const std::string dem =
        SmallDem().Band([](double, double) { return 100; }).Save(folder / "dem.tif");
    const auto inHole = [](double x, double y) {
        return x > 600100 && x < 600300 && y < 5999900 && y > 5999700;
    };
    const auto grey = [](double, double) { return 120; };

    Sketch alpha(256, 128, {600000, 5, 0, 6000000, 0, -5});
    alpha.type = GDT_Byte;
    alpha.lastIsAlpha = true;
    alpha.Band(grey).Band(grey).Band(grey).Band(
        [&](double x, double y) { return inHole(x, y) ? 0 : 255; });
    Sketch noData(256, 128, {600000, 5, 0, 6000000, 0, -5});
    noData.type = GDT_Byte;
    noData.noData = 0;
    const auto blackHole = [&](double x, double y) { return inHole(x, y) ? 0 : 120; };
    // A single dark channel isn't a pixel without data.
    noData.Band(blackHole).Band(blackHole).Band(
        [&](double x, double y) { return inHole(x, y) || x > 601000 ? 0 : 120; });
    Sketch part(64, 64, {600320, 5, 0, 5999840, 0, -5});
    part.type = GDT_Byte;
    part.Band(grey).Band(grey).Band(grey);
    const auto onPart = [](double x, double y) {
        return x > 600320 && x < 600640 && y < 5999840 && y > 5999520;
    };

    const std::function<bool(double, double)> outside = [&](double x, double y) {
        return !inHole(x, y);
    };
    const std::function<bool(double, double)> inside = onPart;
    for (const auto& [name, sketch, hasData] :
         {std::tuple<std::string, Sketch, std::function<bool(double, double)>>{"alpha", alpha,
                                                                               outside},
          {"nodata", noData, outside},
          {"part", part, inside}}) {
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
        dem.Band([](double, double) { return 3000; });
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
        std::vector<std::string> arguments{"--overwrite", "-q"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        arguments.insert(arguments.end(), {"--dem", source, out});
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
    const std::string dem =
        SmallDem().Band([](double, double) { return 100; }).Save(folder / "dem.tif");
    const auto constant = [](double value) { return [value](double, double) { return value; }; };
    const std::array<double, 6> place{600000, 5, 0, 6000000, 0, -5};
    Sketch six(256, 128, place);
    six.type = GDT_Byte;
    for (const double value : {10.0, 60.0, 110.0, 160.0, 210.0, 250.0}) six.Band(constant(value));
    const std::string sixBands = six.Save(folder / "six.tif");
    Sketch deep(256, 128, place);
    deep.type = GDT_UInt16;
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

    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    Sketch index(256, 128, place);
    index.type = GDT_Byte;
    const std::string palette = index.Band(constant(7)).Save(folder / "palette.tif");
    {
        std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
            driver->Create(palette.c_str(), 256, 128, 1, GDT_Byte, nullptr), GDALClose);
        GDALDataset* dataset = file.get();
        std::array<double, 6> six2 = place;
        dataset->SetGeoTransform(six2.data());
        OGRSpatialReference crs;
        crs.importFromEPSG(25832);
        dataset->SetSpatialRef(&crs);
        GDALColorTable colors;
        const GDALColorEntry entry{200, 30, 90, 255};
        colors.SetColorEntry(7, &entry);
        dataset->GetRasterBand(1)->SetColorTable(&colors);
        dataset->GetRasterBand(1)->Fill(7);
    }
    expect({"--texture", palette}, "palette", {200, 30, 90});
}

TEST(Build, EachTextureBelongsToTheDemBeforeIt) {
    const fs::path folder = FreshFolder();
    Sketch far = Sketch(33, 33, {700000 - 10, 20, 0, 6000000 + 10, 0, -20});
    const std::string first =
        SmallDem().Band([](double, double) { return 10; }).Save(folder / "terrain.tif");
    fs::create_directories(folder / "b");
    const std::string second =
        far.Band([](double, double) { return 20; }).Save(folder / "b" / "terrain.tif");
    const auto picture = [&](const char* name, double west, int columns) {
        Sketch image(columns, 128, {west, 5, 0, 6000000, 0, -5});
        image.type = GDT_Byte;
        image.Band([](double, double) { return 9; });
        return image.Save(folder / name);
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

TEST(Build, WhatIsWrongIsToldInOneLineAndNothingIsLeft) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::string dem =
        SmallDem().Band([](double, double) { return 10; }).Save(folder / "dem.tif");
    Sketch bare = SmallDem();
    bare.system.clear();
    const std::string noSystem =
        bare.Band([](double, double) { return 10; }).Save(folder / "bare.tif");
    Sketch globe(36, 18, {-180, 10, 0, 90, 0, -10});
    globe.system = "EPSG:4326";
    const std::string wide =
        globe.Band([](double, double) { return 10; }).Save(folder / "globe.tif");
    Sketch away(64, 64, {900000, 5, 0, 6000000, 0, -5});
    away.type = GDT_Byte;
    const std::string elsewhere =
        away.Band([](double, double) { return 10; }).Save(folder / "away.tif");
    std::ofstream(folder / "text.tif") << "no raster at all";
    std::ofstream(folder / "old.sim") << "old";
    const std::string text = (folder / "text.tif").string(), out = (outputs / "out.sim").string();
    const struct {
        const char* what;
        std::vector<std::string> arguments;
        const char* told;
    } cases[] = {
        {"no such file", {"--dem", (folder / "none.tif").string(), out}, "no such file"},
        {"not a raster", {"--dem", text, out}, "text.tif"},
        {"a folder", {"--dem", folder.string(), out}, "folder"},
        {"no CRS", {"--dem", noSystem, out}, "-a_srs"},
        {"no CRS of the image", {"--dem", dem, "--texture", noSystem, out}, "-a_srs"},
        {"no overlap", {"--dem", dem, "--texture", elsewhere, out}, "overlap"},
        {"no such band", {"--dem", dem, "--texture", dem, "-b", "4", out}, "band 4"},
        {"two bands", {"--dem", dem, "--texture", dem, "-b", "1", "-b", "1", out}, "-b"},
        {"CRS unknown", {"-t_srs", "EPSG:1", "--dem", dem, out}, "EPSG:1"},
        {"CRS in degrees", {"-t_srs", "EPSG:4326", "--dem", dem, out}, "metres"},
        {"area elsewhere", {"-te", "0", "0", "1000", "1000", "--dem", dem, out}, "-te"},
        {"area turned round",
         {"-te", "601000", "5999500", "600000", "5999900", "--dem", dem, out},
         "-te"},
        {"too wide for a zone", {"--dem", wide, out}, "-t_srs"},
        {"texture first", {"--texture", dem, "--dem", dem, out}, "before"},
        {"nothing to do", {out}, "--dem"},
        {"no output", {"--dem", dem}, "OUT.sim"},
        {"bad quality", {"--quality", "101", "--dem", dem, out}, "--quality"},
        {"file exists", {"--dem", dem, (folder / "old.sim").string()}, "--overwrite"},
        {"no such folder", {"--dem", dem, (outputs / "none" / "out.sim").string()}, "none"},
        {"no folder but a file", {"--dem", dem, text + "/out.sim"}, "out.sim"},
        {"demo of a wrong size", {"--demo", "--size", "1000", out}, "1000"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Build(c.arguments);
        EXPECT_EQ(outcome.exitStatus, 1) << c.what;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << c.what << "\n"
                                                                               << outcome.err;
        EXPECT_EQ(outcome.err.rfind("tarnvale-build: ", 0), 0U) << c.what << "\n" << outcome.err;
        EXPECT_NE(outcome.err.find(c.told), std::string::npos) << c.what << "\n" << outcome.err;
        EXPECT_EQ(FilesIn(outputs), std::vector<std::string>{}) << c.what;
    }
    EXPECT_EQ(FilesIn(folder),
              (std::vector<std::string>{"away.tif", "bare.tif", "dem.tif", "globe.tif", "old.sim",
                                        "outputs", "text.tif"}));
    // What was missing is all that was wrong.
    BuildWell({"-q", "-a_srs", "EPSG:25832", "--dem", noSystem, out});
    EXPECT_EQ(ReadRaster(out, "bare").system.EpsgCode(), 25832);
}

/// A build whose painting takes as long as the texture is large.
std::vector<std::string> LongBuild(const fs::path& folder, const std::string& side,
                                   const std::string& out) {
    return {
        "-q",
        "--overwrite",
        "--size",
        "1025",
        "--texture-size",
        side,
        "--dem",
        SmallDem().Band([](double x, double) { return (x - 600000) / 7; }).Save(folder / "dem.tif"),
        out};
}

TEST(Build, AnInterruptLeavesTheOldFileAndNothingElse) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::string out = (outputs / "out.sim").string();
    const std::vector<std::string> arguments = LongBuild(folder, "32768", out);
    for (const bool hasOld : {false, true}) {
        if (hasOld) std::ofstream(out) << "old";
        RunOptions options;
        int polls = 0;  // 5 ms each, once the work has begun
        options.interruptWhen = [&] {
            const std::vector<std::string> files = FilesIn(outputs);
            polls += files.size() > (hasOld ? 1U : 0U) ? 1 : 0;
            return polls > 60;
        };
        const Outcome outcome = Build(arguments, options);
        EXPECT_EQ(outcome.exitStatus, 130);
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(FilesIn(outputs),
                  hasOld ? std::vector<std::string>{"out.sim"} : std::vector<std::string>{});
    }
    std::string old;
    std::ifstream(out) >> old;
    EXPECT_EQ(old, "old");
}

TEST(Build, AFullDiscIsToldAndLeavesNothing) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::vector<std::string> arguments =
        LongBuild(folder, "4096", (outputs / "out.sim").string());
    RunOptions options;
    options.largestFile = 400000;
    const Outcome outcome = Build(arguments, options);
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.err.rfind("tarnvale-build: ", 0), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(FilesIn(outputs), std::vector<std::string>{});
}

TEST(Build, TheDemoIsTheSameForTheSameSeed) {
    const fs::path folder = FreshFolder();
    std::vector<std::vector<std::byte>> heights, pictures;
    for (const char* name : {"one.sim", "two.sim"}) {
        const std::string out = (folder / name).string();
        BuildWell({"-q", "--demo", "--size", "129", "--texture-size", "512", "--seed", "5", out});
        heights.push_back(ReadRaster(out, "demo").bytes);
        pictures.push_back(ReadRaster(out, "demo_texture").bytes);
        SimulatorFile landscape;
        EXPECT_TRUE(landscape.Read(out).Good());
    }
    EXPECT_EQ(heights[0].size(), 129U * 129 * 2);
    EXPECT_EQ(pictures[0].size(), 512U * 512 * 3);
    EXPECT_TRUE(heights[0] == heights[1]);
    EXPECT_TRUE(pictures[0] == pictures[1]);
}

nlohmann::json Info(const std::string& path) {
    const Outcome outcome = RunTool("tarnvale-info", {"--json", path});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    return nlohmann::json::parse(outcome.out, nullptr, false);
}

TEST(Info, TellsExtentTreeAndFits) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    BuildWell({"-q", "--texture-size", "1024", "--dem",
               SmallDem()
                   .Band([](double x, double) { return (x - 600000) / 10; })
                   .Save(folder / "dem.tif"),
               out});
    const nlohmann::json info = Info(out);
    ASSERT_TRUE(info.is_object());
    EXPECT_EQ(info["valid"], true);
    const nlohmann::json expected{{"xmin", 600000.0},  {"xmax", 601280.0}, {"ymin", 5999360.0},
                                  {"ymax", 6000000.0}, {"zmin", 0.0},      {"zmax", 128.0}};
    for (const auto& [key, value] : expected.items()) {
        EXPECT_NEAR(info["extent"][key].get<double>(), value.get<double>(), 1e-6) << key;
    }
    EXPECT_EQ(info["crs"]["epsg"], 25832);
    ASSERT_EQ(info["objects"].size(), 2U);
    EXPECT_EQ(info["objects"][1]["raster"]["columns"], 1024);
    EXPECT_EQ(info["objects"][1]["raster"]["pyramid"][0]["factor"], 2);
    ASSERT_EQ(info["fits"].size(), 1U);
    EXPECT_EQ(info["fits"][0]["fits"], true);

    const Outcome text = RunTool("tarnvale-info", {out});
    EXPECT_EQ(text.exitStatus, 0) << text.err;
    EXPECT_NE(text.out.find("\"dem_map\" is a texture of \"dem\""), std::string::npos) << text.out;
}

TEST(Info, RefusesWhatIsNoLandscapeInOneLine) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    const std::string dem =
        SmallDem().Band([](double, double) { return 10; }).Save(folder / "dem.tif");
    BuildWell({"-q", "--dem", dem, out});
    std::ifstream in(out, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    std::ofstream(folder / "half.sim", std::ios::binary) << whole.substr(0, whole.size() / 2);
    std::ofstream(folder / "empty.sim", std::ios::binary) << "";
    std::string flipped = whole;
    for (std::size_t i = 100; i < flipped.size(); i += 97)
        flipped[i] = static_cast<char>(~flipped[i]);
    std::ofstream(folder / "flipped.sim", std::ios::binary) << flipped;
    for (const std::string name :
         {"none.sim", "half.sim", "empty.sim", "flipped.sim", "dem.tif", "."}) {
        const Outcome outcome = RunTool("tarnvale-info", {(folder / name).string()});
        EXPECT_EQ(outcome.exitStatus, 1) << name;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << name << "\n"
                                                                               << outcome.err;
        EXPECT_EQ(outcome.err.rfind("tarnvale-info: ", 0), 0U) << name << "\n" << outcome.err;
    }
}

/// Three data sets of the world, where they are at hand.
class RealInput : public testing::Test {
protected:
    void SetUp() override {
        const char* named = std::getenv("TARNVALE_TEST_DATA");
        data_ = named != nullptr ? named : TARNVALE_TEST_DATA;
        if (!fs::exists(data_ / "mt_rainier_90m.tif")) GTEST_SKIP() << "no real input in " << data_;
        GDALAllRegister();
        folder_ = FreshFolder();
        out_ = (folder_ / "out.sim").string();
    }

    /// Stored heights against the source's nearest pixel.
    void CompareHeights(const std::string& source, const std::string& name, double tolerance) {
        const Stored stored = ReadRaster(out_, name);
        std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
            GDALDataset::FromHandle(GDALOpen((data_ / source).c_str(), GA_ReadOnly)), GDALClose);
        GDALDataset* dataset = file.get();
        ASSERT_NE(dataset, nullptr);
        OGRSpatialReference from, to = *dataset->GetSpatialRef();
        ASSERT_EQ(from.SetFromUserInput(stored.system.Wkt().c_str()), OGRERR_NONE);
        from.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        to.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        const std::unique_ptr<OGRCoordinateTransformation> convert(
            OGRCreateCoordinateTransformation(&from, &to));
        std::array<double, 6> six{};
        dataset->GetGeoTransform(six.data());
        int compared = 0, voids = 0;
        double sum = 0;
        for (int row = 0; row < stored.header.rows; row += stored.header.rows / 40) {
            for (int column = 0; column < stored.header.columns;
                 column += stored.header.columns / 40) {
                double x = stored.X(column + 0.5), y = stored.Y(row + 0.5);
                convert->Transform(1, &x, &y);
                const int px = static_cast<int>(std::floor((x - six[0]) / six[1]));
                const int py = static_cast<int>(std::floor((y - six[3]) / six[5]));
                ASSERT_TRUE(px >= 0 && py >= 0 && px < dataset->GetRasterXSize() &&
                            py < dataset->GetRasterYSize());
                float height = 0;
                ASSERT_EQ(dataset->GetRasterBand(1)->RasterIO(GF_Read, px, py, 1, 1, &height, 1, 1,
                                                              GDT_Float32, 0, 0, nullptr),
                          CE_None);
                if (stored.Height(column, row) == kNull || height == kNull) {
                    voids += (stored.Height(column, row) == kNull) != (height == kNull);
                    continue;
                }
                sum += std::abs(stored.Height(column, row) - height);
                ++compared;
            }
        }
        EXPECT_GT(compared, 1500);
        EXPECT_LT(sum / compared, tolerance);
        EXPECT_LT(voids, 10);  // at their rims the nearest pixel may be the other kind
    }

    fs::path data_, folder_;
    std::string out_;
};

TEST_F(RealInput, MountainsInDegrees) {
    BuildWell({"--dem", (data_ / "mt_rainier_90m.tif").string(), "--texture-size", "2048", out_});
    const nlohmann::json info = Info(out_);
    EXPECT_EQ(info["crs"]["epsg"], 32610);
    EXPECT_EQ(info["extent"]["zmax"], 4371);
    EXPECT_GT(info["extent"]["xmax"].get<double>() - info["extent"]["xmin"].get<double>(), 74000);
    EXPECT_GT(info["extent"]["ymax"].get<double>() - info["extent"]["ymin"].get<double>(), 109000);
    CompareHeights("mt_rainier_90m.tif", "mt_rainier_90m", 12.0);
}

TEST_F(RealInput, CoastInDegreesHasItsSea) {
    BuildWell({"--dem", (data_ / "N57E011.hgt").string(), "--texture-size", "2048", out_});
    EXPECT_EQ(Info(out_)["crs"]["epsg"], 32632);
    CompareHeights("N57E011.hgt", "N57E011", 2.0);
    // The south-west is open sea: blue over a height of 0.
    const Stored heights = ReadRaster(out_, "N57E011"), picture = ReadRaster(out_, "N57E011_map");
    const int column = picture.header.columns / 2, row = picture.header.rows * 7 / 8;
    EXPECT_EQ(heights.Height(heights.header.columns / 2, heights.header.rows * 7 / 8), 0);
    EXPECT_GT(picture.Color(column, row, 2), picture.Color(column, row, 0) + 40);
}

TEST_F(RealInput, ImageryMeetsADemWhoseCrsIsSpelledOtherwise) {
    BuildWell({"--dem", (data_ / "olinda_dem_utm25s.tif").string(), "--quality", "lossless", "-b",
               "3", "-b", "2", "-b", "1", "--texture", (data_ / "L7_ETMs.tif").string(), out_});
    CompareHeights("olinda_dem_utm25s.tif", "olinda_dem_utm25", 2.0);
    const Stored picture = ReadRaster(out_, "L7_ETMs");
    EXPECT_TRUE(picture.mask.empty()) << "the image covers the terrain";
    std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
        GDALDataset::FromHandle(GDALOpen((data_ / "L7_ETMs.tif").c_str(), GA_ReadOnly)), GDALClose);
    // The two grids have the same map coordinates, so the nearest pixel is found without
    // converting.
    std::array<double, 6> six{};
    GDALDataset* dataset = file.get();
    dataset->GetGeoTransform(six.data());
    double sum = 0, shifted = 0;
    int compared = 0;
    for (int row = 8; row < picture.header.rows - 8; row += 5) {
        for (int column = 8; column < picture.header.columns - 8; column += 5) {
            const int px =
                static_cast<int>(std::floor((picture.X(column + 0.5) - six[0]) / six[1]));
            const int py = static_cast<int>(std::floor((picture.Y(row + 0.5) - six[3]) / six[5]));
            std::array<unsigned char, 2> red{};
            ASSERT_EQ(dataset->GetRasterBand(3)->RasterIO(GF_Read, px, py, 2, 1, red.data(), 2, 1,
                                                          GDT_Byte, 0, 0, nullptr),
                      CE_None);
            sum += std::abs(picture.Color(column, row, 0) - red[0]);
            shifted += std::abs(picture.Color(column, row, 0) - red[1]);
            ++compared;
        }
    }
    EXPECT_LT(sum / compared, 5.0);
    EXPECT_GT(shifted, 1.5 * sum) << "a pixel off should be far worse";
    const nlohmann::json info = Info(out_);
    EXPECT_EQ(info["fits"][0]["fits"], true) << info["fits"].dump();
}

}  // namespace
}  // namespace tarnvale::test

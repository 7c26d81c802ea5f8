#include "landscape/simfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "base/textres.h"
#include "landscape/rootrasters.h"
#include "landscape/skypicture.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using ZPF::PROJECTWRITER;
using ZPF::RasterSpec;
using ZPF::RasterType;
using ZPF::ScratchFolder;

using ZPF::Spec;  // without a tile: nothing here looks at cells

/// Placed with its first pixel `x`, `y` metres from the first sample of the DEMs here.
RasterSpec Placed(RasterSpec spec, double x, double y, double size) {
    return ZPF::Placed(std::move(spec), {400000 + x, size, 0, 5600000 - y, 0, -size});
}

RasterSpec Dem(const char* name, int columns, int rows) {
    return Placed(Spec(name, RasterType::Signed16, columns, rows), -15, -15, 30);
}

class Landscape {
public:
    explicit Landscape(const FILEPATH& path) : path_(path) {
        EXPECT_TRUE(Good(writer_.Create(path)));
    }
    int Add(const RasterSpec& spec, int parent = kRootObject) {
        int number = kNoObject;
        EXPECT_TRUE(Good(writer_.AddRaster(parent, spec, number))) << spec.name;
        return number;
    }
    PROJECTWRITER& Writer() { return writer_; }
    Status Read(SimulatorFile& file) {
        EXPECT_TRUE(Good(writer_.Commit()));
        return file.Read(path_);
    }

private:
    FILEPATH path_;
    PROJECTWRITER writer_;
};

std::vector<std::string> Names(const QNLIST<ZPFObjectItem>& items) {
    std::vector<std::string> names;
    for (const ZPFObjectItem& item : items) names.push_back(item.header.name);
    return names;
}

using Strings = std::vector<std::string>;

TEST(SimulatorFile, FindsTerrainsWithTheTexturesThatFit) {
    const ScratchFolder folder;
    Landscape made(folder / "fits.sim");
    const auto colour = RasterType::Composite24B;
    made.Add(Dem("Small", 513, 513));
    made.Add(Dem("Wide", 1025, 513));
    RasterSpec odd = Dem("Odd", 301, 201);
    made.Add(odd);
    RasterSpec loose = Spec("Loose", RasterType::Float32, 193, 193);
    made.Add(loose);
    made.Add(Spec("Mask", RasterType::Unsigned1, 512, 512));

    made.Add(Placed(Spec("Whole", colour, 1024, 1024), 0, 0, 15));
    made.Add(Placed(Spec("Part", colour, 200, 300), 600, 900, 15));
    made.Add(Placed(Spec("Beyond", colour, 1024, 1024), 600, 900, 15));
    made.Add(Placed(Spec("Uneven", colour, 1000, 1000), 0, 0, 15.36));
    made.Add(Spec("Sizes", colour, 600, 400));     // Odd, twice as fine
    made.Add(Spec("SizesNot", colour, 600, 800));  // unlike on the two sides
    made.Add(Spec("Same", colour, 192, 192));      // Loose, as fine
    RasterSpec mapped = Placed(Spec("Mapped", RasterType::Unsigned8, 1024, 1024), 0, 0, 15);
    mapped.colorMap.assign(256, COLOR::Plain());
    made.Add(mapped);
    made.Add(Placed(Spec("Grey", RasterType::Unsigned8, 1024, 1024), 0, 0, 15));

    SimulatorFile file;
    ASSERT_TRUE(Good(made.Read(file)));
    EXPECT_TRUE(file.Valid());
    std::vector<std::pair<std::string, Strings>> found;
    for (const SimTerrainEntry& terrain : file.Terrains()) {
        found.emplace_back(terrain.dem.header.name, Names(terrain.textures));
    }
    const std::vector<std::pair<std::string, Strings>> expected{
        {"Small", {"Whole", "Part", "Mapped"}},
        // 2048 x 1024 of these pixels: all but the uneven one lie inside.
        {"Wide", {"Whole", "Part", "Mapped"}},
        {"Odd", {"Sizes"}},
        {"Loose", {"Same"}},
    };
    EXPECT_EQ(found, expected);
    EXPECT_EQ(file.Settings().header.number, kNoObject);
}

TEST(SimulatorFile, SaysWhyATextureDoesntFit) {
    const ScratchFolder folder;
    Landscape made(folder / "why.sim");
    const int dem = made.Add(Dem("Dem", 513, 513));
    const int beyond =
        made.Add(Placed(Spec("Beyond", RasterType::Composite24B, 1024, 1024), 600, 900, 15));
    const int uneven =
        made.Add(Placed(Spec("Uneven", RasterType::Composite24B, 1000, 1000), 0, 0, 15.36));
    SimulatorFile file;
    EXPECT_EQ(made.Read(file), StatusCode::NoLandscape);
    ZPF::FILEHANDLE handle;
    ASSERT_TRUE(Good(handle.Open(folder / "why.sim", ZPF::OpenMode::Read)));
    RootRasters rasters;
    ASSERT_TRUE(Good(rasters.Read(handle)));
    const auto raster = [&rasters](int number) {
        return *std::ranges::find(rasters.All(), number, &RootRaster::number);
    };
    QNSTRING why;
    bool fits = true;
    ASSERT_TRUE(Good(rasters.TextureFits(raster(dem), raster(beyond), fits, &why)));
    EXPECT_FALSE(fits);
    EXPECT_NE(why.find("-40 to 984 by -60 to 964"), QNSTRING::npos) << why;
    EXPECT_NE(why.find("beyond"), QNSTRING::npos) << why;
    ASSERT_TRUE(Good(rasters.TextureFits(raster(dem), raster(uneven), fits, &why)));
    EXPECT_FALSE(fits);
    EXPECT_NE(why.find("powers of two"), QNSTRING::npos) << why;
}

TEST(SimulatorFile, FindsSkiesAndTexts) {
    const ScratchFolder folder;
    ASSERT_EQ(setenv("TARNVALE_SKY_FILE", "none", 1), 0);
    ASSERT_EQ(setenv("TARNVALE_RESOURCES", (folder / "").c_str(), 1), 0);
    Landscape made(folder / "sky.sim");
    made.Add(Dem("Dem", 513, 513));
    made.Add(Placed(Spec("Texture", RasterType::Composite24B, 512, 512), 0, 0, 30));
    int own = kNoObject, other = kNoObject, text = kNoObject;
    ASSERT_TRUE(Good(made.Writer().AddFolder(kRootObject, "Sky", own)));
    ASSERT_TRUE(Good(made.Writer().AddFolder(kRootObject, "Skyline", other)));
    made.Add(Spec("Clouds", RasterType::Composite24B, 2048, 1024), own);
    made.Add(Spec("TooWide", RasterType::Composite24B, 2049, 1024), own);
    made.Add(Spec("NoSky", RasterType::Composite24B, 64, 64), other);
    ASSERT_TRUE(Good(made.Writer().AddText(kRootObject, "startup", "-- a script", text)));
    ASSERT_TRUE(Good(made.Writer().AddText(other, "inside", "-- another", text)));
    SimulatorFile file;
    ASSERT_TRUE(Good(made.Read(file)));
    ASSERT_EQ(file.Skies().size(), 1U);
    EXPECT_EQ(Names(file.Skies().front().rasters), Strings{"Clouds"});
    EXPECT_EQ(Names(file.Texts()), (Strings{"startup", "inside"}));
    EXPECT_EQ(file.Texts().front().file, folder / "sky.sim");

    Landscape reference(folder / "Tarnvale.sky");
    reference.Add(Spec("Stars", RasterType::Composite24B, 4096, 2048));
    reference.Add(Spec("Dawn", RasterType::Composite24B, 64, 64));
    ASSERT_TRUE(Good(reference.Writer().Commit()));
    ASSERT_EQ(unsetenv("TARNVALE_SKY_FILE"), 0);
    ASSERT_TRUE(Good(file.Read(folder / "sky.sim")));
    ASSERT_EQ(file.Skies().size(), 2U);
    EXPECT_EQ(Names(file.Skies().back().rasters), (Strings{"Stars", "Dawn"}));
    EXPECT_EQ(file.Skies().back().rasters.front().file, folder / "Tarnvale.sky");
    const std::vector<SkyChoice> listed = ListSkies(file);
    ASSERT_EQ(listed.size(), 3U);
    EXPECT_EQ(listed[0].text, "Clouds") << "one alone needs no more";
    EXPECT_EQ(listed[1].text, TEXTRES::Text("Tarnvale.sky") + " / Stars");
    EXPECT_EQ(listed[2].text, TEXTRES::Text("Tarnvale.sky") + " / Dawn");
    EXPECT_EQ(file.SkyProblem(), "");

    const struct {
        const char* what;
        std::function<void(const FILEPATH&)> make;
    } cases[] = {
        {"cut off", [](const FILEPATH& path) { std::filesystem::resize_file(path, 5000); }},
        {"no project file", [](const FILEPATH& path) { std::ofstream(path) << "sky"; }},
        {"without a sky",
         [](const FILEPATH& path) {
             std::filesystem::remove(path);
             ASSERT_TRUE(Good(Landscape(path).Writer().Commit()));
         }},
    };
    for (const auto& one : cases) {
        one.make(folder / "Tarnvale.sky");
        ASSERT_TRUE(Good(file.Read(folder / "sky.sim"))) << one.what;
        EXPECT_EQ(ListSkies(file).size(), 1U) << one.what;
        EXPECT_NE(file.SkyProblem().find((folder / "Tarnvale.sky").string()), QNSTRING::npos)
            << one.what << ": " << file.SkyProblem();
        EXPECT_NE(file.SkyProblem().find("make the file anew"), QNSTRING::npos) << one.what;
    }
    ASSERT_EQ(unsetenv("TARNVALE_RESOURCES"), 0);
}

TEST(SimulatorFile, KeepsTheOldContentWhenAFileCantBeOpened) {
    const ScratchFolder folder;
    SimulatorFile file;
    ASSERT_TRUE(Good(ZPF::WriteLandscape(folder / "good.sim")));
    ASSERT_TRUE(Good(file.Read(folder / "good.sim")));
    EXPECT_EQ(file.Read(folder / "none.sim"), StatusCode::FileNotFound);
    std::ofstream(folder / "text.sim") << "not a project file at all, but long enough to be read\n";
    EXPECT_EQ(file.Read(folder / "text.sim"), StatusCode::NotALandscape);
    EXPECT_TRUE(file.Valid());
    EXPECT_EQ(file.Terrains().size(), 1U);
    EXPECT_EQ(file.Path(), folder / "good.sim");

    Landscape bare(folder / "bare.sim");
    bare.Add(Dem("Dem", 513, 513));
    int text = kNoObject;
    ASSERT_TRUE(Good(bare.Writer().AddText(kRootObject, "about", "no texture", text)));
    EXPECT_EQ(bare.Read(file), StatusCode::NoLandscape);
    EXPECT_FALSE(file.Valid());
    EXPECT_TRUE(file.Terrains().empty());
    EXPECT_EQ(file.Texts().size(), 1U);
}

/// Reads a file that costs some ten milliseconds when all goes well, and ten seconds or more where
/// each thing in it is compared with each other one.
Status ReadSoon(const FILEPATH& path, SimulatorFile& file) {
    const std::clock_t begin = std::clock();
    const Status read = file.Read(path);
    EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 2.0);
    return read;
}

// Numbers i from 10 on, so many of them.
std::string Numbers(int count) {
    return "WITH RECURSIVE n(i) AS (VALUES (10) UNION ALL SELECT i + 1 FROM n LIMIT " +
           std::to_string(count) + ") ";
}

/// So many copies of raster 1, which is elevation, and of raster 2, a texture.
std::string CopiesOfRasters(int count) {
    const std::string columns =
        "data_type, has_null, null_value, value_scale, value_offset, minimum, maximum, factor, "
        "NULL, "
        "0, srs_id, x_origin, x_column, x_row, y_origin, y_column, y_row";
    return Numbers(count) + "INSERT INTO zpf_object SELECT i, 0, 3, 'r' || i, '', 0 FROM n;" +
           Numbers(count) + "INSERT INTO zpf_raster SELECT i, columns, rows, " + columns +
           " FROM zpf_raster, n WHERE object = 1 + i % 2";
}

TEST(SimulatorFile, WhatIsEndlessCostsNoMoreThanItsNumberOrIsRefusedInOneLine) {
    const std::string folders = "INSERT INTO zpf_object SELECT i, ";
    const struct {
        const char* what;
        std::string sql;
        StatusCode code;
        const char* said;
        std::size_t texts = 1, layers = 1;
    } cases[] = {
        {"folders side by side", Numbers(50000) + folders + "0, 2, 'f' || i, '', 0 FROM n",
         StatusCode::Ok, ""},
        {"each with a text",
         Numbers(60000) + folders +
             "iif(i % 2, i - 1, 0), iif(i % 2, 55, 2), 'f' || i, '', 0 FROM n",
         StatusCode::Ok, "", 30001},
        {"as deep as may be, with all texts at the end",
         Numbers(60000) + folders +
             "iif(i = 10, 0, min(i - 1, 40)), iif(i < 41, 2, 55), 'f' || i, '', 0 FROM n",
         StatusCode::Ok, "", 59970},
        {"each in the one before",
         Numbers(50000) + folders + "iif(i = 10, 0, i - 1), 2, 'f' || i, '', 0 FROM n",
         StatusCode::FileDamaged, "", 0, 0},
        {"all named as skies", Numbers(50000) + folders + "0, 2, 'SKY', '', 0 FROM n",
         StatusCode::Ok, ""},
        {"120 by 120 rasters that fit", CopiesOfRasters(240), StatusCode::Ok, "", 1, 121},
        {"more pairs", CopiesOfRasters(300), StatusCode::FileRefused, "more than 16384 pairs"},
        {"more rasters", CopiesOfRasters(60000), StatusCode::FileRefused, "more than 4096 rasters"},
        {"each in a system of its own",
         CopiesOfRasters(200) + ";" + Numbers(200) +
             "INSERT INTO gpkg_spatial_ref_sys SELECT srs_name || i, 60000 + i, 'NONE', 60000 + i, "
             "definition, '', definition_12_063, NULL FROM gpkg_spatial_ref_sys, n"
             " WHERE srs_id = 32633;"
             "UPDATE zpf_raster SET srs_id = 60000 + object WHERE object >= 10",
         StatusCode::FileRefused, "more than 64 coordinate reference systems"},
    };
    const ScratchFolder folder;
    const FILEPATH path = folder / "endless.sim";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove(path);
        ASSERT_TRUE(Good(ZPF::WriteLandscape(path)));
        ZPF::RunSql(path, c.sql);
        SimulatorFile file;
        EXPECT_EQ(ReadSoon(path, file), c.code) << GetErrPosn().detail;
        if (c.code == StatusCode::FileRefused) {
            EXPECT_NE(GetErrPosn().detail.find(c.said), std::string::npos) << GetErrPosn().detail;
            EXPECT_EQ(std::ranges::count(GetErrPosn().detail, '\n'), 0);
            continue;
        }
        EXPECT_EQ(file.Texts().size(), c.texts);
        ASSERT_EQ(file.Terrains().size(), c.layers);
        if (c.layers > 0) {
            EXPECT_EQ(file.Terrains().back().textures.size(), c.layers);
        }
    }
}

TEST(SimulatorFile, MoreSkiesThanAnybodyHasAreLeftOut) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "skies.sim";
    ASSERT_EQ(setenv("TARNVALE_SKY_FILE", "none", 1), 0);
    ASSERT_TRUE(Good(ZPF::WriteLandscape(path)));
    ZPF::RunSql(path, CopiesOfRasters(60000) +
                          ";UPDATE zpf_object SET type = 2, name = 'sky' WHERE number < 40 AND "
                          "number > 9;UPDATE zpf_object SET parent = 10 + number % 30 "
                          "WHERE number > 40");
    SimulatorFile file;
    ASSERT_TRUE(Good(ReadSoon(path, file))) << GetErrPosn().detail;
    EXPECT_EQ(ListSkies(file).size(), 1024U);
    EXPECT_NE(file.SkyProblem().find("more than 1024 skies"), QNSTRING::npos);
    ASSERT_EQ(unsetenv("TARNVALE_SKY_FILE"), 0);
}

// Each link between two systems takes some ten milliseconds to find.
TEST(SimulatorFile, MoreLinksBetweenSystemsThanAnyLandscapeHasAreRefused) {
    const ScratchFolder folder;
    for (const int zones : {3, 9}) {
        Landscape made(folder / "zones.sim");
        for (int zone = 0; zone < zones; ++zone) {
            const std::string text = "EPSG:" + std::to_string(32630 + zone);
            RasterSpec dem = Dem(("Dem" + std::to_string(zone)).c_str(), 513, 513);
            RasterSpec image = Placed(
                Spec(("Image" + std::to_string(zone)).c_str(), RasterType::Composite24B, 512, 512),
                0, 0, 30);
            ASSERT_TRUE(Good(COORDREFSYS::FromText(text, dem.system)));
            image.system = dem.system;
            made.Add(dem);
            made.Add(image);
        }
        ASSERT_TRUE(Good(made.Writer().Commit()));
        SimulatorFile file;
        const Status read = ReadSoon(folder / "zones.sim", file);
        if (zones == 3) {
            ASSERT_TRUE(Good(read));
            EXPECT_EQ(file.Terrains().size(), 3U);
            EXPECT_EQ(file.Terrains().front().textures.size(), 1U);
        } else {
            EXPECT_EQ(read, StatusCode::FileRefused);
            EXPECT_NE(GetErrPosn().detail.find("unlike coordinate"), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace tarnvale

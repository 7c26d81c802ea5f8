#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "landscape/simfile.h"
#include "landscape/skypicture.h"
#include "landscapes.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;

/// A picture without a place on the map.
std::string Picture(const fs::path& path, int columns, int rows, int bands,
                    GDALDataType type = GDT_Byte) {
    Sketch picture(columns, rows, {0, 1, 0, 0, 0, -1}, type);
    picture.system.clear();
    for (int band = 0; band < bands; ++band)
        picture.Band(
            [=](double x, double y) { return std::fmod(x * 0.1 - y * 0.05 + band * 60, 250); });
    return picture.Save(path);
}

TEST(BuildSky, SkiesOfALandscapeLieInItsFolderAndFitIntoIt) {
    const fs::path folder = FreshFolder();
    const std::string dem = SmallDem().Even({5}).Save(folder / "dem.tif");
    const std::string out = (folder / "out.sim").string();
    const Outcome built = Build({"--dem", dem, "--sky", Picture(folder / "a sky.tif", 300, 100, 4),
                                 "--sky", Picture(folder / "wide.tif", 5000, 900, 3), "--sky",
                                 Picture(folder / "grey.tif", 200, 100, 1), out});
    ASSERT_EQ(built.exitStatus, 0) << built.err;
    EXPECT_NE(built.err.find("wide.tif: 5000 x 900 pixels were scaled down to 2048 x 369"),
              std::string::npos)
        << built.err;
    SimulatorFile file;
    ASSERT_TRUE(file.Read(out).Good());
    EXPECT_EQ(file.Terrains().size(), 1U) << "no sky is taken for a terrain or texture";
    EXPECT_EQ(file.Terrains().front().textures.size(), 1U);
    const std::vector<SkyChoice> skies = ListSkies(file);
    ASSERT_EQ(skies.size(), 3U);
    EXPECT_EQ(skies[0].text, "out / a sky");
    EXPECT_EQ(skies[1].item.objectPath, "/SKY/wide");
    SkyPicture grey;
    ASSERT_TRUE(LoadSkyPicture(skies[2].item, nullptr, grey).Good());
    EXPECT_EQ(grey.height, 200);
    for (std::size_t i = 0; i < grey.pixels.size(); i += 404) {
        EXPECT_EQ(grey.pixels[i], grey.pixels[i + 1]);
        EXPECT_EQ(grey.pixels[i], grey.pixels[i + 2]);
    }
}

TEST(BuildSky, AFileOfSkiesTakesPicturesOfEverySizeAndDepth) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "some.sky").string();
    BuildWell({"--sky-file", out, Picture(folder / "wide.tif", 3000, 500, 3),
               Picture(folder / "deep.tif", 100, 50, 3, GDT_UInt16),
               Picture(folder / "WIDE.tif", 60, 50, 3)});
    ZPF::FILEHANDLE file;
    ASSERT_TRUE(file.Open(out, ZPF::OpenMode::Read).Good());
    const auto open = [&file](const char* name) {
        ZPF::RASTERHANDLE raster;
        EXPECT_TRUE(
            raster.Open(file, file.FindObject(kRootObject, ObjectType::Raster, name)).Good())
            << name;
        return raster;
    };
    EXPECT_EQ(open("wide").Header().columns, 3000);
    EXPECT_EQ(open("WIDE_2").Header().columns, 60);
    // 0 to 65535 are all shades, so that what is dark stays dark.
    ZPF::RASTERHANDLE deep = open("deep");
    std::vector<std::byte> line(300);
    ASSERT_TRUE(deep.ReadLine(25, 0, 100, line, ZPF::LineForm::Raw).Good());
    for (const std::byte shade : line) EXPECT_LT(std::to_integer<int>(shade), 3);
}

TEST(BuildSky, OwnSkiesWithOneSunAreMirroredAndTheOthersRepeated) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    BuildWell({"--dem", SmallDem().Even({5}).Save(folder / "dem.tif"), out});
    SimulatorFile file;
    ::setenv("TARNVALE_SKY_FILE", TARNVALE_BIN "/Tarnvale.sky", 1);
    const Status read = file.Read(out);
    ::setenv("TARNVALE_SKY_FILE", "none", 1);
    ASSERT_TRUE(read.Good());
    std::vector<bool> mirrored;  // clear noon, broken cloud, sunset, starry night
    for (const SkyChoice& sky : ListSkies(file)) {
        SkyPicture picture;
        ASSERT_TRUE(LoadSkyPicture(sky.item, nullptr, picture).Good()) << sky.text;
        mirrored.push_back(picture.mirrored);
    }
    EXPECT_EQ(mirrored, (std::vector<bool>{true, false, true, false}));
}

TEST(BuildSky, FewBitsAreAllShades) {
    const fs::path folder = FreshFolder();
    for (const int bits : {1, 2, 4}) {
        const int most = (1 << bits) - 1;
        Sketch picture(16, 4, {0, 1, 0, 0, 0, -1});
        picture.bits = bits;
        picture.type = GDT_Byte;
        picture.Band([=](double x, double) { return x > 8 ? most : 0; });
        const std::string out = (folder / "some.sky").string();
        BuildWell({"--overwrite", "--sky-file", out, picture.Save(folder / "few.tif")});
        ZPF::FILEHANDLE file;
        ASSERT_TRUE(file.Open(out, ZPF::OpenMode::Read).Good());
        ZPF::RASTERHANDLE raster;
        ASSERT_TRUE(
            raster.Open(file, file.FindObject(kRootObject, ObjectType::Raster, "few")).Good());
        std::vector<std::byte> line(48);
        ASSERT_TRUE(raster.ReadLine(2, 0, 16, line, ZPF::LineForm::Raw).Good());
        EXPECT_LT(std::to_integer<int>(line[3]), 20) << bits;
        EXPECT_GT(std::to_integer<int>(line[45]), 235) << bits;
    }
}

TEST(BuildSky, WhatIsWrongIsToldInOneLineAndNothingIsLeft) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::string dem = SmallDem().Even({5}).Save(folder / "dem.tif");
    const std::string good = Picture(folder / "good.tif", 64, 32, 3);
    std::ofstream(folder / "text.png") << "no picture";
    const std::string text = (folder / "text.png").string();
    const std::string cut = Picture(folder / "cut.tif", 600, 600, 3);
    const std::string jpeg = (folder / "cut.jpg").string();
    {
        const GDALDatasetUniquePtr whole(GDALDataset::Open(cut.c_str()));
        GDALDatasetUniquePtr(GetGDALDriverManager()->GetDriverByName("JPEG")->CreateCopy(
            jpeg.c_str(), whole.get(), FALSE, nullptr, nullptr, nullptr));
    }
    fs::resize_file(jpeg, fs::file_size(jpeg) / 2);
    fs::resize_file(cut, fs::file_size(cut) / 2);
    const std::string dot = Picture(folder / "dot.tif", 1, 1, 3);
    Sketch blank(8, 8, {0, 1, 0, 0, 0, -1});
    blank.type = GDT_Float32;
    blank.noData = -9999;
    const std::string empty =
        blank.Band([](double, double) { return -9999; }).Save(folder / "empty.tif");
    const std::string out = (outputs / "out.sim").string();
    const struct {
        const char* what;
        std::vector<std::string> arguments;
        const char* told;
    } cases[] = {
        {"no picture", {"--dem", dem, "--sky", text, out}, "text.png"},
        {"half a picture", {"--dem", dem, "--sky", cut, out}, "cut.tif"},
        {"half a JPEG", {"--sky-file", out, jpeg}, "cut.jpg can't be read"},
        {"one pixel", {"--sky-file", out, dot}, "dot.tif has 1 x 1 pixels"},
        {"no value", {"--sky-file", out, empty}, "empty.tif is empty"},
        {"a folder", {"--sky-file", out, folder.string()}, "folder"},
        {"no such file", {"--sky-file", out, good, "none.png"}, "none.png: no such file"},
        {"the second is none", {"--sky-file", out, good, text}, "text.png"},
        {"nothing to make it of", {"--sky-file", out}, "--sky-file"},
        {"both at once", {"--dem", dem, "--sky-file", out, good}, "alone"},
        {"no output", {"--dem", dem, "--sky", good}, "OUT.sim"},
    };
    for (const auto& one : cases) {
        const Outcome built = Build(one.arguments);
        EXPECT_EQ(built.exitStatus, 1) << one.what;
        EXPECT_NE(built.err.find(one.told), std::string::npos) << one.what << ": " << built.err;
        EXPECT_EQ(std::ranges::count(built.err, '\n'), 1) << one.what << ": " << built.err;
        EXPECT_TRUE(FilesIn(outputs).empty()) << one.what;
    }
}

}  // namespace
}  // namespace tarnvale::test

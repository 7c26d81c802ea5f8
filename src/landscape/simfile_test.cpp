#include "landscape/simfile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "landscape/texturedomain.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using ZPF::PROJECTWRITER;
using ZPF::RasterSpec;
using ZPF::RasterType;
using ZPF::ScratchFolder;

/// A raster without a tile: nothing here looks at cells.
RasterSpec Spec(const char* name, RasterType type, int columns, int rows) {
    RasterSpec spec;
    spec.name = name;
    spec.type = type;
    spec.columns = columns;
    spec.rows = rows;
    return spec;
}

/// Placed with its first pixel `x`, `y` metres from the first sample of the DEMs here.
RasterSpec Placed(RasterSpec spec, double x, double y, double size) {
    EXPECT_TRUE(Good(COORDREFSYS::FromText("EPSG:32633", spec.system)));
    spec.georeference = {400000 + x, size, 0, 5600000 - y, 0, -size};
    return spec;
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
    ZPF::RASTERHANDLE grid, image;
    ASSERT_TRUE(Good(grid.Open(handle, dem)));
    QNSTRING why;
    ASSERT_TRUE(Good(image.Open(handle, beyond)));
    EXPECT_FALSE(TextureFits(grid, image, &why));
    EXPECT_NE(why.find("-40 to 984 by -60 to 964"), QNSTRING::npos) << why;
    EXPECT_NE(why.find("beyond"), QNSTRING::npos) << why;
    ASSERT_TRUE(Good(image.Open(handle, uneven)));
    EXPECT_FALSE(TextureFits(grid, image, &why));
    EXPECT_NE(why.find("powers of two"), QNSTRING::npos) << why;
}

TEST(SimulatorFile, FindsSkiesAndTexts) {
    const ScratchFolder folder;
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
    ASSERT_TRUE(Good(reference.Writer().Commit()));
    ASSERT_TRUE(Good(file.Read(folder / "sky.sim")));
    ASSERT_EQ(file.Skies().size(), 2U);
    EXPECT_EQ(Names(file.Skies().back().rasters), Strings{"Stars"});
    EXPECT_EQ(file.Skies().back().rasters.front().file, folder / "Tarnvale.sky");
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

}  // namespace
}  // namespace tarnvale

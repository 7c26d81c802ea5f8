#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "landscapes.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;

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
        char* text = nullptr;
        ASSERT_EQ(dataset->GetSpatialRef()->exportToWkt(&text), OGRERR_NONE);
        const auto convert = Conversion(stored.system.Wkt(), text);
        CPLFree(text);
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

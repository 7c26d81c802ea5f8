#include "landscape/skypicture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using ZPF::RasterSpec;
using ZPF::RasterType;
using ZPF::ScratchFolder;

struct Colour {
    int r = 0, g = 0, b = 0;
    friend bool operator==(const Colour&, const Colour&) = default;
};

/// Writes a file of one sky, without loss. @param cell  bytes of the cell in a column and row
ZPFObjectItem WriteSky(const FILEPATH& path, RasterType type, int columns, int rows,
                       const std::function<std::vector<int>(int column, int row)>& cell) {
    RasterSpec spec = ZPF::Spec("sky", type, columns, rows);
    spec.encoding = ZPF::TileEncoding::Lossless;
    std::vector<std::byte> cells;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            for (const int value : cell(column, row))
                cells.push_back(static_cast<std::byte>(value));
        }
    }
    EXPECT_TRUE(Good(ZPF::WriteRaster(path, spec, {cells})));
    ZPFObjectItem item;
    item.file = path;
    item.header.name = "sky";
    item.header.number = 1;
    return item;
}

Colour PixelOf(const SkyPicture& picture, int x, int y) {
    const auto* const at = &picture.pixels[static_cast<std::size_t>(y * picture.width + x) * 4];
    return {static_cast<int>(at[2]), static_cast<int>(at[1]), static_cast<int>(at[0])};
}

/// The picture's pixel, wherever it lies in the texture.
Colour PictureAt(const SkyPicture& picture, int column, int row) {
    return PixelOf(picture, row, column);
}

TEST(SkyPicture, LiesOnItsSideWithPlainGroundBelowTheHorizon) {
    const ScratchFolder folder;
    const ZPFObjectItem item =
        WriteSky(folder / "a.sky", RasterType::Composite24B, 37, 21, [](int column, int row) {
            return std::vector{column * 5, row * 10, 200};
        });
    SkyPicture picture;
    ASSERT_TRUE(Good(LoadSkyPicture(item, nullptr, picture)));
    ASSERT_EQ(picture.width, 42);
    ASSERT_EQ(picture.height, 37);
    for (int column = 0; column < 37; ++column) {
        for (int row = 0; row < 21; ++row) {
            ASSERT_EQ(PictureAt(picture, column, row), (Colour{column * 5, row * 10, 200}));
        }
    }
    // Just below the horizon the mean of its last row, the same all around, and darker further
    // down.
    const Colour haze = PixelOf(picture, 21, 0);
    EXPECT_NEAR(haze.r, 90, 1);
    EXPECT_NEAR(haze.g, 200, 1);
    for (int y = 0; y < picture.height; ++y) EXPECT_EQ(PixelOf(picture, 21, y), haze);
    EXPECT_LT(PixelOf(picture, 41, 5).g, haze.g);
    EXPECT_GT(PixelOf(picture, 41, 5).g, haze.g / 2);
}

TEST(SkyPicture, IsMirroredOnlyWhereItsEdgesDiffer) {
    const ScratchFolder folder;
    SkyPicture picture;
    const auto wave = [](int column, int) {
        const int value = column < 50 ? column * 4 : (100 - column) * 4;
        return std::vector{value, value, value};
    };
    ASSERT_TRUE(
        Good(LoadSkyPicture(WriteSky(folder / "whole.sky", RasterType::Composite24B, 100, 20, wave),
                            nullptr, picture)));
    EXPECT_FALSE(picture.mirrored);
    ASSERT_TRUE(Good(LoadSkyPicture(
        WriteSky(folder / "half.sky", RasterType::Composite24B, 50, 20, wave), nullptr, picture)));
    EXPECT_TRUE(picture.mirrored);
}

TEST(SkyPicture, IsReducedToWhatAnyCardTakes) {
    const ScratchFolder folder;
    const ZPFObjectItem item =
        WriteSky(folder / "wide.sky", RasterType::Composite24B, 9000, 16, [](int column, int) {
            const int value = column % 3 * 60;  // each pixel of three becomes their mean
            return std::vector{value, value, column < 4500 ? 0 : 255};
        });
    SkyPicture picture;
    ASSERT_TRUE(Good(LoadSkyPicture(item, nullptr, picture)));
    EXPECT_EQ(picture.height, 3000);
    EXPECT_EQ(picture.width, 10);
    EXPECT_EQ(PictureAt(picture, 100, 2), (Colour{60, 60, 0}));
    EXPECT_EQ(PictureAt(picture, 2900, 2), (Colour{60, 60, 255}));
}

TEST(SkyPicture, OfNoUseLeavesTheOldOneAndSaysWhatIsWrong) {
    const ScratchFolder folder;
    const auto cell = [](int, int) { return std::vector{1, 2, 3}; };
    const ZPFObjectItem good =
        WriteSky(folder / "good.sky", RasterType::Composite24B, 600, 20, cell);
    SkyPicture picture;
    ASSERT_TRUE(Good(LoadSkyPicture(good, nullptr, picture)));
    const std::vector<std::byte> before = picture.pixels;

    const ZPFObjectItem heights =
        WriteSky(folder / "heights.sky", RasterType::Float32, 8, 8, [](int, int) {
            return std::vector{0, 0, 0, 0};
        });
    const ZPFObjectItem damaged =
        WriteSky(folder / "damaged.sky", RasterType::Composite24B, 600, 20, cell);
    ZPF::RunSql(damaged.file, "UPDATE sky SET tile_data = x'0011' WHERE tile_column = 1");
    ZPFObjectItem missing = good;
    missing.header.number = 99;
    ZPFObjectItem noFile = good;
    noFile.file = folder / "none.sky";
    const struct {
        const char* what;
        const ZPFObjectItem& item;
        const char* told;
    } cases[] = {{"heights", heights, "is no picture"},
                 {"damaged", damaged, "is damaged"},
                 {"no such object", missing, "can't be opened"},
                 {"no file", noFile, "none.sky"}};
    for (const auto& one : cases) {
        const Status loaded = LoadSkyPicture(one.item, nullptr, picture);
        EXPECT_FALSE(loaded.Good()) << one.what;
        const std::string text = GetErrString(loaded);
        EXPECT_NE(text.find(one.told), std::string::npos) << one.what << ": " << text;
        EXPECT_NE(text.find(one.item.file.string()), std::string::npos) << one.what << ": " << text;
        EXPECT_EQ(picture.pixels, before) << one.what;
    }
}

}  // namespace
}  // namespace tarnvale

#include "graphics/picturefile.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace tarnvale {
namespace {

// Two rows of two pixels: red, green over blue, white; the fourth byte is no part of the picture.
const std::vector<std::byte> kPixels = [] {
    std::vector<std::byte> bytes;
    for (const int value : {255, 0, 0, 9, 0, 255, 0, 9, 0, 0, 255, 9, 255, 255, 255, 9})
        bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}();

class PictureFile : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    void TearDown() override {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    [[nodiscard]] std::string Bytes(const char* name) const {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const FILEPATH folder = FILEPATH(TARNVALE_TEST_TEMP) /
                            (std::string("picture file ") +
                             testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(PictureFile, TheNameChoosesBetweenBitmapAndPng) {
    for (const auto& [name, start] : std::map<std::string, std::string>{{"a.bmp", "BM"},
                                                                        {"b.BMP", "BM"},
                                                                        {"c.png", "\x89PNG"},
                                                                        {"d", "\x89PNG"},
                                                                        {"e.bmp.x", "\x89PNG"}}) {
        ASSERT_TRUE(WritePicture(folder / name, {kPixels, 2, 2}, {}).Good()) << name;
        EXPECT_TRUE(Bytes(name.c_str()).starts_with(start)) << name;
        EXPECT_FALSE(std::filesystem::exists(folder / (name + ".part"))) << name;
    }
    const std::string bitmap = Bytes("a.bmp");
    ASSERT_EQ(bitmap.size(), 54U + 16);
    EXPECT_EQ(bitmap.substr(54, 3), std::string("\xFF\0\0", 3)) << "the lower row first, blue";
    EXPECT_EQ(bitmap.substr(62, 3), std::string("\0\0\xFF", 3)) << "then the upper one, red";
}

TEST_F(PictureFile, APngHasTheRowsInOrderAndItsTexts) {
    const PictureTexts texts{{"Position", "1 2 3"}, {"CRS", "Gau\xC3\x9F"}};
    ASSERT_TRUE(
        WritePicture(folder / "up.png", {kPixels, 2, 2, RowOrder::BottomFirst}, texts).Good());
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, (folder / "up.png").c_str()), 0);
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> read(PNG_IMAGE_SIZE(image));
    ASSERT_NE(png_image_finish_read(&image, nullptr, read.data(), 0, nullptr), 0);
    EXPECT_EQ(read, (std::vector<unsigned char>{0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 255, 0}));
    const std::string bytes = Bytes("up.png");
    EXPECT_NE(bytes.find(std::string("tEXtPosition\0001 2 3", 18)), std::string::npos);
    EXPECT_NE(bytes.find("iTXtCRS"), std::string::npos);
}

TEST_F(PictureFile, AFailureLeavesTheOldFile) {
    std::ofstream(folder / "old.png") << "old";
    EXPECT_EQ(WritePicture(folder / "old.png", {}, {}), StatusCode::BadState);
    std::filesystem::create_directory(folder / "old.png.part");  // nothing can be begun there
    EXPECT_EQ(WritePicture(folder / "old.png", {kPixels, 2, 2}, {}), StatusCode::WriteFailed);
    EXPECT_NE(GetErrPosn().detail.find("old.png: "), std::string::npos);
    EXPECT_EQ(Bytes("old.png"), "old");
    EXPECT_EQ(WritePicture(folder, {kPixels, 2, 2}, {}), StatusCode::WriteFailed) << "a folder";
    EXPECT_EQ(WritePicture(folder / "none" / "x.png", {kPixels, 2, 2}, {}),
              StatusCode::WriteFailed);
    // A device that takes nothing: what was begun beside it goes again.
    std::filesystem::create_symlink("/dev/full", folder / "full.bmp.part");
    EXPECT_EQ(WritePicture(folder / "full.bmp", {kPixels, 2, 2}, {}), StatusCode::WriteFailed);
    EXPECT_FALSE(std::filesystem::exists(folder / "full.bmp"));
    EXPECT_FALSE(
        std::filesystem::exists(std::filesystem::symlink_status(folder / "full.bmp.part")));
}

}  // namespace
}  // namespace tarnvale

#include "streaming/rastertilesource.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <array>
#include <tuple>
#include <vector>

#include "streaming/colorprofile.h"
#include "streaming/fakegraphics_test.h"
#include "streaming/pixelconverter.h"
#include "streaming/tilepyramid.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using ZPF::Good;
using ZPF::RasterSpec;
using ZPF::RasterType;
using ZPF::ScratchFolder;
using Bytes = std::vector<std::byte>;

Bytes AsBytes(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values) bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

TEST(PixelConverter, WritesEveryFormat) {
    using enum TexturePixelFormat;
    // Red 0xF8, green 0x84, blue 0x10, then a masked pixel.
    const Bytes cells = AsBytes({0xF8, 0x84, 0x10, 0xFF, 0xFF, 0xFF});
    const std::array<std::uint8_t, 2> mask{255, 0};
    const std::tuple<TexturePixelFormat, Bytes> cases[] = {
        {Rgb, AsBytes({0xF8, 0x84, 0x10, 0, 0, 0})},
        {Rgba, AsBytes({0xF8, 0x84, 0x10, 0xFF, 0, 0, 0, 0})},
        {Bgr, AsBytes({0x10, 0x84, 0xF8, 0, 0, 0})},
        {Bgra, AsBytes({0x10, 0x84, 0xF8, 0xFF, 0, 0, 0, 0})},
        {A8R8G8B8, AsBytes({0x10, 0x84, 0xF8, 0xFF, 0, 0, 0, 0})},
        {X8R8G8B8, AsBytes({0x10, 0x84, 0xF8, 0, 0, 0, 0, 0})},
        {R5G6B5, AsBytes({0x22, 0xFC, 0, 0})},    // 11111 100001 00010
        {X1R5G5B5, AsBytes({0x02, 0x7E, 0, 0})},  // 11111 10000 00010
        {A1R5G5B5, AsBytes({0x02, 0xFE, 0, 0})},
        {A4R4G4B4, AsBytes({0x81, 0xFF, 0, 0})},
        {R3G3B2, AsBytes({0xF0, 0})},  // 111 100 00
        {A8R3G3B2, AsBytes({0xF0, 0xFF, 0, 0})},
        {X4R4G4B4, AsBytes({0x81, 0x0F, 0, 0})},
    };
    for (const auto& [format, expected] : cases) {
        PixelConverter converter;
        ASSERT_TRUE(Good(converter.Open(RasterType::Composite24B, nullptr, format)));
        Bytes pixels(2 * converter.TargetBytes());
        converter.Convert(cells, mask, pixels);
        EXPECT_EQ(pixels, expected) << static_cast<int>(format);
    }
}

TEST(PixelConverter, ReadsEveryKindOfPicture) {
    ZPF::ColorMap map{};
    map[7] = {0x1100, 0x2200, 0x3300, 0};
    map[8] = {0x1100, 0x2200, 0x3300, 0xFF00};  // clear
    const std::tuple<RasterType, const ZPF::ColorMap*, Bytes, Bytes> cases[] = {
        {RasterType::Composite24A, nullptr, AsBytes({1, 2, 3}), AsBytes({1, 2, 3, 255})},
        {RasterType::Composite24B, nullptr, AsBytes({1, 2, 3}), AsBytes({3, 2, 1, 255})},
        // 10000 00001 11111 and 10000 000001 11111
        {RasterType::Composite16A, nullptr, AsBytes({0x3F, 0x40}), AsBytes({255, 8, 132, 255})},
        {RasterType::Composite16B, nullptr, AsBytes({0x3F, 0x80}), AsBytes({255, 4, 132, 255})},
        {RasterType::Unsigned8, nullptr, AsBytes({9}), AsBytes({9, 9, 9, 255})},
        {RasterType::Unsigned8, &map, AsBytes({7}), AsBytes({0x33, 0x22, 0x11, 255})},
        {RasterType::Unsigned8, &map, AsBytes({8}), AsBytes({0x33, 0x22, 0x11, 0})},
    };
    for (const auto& [type, colours, cell, expected] : cases) {
        PixelConverter converter;
        ASSERT_TRUE(Good(converter.Open(type, colours, TexturePixelFormat::Bgra)));
        // Past the length that is converted in one go, too.
        Bytes cells, pixels(300 * 4);
        for (int i = 0; i < 300; ++i) cells.insert(cells.end(), cell.begin(), cell.end());
        converter.Convert(cells, std::vector<std::uint8_t>(300, 255), pixels);
        for (std::size_t i = 0; i < 300; ++i) {
            ASSERT_EQ(Bytes(&pixels[4 * i], &pixels[4 * i] + 4), expected) << ZPF::BitsOf(type);
        }
    }
    PixelConverter converter;
    EXPECT_EQ(converter.Open(RasterType::Float32, nullptr, TexturePixelFormat::Bgra),
              StatusCode::BadState);
}

Bytes Saved(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    EXPECT_TRUE(cmsSaveProfileToMem(profile, nullptr, &size));
    Bytes bytes(size);
    EXPECT_TRUE(cmsSaveProfileToMem(profile, bytes.data(), &size));
    cmsCloseProfile(profile);
    return bytes;
}

/// The primaries of sRGB with light in proportion to the value.
Bytes LinearProfile() {
    const cmsCIExyY white{0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* linear = cmsBuildGamma(nullptr, 1.0);
    const std::array<cmsToneCurve*, 3> curves{linear, linear, linear};
    const Bytes bytes = Saved(cmsCreateRGBProfile(&white, &primaries, curves.data()));
    cmsFreeToneCurve(linear);
    return bytes;
}

TEST(ColorProfile, BringsCellsAndMapsToSrgb) {
    const Bytes linear = LinearProfile();
    // A fifth of full light, 0.2140 x 255 = 55, is half of full value in sRGB: 128. Red first or
    // last.
    Bytes cells = AsBytes({55, 0, 255, 55, 55, 55});
    ColorProfile::Make(linear, RasterType::Composite24B)->Apply(cells);
    const std::array<int, 6> expected{128, 0, 255, 128, 128, 128};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(std::to_integer<int>(cells[i]), expected[i], 2) << i;
    }
    ZPF::ColorMap map{};
    map[3] = {55 * 257, 55 * 257, 0, 0xFF00};
    ColorProfile::Make(linear, RasterType::Unsigned8)->Apply(map);
    EXPECT_NEAR(map[3].red >> 8, 128, 2);
    EXPECT_NEAR(map[3].green >> 8, 128, 2);
    EXPECT_EQ(map[3].word, 0xFF00);

    Bytes damaged = linear;
    damaged.resize(40);
    EXPECT_EQ(ColorProfile::Make(damaged, RasterType::Composite24B), nullptr);
    EXPECT_EQ(ColorProfile::Make({}, RasterType::Composite24B), nullptr);
    EXPECT_EQ(ColorProfile::Make(Saved(cmsCreateLab4Profile(nullptr)), RasterType::Composite24B),
              nullptr);
    EXPECT_EQ(ColorProfile::Make(linear, RasterType::Float32), nullptr);
}

constexpr int kSide = 256;  // of a tile
constexpr int kDomain = 2048;

/// A raster of 1300 x 900 one-metre pixels in a domain of 2048 x 2048, as it was written.
struct Picture {
    RasterSpec spec;
    int xOffset = 0, yOffset = 0;
    std::vector<Bytes> cells;                      // by level
    std::vector<std::vector<std::uint8_t>> masks;  // by level, empty without

    [[nodiscard]] std::size_t Stored() const { return cells.size(); }
    [[nodiscard]] int Columns(std::size_t level) const { return ((spec.columns - 1) >> level) + 1; }
    [[nodiscard]] int Rows(std::size_t level) const { return ((spec.rows - 1) >> level) + 1; }
};

Picture MakePicture(RasterType type, int levels, bool masked, bool null, int xOffset, int yOffset) {
    Picture picture;
    picture.spec = ZPF::Placed(ZPF::Spec("Land", type, 1300, 900),
                               {400000.0 + xOffset, 1, 0, 5600000.0 - yOffset, 0, -1});
    RasterSpec& spec = picture.spec;
    spec.levels = levels;
    spec.encoding = ZPF::TileEncoding::Lossless;
    spec.hasMask = masked;
    spec.hasNull = null;
    spec.nullValue = type == RasterType::Unsigned8 ? 5 : 0x050505;
    if (type == RasterType::Unsigned8) {
        for (int i = 0; i < 256; ++i) {
            spec.colorMap.push_back({static_cast<std::uint16_t>(i << 8),
                                     static_cast<std::uint16_t>((255 - i) << 8), 0x4200, 0});
        }
    }
    picture.xOffset = xOffset;
    picture.yOffset = yOffset;
    ZPF::Dice dice(7);
    for (std::size_t level = 0; level < static_cast<std::size_t>(levels); ++level) {
        const auto count = static_cast<std::size_t>(picture.Columns(level)) *
                           static_cast<std::size_t>(picture.Rows(level));
        Bytes cells(count * static_cast<std::size_t>(ZPF::BytesOf(type)));
        for (std::byte& cell : cells) cell = static_cast<std::byte>(dice.Below(256));
        for (std::size_t i = 0; null && i < cells.size() / 3; i += 100) {
            std::fill_n(&cells[3 * i], 3, std::byte{5});
        }
        std::vector<std::uint8_t> mask(masked ? count : 0);
        for (std::uint8_t& value : mask) value = dice.Below(4) == 0 ? 0 : 255;
        picture.cells.push_back(std::move(cells));
        picture.masks.push_back(std::move(mask));
    }
    return picture;
}

Status Write(const Picture& picture, const FILEPATH& path) {
    ZPF::PROJECTWRITER writer;
    int number = kNoObject;
    Status status = writer.Create(path);
    if (status.Good()) status = writer.AddRaster(kRootObject, picture.spec, number);
    for (std::size_t level = 0; level < picture.Stored() && status.Good(); ++level) {
        status = ZPF::PutCells(writer, number, picture.spec, static_cast<int>(level),
                               picture.cells[level], picture.masks[level]);
    }
    return status.Good() ? writer.Commit() : status;
}

/// What a pixel of the domain at a level is to look like in Bgra, by the picture as it was written;
/// 0 where there is nothing.
std::uint32_t Expected(const Picture& picture, std::size_t level, int x, int y) {
    const std::size_t from = std::min(level, picture.Stored() - 1);
    const int stride = 1 << (level - from);
    const int column = (x - (picture.xOffset >> level)) * stride;
    const int row = (y - (picture.yOffset >> level)) * stride;
    if (column < 0 || row < 0 || column >= picture.Columns(from) || row >= picture.Rows(from)) {
        return 0;
    }
    if (level != from && (x >= (picture.xOffset + picture.spec.columns) >> level ||
                          y >= (picture.yOffset + picture.spec.rows) >> level)) {
        return 0;
    }
    const auto place =
        static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.Columns(from)) +
        static_cast<std::size_t>(column);
    if (picture.spec.hasMask && picture.masks[from][place] == 0) return 0;
    const auto cell = [&](std::size_t i) {
        return std::to_integer<std::uint32_t>(picture.cells[from][i]);
    };
    constexpr std::uint32_t kOpaque = 0xFF000000;
    if (picture.spec.type == RasterType::Unsigned8) {
        if (picture.spec.hasNull && cell(place) == 5) return 0;
        return kOpaque | cell(place) << 16 | (255 - cell(place)) << 8 | 0x42;
    }
    const std::uint32_t first = cell(3 * place), second = cell(3 * place + 1),
                        third = cell(3 * place + 2);
    if (picture.spec.hasNull && first == 5 && second == 5 && third == 5) return 0;
    if (picture.spec.type == RasterType::Composite24A) {
        return kOpaque | third << 16 | second << 8 | first;
    }
    return kOpaque | first << 16 | second << 8 | third;
}

/// A terrain of 65 samples that spans the domain.
fake::FakeTerrain Terrain() {
    COORDREFSYS system;
    EXPECT_TRUE(Good(COORDREFSYS::FromText("EPSG:32633", system)));
    return {65, {400000 - 16, 32, 0, 5600000 + 16, 0, -32}, system};
}

ZPFObjectItem ItemOf(const FILEPATH& path) {
    ZPF::FILEHANDLE file;
    ZPFObjectItem item;
    EXPECT_TRUE(Good(file.Open(path, ZPF::OpenMode::Read)));
    EXPECT_TRUE(Good(file.GetItem(file.FindObject(kRootObject, ObjectType::Raster, "Land"), item)));
    return item;
}

std::uint32_t PixelAt(const Bytes& pixels, int x, int y) {
    std::uint32_t pixel = 0;
    // The buffer has the bottom row first.
    const auto place =
        static_cast<std::size_t>(kSide - 1 - y) * kSide + static_cast<std::size_t>(x);
    std::memcpy(&pixel, &pixels[4 * place], sizeof pixel);
    return pixel;
}

TEST(RasterTileSource, GivesEveryPixelOfEveryTile) {
    struct Case {
        const char* what;
        RasterType type;
        int levels;
        bool masked, null;
        int xOffset, yOffset;
    };
    const Case cases[] = {
        {"all levels", RasterType::Composite24B, 4, false, false, 0, 0},
        {"masked and part of the domain", RasterType::Composite24B, 2, true, false, 300, 700},
        {"null cells, blue first", RasterType::Composite24A, 3, false, true, 512, 1024},
        {"only the base, mapped", RasterType::Unsigned8, 1, true, true, 36, 104},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const ScratchFolder folder;
        const Picture picture =
            MakePicture(c.type, c.levels, c.masked, c.null, c.xOffset, c.yOffset);
        ASSERT_TRUE(Good(Write(picture, folder / "land.sim")));
        RasterTileSource source;
        ASSERT_TRUE(Good(
            source.Open(ItemOf(folder / "land.sim"), Terrain(), kSide, TexturePixelFormat::Bgra)));
        EXPECT_EQ(source.Domain().width, kDomain);
        EXPECT_EQ(source.Domain().xOffset, c.xOffset);
        EXPECT_EQ(source.Domain().yOffset, c.yOffset);
        TilePyramid pyramid;
        ASSERT_TRUE(pyramid.BuildPyramid(kDomain, kDomain, 8).Good());
        int wrong = 0, filled = 0;
        for (const TileEntry& tile : pyramid.Entries()) {
            Bytes pixels(static_cast<std::size_t>(kSide) * kSide * 4);
            const TileRead read = source.Read(tile, pixels);
            EXPECT_NE(read, TileRead::Damaged);
            EXPECT_FALSE(read == TileRead::Nothing && source.HasPixels(tile));
            const auto level = static_cast<std::size_t>(tile.Level().Index());
            bool any = false;
            for (int y = 0; y < kSide; ++y) {
                for (int x = 0; x < kSide; ++x) {
                    const int left = static_cast<int>(tile.Column()) * kSide;
                    const int top = static_cast<int>(tile.Row()) * kSide;
                    const std::uint32_t expected = Expected(picture, level, left + x, top + y);
                    wrong += PixelAt(pixels, x, y) != expected ? 1 : 0;
                    any = any || expected != 0;
                }
            }
            // Only tiles wholly outside the raster count as empty, at full resolution.
            const auto span = static_cast<int>(tile.Level().Span());
            const int x = static_cast<int>(tile.Column()) * span;
            const int y = static_cast<int>(tile.Row()) * span;
            const TextureDomain& domain = source.Domain();
            EXPECT_EQ(source.HasPixels(tile),
                      x < domain.xOffset + domain.rasterColumns && x + span > domain.xOffset &&
                          y < domain.yOffset + domain.rasterRows && y + span > domain.yOffset);
            EXPECT_TRUE(!any || source.HasPixels(tile));
            filled += any ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(filled, 20);
    }
}

TEST(RasterTileSource, ADamagedTileStaysBlankAlone) {
    const ScratchFolder folder;
    const Picture picture = MakePicture(RasterType::Composite24B, 1, false, false, 0, 0);
    ASSERT_TRUE(Good(Write(picture, folder / "land.sim")));
    const ZPFObjectItem item = ItemOf(folder / "land.sim");
    ZPF::RunSql(folder / "land.sim",
                "UPDATE Land SET tile_data = x'0badcafe' WHERE tile_column = 0 AND tile_row = 0");
    // Through the loader, which counts it; its tiles are a quarter of the stored ones.
    // A tile of the texture is a quarter of a stored one; the coarsest is made of six of them.
    auto source = std::make_unique<RasterTileSource>();
    ASSERT_TRUE(Good(source->Open(item, Terrain(), kSide, TexturePixelFormat::Bgra)));
    TilePyramid pyramid;
    ASSERT_TRUE(pyramid.BuildPyramid(kDomain, kDomain, 8).Good());
    const auto read = [&](TileEntry* tile, bool damaged) {
        Bytes pixels(static_cast<std::size_t>(kSide) * kSide * 4);
        EXPECT_EQ(source->Read(*tile, pixels), damaged ? TileRead::Damaged : TileRead::Whole);
        return pixels;
    };
    const Bytes blank(static_cast<std::size_t>(kSide) * kSide * 4);
    EXPECT_EQ(read(pyramid.EntryAt(0, 256, 256), true), blank);
    EXPECT_NE(read(pyramid.EntryAt(0, 512, 0), false), blank);
    EXPECT_NE(read(pyramid.EntryAt(0, 0, 512), false), blank);
    const Bytes root = read(&pyramid.Root(), true);
    EXPECT_EQ(PixelAt(root, 63, 63), 0U);
    EXPECT_EQ(PixelAt(root, 64, 63), Expected(picture, 3, 64, 63));
    EXPECT_EQ(PixelAt(root, 63, 64), Expected(picture, 3, 63, 64));

    FailedTiles failed;
    TileLoader loader;
    ASSERT_TRUE(Good(loader.Open(std::move(source), blank.size(), failed)));
    EXPECT_EQ(loader.LoadNow(pyramid.EntryAt(0, 0, 0)).size(), blank.size());
    EXPECT_EQ(loader.DamagedTiles(), 1U);
}

TEST(RasterTileSource, RefusesWhatIsNoTexture) {
    const ScratchFolder folder;
    Picture picture = MakePicture(RasterType::Composite24B, 1, false, false, 0, 0);
    picture.spec.system = {};
    ASSERT_TRUE(Good(Write(picture, folder / "land.sim")));
    RasterTileSource source;
    const auto open = [&](const ZPFObjectItem& item) {
        return source.Open(item, Terrain(), kSide, TexturePixelFormat::Bgra);
    };
    ZPFObjectItem item = ItemOf(folder / "land.sim");
    EXPECT_EQ(open(item), StatusCode::BadState) << "no georeference";
    item.header.number = 77;
    EXPECT_FALSE(open(item).Good());
    item.file = folder / "none.sim";
    EXPECT_EQ(open(item), StatusCode::FileNotFound);

    // A raster of elevations: cells that are no picture.
    ASSERT_TRUE(Good(ZPF::WriteLandscape(folder / "dem.sim")));
    item.file = folder / "dem.sim";
    item.header.number = 1;
    EXPECT_EQ(open(item), StatusCode::BadState);
}

}  // namespace
}  // namespace tarnvale

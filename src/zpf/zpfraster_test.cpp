#include "zpf/zpfraster.h"

#include <thread>

#include "zpf/lzw.h"
#include "zpf/sample_for_test.h"

namespace tarnvale::ZPF {
namespace {

constexpr int kColumns = 700, kRows = 530;  // four tiles, three of them padded

struct TypeCase {
    const char* what;
    RasterType type;
    bool hasNull;
    double nullValue;
    bool hasMask;
};

// Any bits make a cell, but for floats: those are made from numbers.
std::vector<std::byte> RandomCells(const TypeCase& which, std::size_t count) {
    Dice dice(static_cast<std::uint64_t>(which.type));
    std::vector<std::byte> cells(count * static_cast<std::size_t>(BytesOf(which.type)));
    for (std::size_t i = 0; i < count; ++i) {
        const bool null = which.hasNull && dice.Below(5) == 0;
        if (BitsOf(which.type) == 24) {
            for (std::size_t k = 0; k < 3; ++k)
                cells[i * 3 + k] = static_cast<std::byte>(dice.Below(256));
            continue;
        }
        VisitCellType(which.type, [&](auto zero) {
            using Cell = decltype(zero);
            Cell cell{};
            if constexpr (std::is_floating_point_v<Cell>) {
                cell = static_cast<Cell>(dice.Below(2'000'000) - 1'000'000) / Cell{7};
            } else {
                const std::uint64_t bits = std::uint64_t{dice.Roll()} << 40 ^
                                           std::uint64_t{dice.Roll()} << 20 ^ dice.Roll();
                cell = static_cast<Cell>(
                    BitsOf(which.type) < 8 ? bits & ((1U << BitsOf(which.type)) - 1) : bits);
            }
            StoreCell(std::span(cells), i, null ? static_cast<Cell>(which.nullValue) : cell);
        });
    }
    return cells;
}

TEST(Raster, EveryTypeComesBackCellForCell) {
    const TypeCase cases[] = {
        {"1-bit", RasterType::Unsigned1, false, 0, false},
        {"4-bit", RasterType::Unsigned4, true, 15, false},
        {"bytes", RasterType::Unsigned8, true, 255, true},
        {"signed bytes", RasterType::Signed8, true, -128, false},
        {"unsigned 16", RasterType::Unsigned16, true, 65535, false},
        {"signed 16", RasterType::Signed16, false, 0, true},
        {"signed 16, usual null", RasterType::Signed16, true, -32768, false},
        {"signed 16, null in the midst", RasterType::Signed16, true, -9999, false},
        {"signed 16, highest null", RasterType::Signed16, true, 32767, false},
        {"unsigned 32", RasterType::Unsigned32, false, 0, false},
        {"signed 32", RasterType::Signed32, true, -2147483648.0, false},
        {"unsigned 64", RasterType::Unsigned64, false, 0, false},
        {"signed 64", RasterType::Signed64, true, -9999, false},
        {"float", RasterType::Float32, true, -9999, false},
        {"double", RasterType::Float64, true, -1e300, false},
        {"5-5-5", RasterType::Composite16A, true, 0x8000, false},
        {"5-6-5", RasterType::Composite16B, false, 0, true},
        {"blue first", RasterType::Composite24A, false, 0, true},
        {"red first", RasterType::Composite24B, true, 0x123456, false},
    };
    const ScratchFolder folder;
    for (const TypeCase& which : cases) {
        SCOPED_TRACE(which.what);
        const FILEPATH path = folder / "types.sim";
        RasterSpec spec = Spec("Cells", which.type, kColumns, kRows);
        spec.hasNull = which.hasNull;
        spec.nullValue = which.nullValue;
        spec.scale = 0.25;
        spec.offset = -100;
        spec.encoding = TileEncoding::Lossless;
        spec.hasMask = which.hasMask;
        const std::vector<std::byte> cells = RandomCells(which, std::size_t{kColumns} * kRows);
        std::vector<std::uint8_t> mask(which.hasMask ? std::size_t{kColumns} * kRows : 0);
        for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = i % 11 == 0 ? 0 : 200;
        ASSERT_TRUE(Good(WriteRaster(path, spec, {cells}, mask)));
        FILEHANDLE file;
        RASTERHANDLE raster;
        ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
        ASSERT_TRUE(Good(raster.Open(file, 1)));
        EXPECT_EQ(raster.Header().type, which.type);
        EXPECT_EQ(raster.Header().hasNull, which.hasNull);
        EXPECT_EQ(raster.Header().nullValue, which.nullValue);
        EXPECT_EQ(raster.Header().scale, 0.25);
        EXPECT_EQ(raster.Header().offset, -100);

        const auto bytes = static_cast<std::size_t>(BytesOf(which.type));
        std::vector<std::byte> all(cells.size());
        ASSERT_TRUE(Good(raster.ReadBlock(0, 0, kColumns, kRows, all, LineForm::Raw)));
        EXPECT_TRUE(all == cells);
        Dice dice(1);
        for (int i = 0; i < 60;
             ++i) {  // lines, cells and blocks across any borders, also one whole tile
            const int column = i == 0 ? 0 : dice.Below(kColumns),
                      row = i == 0 ? 0 : dice.Below(kRows);
            const int columns = i == 0 ? kTileSide : 1 + dice.Below(kColumns - column);
            const int rows = i == 0       ? kTileSide
                             : i % 3 == 0 ? 1
                                          : 1 + dice.Below(std::min(40, kRows - row));
            std::vector<std::byte> part(static_cast<std::size_t>(columns) *
                                        static_cast<std::size_t>(rows) * bytes);
            ASSERT_TRUE(Good(raster.ReadBlock(column, row, columns, rows, part, LineForm::Raw)));
            EXPECT_TRUE(part == CutOut(cells, bytes, kColumns, column, row, columns, rows));
        }
        if (!which.hasMask) {
            EXPECT_EQ(raster.FindMask(), kNoObject);
            continue;
        }
        RASTERHANDLE maskRaster;
        ASSERT_TRUE(Good(maskRaster.Open(file, raster.FindMask())));
        std::vector<std::byte> line(kColumns);
        for (int row = kRows - 1; row >= 0; --row) {
            ASSERT_TRUE(Good(maskRaster.ReadLine(row, 0, kColumns, line, LineForm::Raw)));
            for (int column = 0; column < kColumns; ++column) {
                const bool opaque = mask[static_cast<std::size_t>(row) * kColumns +
                                         static_cast<std::size_t>(column)] != 0;
                ASSERT_EQ(line[static_cast<std::size_t>(column)], std::byte{opaque})
                    << column << ", " << row;
            }
        }
    }
}

// Tiles never put, padding at the far sides and null cells: none of them may count for the
// statistics.
TEST(Raster, UnknownCellsReadAsNullAndDontCount) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "holes.sim";
    const RasterSpec spec = Spec("Height", RasterType::Signed16, 1100, 520);
    RasterSpec withNull = spec;
    withNull.hasNull = true;
    withNull.nullValue = -500;
    PROJECTWRITER writer;
    int plain = kNoObject, holed = kNoObject, set = kNoObject;
    ASSERT_TRUE(Good(writer.Create(path)));
    ASSERT_TRUE(Good(writer.AddRaster(kRootObject, spec, plain)));
    ASSERT_TRUE(Good(writer.AddRaster(kRootObject, withNull, holed)));
    ASSERT_TRUE(Good(writer.AddRaster(kRootObject, withNull, set)));
    std::vector<std::int16_t> heights(kTileCells, 70);
    heights[3] = 20;
    heights[4] = 900;
    heights[5] = -500;
    // The lower right tile counts with 76 columns and 8 rows; 9999 lies beyond them.
    heights[76] = heights[8 * kTileSide] = 9999;
    for (const int raster : {plain, holed}) {
        EncodedTile tile;
        ASSERT_TRUE(Good(PROJECTWRITER::EncodeTile(raster == plain ? spec : withNull, 0,
                                                   std::as_bytes(std::span(heights)), {}, tile)));
        ASSERT_TRUE(Good(writer.PutTile(raster, 0, 2, 1, tile)));
    }
    ASSERT_TRUE(Good(writer.SetStatistics(set, {-3, 5})));
    ASSERT_TRUE(Good(writer.Commit()));

    FILEHANDLE file;
    RASTERHANDLE raster;
    RasterStatistics statistics;
    std::int16_t row[2];
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    for (const auto& [number, minimum, maximum, unknown] : {std::tuple{plain, -500.0, 900.0, 0},
                                                            {holed, 20.0, 900.0, -500},
                                                            {set, -3.0, 5.0, -500}}) {
        ASSERT_TRUE(Good(raster.Open(file, number)));
        ASSERT_TRUE(Good(raster.GetStatistics(statistics)));
        EXPECT_EQ(statistics.minimum, minimum);
        EXPECT_EQ(statistics.maximum, maximum);
        ASSERT_TRUE(Good(
            raster.ReadLine(0, 511, 2, std::as_writable_bytes(std::span(row)), LineForm::Raw)));
        EXPECT_EQ(row[0], unknown);
        EXPECT_EQ(row[1], unknown);
    }
}

TEST(Raster, LevelsAndMasksStandBeneathTheirRaster) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "levels.sim";
    RasterSpec spec =
        Placed(Spec("Land", RasterType::Composite24B, 1025, 600), {400000, 2, 0, 5600000, 0, -4});
    spec.levels = 3;
    spec.hasMask = true;
    {
        PROJECTWRITER writer;
        int number = kNoObject;
        ASSERT_TRUE(Good(writer.Create(path)));
        ASSERT_TRUE(Good(writer.AddRaster(kRootObject, spec, number)));
        for (int level = 0; level < 3; ++level) {
            const auto count = static_cast<std::size_t>(ReducedSide(1025, 1 << level)) *
                               static_cast<std::size_t>(ReducedSide(600, 1 << level));
            std::vector<std::byte> colors(count * 3, static_cast<std::byte>(50 + 60 * level));
            std::vector<std::uint8_t> mask(count, 1);
            mask[static_cast<std::size_t>(level)] = 0;
            ASSERT_TRUE(Good(PutCells(writer, number, spec, level, colors, mask)));
        }
        EXPECT_EQ(writer.PutTile(number, 2, 1, 0, {}).Code(),
                  StatusCode::BadState);  // 257 columns: one tile
        ASSERT_TRUE(Good(writer.Commit()));
    }
    FILEHANDLE file;
    RASTERHANDLE base;
    std::vector<PyramidLevel> levels;
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    ASSERT_TRUE(Good(base.Open(file, 1)));
    ASSERT_TRUE(Good(base.GetPyramidList(levels)));
    ASSERT_EQ(levels.size(), 2U);
    EXPECT_EQ(file.GetObjectCount(kRootObject, ObjectType::Raster), 1);
    levels.insert(levels.begin(), {1, 1});
    const int sizes[3][2] = {{1025, 600}, {513, 300}, {257, 150}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(levels[i].factor, 1 << i);
        RASTERHANDLE level, mask;
        ASSERT_TRUE(Good(level.Open(file, levels[i].object)));
        EXPECT_EQ(level.Header().columns, sizes[i][0]);
        EXPECT_EQ(level.Header().rows, sizes[i][1]);
        ASSERT_TRUE(Good(mask.Open(file, level.FindMask())));
        std::byte opaque[4], color[3];
        ASSERT_TRUE(Good(mask.ReadLine(0, 0, 4, opaque, LineForm::Raw)));
        for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(opaque[k], std::byte{k != i});
        ASSERT_TRUE(
            Good(level.ReadLine(sizes[i][1] - 1, sizes[i][0] - 1, 1, color, LineForm::Raw)));
        EXPECT_NEAR(std::to_integer<int>(color[1]), 50 + 60 * static_cast<int>(i), 3);
        GeoTransform place;
        COORDREFSYS system;
        double width = 0, height = 0;
        ASSERT_TRUE(Good(level.GetGeoreference(place, system)));
        ASSERT_TRUE(Good(level.GetCellSize(width, height)));
        EXPECT_EQ(place.xOrigin, 400000);
        EXPECT_TRUE(system.Equivalent(spec.system));
        EXPECT_EQ(width, 2 << i);
        EXPECT_EQ(height, 4 << i);
    }
    // A level that isn't its raster reduced would be read at wrong places.
    RunSql(path, "UPDATE zpf_raster SET columns = 512 WHERE factor = 2");
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    ASSERT_TRUE(Good(base.Open(file, 1)));
    EXPECT_EQ(base.GetPyramidList(levels).Code(), StatusCode::FileDamaged);
}

TEST(Raster, ColorsAndProfileStayWithTheRaster) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "colors.sim";
    RasterSpec spec = Spec("Classes", RasterType::Unsigned8, 600, 600);
    spec.levels = 2;
    for (std::uint16_t i = 0; i < 200; ++i) {
        spec.colorMap.push_back({static_cast<std::uint16_t>(i * 300),
                                 static_cast<std::uint16_t>(65535 - i), 77,
                                 static_cast<std::uint16_t>(i << 8)});
    }
    spec.colorProfile.assign(1000, std::byte{42});
    std::vector<std::byte> cells(600 * 600);
    for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<std::byte>(i % 251);
    ASSERT_TRUE(Good(WriteRaster(path, spec, {cells})));
    FILEHANDLE file;
    RASTERHANDLE raster;
    ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
    ASSERT_TRUE(Good(raster.Open(file, 1)));
    EXPECT_EQ(raster.ReadColorProfile(), spec.colorProfile);
    std::vector<std::byte> read(cells.size());
    ASSERT_TRUE(Good(raster.ReadBlock(0, 0, 600, 600, read, LineForm::Raw)));
    EXPECT_TRUE(read == cells);  // numbers beyond the map included
    std::vector<PyramidLevel> levels;
    ASSERT_TRUE(Good(raster.GetPyramidList(levels)));
    ASSERT_EQ(levels.size(), 1U);
    RASTERHANDLE level;
    ASSERT_TRUE(Good(level.Open(file, levels[0].object)));
    for (const RASTERHANDLE* owner : {&raster, &level}) {
        ColorMap map;
        ASSERT_TRUE(Good(owner->ReadColorMap(map)));
        EXPECT_TRUE(std::equal(spec.colorMap.begin(), spec.colorMap.end(), map.begin()));
        EXPECT_EQ(map[255], COLOR{});
    }
}

// Lengths of a degree on the WGS 84 ellipsoid, from geodetic tables.
TEST(Raster, CellsInDegreesHaveTheirSizeInMetresAtTheCentre) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "degrees.sim";
    const std::tuple<const char*, double, double, double> cases[] = {
        {"equator", 0, 111319.5, 110574.3},
        {"60 north", 60, 55800.0, 111412.3},
        {"45 south", -45, 78846.8, 111131.7}};
    for (const auto& [what, latitude, east, north] : cases) {
        SCOPED_TRACE(what);
        const RasterSpec spec = Placed(Spec("Degrees", RasterType::Signed16, 100, 100),
                                       {10, 0.001, 0, latitude + 0.05, 0, -0.001}, "EPSG:4326");
        ASSERT_TRUE(Good(WriteRaster(path, spec, {})));
        FILEHANDLE file;
        RASTERHANDLE raster;
        double width = 0, height = 0;
        ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
        ASSERT_TRUE(Good(raster.Open(file, 1)));
        ASSERT_TRUE(Good(raster.GetCellSize(width, height)));
        EXPECT_NEAR(width, east * 0.001, 0.001);
        EXPECT_NEAR(height, north * 0.001, 0.001);
    }
}

TEST(Raster, ReadsOutsideAreRefused) {
    const ScratchFolder folder;
    ASSERT_TRUE(Good(WriteLandscape(folder / "a.sim")));
    FILEHANDLE file;
    RASTERHANDLE raster;
    std::vector<std::byte> out(513 * 2);
    EXPECT_EQ(raster.ReadLine(0, 0, 1, out, LineForm::Raw).Code(), StatusCode::NotOpen);
    EXPECT_EQ(raster.Open(file, 1).Code(), StatusCode::NotOpen);
    ASSERT_TRUE(Good(file.Open(folder / "a.sim", OpenMode::Read)));
    EXPECT_EQ(raster.Open(file, 4).Code(), StatusCode::BadState);
    ASSERT_TRUE(Good(raster.Open(file, 1)));
    constexpr int kMost = std::numeric_limits<int>::max();
    const int lines[][3] = {
        {-1, 0, 1},    {513, 0, 1},           {0, -1, 2}, {0, 0, 514}, {0, 513, 1},
        {0, 1, kMost}, {kMost, kMost, kMost}, {0, 0, -1}};
    for (const auto& [row, column, count] : lines) {
        EXPECT_EQ(raster.ReadLine(row, column, count, out, LineForm::Raw).Code(),
                  StatusCode::BadState)
            << row << " " << column << " " << count;
    }
    EXPECT_EQ(raster.ReadLine(0, 0, 513, std::span(out).first(1025), LineForm::Raw).Code(),
              StatusCode::BadState);
    EXPECT_TRUE(raster.ReadLine(512, 0, 513, out, LineForm::Signed16).Good());
    // The handle goes on when its file is closed.
    file.CloseFile();
    EXPECT_TRUE(raster.ReadLine(0, 0, 513, out, LineForm::Raw).Good());
}

TEST(Raster, HandlesOfOneFileWorkOnManyThreads) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    std::vector<std::vector<std::byte>> pictures(4);
    {
        std::vector<std::jthread> threads;
        threads.reserve(pictures.size());
        for (std::vector<std::byte>& picture : pictures) {
            threads.emplace_back([&path, &picture] {
                for (int turn = 0; turn < 3; ++turn) {
                    FILEHANDLE file;
                    RASTERHANDLE raster;
                    if (!file.Open(path, OpenMode::Read).Good() || !raster.Open(file, 2).Good())
                        return;
                    picture.assign(1024 * 1024 * 3, std::byte{0});
                    if (!raster.ReadBlock(0, 0, 1024, 1024, picture, LineForm::Raw).Good())
                        picture.clear();
                }
            });
        }
    }
    EXPECT_EQ(pictures[0].size(), 1024U * 1024 * 3);
    for (const std::vector<std::byte>& picture : pictures) EXPECT_TRUE(picture == pictures[0]);
}

TEST(Lzw, AnyBytesComeBack) {
    Dice dice(3);
    for (int turn = 0; turn < 60; ++turn) {
        std::vector<std::byte> plain(static_cast<std::size_t>(dice.Below(turn < 30 ? 700 : 60000)));
        const int variety = 1 + dice.Below(turn % 2 == 0 ? 3 : 256);
        for (std::byte& byte : plain) byte = static_cast<std::byte>(dice.Below(variety));
        std::vector<std::byte> coded, back(plain.size());
        LzwEncode(plain, coded);
        ASSERT_TRUE(LzwDecode(coded, back)) << plain.size();
        EXPECT_TRUE(back == plain);
        if (plain.empty()) continue;
        back.push_back(std::byte{0});  // a byte more than there is
        EXPECT_FALSE(LzwDecode(coded, back));
    }
}

}  // namespace
}  // namespace tarnvale::ZPF

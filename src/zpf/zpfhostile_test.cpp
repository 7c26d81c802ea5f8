#include <fmt/format.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <chrono>
#include <ctime>

#include "zpf/codecs.h"
#include "zpf/sample_for_test.h"

namespace tarnvale::ZPF {
namespace {

/// Opens a file of unknown mind and reads what it offers.
/// @param damaged  out: tiles that couldn't be read
Status ReadAll(const FILEPATH& path, int& damaged) {
    FILEHANDLE file;
    damaged = 0;
    if (const Status status = file.Open(path, OpenMode::Read); !status.Good()) return status;
    for (int number = 1; number < 40; ++number) {
        QNSTRING text;
        static_cast<void>(file.ReadText(number, text).Good());
        RASTERHANDLE raster;
        if (!raster.Open(file, number).Good()) continue;
        const RasterHeader& header = raster.Header();
        std::vector<PyramidLevel> levels;
        RasterStatistics statistics;
        GeoTransform transform;
        COORDREFSYS system;
        static_cast<void>(raster.GetPyramidList(levels).Good());
        static_cast<void>(raster.GetStatistics(statistics).Good());
        static_cast<void>(raster.GetGeoreference(transform, system).Good());
        std::vector<std::byte> cells(kTileCells * 8);
        for (int row = 0; row < std::min(header.rows, 1500); row += kTileSide) {
            for (int column = 0; column < std::min(header.columns, 1500); column += kTileSide) {
                const int columns = std::min(kTileSide, header.columns - column);
                const int rows = std::min(kTileSide, header.rows - row);
                if (!raster.ReadBlock(column, row, columns, rows, cells, LineForm::Raw).Good())
                    ++damaged;
            }
        }
    }
    return StatusCode::Ok;
}

TEST(Hostile, CutAtAnyLengthItIsRefused) {
    const ScratchFolder folder;
    ASSERT_TRUE(Good(WriteLandscape(folder / "good.sim")));
    const std::vector<char> bytes = ReadFile(folder / "good.sim");
    const FILEPATH path = folder / "cut.sim";
    for (std::size_t length = 0; length < bytes.size();
         length += length < 200 ? 33 : bytes.size() / 60) {
        WriteFile(path, std::span(bytes).first(length));
        int damaged = 0;
        const StatusCode wanted = length < 16 ? StatusCode::NotALandscape : StatusCode::FileDamaged;
        EXPECT_EQ(ReadAll(path, damaged).Code(), wanted) << length;
    }
}

TEST(Hostile, FlippedBytesNeverDoMoreThanSpoilWhatTheyHit) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> bytes = ReadFile(path);
    int refused = 0, spoilt = 0, unseen = 0;
    Dice dice(7);
    for (int turn = 0; turn < 200; ++turn) {
        std::vector<char> changed = bytes;
        // Half of the flips hit the schema and the headers at the front, where one byte does most.
        const int range = turn % 2 == 0 ? static_cast<int>(bytes.size()) : 12 * 8192;
        for (int i = 0; i <= turn % 3; ++i) {
            char& byte = changed[static_cast<std::size_t>(dice.Below(range))];
            byte = static_cast<char>(byte ^ (1 << dice.Below(8)));
        }
        WriteFile(path, changed);
        int damaged = 0;
        const auto begin = std::chrono::steady_clock::now();
        const Status status = ReadAll(path, damaged);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5)) << turn;
        ++(!status.Good() ? refused : damaged > 0 ? spoilt : unseen);
    }
    // Flips in pixels and in free space can't all be seen; the others must be.
    EXPECT_GT(refused, 5);
    EXPECT_GT(spoilt, 25);
}

TEST(Hostile, OddSchemasAreRefused) {
    const ScratchFolder folder;
    const std::tuple<const char*, const char*, StatusCode> cases[] = {
        {"view", "CREATE VIEW v AS SELECT 1", StatusCode::FileRefused},
        {"view for a table of ours",
         "ALTER TABLE zpf_text RENAME TO t; CREATE VIEW zpf_text AS SELECT * FROM t",
         StatusCode::FileRefused},
        {"trigger", "CREATE TRIGGER t AFTER INSERT ON gpkg_contents BEGIN SELECT 1; END",
         StatusCode::FileRefused},
        {"trigger on a table of ours, named as a usual one",
         "CREATE TRIGGER zpf_tile_zoom_insert AFTER INSERT ON zpf_tile BEGIN SELECT 1; END",
         StatusCode::FileRefused},
        {"full text table", "CREATE VIRTUAL TABLE f USING fts5(a)", StatusCode::FileRefused},
        {"full text table named as an index", "CREATE VIRTUAL TABLE rtree_Land_x USING fts5(a)",
         StatusCode::FileRefused},
        {"index of no table", "CREATE VIRTUAL TABLE rtree_nothing_x USING rtree(id, a, b, c, d)",
         StatusCode::FileRefused},
        {"lost table", "DROP TABLE zpf_color", StatusCode::FileRefused},
        {"lost column", "ALTER TABLE zpf_raster DROP COLUMN factor", StatusCode::FileRefused},
        {"column too many", "ALTER TABLE zpf_object ADD COLUMN more", StatusCode::FileRefused},
        {"computed column",
         "DROP TABLE zpf_text; CREATE TABLE zpf_text (object INTEGER PRIMARY KEY,"
         " content TEXT GENERATED ALWAYS AS (hex(object)) VIRTUAL)",
         StatusCode::FileRefused},
        {"no contents", "DROP TABLE gpkg_contents", StatusCode::FileRefused},
        {"negative number", "UPDATE zpf_object SET number = -5 WHERE number = 1",
         StatusCode::FileDamaged},
        {"its own parent", "UPDATE zpf_object SET parent = 2 WHERE number = 2",
         StatusCode::FileDamaged},
        {"child before parent", "UPDATE zpf_object SET parent = 4 WHERE number = 2",
         StatusCode::FileDamaged},
        {"missing parent", "UPDATE zpf_object SET number = 9 WHERE number = 2",
         StatusCode::FileDamaged},
        {"negative type", "UPDATE zpf_object SET type = -3 WHERE number = 1",
         StatusCode::FileDamaged},
        {"name of no text", "UPDATE zpf_object SET name = x'00ff' WHERE number = 1",
         StatusCode::FileDamaged},
        {"huge number", "INSERT INTO zpf_object VALUES (99999999999, 0, 2, 'a', '', 0)",
         StatusCode::FileDamaged},
        {"endless objects",
         "WITH RECURSIVE n(i) AS (VALUES (9) UNION ALL SELECT i + 1 FROM n LIMIT 70000)"
         " INSERT INTO zpf_object SELECT i, 0, 2, 'a', '', 0 FROM n",
         StatusCode::FileDamaged},
        {"a name that would speak to a terminal",
         "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = 'CREATE' || char(27, 7),"
         " name = 'x' || char(27) || '[2J' WHERE name = 'zpf_text'",
         StatusCode::FileDamaged},
        // What programs that keep GeoPackage's rules add is taken.
        {"a vector layer with its index",
         "CREATE TABLE roads (fid INTEGER PRIMARY KEY, geom BLOB, name TEXT);"
         "CREATE VIRTUAL TABLE \"rtree_roads_geom\" USING rtree(id, minx, maxx, miny, maxy);"
         "CREATE TRIGGER rtree_roads_geom_insert AFTER INSERT ON roads BEGIN SELECT 1; END;"
         "CREATE TRIGGER rtree_roads_geom_update6 AFTER UPDATE ON roads BEGIN SELECT 1; END;"
         "CREATE TRIGGER trigger_delete_feature_count_roads AFTER DELETE ON roads BEGIN SELECT 1; "
         "END;"
         "CREATE TRIGGER gpkg_tile_matrix_zoom_level_insert BEFORE INSERT ON gpkg_tile_matrix "
         "BEGIN SELECT 1; END;"
         "CREATE TRIGGER Land_tile_row_update BEFORE UPDATE ON Land BEGIN SELECT 1; END",
         StatusCode::Ok},
        {"other tables", "CREATE TABLE layer_styles (id INTEGER PRIMARY KEY, styleqml TEXT)",
         StatusCode::Ok},
        {"an object of a type to come", "UPDATE zpf_object SET type = 77 WHERE number = 4",
         StatusCode::Ok},
        {"none of our tables",
         "PRAGMA foreign_keys=OFF; DROP TABLE zpf_object; DROP TABLE zpf_raster; DROP TABLE "
         "zpf_tile;"
         "DROP TABLE zpf_color; DROP TABLE zpf_text; DROP TABLE zpf_table; DROP TABLE zpf_profile",
         StatusCode::Ok},
    };
    const FILEPATH path = folder / "odd.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> good = ReadFile(path);
    for (const auto& [what, sql, code] : cases) {
        WriteFile(path, good);
        RunSql(path, sql);
        FILEHANDLE file;
        const Status status = file.Open(path, OpenMode::Read);
        const std::string said = status.Good() ? "" : GetErrPosn().detail;
        EXPECT_EQ(status.Code(), code) << what << ": " << said;
        EXPECT_TRUE(std::ranges::none_of(said, [](char c) { return c > 0 && c < ' '; })) << said;
    }
}

// Each table costs time before the first of them can be looked at.
TEST(Hostile, EndlessTablesAreGivenUpSoon) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "many.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    RunSql(path,
           "PRAGMA writable_schema = ON;"
           "WITH RECURSIVE n(i) AS (VALUES (0) UNION ALL SELECT i + 1 FROM n LIMIT 60000)"
           " INSERT INTO sqlite_master SELECT 'table', 't' || i, 't' || i, (SELECT rootpage FROM "
           "sqlite_master"
           " WHERE name = 'zpf_text'), 'CREATE TABLE t' || i || ' (a)' FROM n");
    FILEHANDLE file;
    const std::clock_t begin = std::clock();
    EXPECT_EQ(file.Open(path, OpenMode::Read).Code(), StatusCode::FileDamaged);
    EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 1.0);
}

TEST(Hostile, HeadersThatCantBeAreDamage) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    const std::pair<const char*, StatusCode> cases[] = {
        {"columns = -4", StatusCode::FileDamaged},
        {"rows = 16777217", StatusCode::FileDamaged},
        {"columns = 16777216, rows = 16777216", StatusCode::FileDamaged},
        {"columns = 9001, rows = 9001, object = 1", StatusCode::FileDamaged},
        {"columns = 'many'", StatusCode::FileDamaged},
        {"data_type = 3", StatusCode::FileDamaged},
        {"data_type = 4294967297", StatusCode::FileDamaged},
        {"value_scale = 9e999", StatusCode::FileDamaged},
        {"has_null = 7", StatusCode::FileDamaged},
        {"minimum = 5, maximum = 4", StatusCode::FileDamaged},
        {"factor = 0", StatusCode::FileDamaged},
        {"x_column = -9e999", StatusCode::FileDamaged},
        {"tile_table = 'sqlite_master'", StatusCode::FileDamaged},
        {"tile_table = 'a\"; DROP TABLE zpf_object; --'", StatusCode::FileDamaged},
        {"tile_table = 'no_such_table'", StatusCode::FileDamaged},
        {"tile_table = x'41'", StatusCode::FileDamaged},
        {"tile_table = 'other'", StatusCode::FileRefused},
        {"object = 99", StatusCode::FileDamaged},
    };
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> good = ReadFile(path);
    for (const auto& [set, code] : cases) {
        WriteFile(path, good);
        RunSql(
            path,
            std::string(
                "CREATE TABLE other (id INTEGER PRIMARY KEY, zoom_level, tile_column, tile_data);"
                "UPDATE zpf_raster SET ") +
                set + " WHERE object = 1");
        FILEHANDLE file;
        RASTERHANDLE raster;
        ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
        EXPECT_EQ(raster.Open(file, 1).Code(), code) << set;
        EXPECT_TRUE(raster.Open(file, 2).Good()) << set;
    }
}

std::vector<std::byte> JpegOf(int side) {
    std::vector<unsigned char> pixels(
        static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * 3, 99);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    tjhandle codec = tjInitCompress();
    EXPECT_EQ(tjCompress2(codec, pixels.data(), side, 0, side, TJPF_RGB, &buffer, &size, TJSAMP_420,
                          80, 0),
              0);
    const auto* first = reinterpret_cast<const std::byte*>(buffer);
    std::vector<std::byte> blob(first, first + size);
    tjFree(buffer);
    tjDestroy(codec);
    return blob;
}

// A PNG of a tile whose stream goes on behind the picture.
std::vector<std::byte> SwellingPng() {
    std::vector<std::byte> png, stream;
    EXPECT_TRUE(Good(EncodePng(std::vector<std::byte>(kTileCells * 3), PixelOrder::Rgb, {}, png)));
    EXPECT_TRUE(Good(Deflate(std::vector<std::byte>(200 << 20), stream)));
    const auto put = [&png](std::size_t number) {
        for (int shift = 24; shift >= 0; shift -= 8)
            png.push_back(static_cast<std::byte>(number >> shift & 0xFF));
    };
    png.resize(8 + 25);  // signature and header
    for (const auto& [kind, data] : {std::pair{"IDAT", stream}, {"IEND", {}}}) {
        put(data.size());
        const std::size_t start = png.size();
        for (int i = 0; i < 4; ++i) png.push_back(static_cast<std::byte>(kind[i]));
        png.insert(png.end(), data.begin(), data.end());
        put(crc32(0, reinterpret_cast<const Bytef*>(&png[start]),
                  static_cast<uInt>(png.size() - start)));
    }
    return png;
}

// Whatever stands in one tile's place costs that tile alone.
TEST(Hostile, ATileThatIsNoneCostsOnlyItself) {
    std::vector<std::byte> png, half = JpegOf(kTileSide), plain;
    ASSERT_TRUE(Good(EncodePng(std::vector<std::byte>(kTileCells * 3), PixelOrder::Rgb, {}, png)));
    half.resize(half.size() / 2);
    std::vector<std::byte> header = half;
    header[24] = std::byte{15};  // a table of a number that none can have
    std::vector<std::byte> wide = png, grey, numbers;
    wide[17] = wide[21] = std::byte{0xFF};  // width and height in the header's middle bytes
    ASSERT_TRUE(Good(EncodePng(std::vector<std::byte>(kTileCells), PixelOrder::Grey, {}, grey)));
    ASSERT_TRUE(Good(EncodePng16(std::vector<std::uint16_t>(kTileCells), numbers)));
    ASSERT_TRUE(Good(Deflate(std::vector<std::byte>(200 << 20), plain)));
    std::vector<std::byte> badCheck = png;
    badCheck[badCheck.size() - 20] ^= std::byte{1};
    const std::tuple<const char*, int, std::vector<std::byte>> cases[] = {
        {"text", 2, std::vector<std::byte>(900, std::byte{'x'})},
        {"nothing", 2, {}},
        {"small JPEG", 2, JpegOf(256)},
        {"huge JPEG", 2, JpegOf(4096)},
        {"half a JPEG", 2, half},
        {"JPEG with a broken header", 2, header},
        {"PNG that says it is huge", 2, wide},
        {"PNG with a flipped bit", 2, badCheck},
        {"PNG that swells behind its picture", 2, SwellingPng()},
        {"longer than any tile", 2, std::vector<std::byte>(5 << 20)},
        {"stream that swells", 1, plain},
        {"8 bits where 16 belong", 1, grey},
        {"JPEG where numbers belong", 1, JpegOf(kTileSide)},
    };
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> good = ReadFile(path);
    for (const auto& [what, object, blob] : cases) {
        SCOPED_TRACE(what);
        WriteFile(path, good);
        std::string hex;
        for (const std::byte byte : blob) {
            constexpr const char* kDigits = "0123456789abcdef";
            hex += kDigits[std::to_integer<unsigned>(byte) >> 4];
            hex += kDigits[std::to_integer<unsigned>(byte) & 15];
        }
        const std::string table = object == 1 ? "Height" : "Land";
        RunSql(path, fmt::format("UPDATE {0} SET tile_data = x'{1}' WHERE tile_column = 0 AND "
                                 "tile_row = 0 AND zoom_level = (SELECT max(zoom_level) FROM {0})",
                                 table, hex));
        FILEHANDLE file;
        RASTERHANDLE raster;
        ASSERT_TRUE(Good(file.Open(path, OpenMode::Read)));
        ASSERT_TRUE(Good(raster.Open(file, object)));
        const auto bytes = static_cast<std::size_t>(BytesOf(raster.Header().type));
        std::vector<std::byte> line(513 * bytes, std::byte{1}), blank(512 * bytes),
            whole(kTileCells * bytes);
        FillBlank(raster.Header(), blank);
        for (int turn = 0; turn < 2; ++turn) {  // the second time from what is kept
            EXPECT_EQ(raster.ReadLine(9, 0, 513, line, LineForm::Raw).Code(),
                      StatusCode::FileDamaged);
            EXPECT_TRUE(std::equal(blank.begin(), blank.end(), line.begin()));
            EXPECT_NE(line.back(), std::byte{0});  // the neighbour
        }
        EXPECT_EQ(raster.ReadBlock(0, 0, 512, 512, whole, LineForm::Raw).Code(),
                  StatusCode::FileDamaged);
        EXPECT_TRUE(std::equal(blank.begin(), blank.end(), whole.begin()));
        EXPECT_NE(GetErrPosn().detail.find("tile 0, 0"), std::string::npos) << GetErrPosn().detail;
        EXPECT_TRUE(raster.ReadLine(512, 0, 513, line, LineForm::Raw).Good());
    }
    WriteFile(path, good);
    RunSql(path, "UPDATE Land SET tile_data = 17");
    int damaged = 0;
    ASSERT_TRUE(Good(ReadAll(path, damaged)));
    EXPECT_EQ(damaged, 5);
}

}  // namespace
}  // namespace tarnvale::ZPF

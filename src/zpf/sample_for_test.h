#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "zpf/cells.h"
#include "zpf/schema.h"
#include "zpf/zpfwriter.h"

namespace tarnvale::ZPF {

/// A folder of the test's own, gone with it.
class ScratchFolder {
public:
    ScratchFolder() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        path_ = FILEPATH(TARNVALE_TEST_TEMP) /
                (std::string("zpf-") + test->name() + "-" + std::to_string(getpid()));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    [[nodiscard]] FILEPATH operator/(const char* name) const { return path_ / name; }
    [[nodiscard]] std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

private:
    FILEPATH path_;
};

/// For ASSERT_TRUE: says the store's own words when it fails.
inline testing::AssertionResult Good(Status status) {
    if (status.Good()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << status.Value() << ": " << GetErrPosn().detail;
}

/// Numbers that look random and are the same in each run.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state_(seed * 2 + 1) {}
    std::uint32_t Roll() {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::uint32_t>(state_ >> 33);
    }
    int Below(int limit) { return static_cast<int>(Roll() % static_cast<std::uint32_t>(limit)); }

private:
    std::uint64_t state_;
};

/// Cuts a whole raster into tiles, padded with zeros, and stores them.
inline Status PutCells(PROJECTWRITER& writer, int raster, const RasterSpec& spec, int level,
                       std::span<const std::byte> cells, std::span<const std::uint8_t> mask) {
    const auto bytes = static_cast<std::size_t>(BytesOf(spec.type));
    const int columns = ReducedSide(spec.columns, 1 << level),
              rows = ReducedSide(spec.rows, 1 << level);
    for (int tileRow = 0; tileRow * kTileSide < rows; ++tileRow) {
        for (int tileColumn = 0; tileColumn * kTileSide < columns; ++tileColumn) {
            std::vector<std::byte> tileCells(kTileCells * bytes);
            std::vector<std::uint8_t> tileMask(mask.empty() ? 0 : kTileCells);
            const int left = tileColumn * kTileSide, top = tileRow * kTileSide;
            const auto width = static_cast<std::size_t>(std::min(kTileSide, columns - left));
            for (int row = top; row < std::min(top + kTileSide, rows); ++row) {
                const auto from =
                    static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                    static_cast<std::size_t>(left);
                const std::size_t to = static_cast<std::size_t>(row - top) * kTileSide;
                std::ranges::copy(cells.subspan(from * bytes, width * bytes),
                                  &tileCells[to * bytes]);
                if (!mask.empty()) std::ranges::copy(mask.subspan(from, width), &tileMask[to]);
            }
            EncodedTile tile;
            Status status = PROJECTWRITER::EncodeTile(spec, level, tileCells, tileMask, tile);
            if (status.Good()) status = writer.PutTile(raster, level, tileColumn, tileRow, tile);
            if (!status.Good()) return status;
        }
    }
    return StatusCode::Ok;
}

inline RasterSpec Spec(std::string name, RasterType type, int columns, int rows) {
    RasterSpec spec;
    spec.name = std::move(name);
    spec.type = type;
    spec.columns = columns;
    spec.rows = rows;
    return spec;
}
inline RasterSpec Placed(RasterSpec spec, const GeoTransform& place,
                         const char* system = "EPSG:32633") {
    EXPECT_TRUE(Good(COORDREFSYS::FromText(system, spec.system)));
    spec.georeference = place;
    return spec;
}

/// Adds a raster with the cells of its levels, the finest first. @param mask  of the finest
inline Status AddCells(PROJECTWRITER& writer, const RasterSpec& spec,
                       std::initializer_list<std::span<const std::byte>> levels,
                       std::span<const std::uint8_t> mask = {}) {
    int number = kNoObject, level = 0;
    Status status = writer.AddRaster(kRootObject, spec, number);
    for (const auto cells : levels) {
        if (status.Good()) status = PutCells(writer, number, spec, level, cells, mask);
        ++level;
        mask = {};
    }
    return status;
}

/// Writes a file of one raster, object 1.
inline Status WriteRaster(const FILEPATH& path, const RasterSpec& spec,
                          std::initializer_list<std::span<const std::byte>> levels,
                          std::span<const std::uint8_t> mask = {}) {
    PROJECTWRITER writer;
    Status status = writer.Create(path);
    if (status.Good()) status = AddCells(writer, spec, levels, mask);
    return status.Good() ? writer.Commit() : status;
}

/// @return rows of `raster` from cell (column, row) on, as they lie in `cells`, a raster `across`
/// wide
inline std::vector<std::byte> CutOut(std::span<const std::byte> cells, std::size_t bytes,
                                     int across, int column, int row, int columns, int rows) {
    std::vector<std::byte> part;
    for (int y = row; y < row + rows; ++y) {
        const std::size_t from = static_cast<std::size_t>(y) * static_cast<std::size_t>(across) +
                                 static_cast<std::size_t>(column);
        const auto line = cells.subspan(from * bytes, static_cast<std::size_t>(columns) * bytes);
        part.insert(part.end(), line.begin(), line.end());
    }
    return part;
}

/// A small landscape: a DEM of 513 x 513 signed cells with a null value, object 1, over it a JPEG
/// texture of 1024 x 1024 with two levels, objects 2 and 3, and a text, object 4.
inline Status WriteLandscape(const FILEPATH& path) {
    RasterSpec dem =
        Placed(Spec("Height", RasterType::Signed16, 513, 513), {400000, 30, 0, 5600000, 0, -30});
    dem.hasNull = true;
    dem.nullValue = -9999;
    std::vector<std::int16_t> heights;
    for (int i = 0; i < 513 * 513; ++i)
        heights.push_back(static_cast<std::int16_t>(i % 513 + i / 513 % 100 - 40));
    heights[7] = -9999;
    RasterSpec texture = Placed(Spec("Land", RasterType::Composite24B, 1024, 1024),
                                {400015, 15, 0, 5599985, 0, -15});
    texture.levels = 2;
    const auto colors = [](std::size_t side) {
        std::vector<std::byte> cells(side * side * 3);
        for (std::size_t i = 0; i < cells.size(); ++i)
            cells[i] = static_cast<std::byte>(i / 3 % side / 8 + i % 3 * 40);
        return cells;
    };
    PROJECTWRITER writer;
    int number = kNoObject;
    Status status = writer.Create(path);
    if (status.Good()) status = AddCells(writer, dem, {std::as_bytes(std::span(heights))});
    if (status.Good()) status = AddCells(writer, texture, {colors(1024), colors(512)});
    if (status.Good()) status = writer.AddText(kRootObject, "About", "A small landscape.", number);
    return status.Good() ? writer.Commit() : status;
}

inline std::vector<char> ReadFile(const FILEPATH& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void WriteFile(const FILEPATH& path, std::span<const char> bytes) {
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// Does to a file what another program could.
inline void RunSql(const FILEPATH& path, const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK)
        << sql << ": " << (message == nullptr ? "" : message);
    sqlite3_free(message);
    sqlite3_close(connection);
}

}  // namespace tarnvale::ZPF

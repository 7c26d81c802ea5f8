#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>
#include <string>
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
    PROJECTWRITER writer;
    if (const Status status = writer.Create(path); !status.Good()) return status;
    RasterSpec dem;
    dem.name = "Height";
    dem.type = RasterType::Signed16;
    dem.columns = dem.rows = 513;
    dem.hasNull = true;
    dem.nullValue = -9999;
    if (const Status status = COORDREFSYS::FromText("EPSG:32633", dem.system); !status.Good())
        return status;
    dem.georeference = {400000, 30, 0, 5600000, 0, -30};
    int number = kNoObject;
    if (const Status status = writer.AddRaster(kRootObject, dem, number); !status.Good())
        return status;
    std::vector<std::int16_t> heights(513 * 513);
    for (int i = 0; i < 513 * 513; ++i) {
        heights[static_cast<std::size_t>(i)] =
            static_cast<std::int16_t>(i % 513 + i / 513 % 100 - 40);
    }
    heights[7] = -9999;
    if (const Status status =
            PutCells(writer, number, dem, 0, std::as_bytes(std::span(heights)), {});
        !status.Good()) {
        return status;
    }
    RasterSpec texture;
    texture.name = "Land";
    texture.columns = texture.rows = 1024;
    texture.levels = 2;
    texture.system = dem.system;
    texture.georeference = {400015, 15, 0, 5599985, 0, -15};
    if (const Status status = writer.AddRaster(kRootObject, texture, number); !status.Good())
        return status;
    for (int level = 0; level < 2; ++level) {
        const std::size_t side = 1024U >> level;
        std::vector<std::byte> colors(side * side * 3);
        for (std::size_t i = 0; i < colors.size(); ++i)
            colors[i] = static_cast<std::byte>(i / 3 % side / 8 + i % 3 * 40);
        if (const Status status = PutCells(writer, number, texture, level, colors, {});
            !status.Good())
            return status;
    }
    if (const Status status = writer.AddText(kRootObject, "About", "A small landscape.", number);
        !status.Good()) {
        return status;
    }
    return writer.Commit();
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

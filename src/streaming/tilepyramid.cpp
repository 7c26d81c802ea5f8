#include "streaming/tilepyramid.h"

#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "landscape/texturedomain.h"

namespace tarnvale {

namespace {
constexpr auto kRefused = static_cast<StatusCode>(-1);
}

Status TilePyramid::BuildPyramid(int width, int height, int log2Side) try {
    Clear();
    if (width <= 0 || height <= 0 || log2Side < 0 || log2Side >= kLog2Sides) {
        return _SetErrPosn(kRefused, "a tile pyramid needs a domain and a tile side above 0");
    }
    const std::int64_t side = std::int64_t{1} << log2Side;
    const std::int64_t across = (width + side - 1) / side;
    const std::int64_t down = (height + side - 1) / side;
    const int top =
        IntegerLog2(static_cast<std::uint32_t>(std::max(across, down)), LogRounding::Up);
    if (top >= kMostLevels) {
        return _SetErrPosn(
            kRefused, fmt::format("a texture domain of {} x {} pixels is too large; reduce the "
                                  "texture's resolution or its terrain's extent",
                                  width, height));
    }
    const auto levels = static_cast<std::size_t>(top) + 1;
    // Level sizes are powers of four, so their sum is (4^levels - 1) / 3.
    const std::size_t count = ((std::size_t{1} << (2 * levels)) - 1) / 3;
    std::vector<TileLevel> made(levels);
    auto entries = std::make_unique<TileEntry[]>(count);
    std::uint32_t first = 0;
    for (std::size_t k = 0; k < levels; ++k) {
        TileLevel& level = made[k];
        level.log2Across_ = top - static_cast<int>(k);
        level.log2Side_ = log2Side;
        level.index_ = static_cast<int>(k);
        level.firstNumber_ = first;
        level.finer_ = k > 0 ? &made[k - 1] : nullptr;
        level.coarser_ = k + 1 < levels ? &made[k + 1] : nullptr;
        level.entries_ = {entries.get() + first, level.Count()};
        std::int32_t index = 0;
        for (TileEntry& entry : level.entries_) {
            entry.index_ = index++;
            entry.level_ = &level;
        }
        first += level.Count();
    }
    width_ = width;
    height_ = height;
    levels_ = std::move(made);  // its levels keep their addresses
    entries_ = std::move(entries);
    count_ = count;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory,
                       "no memory for the tile pyramid; close other programs");
}

void TilePyramid::Clear() {
    levels_.clear();
    entries_.reset();
    count_ = 0;
    width_ = height_ = 0;
}

TileEntry* TilePyramid::Parent(const TileEntry& tile) const noexcept {
    const TileLevel* coarser = tile.Level().Coarser();
    if (coarser == nullptr) return nullptr;
    const std::uint32_t index = ((tile.Row() >> 1) << coarser->Log2Across()) + (tile.Column() >> 1);
    return &coarser->Entries()[index];
}

TileEntry* TilePyramid::EntryAt(int level, int x, int y) const noexcept {
    if (level < 0 || static_cast<std::size_t>(level) >= levels_.size() || x < 0 || y < 0) {
        return nullptr;
    }
    const TileLevel& grid = levels_[static_cast<std::size_t>(level)];
    const std::uint32_t column = static_cast<std::uint32_t>(x) >> grid.Log2Span();
    const std::uint32_t row = static_cast<std::uint32_t>(y) >> grid.Log2Span();
    if (column >= grid.Across() || row >= grid.Down()) return nullptr;
    return &grid.Entries()[(row << grid.Log2Across()) + column];
}

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

class TileLevel;
class TilePyramid;

/// One tile in the abstract, identified by its address for as long as its pyramid lives.
/// Thread: level and index never change after the build, so any thread may read them; the in-flight
/// byte belongs to the frame cycle alone.
class TileEntry {
public:
    [[nodiscard]] std::int32_t Index() const noexcept { return index_; }
    [[nodiscard]] const TileLevel& Level() const noexcept { return *level_; }
    [[nodiscard]] std::uint32_t Column() const noexcept;
    [[nodiscard]] std::uint32_t Row() const noexcept;

    /// Whether the tile has been given to the loader and hasn't come back.
    bool inFlight = false;
    /// Never to be wished for: no pixel of the raster lies in it.
    bool empty = false;
    /// The graphics system refused it, or the loader had nothing for it: not worth waiting for.
    bool hopeless = false;

private:
    friend class TilePyramid;
    std::int32_t index_ = -1;
    const TileLevel* level_ = nullptr;
};
static_assert(sizeof(TileEntry) == 16);

/// One level of a pyramid: a square grid of tiles, a power of two on each side.
class TileLevel {
public:
    [[nodiscard]] std::uint32_t Across() const noexcept { return 1U << log2Across_; }
    [[nodiscard]] std::uint32_t Down() const noexcept { return Across(); }
    [[nodiscard]] std::uint32_t Count() const noexcept { return 1U << (2 * log2Across_); }
    [[nodiscard]] int Log2Across() const noexcept { return log2Across_; }
    [[nodiscard]] int Log2Side() const noexcept { return log2Side_; }
    [[nodiscard]] std::uint32_t Side() const noexcept { return 1U << log2Side_; }
    /// Pixels of the full-resolution domain that one tile covers on a side, and their logarithm.
    [[nodiscard]] std::uint32_t Span() const noexcept { return 1U << Log2Span(); }
    [[nodiscard]] int Log2Span() const noexcept { return log2Side_ + index_; }
    [[nodiscard]] int Index() const noexcept { return index_; }  ///< 0 the finest
    /// Counted from the top: 1 the coarsest.
    [[nodiscard]] int LevelNumber() const noexcept { return log2Across_ + 1; }
    /// Number of this level's first entry among all entries of the pyramid.
    [[nodiscard]] std::uint32_t FirstNumber() const noexcept { return firstNumber_; }
    [[nodiscard]] const TileLevel* Coarser() const noexcept { return coarser_; }
    [[nodiscard]] const TileLevel* Finer() const noexcept { return finer_; }
    [[nodiscard]] std::span<TileEntry> Entries() const noexcept { return entries_; }

private:
    friend class TilePyramid;
    int log2Across_ = 0;
    int log2Side_ = 0;
    int index_ = 0;
    std::uint32_t firstNumber_ = 0;
    const TileLevel* coarser_ = nullptr;
    const TileLevel* finer_ = nullptr;
    std::span<TileEntry> entries_;
};

inline std::uint32_t TileEntry::Column() const noexcept {
    return static_cast<std::uint32_t>(index_) & (level_->Across() - 1);
}
inline std::uint32_t TileEntry::Row() const noexcept {
    return static_cast<std::uint32_t>(index_) >> level_->Log2Across();
}

/// The grid of tiles over a texture's domain. All entries lie in one array, level after level, the
/// finest first, row by row; an entry's place there is its number. A tile's number is what flat
/// tables elsewhere are indexed by.
/// Thread: the frame cycle's; entries and levels may be read by the loader after the build.
class TilePyramid {
public:
    /// Sides of a tile of 2^13 pixels or more don't exist.
    static constexpr int kLog2Sides = 13;
    /// More levels would cost more memory for the grid alone than a landscape is worth: with tiles
    /// of 512 pixels, a domain of a million pixels on a side fits.
    static constexpr int kMostLevels = 12;

    TilePyramid() = default;
    TilePyramid(const TilePyramid&) = delete;
    TilePyramid& operator=(const TilePyramid&) = delete;

    /// Replaces what there is.
    /// @param width, height  of the domain in pixels
    /// @param log2Side       of a tile, 0 to kLog2Sides - 1
    /// @return status -1 unless width, height and tile side are above 0, or for a domain beyond
    ///         kMostLevels; NoMemory. The pyramid is then empty and not Ok.
    Status BuildPyramid(int width, int height, int log2Side);
    void Clear();

    [[nodiscard]] bool Ok() const noexcept { return !levels_.empty(); }
    [[nodiscard]] int Width() const noexcept { return width_; }
    [[nodiscard]] int Height() const noexcept { return height_; }
    /// Index 0 the finest.
    [[nodiscard]] std::span<const TileLevel> Levels() const noexcept { return levels_; }
    [[nodiscard]] std::span<TileEntry> Entries() noexcept { return {entries_.get(), count_}; }
    [[nodiscard]] TileEntry& Root() noexcept { return entries_[count_ - 1]; }

    [[nodiscard]] std::uint32_t NumberOf(const TileEntry& tile) const noexcept {
        return static_cast<std::uint32_t>(&tile - entries_.get());
    }
    [[nodiscard]] TileEntry& At(std::uint32_t number) noexcept { return entries_[number]; }
    /// @return null on the coarsest level
    [[nodiscard]] TileEntry* Parent(const TileEntry& tile) const noexcept;
    /// The entry that holds domain pixel (x, y) on a level. @return null outside the level
    [[nodiscard]] TileEntry* EntryAt(int level, int x, int y) const noexcept;

private:
    int width_ = 0, height_ = 0;
    std::vector<TileLevel> levels_;
    std::unique_ptr<TileEntry[]> entries_;
    std::size_t count_ = 0;
};

}  // namespace tarnvale

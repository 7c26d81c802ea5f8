#include "tools/buildpyramid.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <tuple>

namespace tarnvale {

namespace {

using ZPF::kTileSide;
constexpr auto kSide = static_cast<std::size_t>(kTileSide);
constexpr std::size_t kHalf = kSide / 2;
constexpr std::size_t kColors = 3;
/// Tiles along one side of a block that one thread takes: neighbours share what they read.
constexpr int kBlockTiles = 4;
constexpr std::size_t kMostWaiting = 64;

int TileCount(int cells) {
    return (cells + kTileSide - 1) / kTileSide;
}

int SideAt(int cells, int level) {
    return std::max(1, (cells + (1 << level) - 1) >> level);
}

/// Bits of x and y interleaved: near places have near numbers.
std::uint64_t Interleave(std::uint32_t x, std::uint32_t y) {
    std::uint64_t code = 0;
    for (int bit = 0; bit < 32; ++bit) {
        code |= static_cast<std::uint64_t>((x >> bit) & 1U) << (2 * bit);
        code |= static_cast<std::uint64_t>((y >> bit) & 1U) << (2 * bit + 1);
    }
    return code;
}

/// Blocks of tiles in the order in which they are read.
std::vector<IntRect> BlocksOf(const IntRect& tiles, const TileSource& source) {
    std::vector<IntRect> blocks;
    if (source.ReadsAlongRows()) {
        for (int y = tiles.y0; y < tiles.y1; ++y) blocks.push_back({tiles.x0, y, tiles.x1, y + 1});
        return blocks;
    }
    // Small rasters in small blocks, so that no thread is left without work.
    const long long count = static_cast<long long>(tiles.x1 - tiles.x0) * (tiles.y1 - tiles.y0);
    int side = kBlockTiles;
    while (side > 1 && count / (side * side) < 4LL * WorkerCount()) side /= 2;
    for (int y = tiles.y0 / side * side; y < tiles.y1; y += side) {
        for (int x = tiles.x0 / side * side; x < tiles.x1; x += side) {
            blocks.push_back({std::max(x, tiles.x0), std::max(y, tiles.y0),
                              std::min(x + side, tiles.x1), std::min(y + side, tiles.y1)});
        }
    }
    std::ranges::stable_sort(blocks, {}, [](const IntRect& b) {
        return Interleave(static_cast<std::uint32_t>(b.x0), static_cast<std::uint32_t>(b.y0));
    });
    return blocks;
}

/// Halves one tile of colour into its quarter of the coarser one.
/// @param width, height  cells of the finer tile that are on the raster
void HalveInto(const RawTile& fine, int width, int height, std::size_t quarterX,
               std::size_t quarterY, RawTile& coarse) {
    const bool masked = !coarse.mask.empty();
    const auto columns = static_cast<std::size_t>(width), rows = static_cast<std::size_t>(height);
    for (std::size_t y = 0; y < (rows + 1) / 2; ++y) {
        const std::size_t above = 2 * y, below = std::min(2 * y + 1, rows - 1);
        for (std::size_t x = 0; x < (columns + 1) / 2; ++x) {
            const std::size_t left = 2 * x, right = std::min(2 * x + 1, columns - 1);
            const std::array<std::size_t, 4> from{above * kSide + left, above * kSide + right,
                                                  below * kSide + left, below * kSide + right};
            const std::size_t to = (y + quarterY * kHalf) * kSide + x + quarterX * kHalf;
            std::array<unsigned, kColors> sum{};
            unsigned count = 0;
            for (const std::size_t i : from) {
                if (masked && fine.mask[i] == 0) continue;
                ++count;
                for (std::size_t c = 0; c < kColors; ++c) {
                    sum[c] += std::to_integer<unsigned>(fine.cells[i * kColors + c]);
                }
            }
            if (masked) coarse.mask[to] = count >= 2 ? 255 : 0;
            if (count == 0) continue;
            for (std::size_t c = 0; c < kColors; ++c) {
                coarse.cells[to * kColors + c] =
                    static_cast<std::byte>((sum[c] + count / 2) / count);
            }
        }
    }
}

Coverage MaskCoverage(const RawTile& tile, int width, int height) {
    if (tile.mask.empty()) return Coverage::Full;
    bool any = false, all = true;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool valid =
                tile.mask[static_cast<std::size_t>(y) * kSide + static_cast<std::size_t>(x)] != 0;
            any = any || valid;
            all = all && valid;
        }
    }
    return all ? Coverage::Full : any ? Coverage::Partial : Coverage::Empty;
}

/// Repeats the outermost pixels beyond a raster's far sides, so that compression makes no halo of
/// them.
void PadFarSides(RawTile& tile, int width, int height) {
    const auto columns = static_cast<std::size_t>(width), rows = static_cast<std::size_t>(height);
    for (std::size_t y = 0; y < kSide; ++y) {
        for (std::size_t x = y < rows ? columns : 0; x < kSide; ++x) {
            const std::size_t from = std::min(y, rows - 1) * kSide + std::min(x, columns - 1);
            std::memcpy(&tile.cells[(y * kSide + x) * kColors], &tile.cells[from * kColors],
                        kColors);
        }
    }
}

/// Gives cells without data a colour of the tile's own, so that compression makes no halo of them.
void FillVoids(RawTile& tile) {
    if (tile.coverage != Coverage::Partial || tile.mask.empty()) return;
    std::array<std::uint64_t, kColors> sum{};
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < tile.mask.size(); ++i) {
        if (tile.mask[i] == 0) continue;
        ++count;
        for (std::size_t c = 0; c < kColors; ++c) {
            sum[c] += std::to_integer<unsigned>(tile.cells[i * kColors + c]);
        }
    }
    if (count == 0) return;
    for (std::size_t i = 0; i < tile.mask.size(); ++i) {
        if (tile.mask[i] != 0) continue;
        for (std::size_t c = 0; c < kColors; ++c) {
            tile.cells[i * kColors + c] = static_cast<std::byte>(sum[c] / count);
        }
    }
}

struct StoredTile {
    int level = 0, column = 0, row = 0;
    bool base = false, empty = false;
    ZPF::EncodedTile encoded;
};

/// A coarser tile that waits for the rest of its four.
struct Growing {
    int missing = 0;
    RawTile tile;  // no buffers while all that came was empty
};

class PyramidJob {
public:
    PyramidJob(ZPF::PROJECTWRITER& writer, int raster, const ZPF::RasterSpec& spec,
               const TileSource& source, Progress& progress)
        : writer_(writer),
          raster_(raster),
          spec_(spec),
          source_(source),
          progress_(progress),
          tiles_(source.Tiles(spec.columns, spec.rows)),
          blocks_(BlocksOf(tiles_, source)) {}

    Status Run(std::string_view text, PyramidReport& report) {
        const long long count =
            static_cast<long long>(tiles_.x1 - tiles_.x0) * (tiles_.y1 - tiles_.y0);
        progress_.Begin(text, static_cast<double>(std::max(1LL, count)), 1.0);
        const int workers = std::clamp(std::min(WorkerCount(), source_.MostReaders()), 1,
                                       std::max(1, static_cast<int>(blocks_.size())));
        working_ = workers;
        std::vector<std::thread> threads;
        try {
            for (int i = 0; i < workers; ++i) threads.emplace_back([this] { Work(); });
        } catch (const std::exception&) {
            Fail(_SetErrPosn(StatusCode::NoMemory, "no thread can be started"));
            const std::scoped_lock lock(lock_);
            working_ -= workers - static_cast<int>(threads.size());
        }
        Store(report);
        for (std::thread& thread : threads) thread.join();
        const std::scoped_lock lock(lock_);
        if (!failure_.Good()) return _SetErrPosn(failure_.Code(), detail_);
        progress_.End();
        return StatusCode::Ok;
    }

private:
    [[nodiscard]] std::size_t CellBytes() const {
        return static_cast<std::size_t>(ZPF::BytesOf(spec_.type));
    }

    /// Rectangle of tiles at a level that may hold data.
    [[nodiscard]] IntRect TilesAt(int level) const {
        return {tiles_.x0 >> level, tiles_.y0 >> level, ((tiles_.x1 - 1) >> level) + 1,
                ((tiles_.y1 - 1) >> level) + 1};
    }

    void SizeTile(RawTile& tile) const {
        tile.cells.assign(kSide * kSide * CellBytes(), std::byte{0});
        if (spec_.hasMask) {
            tile.mask.assign(kSide * kSide, 0);
        } else {
            tile.mask.clear();
        }
    }

    void Fail(Status status) {
        const std::scoped_lock lock(lock_);
        if (failure_.Good()) {
            failure_ = status;
            detail_ = GetErrPosn().code == status.Code() ? GetErrPosn().detail : std::string();
        }
        stop_ = true;
        changed_.notify_all();
    }

    /// A worker's life: blocks until there are none.
    void Work() {
        try {
            if (const Status done = WorkBlocks(); !done.Good()) Fail(done);
        } catch (const std::bad_alloc&) {
            Fail(_SetErrPosn(StatusCode::NoMemory, "not enough memory for the tiles"));
        }
        const std::scoped_lock lock(lock_);
        --working_;
        changed_.notify_all();
    }

    Status WorkBlocks() {
        std::unique_ptr<TileReader> reader;
        if (const Status opened = source_.NewReader(reader); !opened.Good()) return opened;
        RawTile tile;
        SizeTile(tile);
        for (std::size_t block = next_++; block < blocks_.size(); block = next_++) {
            const IntRect& b = blocks_[block];
            for (int row = b.y0; row < b.y1; ++row) {
                for (int column = b.x0; column < b.x1; ++column) {
                    if (stop_) return StatusCode::Ok;
                    const int x = column * kTileSide, y = row * kTileSide;
                    const int width = std::min(kTileSide, spec_.columns - x);
                    const int height = std::min(kTileSide, spec_.rows - y);
                    if (const Status read = reader->Read(x, y, width, height, tile); !read.Good()) {
                        return read;
                    }
                    if (const Status done = Finish(0, column, row, tile); !done.Good()) return done;
                }
            }
        }
        return StatusCode::Ok;
    }

    /// Encodes a tile, hands it over, and gives it to the coarser one; goes on upward while coarser
    /// ones are complete by it.
    Status Finish(int level, int column, int row, RawTile& tile) {
        StoredTile stored{level, column, row, level == 0, tile.coverage == Coverage::Empty, {}};
        const int width = std::min(kTileSide, SideAt(spec_.columns, level) - column * kTileSide);
        const int height = std::min(kTileSide, SideAt(spec_.rows, level) - row * kTileSide);
        if (!stored.empty) {
            if (CellBytes() == kColors && tile.mask.empty()) PadFarSides(tile, width, height);
            FillVoids(tile);
            if (const Status encoded = ZPF::PROJECTWRITER::EncodeTile(spec_, level, tile.cells,
                                                                      tile.mask, stored.encoded);
                !encoded.Good()) {
                return encoded;
            }
        }
        if (level == 0 || !stored.empty) HandOver(std::move(stored));
        if (level + 1 >= spec_.levels) return StatusCode::Ok;

        const int upperColumn = column / 2, upperRow = row / 2;
        Growing* upper = nullptr;
        {
            const std::scoped_lock lock(growingLock_);
            upper = &Upper(level, upperColumn, upperRow, tile.coverage != Coverage::Empty);
        }
        // The four write to different quarters, so this needs no lock.
        if (tile.coverage != Coverage::Empty) {
            HalveInto(tile, width, height, static_cast<std::size_t>(column % 2),
                      static_cast<std::size_t>(row % 2), upper->tile);
        }
        RawTile complete;
        {
            const std::scoped_lock lock(growingLock_);
            if (--upper->missing > 0) return StatusCode::Ok;
            complete = std::move(upper->tile);
            growing_.erase({level + 1, upperColumn, upperRow});
        }
        const int upperWidth =
            std::min(kTileSide, SideAt(spec_.columns, level + 1) - upperColumn * kTileSide);
        const int upperHeight =
            std::min(kTileSide, SideAt(spec_.rows, level + 1) - upperRow * kTileSide);
        complete.coverage = complete.cells.empty()
                                ? Coverage::Empty
                                : MaskCoverage(complete, upperWidth, upperHeight);
        return Finish(level + 1, upperColumn, upperRow, complete);
    }

    /// The coarser tile of a finer one. Needs growingLock_.
    Growing& Upper(int level, int upperColumn, int upperRow, bool withCells) {
        const auto [place, fresh] = growing_.try_emplace({level + 1, upperColumn, upperRow});
        Growing& upper = place->second;
        if (fresh) {
            const IntRect finer = TilesAt(level);
            const int across =
                std::min(2 * upperColumn + 2, finer.x1) - std::max(2 * upperColumn, finer.x0);
            const int down =
                std::min(2 * upperRow + 2, finer.y1) - std::max(2 * upperRow, finer.y0);
            upper.missing = across * down;
        }
        if (withCells && upper.tile.cells.empty()) SizeTile(upper.tile);
        return upper;
    }

    void HandOver(StoredTile stored) {
        std::unique_lock lock(lock_);
        changed_.wait(lock, [this] { return waiting_.size() < kMostWaiting || stop_; });
        waiting_.push_back(std::move(stored));
        changed_.notify_all();
    }

    /// This thread's part: stores tiles until the workers have ended.
    void Store(PyramidReport& report) {
        for (;;) {
            StoredTile stored;
            {
                std::unique_lock lock(lock_);
                changed_.wait_for(lock, std::chrono::milliseconds(100),
                                  [this] { return !waiting_.empty() || working_ == 0; });
                if (waiting_.empty()) {
                    if (working_ == 0) return;
                } else {
                    stored = std::move(waiting_.front());
                    waiting_.pop_front();
                    changed_.notify_all();
                }
            }
            if (progress_.Cancelled() && !stop_)
                Fail(_SetErrPosn(StatusCode::Cancelled, "interrupted"));
            if (stop_) continue;
            if (stored.base) progress_.Pulse();
            if (stored.empty || stored.encoded.pixels.empty()) continue;
            if (const Status put = writer_.PutTile(raster_, stored.level, stored.column, stored.row,
                                                   stored.encoded);
                !put.Good()) {
                Fail(put);
                continue;
            }
            ++report.tiles;
            if (stored.base) ++report.baseTiles;
        }
    }

    ZPF::PROJECTWRITER& writer_;
    int raster_;
    const ZPF::RasterSpec& spec_;
    const TileSource& source_;
    Progress& progress_;
    IntRect tiles_;
    std::vector<IntRect> blocks_;
    std::atomic<std::size_t> next_{0};
    std::atomic<bool> stop_{false};

    std::mutex growingLock_;  // guards growing_'s shape and counts; never held with lock_
    std::map<std::tuple<int, int, int>, Growing> growing_;

    std::mutex lock_;  // guards all below
    std::condition_variable changed_;
    std::deque<StoredTile> waiting_;
    int working_ = 0;
    Status failure_ = StatusCode::Ok;
    std::string detail_;
};

}  // namespace

IntRect TileSource::Tiles(int columns, int rows) const {
    return {0, 0, TileCount(columns), TileCount(rows)};
}

int LevelsFor(int columns, int rows) {
    int levels = 1;
    while (std::max(SideAt(columns, levels - 1), SideAt(rows, levels - 1)) > kTileSide) ++levels;
    return levels;
}

int WorkerCount() {
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

Status WritePyramid(ZPF::PROJECTWRITER& writer, int raster, const ZPF::RasterSpec& spec,
                    const TileSource& source, std::string_view text, Progress& progress,
                    PyramidReport& report) {
    report = {};
    PyramidJob job(writer, raster, spec, source, progress);
    return job.Run(text, report);
}

}  // namespace tarnvale

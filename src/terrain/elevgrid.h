#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "geom/transgen.h"
#include "terrain/quadtree.h"
#include "zpf/zpffile.h"

namespace tarnvale {

/// Elevations in memory, for making an ElevationGrid without a file.
struct ElevationSamples {
    int columns = 0, rows = 0;
    std::vector<std::int16_t> values;  ///< row-major, northern row first, final units
    std::optional<std::int16_t> nullValue;
    float cellWidth = 1.0F, cellHeight = 1.0F;  ///< metres
    GeoTransform georeference;
    COORDREFSYS system;  ///< may be empty
};

/// The elevations of a terrain: 16-bit whole units, row-major, and beside them each second, fourth,
/// ... sample of each second, fourth, ... row as grids of their own, so that a coarse mesh reads
/// few cache lines. All are padded to whole nodes of the quadtree by repeating the last column and
/// row. Null samples hold a mark that no elevation has. Fixed once loaded; reading is then safe
/// from any thread.
class ElevationGrid {
public:
    /// Grids beyond this are refused: 2 GB of elevations.
    static constexpr std::int64_t kMaximumSamples = std::int64_t{1} << 30;

    ElevationGrid() = default;
    ElevationGrid(ElevationGrid&&) noexcept = default;
    ElevationGrid& operator=(ElevationGrid&&) noexcept = default;

    /// Reads a raster object, whole, on all cores.
    /// @param progress  on loan, may be null; counts rows
    /// @return BadState if the raster can't be opened, the store's error where a part can't be
    /// read,
    ///         FileDamaged for absurd numbers, NoMemory, Cancelled; the grid is then empty
    Status Load(const ZPFObjectItem& dem, Progress* progress);
    /// @return BadState if the samples don't make up the grid; NoMemory
    Status Create(const ElevationSamples& samples);

    [[nodiscard]] int Columns() const noexcept { return columns_; }
    [[nodiscard]] int Rows() const noexcept { return rows_; }
    [[nodiscard]] float CellWidth() const noexcept { return cellWidth_; }
    [[nodiscard]] float CellHeight() const noexcept { return cellHeight_; }
    [[nodiscard]] float Minimum() const noexcept { return minimum_; }
    [[nodiscard]] float Maximum() const noexcept { return maximum_; }
    [[nodiscard]] const TransGen& ToMap() const noexcept { return toMap_; }
    /// Grid to a fixed metric reference whose y axis runs true north; null where the raster's place
    /// is unknown.
    [[nodiscard]] const TransGen* ToReference() const noexcept {
        return hasReference_ ? &toReference_ : nullptr;
    }

    /// Elevation of a sample, held into the grid; the minimum elevation where it is null.
    [[nodiscard]] float Elevation(int x, int y) const noexcept;

    /// Number of the sample nearest to a place, held into the grid; halves go up. 0 for no number.
    [[nodiscard]] int NearestColumn(double x) const noexcept;
    [[nodiscard]] int NearestRow(double y) const noexcept;
    [[nodiscard]] float ElevationNear(double x, double y) const noexcept {
        return Elevation(NearestColumn(x), NearestRow(y));
    }

    /// Each 2^step-th sample of each 2^step-th row.
    struct Decimated {
        const std::int16_t* samples = nullptr;
        std::ptrdiff_t pitch = 0;   ///< samples
        int columns = 0, rows = 0;  ///< padded
    };
    /// @param step  0 to the number of the coarsest quadtree level
    [[nodiscard]] const Decimated& AtStep(int step) const noexcept {
        return decimated_[static_cast<std::size_t>(step)];
    }
    /// Whether any sample is null; then those hold NullMark().
    [[nodiscard]] bool HasNull() const noexcept { return hasNull_; }
    [[nodiscard]] std::int16_t NullMark() const noexcept { return nullMark_; }

private:
    struct Loading;
    /// @return BadState for a size of 0 or less, NoMemory for one beyond what is sensible; may
    /// throw
    ///         std::bad_alloc
    Status Allocate(int columns, int rows);
    [[nodiscard]] std::int16_t* Row(int row) noexcept { return block_.get() + row * pitch_; }
    /// Sets both conversions. @return false if the raster has no place on earth
    bool SetPlace(const GeoTransform& georeference, const COORDREFSYS& system);
    Status LoadHeader(Loading& loading);
    Status LoadRows(Loading& loading, Progress* progress);
    /// Writes a mark that no elevation has into the null samples.
    void MarkNulls(const Loading& loading);
    /// Repeats the last column and row, and makes the decimated grids. May throw std::bad_alloc.
    void Complete();

    TransGen toMap_, toReference_;
    bool hasReference_ = false;
    float cellWidth_ = 1.0F, cellHeight_ = 1.0F;
    float minimum_ = 0, maximum_ = 0;
    bool hasNull_ = false;
    std::int16_t nullMark_ = 0;
    int columns_ = 0, rows_ = 0;
    int storedRows_ = 0;  // of block_, padding and all
    std::ptrdiff_t pitch_ = 0;
    std::unique_ptr<std::int16_t[]> block_, coarserBlock_;
    std::vector<Decimated> decimated_;
};

}  // namespace tarnvale

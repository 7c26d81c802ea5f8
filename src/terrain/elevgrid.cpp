#include "terrain/elevgrid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <string>

namespace tarnvale {
namespace {

int NearestIndex(double value, int last) {
    const double nearest = std::round(value + 1e-10);
    if (nearest >= last) return last;
    return nearest > 0.0 ? static_cast<int>(nearest) : 0;
}

}  // namespace

Status ElevationGrid::Create(const ElevationSamples& samples) try {
    *this = ElevationGrid();
    if (samples.columns < 1 || samples.rows < 1 ||
        samples.values.size() !=
            static_cast<std::size_t>(samples.columns) * static_cast<std::size_t>(samples.rows)) {
        return _SetErrPosn(StatusCode::BadState, "the elevations don't make up the grid");
    }
    if (const Status allocated = Allocate(samples.columns, samples.rows); !allocated.Good()) {
        return allocated;
    }
    cellWidth_ = samples.cellWidth;
    cellHeight_ = samples.cellHeight;
    if (samples.system.Valid() && !SetPlace(samples.georeference, samples.system)) {
        return _SetErrPosn(StatusCode::BadState, "the elevations' place can't be used");
    }
    int lowest = std::numeric_limits<int>::max();
    int highest = std::numeric_limits<int>::min();
    const std::int16_t* value = samples.values.data();
    for (int y = 0; y < rows_; ++y, value += columns_) {
        std::copy_n(value, columns_, Row(y));
        for (int x = 0; x < columns_; ++x) {
            if (samples.nullValue == value[x]) {
                hasNull_ = true;
                continue;
            }
            lowest = std::min<int>(lowest, value[x]);
            highest = std::max<int>(highest, value[x]);
        }
    }
    if (hasNull_) nullMark_ = *samples.nullValue;
    if (lowest <= highest) {
        minimum_ = static_cast<float>(lowest);
        maximum_ = static_cast<float>(highest);
    }
    Complete();
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    *this = ElevationGrid();
    return _SetErrPosn(StatusCode::NoMemory);
}

bool ElevationGrid::SetPlace(const GeoTransform& georeference, const COORDREFSYS& system) {
    if (!TransGenInit(toMap_, georeference, system).Good()) return false;
    // World Mercator: its unit is the metre, and its y axis runs true north everywhere.
    COORDREFSYS mercator;
    hasReference_ = system.Valid() && COORDREFSYS::FromText("EPSG:3395", mercator).Good() &&
                    TransGenInit(toReference_, georeference, system).Good() &&
                    TransGenSetOutputMapCoordRefSys(toReference_, mercator).Good();
    return true;
}

Status ElevationGrid::Allocate(int columns, int rows) {
    const QuadtreeShape shape = QuadtreeShape::For(columns, rows);
    const std::int64_t storedColumns = std::max(columns, shape.paddedColumns);
    const std::int64_t storedRows = std::max(rows, shape.paddedRows);
    if (columns < 1 || rows < 1) return _SetErrPosn(StatusCode::BadState);
    if (storedColumns * storedRows > kMaximumSamples) {
        return _SetErrPosn(StatusCode::NoMemory,
                           "the elevation raster of " + std::to_string(columns) + " x " +
                               std::to_string(rows) + " samples is too large, make a smaller one");
    }
    block_ = std::make_unique_for_overwrite<std::int16_t[]>(
        static_cast<std::size_t>(storedColumns * storedRows));
    columns_ = columns;
    rows_ = rows;
    storedRows_ = static_cast<int>(storedRows);
    pitch_ = static_cast<std::ptrdiff_t>(storedColumns);
    return StatusCode::Ok;
}

void ElevationGrid::Complete() {
    for (int y = 0; y < rows_; ++y) {
        std::fill(Row(y) + columns_, Row(y) + pitch_, Row(y)[columns_ - 1]);
    }
    for (int y = rows_; y < storedRows_; ++y) std::copy_n(Row(rows_ - 1), pitch_, Row(y));

    const QuadtreeShape shape = QuadtreeShape::For(columns_, rows_);
    if (shape.Empty()) return;
    decimated_.push_back({block_.get(), pitch_, shape.paddedColumns, shape.paddedRows});
    std::size_t total = 0;
    for (int k = 1; k <= shape.CoarsestNumber(); ++k) {
        Decimated grid;
        grid.columns = ((shape.paddedColumns - 1) >> k) + 1;
        grid.rows = ((shape.paddedRows - 1) >> k) + 1;
        grid.pitch = grid.columns;
        total += static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows);
        decimated_.push_back(grid);
    }
    coarserBlock_ = std::make_unique_for_overwrite<std::int16_t[]>(total);
    std::int16_t* out = coarserBlock_.get();
    for (std::size_t k = 1; k < decimated_.size(); ++k) {
        const Decimated& finer = decimated_[k - 1];
        decimated_[k].samples = out;
        for (int y = 0; y < decimated_[k].rows; ++y) {
            const std::int16_t* row = finer.samples + 2 * y * finer.pitch;
            for (int x = 0; x < decimated_[k].columns; ++x) *out++ = row[2 * x];
        }
    }
}

int ElevationGrid::NearestColumn(double x) const noexcept {
    return NearestIndex(x, columns_ - 1);
}

int ElevationGrid::NearestRow(double y) const noexcept {
    return NearestIndex(y, rows_ - 1);
}

float ElevationGrid::Elevation(int x, int y) const noexcept {
    const std::int16_t value =
        block_[std::clamp(y, 0, rows_ - 1) * pitch_ + std::clamp(x, 0, columns_ - 1)];
    return hasNull_ && value == nullMark_ ? minimum_ : static_cast<float>(value);
}

}  // namespace tarnvale

#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <type_traits>

#include "zpf/zpfraster.h"

namespace tarnvale::ZPF {

inline constexpr std::size_t kTileCells = static_cast<std::size_t>(kTileSide) * kTileSide;

/// Calls `visitor` with a zero of the C++ type that a raw cell of `type` has. The 24-bit types have
/// none: the caller sees to them first (they are visited as bytes).
template <typename Visitor>
auto VisitCellType(RasterType type, const Visitor& visitor) {
    switch (type) {
        case RasterType::Unsigned16:
        case RasterType::Composite16A:
        case RasterType::Composite16B:
            return visitor(std::uint16_t{});
        case RasterType::Unsigned32:
            return visitor(std::uint32_t{});
        case RasterType::Unsigned64:
            return visitor(std::uint64_t{});
        case RasterType::Signed8:
            return visitor(std::int8_t{});
        case RasterType::Signed16:
            return visitor(std::int16_t{});
        case RasterType::Signed32:
            return visitor(std::int32_t{});
        case RasterType::Signed64:
            return visitor(std::int64_t{});
        case RasterType::Float32:
            return visitor(float{});
        case RasterType::Float64:
            return visitor(double{});
        case RasterType::Unsigned1:
        case RasterType::Unsigned4:
        case RasterType::Unsigned8:
        case RasterType::Composite24A:
        case RasterType::Composite24B:
            break;
    }
    return visitor(std::uint8_t{});
}

[[nodiscard]] bool IsComposite(RasterType type) noexcept;

template <typename Cell>
[[nodiscard]] Cell LoadCell(std::span<const std::byte> cells, std::size_t index) {
    Cell cell;
    std::memcpy(&cell, cells.data() + index * sizeof(Cell), sizeof(Cell));
    return cell;
}

template <typename Cell>
void StoreCell(std::span<std::byte> cells, std::size_t index, Cell cell) {
    std::memcpy(cells.data() + index * sizeof(Cell), &cell, sizeof(Cell));
}

/// Whether `value` can be held exactly enough by a cell to be met there: any number by a float,
/// whole numbers in range by the others.
template <typename Cell>
[[nodiscard]] bool FitsCell(double value) {
    if constexpr (std::is_floating_point_v<Cell>) {
        return !std::isfinite(value) || std::abs(value) <= std::numeric_limits<Cell>::max();
    } else {
        // The limits of 64-bit cells aren't doubles: the upper one rounds up, out of range.
        return value >= static_cast<double>(std::numeric_limits<Cell>::min()) &&
               (sizeof(Cell) < 8 ? value <= static_cast<double>(std::numeric_limits<Cell>::max())
                                 : value < std::ldexp(1.0, std::numeric_limits<Cell>::digits)) &&
               value == std::floor(value);
    }
}

/// Tells null cells of one raster from others. A null value that no cell can hold matches none; a
/// null value that is no number matches every cell that is none.
template <typename Cell>
class NullTest {
public:
    explicit NullTest(const RasterHeader& header)
        : active_(header.hasNull && FitsCell<Cell>(header.nullValue)) {
        if (active_) null_ = static_cast<Cell>(header.nullValue);
    }
    [[nodiscard]] bool operator()(Cell cell) const {
        if constexpr (std::is_floating_point_v<Cell>) {
            if (std::isnan(null_)) return active_ && std::isnan(cell);
        }
        return active_ && cell == null_;
    }

private:
    bool active_;
    Cell null_{};
};

/// Fills raw cells with what unknown cells read as: null where there is a null value that a cell
/// can hold, zero otherwise.
void FillBlank(const RasterHeader& header, std::span<std::byte> cells);

/// Converts raw cells to signed 16-bit: fractions cut off, held at the range's ends. What is no
/// number becomes as the null value does, or the lowest value where there is none.
void ToSigned16(const RasterHeader& header, std::span<const std::byte> cells,
                std::span<std::byte> out);

/// Range of the cells of a tile.
/// @param mask     as many bytes, 0 where a cell doesn't count; may be empty
/// @param columns, rows  the part of the tile that counts, from its north-western corner
/// @return minimum > maximum where no cell counts, and for composite types
RasterStatistics RangeOf(const RasterHeader& header, std::span<const std::byte> cells,
                         std::span<const std::uint8_t> mask, int columns = kTileSide,
                         int rows = kTileSide);

/// Whether all cells of a tile are null.
[[nodiscard]] bool AllNull(const RasterHeader& header, std::span<const std::byte> cells);

}  // namespace tarnvale::ZPF

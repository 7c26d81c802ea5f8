#include "zpf/cells.h"

#include <utility>

namespace tarnvale::ZPF {

bool IsRasterType(std::uint32_t code) noexcept {
    const bool onePower = code != 0 && (code & (code - 1)) == 0;
    return onePower && (code <= 2048 || (code >= 0x10000 && code <= 0x80000));
}

int BitsOf(RasterType type) noexcept {
    switch (type) {
        case RasterType::Unsigned1:
            return 1;
        case RasterType::Unsigned4:
            return 4;
        case RasterType::Unsigned8:
        case RasterType::Signed8:
            return 8;
        case RasterType::Unsigned16:
        case RasterType::Signed16:
        case RasterType::Composite16A:
        case RasterType::Composite16B:
            return 16;
        case RasterType::Composite24A:
        case RasterType::Composite24B:
            return 24;
        case RasterType::Unsigned32:
        case RasterType::Signed32:
        case RasterType::Float32:
            return 32;
        case RasterType::Unsigned64:
        case RasterType::Signed64:
        case RasterType::Float64:
            return 64;
    }
    return 8;
}

int BytesOf(RasterType type) noexcept {
    return std::max(BitsOf(type) / 8, 1);
}

bool IsComposite(RasterType type) noexcept {
    return static_cast<std::uint32_t>(type) >= static_cast<std::uint32_t>(RasterType::Composite16A);
}

namespace {

bool Is24(RasterType type) {
    return BitsOf(type) == 24;
}

/// The null value of a 24-bit raster as its three bytes in storage order; false where it has none.
bool NullBytes(const RasterHeader& header, std::byte (&bytes)[3]) {
    if (!header.hasNull || !FitsCell<std::uint32_t>(header.nullValue) ||
        header.nullValue > 0xFFFFFF)
        return false;
    const auto value = static_cast<std::uint32_t>(header.nullValue);
    for (int i = 0; i < 3; ++i) bytes[i] = static_cast<std::byte>(value >> (8 * i) & 0xFF);
    return true;
}

template <typename Cell>
std::int16_t Shorten(Cell cell, std::int16_t noNumber) {
    constexpr std::int16_t kLowest = std::numeric_limits<std::int16_t>::min();
    constexpr std::int16_t kHighest = std::numeric_limits<std::int16_t>::max();
    if constexpr (std::is_floating_point_v<Cell>) {
        if (std::isnan(cell)) return noNumber;
        return cell <= kLowest    ? kLowest
               : cell >= kHighest ? kHighest
                                  : static_cast<std::int16_t>(cell);
    } else {
        if (std::cmp_less(cell, kLowest)) return kLowest;
        return std::cmp_greater(cell, kHighest) ? kHighest : static_cast<std::int16_t>(cell);
    }
}

}  // namespace

void FillBlank(const RasterHeader& header, std::span<std::byte> cells) {
    std::ranges::fill(cells, std::byte{0});
    if (!header.hasNull) return;
    if (Is24(header.type)) {
        std::byte null[3];
        if (!NullBytes(header, null)) return;
        for (std::size_t i = 0; i + 3 <= cells.size(); i += 3)
            std::memcpy(cells.data() + i, null, 3);
        return;
    }
    VisitCellType(header.type, [&](auto zero) {
        using Cell = decltype(zero);
        if (!FitsCell<Cell>(header.nullValue)) return;
        const Cell null = static_cast<Cell>(header.nullValue);
        for (std::size_t i = 0; i < cells.size() / sizeof(Cell); ++i) StoreCell(cells, i, null);
    });
}

void ToSigned16(const RasterHeader& header, std::span<const std::byte> cells,
                std::span<std::byte> out) {
    if (Is24(header.type)) {  // a colour has no 16-bit value: the nearest one to its number
        for (std::size_t i = 0; i < cells.size() / 3; ++i) {
            std::uint32_t value = 0;
            std::memcpy(&value, cells.data() + i * 3, 3);
            StoreCell(out, i, Shorten(value, 0));
        }
        return;
    }
    const bool nullIsNumber = header.hasNull && !std::isnan(header.nullValue);
    const std::int16_t noNumber =
        nullIsNumber ? Shorten(header.nullValue, 0) : std::numeric_limits<std::int16_t>::min();
    VisitCellType(header.type, [&](auto zero) {
        using Cell = decltype(zero);
        for (std::size_t i = 0; i < cells.size() / sizeof(Cell); ++i) {
            StoreCell(out, i, Shorten(LoadCell<Cell>(cells, i), noNumber));
        }
    });
}

RasterStatistics RangeOf(const RasterHeader& header, std::span<const std::byte> cells,
                         std::span<const std::uint8_t> mask, int columns, int rows) {
    RasterStatistics range{std::numeric_limits<double>::max(),
                           std::numeric_limits<double>::lowest()};
    if (IsComposite(header.type)) return range;
    VisitCellType(header.type, [&](auto zero) {
        using Cell = decltype(zero);
        const NullTest<Cell> isNull(header);
        bool any = false;
        Cell lowest{}, highest{};
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                const std::size_t index =
                    static_cast<std::size_t>(row) * kTileSide + static_cast<std::size_t>(column);
                if (!mask.empty() && mask[index] == 0) continue;
                const Cell cell = LoadCell<Cell>(cells, index);
                if (isNull(cell)) continue;
                if constexpr (std::is_floating_point_v<Cell>) {
                    if (std::isnan(cell)) continue;
                }
                lowest = any ? std::min(lowest, cell) : cell;
                highest = any ? std::max(highest, cell) : cell;
                any = true;
            }
        }
        if (any) range = {static_cast<double>(lowest), static_cast<double>(highest)};
    });
    return range;
}

bool AllNull(const RasterHeader& header, std::span<const std::byte> cells) {
    if (!header.hasNull) return false;
    if (Is24(header.type)) {
        std::byte null[3];
        if (!NullBytes(header, null)) return false;
        for (std::size_t i = 0; i + 3 <= cells.size(); i += 3) {
            if (std::memcmp(cells.data() + i, null, 3) != 0) return false;
        }
        return true;
    }
    return VisitCellType(header.type, [&](auto zero) {
        using Cell = decltype(zero);
        const NullTest<Cell> isNull(header);
        for (std::size_t i = 0; i < cells.size() / sizeof(Cell); ++i) {
            if (!isNull(LoadCell<Cell>(cells, i))) return false;
        }
        return true;
    });
}

}  // namespace tarnvale::ZPF

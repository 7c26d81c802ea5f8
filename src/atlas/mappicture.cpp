#include "atlas/mappicture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "zpf/cells.h"

namespace tarnvale {

namespace {

using ZPF::RasterType;

constexpr MapColour Opaque(int red, int green, int blue) {
    return 0xFF000000U | static_cast<MapColour>(red) << 16U | static_cast<MapColour>(green) << 8U |
           static_cast<MapColour>(blue);
}

int Channel(MapColour colour, int shift) {
    return static_cast<int>(colour >> shift & 0xFFU);
}

// A channel of few bits over the whole range of eight.
int Widened(std::uint32_t value, int shift, int bits) {
    const std::uint32_t most = (1U << bits) - 1;
    return static_cast<int>(((value >> shift) & most) * 255 / most);
}

MapColour Shaded(MapColour colour, double light) {
    const auto shade = [light](int channel) {
        return std::clamp(static_cast<int>(channel * light), 0, 255);
    };
    return Opaque(shade(Channel(colour, 16)), shade(Channel(colour, 8)), shade(Channel(colour, 0)));
}

// Light from the north-west, half way up. @param east, north  rise for a metre
double LightOn(double east, double north) {
    constexpr double kAmbient = 0.4, kHalfWayUp = 0.70710678;
    const double facing =
        (0.5 * east - 0.5 * north + kHalfWayUp) / std::sqrt(east * east + north * north + 1);
    return kAmbient + (1 - kAmbient) * std::max(facing, 0.0) / kHalfWayUp;
}

}  // namespace

MapColour HeightColour(double fraction) {
    struct Stop {
        double at;
        int red, green, blue;
    };
    static constexpr std::array<Stop, 6> kStops{{{0.0, 86, 138, 96},
                                                 {0.2, 150, 182, 112},
                                                 {0.4, 224, 214, 150},
                                                 {0.6, 196, 158, 110},
                                                 {0.8, 158, 122, 104},
                                                 {1.0, 248, 248, 248}}};
    const double at = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
    std::size_t i = 1;
    while (i + 1 < kStops.size() && kStops[i].at < at) ++i;
    const Stop &low = kStops[i - 1], &high = kStops[i];
    const double t = (at - low.at) / (high.at - low.at);
    const auto mix = [t](int a, int b) { return static_cast<int>(std::lround(a + (b - a) * t)); };
    return Opaque(mix(low.red, high.red), mix(low.green, high.green), mix(low.blue, high.blue));
}

/// A tile on its way: where it lies, and room for a row of cells.
struct MapPicture::Block {
    Level* source = nullptr;
    int stride = 1;                // cells of the source for a pixel
    int left = 0, top = 0;         // pixels of the level
    int columns = 0, rows = 0;     // pixels of the tile
    int first = 0;                 // column of the first cell read
    std::vector<std::byte> cells;  // of one row
    std::vector<std::byte> mask;
    bool damaged = false;

    // The cell that stands for a pixel of the level, which may lie beyond an edge.
    [[nodiscard]] static int CellAt(int pixel, int stride, int count) {
        return std::clamp(pixel * stride + stride / 2, 0, count - 1);
    }
};

Status MapPicture::Open(ZPF::FILEHANDLE file, const ZPFObjectItem& item) try {
    file_ = std::move(file);
    const std::string shown = "\"" + item.objectPath + "\" in " + item.file.string();
    if (item.header.type != ObjectType::Raster) {
        return _SetErrPosn(StatusCode::BadState,
                           shown + " is no map; name a raster or a vector layer in the atlas");
    }
    auto base = std::make_unique<Level>();
    if (const Status opened = base->raster.Open(file_, item.header.number); !opened.Good())
        return opened;
    SetName(item.header.name, item.objectPath);
    header_ = base->raster.Header();
    columns_ = header_.columns;
    rows_ = header_.rows;
    if (columns_ < 1 || rows_ < 1) {
        return _SetErrPosn(StatusCode::FileDamaged, shown + " has no cells; make the file anew");
    }
    ZPF::ColorMap map;
    if (header_.type == RasterType::Unsigned8 && base->raster.ReadColorMap(map).Good())
        colours_ = map;
    heights_ = !ZPF::IsComposite(header_.type) && !colours_;
    levels_.push_back(std::move(base));
    OpenLevels();
    if (const Status placed = OpenPlace(); !placed.Good()) return placed;
    if (heights_) FindRange();
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void MapPicture::OpenLevels() {
    const auto openMask = [this](Level& level) {
        const int mask = level.raster.FindMask();
        if (mask >= 0 && !level.mask.Open(file_, mask).Good()) level.mask.Close();
    };
    openMask(*levels_.front());
    while (LevelColumns(Levels() - 1) > kTileSide || LevelRows(Levels() - 1) > kTileSide)
        levels_.push_back(std::make_unique<Level>());
    std::vector<ZPF::PyramidLevel> stored;
    // Without a pyramid the map is only slower.
    if (!levels_.front()->raster.GetPyramidList(stored).Good()) return;
    for (const ZPF::PyramidLevel& reduced : stored) {
        int index = 0;
        while (index < Levels() && (1 << index) < reduced.factor) ++index;
        if (index == 0 || index >= Levels() || (1 << index) != reduced.factor) continue;
        Level& level = *levels_[static_cast<std::size_t>(index)];
        if (!level.raster.Open(file_, reduced.object).Good()) continue;
        openMask(level);
    }
}

Status MapPicture::OpenPlace() {
    const ZPF::RASTERHANDLE& raster = levels_.front()->raster;
    COORDREFSYS system;
    if (!raster.GetGeoreference(grid_, system).Good() || !system.Valid()) {
        grid_ = {};
        return StatusCode::Ok;
    }
    if (const Status sized = raster.GetCellSize(cellWidth_, cellHeight_); !sized.Good())
        return sized;
    return SetSystem(system);
}

void MapPicture::Bounds(MapPoint& low, MapPoint& high) const {
    low = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    high = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
    for (const double column : {0.0, static_cast<double>(columns_)}) {
        for (const double row : {0.0, static_cast<double>(rows_)}) {
            const double x = grid_.xOrigin + column * grid_.xColumn + row * grid_.xRow;
            const double y = grid_.yOrigin + column * grid_.yColumn + row * grid_.yRow;
            low = {std::min(low.x, x), std::min(low.y, y)};
            high = {std::max(high.x, x), std::max(high.y, y)};
        }
    }
}

int MapPicture::LevelColumns(int level) const noexcept {
    return static_cast<int>((std::int64_t{columns_} + (1 << level) - 1) >> level);
}

int MapPicture::LevelRows(int level) const noexcept {
    return static_cast<int>((std::int64_t{rows_} + (1 << level) - 1) >> level);
}

void MapPicture::FindRange() {
    ZPF::RasterStatistics range;
    if (levels_.front()->raster.GetStatistics(range).Good() && range.minimum <= range.maximum) {
        lowest_ = range.minimum * header_.scale + header_.offset;
        highest_ = range.maximum * header_.scale + header_.offset;
    } else {
        // As good as the coarsest level knows.
        MapTile tile;
        lowest_ = std::numeric_limits<double>::max();
        highest_ = std::numeric_limits<double>::lowest();
        RenderTile(Levels() - 1, 0, 0, tile);
    }
    if (lowest_ > highest_) std::swap(lowest_, highest_);
    if (!std::isfinite(lowest_) || !std::isfinite(highest_) || std::abs(lowest_) > 1e300) {
        lowest_ = 0;
        highest_ = 1;
    }
}

void MapPicture::RenderTile(int level, int column, int row, MapTile& tile) {
    tile = {};
    if (level < 0 || level >= Levels()) return;
    Block block;
    int from = level;
    while (from > 0 && !levels_[static_cast<std::size_t>(from)]->raster.IsOpen()) --from;
    block.source = levels_[static_cast<std::size_t>(from)].get();
    block.stride = 1 << (level - from);
    block.left = column * kTileSide;
    block.top = row * kTileSide;
    block.columns = std::min(kTileSide, LevelColumns(level) - block.left);
    block.rows = std::min(kTileSide, LevelRows(level) - block.top);
    if (column < 0 || row < 0 || block.columns <= 0 || block.rows <= 0) return;
    tile.width = block.columns;
    tile.height = block.rows;
    tile.pixels.assign(static_cast<std::size_t>(tile.width) * static_cast<std::size_t>(tile.height),
                       0);
    if (heights_) {
        PaintHeights(block, tile);
    } else {
        PaintImage(block, tile);
    }
    tile.damaged = block.damaged;
}

// Reads the cells of a row of pixels with one more at either end, as far as there are any.
bool MapPicture::ReadRow(Block& block, int row) {
    const ZPF::RasterHeader& source = block.source->raster.Header();
    const int cellRow = Block::CellAt(row, block.stride, source.rows);
    block.first = Block::CellAt(block.left - 1, block.stride, source.columns);
    const int last = Block::CellAt(block.left + block.columns, block.stride, source.columns);
    const int count = last - block.first + 1;
    block.cells.resize(static_cast<std::size_t>(count) *
                       static_cast<std::size_t>(ZPF::BytesOf(header_.type)));
    if (!block.source->raster.ReadLine(cellRow, block.first, count, block.cells, ZPF::LineForm::Raw)
             .Good()) {
        block.damaged = true;
        return false;
    }
    block.mask.clear();
    if (block.source->mask.IsOpen()) {
        block.mask.resize(static_cast<std::size_t>(count));
        if (!block.source->mask
                 .ReadLine(cellRow, block.first, count, block.mask, ZPF::LineForm::Raw)
                 .Good()) {
            block.mask.clear();
        }
    }
    return true;
}

MapColour MapPicture::ColourOf(std::span<const std::byte> cells, std::size_t index) const {
    const auto byte = [&](std::size_t at) { return std::to_integer<int>(cells[at]); };
    switch (header_.type) {
        case RasterType::Composite24A:
            return Opaque(byte(index * 3 + 2), byte(index * 3 + 1), byte(index * 3));
        case RasterType::Composite24B:
            return Opaque(byte(index * 3), byte(index * 3 + 1), byte(index * 3 + 2));
        case RasterType::Composite16A: {
            const std::uint32_t cell = ZPF::LoadCell<std::uint16_t>(cells, index);
            return Opaque(Widened(cell, 10, 5), Widened(cell, 5, 5), Widened(cell, 0, 5));
        }
        case RasterType::Composite16B: {
            const std::uint32_t cell = ZPF::LoadCell<std::uint16_t>(cells, index);
            return Opaque(Widened(cell, 11, 5), Widened(cell, 5, 6), Widened(cell, 0, 5));
        }
        default:
            break;
    }
    if (header_.hasNull && header_.nullValue == byte(index)) return 0;
    const COLOR& colour = (*colours_)[static_cast<std::size_t>(byte(index))];
    return Opaque(colour.red >> 8, colour.green >> 8, colour.blue >> 8);
}

void MapPicture::PaintImage(Block& block, MapTile& tile) {
    const int count = block.source->raster.Header().columns;
    for (int y = 0; y < block.rows; ++y) {
        if (!ReadRow(block, block.top + y)) continue;
        MapColour* const line =
            &tile.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(tile.width)];
        for (int x = 0; x < block.columns; ++x) {
            const auto cell = static_cast<std::size_t>(
                Block::CellAt(block.left + x, block.stride, count) - block.first);
            const bool seen = block.mask.empty() || block.mask[cell] != std::byte{0};
            line[x] = seen ? ColourOf(block.cells, cell) : 0;
        }
    }
}

// Heights of a row of pixels with one more at either end; NaN where there is none.
void MapPicture::ReadHeights(Block& block, int row, std::span<float> heights) {
    std::ranges::fill(heights, std::numeric_limits<float>::quiet_NaN());
    if (!ReadRow(block, row)) return;
    const int count = block.source->raster.Header().columns;
    ZPF::VisitCellType(header_.type, [&](auto zero) {
        using Cell = decltype(zero);
        const ZPF::NullTest<Cell> isNull(header_);
        for (std::size_t i = 0; i < heights.size(); ++i) {
            const int pixel = block.left - 1 + static_cast<int>(i);
            const auto at =
                static_cast<std::size_t>(Block::CellAt(pixel, block.stride, count) - block.first);
            const Cell cell = ZPF::LoadCell<Cell>(block.cells, at);
            if (isNull(cell) || (!block.mask.empty() && block.mask[at] == std::byte{0})) continue;
            heights[i] =
                static_cast<float>(static_cast<double>(cell) * header_.scale + header_.offset);
        }
    });
}

void MapPicture::PaintHeights(Block& block, MapTile& tile) {
    const auto side = static_cast<std::size_t>(block.columns) + 2;
    const bool measuring = lowest_ > highest_;
    const double pixel =
        block.source == levels_.front().get()
            ? block.stride
            : static_cast<double>(columns_) / block.source->raster.Header().columns * block.stride;
    const double east = 2 * cellWidth_ * pixel, north = 2 * cellHeight_ * pixel;
    const double span = std::max(highest_ - lowest_, 1e-9);
    std::array<std::vector<float>, 3> rows;  // the row above, this one, the one below
    for (auto& one : rows) one.resize(side);
    ReadHeights(block, block.top - 1, rows[0]);
    ReadHeights(block, block.top, rows[1]);
    double lowest = lowest_, highest = highest_;
    for (int y = 0; y < block.rows; ++y) {
        ReadHeights(block, block.top + y + 1, rows[2]);
        MapColour* const line =
            &tile.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(tile.width)];
        for (std::size_t x = 1; x + 1 < side; ++x) {
            const float here = rows[1][x];
            if (!std::isfinite(here)) continue;
            const auto beside = [here](float height) {
                return static_cast<double>(std::isfinite(height) ? height : here);
            };
            const double rise = (beside(rows[1][x + 1]) - beside(rows[1][x - 1])) / east;
            const double climb = (beside(rows[0][x]) - beside(rows[2][x])) / north;
            line[x - 1] = Shaded(HeightColour((static_cast<double>(here) - lowest_) / span),
                                 LightOn(rise, climb));
            lowest = std::min(lowest, static_cast<double>(here));
            highest = std::max(highest, static_cast<double>(here));
        }
        std::swap(rows[0], rows[1]);
        std::swap(rows[1], rows[2]);
    }
    if (measuring) {
        lowest_ = lowest;
        highest_ = highest;
    }
}

}  // namespace tarnvale

#include "streaming/rastertilesource.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "streaming/tilepyramid.h"

namespace tarnvale {

namespace {

/// First pixel of a tile whose samples lie beyond a stored tile that ends at `end`.
int FirstBeyond(int end, int stride) {
    return (end + stride - 1) / stride;
}

int NextStoredTile(int position) {
    return (position / ZPF::kTileSide + 1) * ZPF::kTileSide;
}

}  // namespace

std::mutex& RasterReadLock() {
    static std::mutex lock;  // guards raster reads of all loaders, never held with another
    return lock;
}

Status RasterTileSource::Open(const ZPFObjectItem& item, const TerrainModel& terrain, int side,
                              TexturePixelFormat format) {
    const std::scoped_lock lock(RasterReadLock());
    if (const Status opened = file_.Open(item.file, ZPF::OpenMode::Read); !opened.Good()) {
        return opened;
    }
    auto base = std::make_unique<Level>();
    if (const Status opened = base->raster.Open(file_, item.header.number); !opened.Good()) {
        return opened;
    }
    const ZPF::RasterHeader header = base->raster.Header();
    GeoTransform place;
    COORDREFSYS system;
    if (!base->raster.GetGeoreference(place, system).Good()) {
        return _SetErrPosn(StatusCode::BadState,
                           "texture " + item.header.name + " has no georeference; build it anew");
    }
    if (const Status fits =
            ComputeTextureDomain(terrain.Transform(), terrain.GetColumns(), terrain.GetRows(),
                                 place, system, header.columns, header.rows, domain_);
        !fits.Good()) {
        return fits;
    }
    OpenMask(*base);
    levels_.clear();
    levels_.push_back(std::move(base));
    const ZPF::RASTERHANDLE& raster = levels_.front()->raster;
    if (const Status opened = OpenLevels(raster); !opened.Good()) return opened;

    profile_ = ColorProfile::Make(raster.ReadColorProfile(), header.type);
    ZPF::ColorMap map;
    bool mapped = header.type == ZPF::RasterType::Unsigned8 && raster.ReadColorMap(map).Good();
    if (profile_ != nullptr && header.type == ZPF::RasterType::Unsigned8) {
        for (std::size_t i = 0; i < map.size() && !mapped; ++i) {
            const auto shade = static_cast<std::uint16_t>(i * 257);
            map[i] = {shade, shade, shade, 0};
        }
        profile_->Apply(map);
        mapped = true;
    }
    if (const Status opened = converter_.Open(header.type, mapped ? &map : nullptr, format);
        !opened.Good()) {
        return opened;
    }
    DescribeNull(header);
    side_ = side;
    const std::size_t cells = static_cast<std::size_t>(ZPF::kTileSide) * ZPF::kTileSide;
    cells_.resize(cells * converter_.SourceBytes());
    mask_.resize(cells);
    return StatusCode::Ok;
}

Status RasterTileSource::OpenLevels(const ZPF::RASTERHANDLE& base) {
    std::vector<ZPF::PyramidLevel> pyramid;
    if (const Status listed = base.GetPyramidList(pyramid); !listed.Good()) return listed;
    for (const ZPF::PyramidLevel& reduced : pyramid) {
        if (reduced.factor < 2) continue;
        const auto index = static_cast<std::size_t>(
            IntegerLog2(static_cast<std::uint32_t>(reduced.factor), LogRounding::Up));
        auto level = std::make_unique<Level>();
        if (!level->raster.Open(file_, reduced.object).Good()) continue;
        if (level->raster.Header().type != base.Header().type) continue;
        OpenMask(*level);
        if (levels_.size() <= index) levels_.resize(index + 1);
        levels_[index] = std::move(level);
    }
    return StatusCode::Ok;
}

void RasterTileSource::OpenMask(Level& level) const {
    const int mask = level.raster.FindMask();
    if (mask < 0) return;
    if (!level.mask.Open(file_, mask).Good()) level.mask.Close();
}

void RasterTileSource::DescribeNull(const ZPF::RasterHeader& header) {
    const double value = header.nullValue;
    hasNull_ = header.hasNull && value >= 0 && value < std::ldexp(1.0, ZPF::BitsOf(header.type)) &&
               value == std::floor(value);
    if (!hasNull_) return;
    const auto cell = static_cast<std::uint32_t>(value);
    std::memcpy(nullCell_.data(), &cell, sizeof cell);
}

bool RasterTileSource::MakePlan(const TileEntry& tile, Plan& plan) const {
    const int index = tile.Level().Index();
    int from = std::min(index, static_cast<int>(levels_.size()) - 1);
    while (from >= 0 && levels_[static_cast<std::size_t>(from)] == nullptr) --from;
    if (from < 0 || index - from > 24) return false;
    plan.level = levels_[static_cast<std::size_t>(from)].get();
    plan.stride = 1 << (index - from);
    plan.xRaster = domain_.xOffset >> index;
    plan.yRaster = domain_.yOffset >> index;
    plan.left = static_cast<int>(tile.Column()) * side_;
    plan.top = static_cast<int>(tile.Row()) * side_;
    int xEnd = 0, yEnd = 0;
    if (from == index) {
        xEnd = plan.xRaster + plan.level->raster.Header().columns;
        yEnd = plan.yRaster + plan.level->raster.Header().rows;
    } else {
        xEnd = (domain_.rasterColumns + domain_.xOffset) >> index;
        yEnd = (domain_.rasterRows + domain_.yOffset) >> index;
    }
    plan.part = {std::max(plan.left, plan.xRaster), std::max(plan.top, plan.yRaster),
                 std::min(plan.left + side_, xEnd), std::min(plan.top + side_, yEnd)};
    return plan.part.x1 >= plan.part.x0 && plan.part.y1 >= plan.part.y0;
}

bool RasterTileSource::HasPixels(const TileEntry& tile) const {
    // In pixels of full resolution: on a coarse level the raster's last few pixels may round to
    // nothing, and a tile that is never wished for keeps all finer ones beneath it away.
    const auto span = static_cast<std::int64_t>(tile.Level().Span());
    const std::int64_t x = static_cast<std::int64_t>(tile.Column()) * span;
    const std::int64_t y = static_cast<std::int64_t>(tile.Row()) * span;
    return x < std::int64_t{domain_.xOffset} + domain_.rasterColumns &&
           x + span > domain_.xOffset && y < std::int64_t{domain_.yOffset} + domain_.rasterRows &&
           y + span > domain_.yOffset;
}

TileRead RasterTileSource::Read(const TileEntry& tile, std::span<std::byte> pixels) {
    Plan plan;
    if (!MakePlan(tile, plan)) return TileRead::Nothing;
    const ZPF::RasterHeader& header = plan.level->raster.Header();
    bool whole = true;
    const std::scoped_lock lock(RasterReadLock());
    // Piece by piece as the raster is stored: a piece is one blob and one decode, and damage to it
    // stays with it.
    IntRect piece;
    for (piece.y0 = plan.part.y0; piece.y0 < plan.part.y1; piece.y0 = piece.y1) {
        const int row = (piece.y0 - plan.yRaster) * plan.stride;
        if (row >= header.rows) break;
        const int rowEnd = std::min(NextStoredTile(row), header.rows);
        piece.y1 = std::min(plan.part.y1, plan.yRaster + FirstBeyond(rowEnd, plan.stride));
        for (piece.x0 = plan.part.x0; piece.x0 < plan.part.x1; piece.x0 = piece.x1) {
            const int column = (piece.x0 - plan.xRaster) * plan.stride;
            if (column >= header.columns) break;
            const int columnEnd = std::min(NextStoredTile(column), header.columns);
            piece.x1 = std::min(plan.part.x1, plan.xRaster + FirstBeyond(columnEnd, plan.stride));
            whole = ReadPiece(plan, piece, pixels) && whole;
        }
    }
    return whole ? TileRead::Whole : TileRead::Damaged;
}

bool RasterTileSource::ReadPiece(const Plan& plan, const IntRect& piece,
                                 std::span<std::byte> pixels) {
    const int width = piece.x1 - piece.x0;
    const int height = piece.y1 - piece.y0;
    const int column = (piece.x0 - plan.xRaster) * plan.stride;
    const int row = (piece.y0 - plan.yRaster) * plan.stride;
    const int columns = (width - 1) * plan.stride + 1;
    const int rows = (height - 1) * plan.stride + 1;
    const auto count = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    const std::size_t cellBytes = converter_.SourceBytes();
    Level& level = *plan.level;
    const std::span cells(cells_.data(), count * cellBytes);
    const std::span mask(mask_.data(), count);
    if (!level.raster.ReadBlock(column, row, columns, rows, cells, ZPF::LineForm::Raw).Good()) {
        return false;
    }
    if (!level.mask.IsOpen()) {
        std::ranges::fill(mask, std::uint8_t{255});
    } else if (!level.mask
                    .ReadBlock(column, row, columns, rows, std::as_writable_bytes(mask),
                               ZPF::LineForm::Raw)
                    .Good()) {
        return false;
    }
    const auto stride = static_cast<std::size_t>(plan.stride);
    const auto across = static_cast<std::size_t>(width);
    for (int y = piece.y0; y < piece.y1; ++y) {
        const std::size_t start =
            static_cast<std::size_t>(y - piece.y0) * stride * static_cast<std::size_t>(columns);
        std::byte* line = cells.data() + start * cellBytes;
        std::uint8_t* lineMask = mask.data() + start;
        for (std::size_t i = 1; stride > 1 && i < across; ++i) {
            std::memmove(line + i * cellBytes, line + i * stride * cellBytes, cellBytes);
            lineMask[i] = lineMask[i * stride];
        }
        const std::span lineCells(line, across * cellBytes);
        FinishMask(lineCells, {lineMask, across});
        if (profile_ != nullptr) profile_->Apply(lineCells);
        // Textures have their bottom row first.
        const auto target =
            static_cast<std::size_t>(side_ - 1 - (y - plan.top)) * static_cast<std::size_t>(side_) +
            static_cast<std::size_t>(piece.x0 - plan.left);
        converter_.Convert(
            lineCells, {lineMask, across},
            pixels.subspan(target * converter_.TargetBytes(), across * converter_.TargetBytes()));
    }
    return true;
}

void RasterTileSource::FinishMask(std::span<const std::byte> cells,
                                  std::span<std::uint8_t> mask) const {
    for (std::uint8_t& value : mask) value = value != 0 ? 255 : 0;
    if (!hasNull_) return;
    const std::size_t cellBytes = converter_.SourceBytes();
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (std::memcmp(cells.data() + i * cellBytes, nullCell_.data(), cellBytes) == 0) {
            mask[i] = 0;
        }
    }
}

}  // namespace tarnvale

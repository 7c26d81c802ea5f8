#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "atlas/mapsource.h"
#include "base/status.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

/// Opaque or clear, 0xAARRGGBB.
using MapColour = std::uint32_t;

/// The colour that stands for a height. @param fraction  of the way from lowest to highest
[[nodiscard]] MapColour HeightColour(double fraction);

/// A tile of a map picture: row-major from the north-west.
struct MapTile {
    int width = 0, height = 0;
    std::vector<MapColour> pixels;
    bool damaged = false;  ///< a part couldn't be read, and is clear
};

/// A raster of a project file as a map: imagery as it is, heights in colours with hill shade.
/// Level k has a pixel for 2^k x 2^k cells; levels that the file lacks are sampled from the next
/// finer one. Thread: Open anywhere; then RenderTile on one thread, the others on any.
class MapPicture final : public MapSource {
public:
    static constexpr int kTileSide = 512;

    /// @param file  taken over
    /// @return the file's error; BadState for an object that is no raster
    Status Open(ZPF::FILEHANDLE file, const ZPFObjectItem& item);

    [[nodiscard]] bool IsHeights() const noexcept { return heights_; }
    [[nodiscard]] double Lowest() const noexcept { return lowest_; }    ///< elevation
    [[nodiscard]] double Highest() const noexcept { return highest_; }  ///< elevation
    [[nodiscard]] int Columns() const noexcept { return columns_; }
    [[nodiscard]] int Rows() const noexcept { return rows_; }
    [[nodiscard]] int Levels() const noexcept { return static_cast<int>(levels_.size()); }

    /// Grid to map; without a georeference cells are the map's units, and up is negative.
    [[nodiscard]] const GeoTransform& Grid() const noexcept { return grid_; }
    /// Metres across a cell.
    [[nodiscard]] double CellSize() const noexcept { return cellWidth_; }
    void Bounds(MapPoint& low, MapPoint& high) const override;
    [[nodiscard]] bool InCells() const noexcept override { return !HasSystem(); }
    [[nodiscard]] bool NeedsLegend() const noexcept override { return heights_; }

    /// @param level, column, row  within Levels and the level's tiles
    void RenderTile(int level, int column, int row, MapTile& tile);
    [[nodiscard]] int LevelColumns(int level) const noexcept;
    [[nodiscard]] int LevelRows(int level) const noexcept;

private:
    struct Level {
        ZPF::RASTERHANDLE raster, mask;  // open where the file has this level
    };
    struct Block;

    void OpenLevels();
    Status OpenPlace();
    void FindRange();
    [[nodiscard]] bool ReadRow(Block& block, int row);
    void PaintImage(Block& block, MapTile& tile);
    void PaintHeights(Block& block, MapTile& tile);
    void ReadHeights(Block& block, int row, std::span<float> heights);
    [[nodiscard]] MapColour ColourOf(std::span<const std::byte> cells, std::size_t index) const;

    ZPF::FILEHANDLE file_;
    std::vector<std::unique_ptr<Level>> levels_;
    ZPF::RasterHeader header_;
    std::optional<ZPF::ColorMap> colours_;
    bool heights_ = false;
    double lowest_ = 0, highest_ = 1;
    int columns_ = 0, rows_ = 0;
    GeoTransform grid_;
    double cellWidth_ = 1, cellHeight_ = 1;
};

}  // namespace tarnvale

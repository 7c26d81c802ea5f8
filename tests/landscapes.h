#pragma once

#include <gdal.h>
#include <ogr_spatialref.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "toolrun.h"
#include "zpf/zpfraster.h"

// What the tests of tarnvale-build and tarnvale-info share: rasters to build from, and landscapes
// read back.
namespace tarnvale::test {

inline constexpr std::int16_t kNull = -32768;

/// A raster to be built from, band by band, row by row.
struct Sketch {
    int columns = 0, rows = 0;
    std::array<double, 6> place{};
    std::string system = "EPSG:25832";
    GDALDataType type;
    std::vector<std::vector<double>> bands;
    std::optional<double> noData;
    std::string unit;
    bool lastIsAlpha = false;
    int bits = 0;  ///< of each value; 0 for as many as its type has

    Sketch(int c, int r, std::array<double, 6> p, GDALDataType t = GDT_Int16)
        : columns(c), rows(r), place(p), type(t) {}

    /// Adds a band whose value at each pixel's centre is a function of the map's x and y.
    template <typename Function>
    Sketch& Band(Function value) {
        std::vector<double> band;
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                band.push_back(
                    value(place[0] + (column + 0.5) * place[1], place[3] + (row + 0.5) * place[5]));
            }
        }
        bands.push_back(std::move(band));
        return *this;
    }

    /// Adds bands of one value each.
    Sketch& Even(std::initializer_list<double> values) {
        for (const double one : values) Band([one](double, double) { return one; });
        return *this;
    }

    /// Writes a GeoTIFF. @return its path
    [[nodiscard]] std::string Save(const std::filesystem::path& path) const;
};

/// A raster of a landscape, read back whole.
struct Stored {
    ZPF::RasterHeader header;
    GeoTransform place;
    COORDREFSYS system;
    std::vector<ZPF::PyramidLevel> levels;
    std::vector<std::byte> bytes;
    std::vector<std::byte> mask;  // a byte for each pixel; empty if there is no mask

    [[nodiscard]] std::size_t At(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(header.columns) +
               static_cast<std::size_t>(column);
    }
    [[nodiscard]] std::int16_t Height(int column, int row) const {
        std::int16_t height = 0;
        std::memcpy(&height, &bytes[At(column, row) * 2], 2);
        return height;
    }
    [[nodiscard]] int Color(int column, int row, int channel) const {
        return std::to_integer<int>(bytes[At(column, row) * 3 + static_cast<std::size_t>(channel)]);
    }
    [[nodiscard]] bool HasData(int column, int row) const {
        return mask.empty() || mask[At(column, row)] != std::byte{0};
    }
    [[nodiscard]] double X(double column) const { return place.xOrigin + column * place.xColumn; }
    [[nodiscard]] double Y(double row) const { return place.yOrigin + row * place.yRow; }
};

/// @param level  of the pyramid, 0 for the raster itself
Stored ReadRaster(const std::filesystem::path& path, const std::string& name, int level = 0);

Outcome Build(const std::vector<std::string>& arguments, const RunOptions& options = {});
/// Fails the test unless all goes well and nothing is said.
void BuildWell(const std::vector<std::string>& arguments);
/// What tarnvale-info tells programs.
nlohmann::json Info(const std::string& path);

/// Values in 0 to 255 that tell where on the map a pixel lies.
double RampX(double x, double y);
double RampY(double x, double y);

/// From one coordinate reference system to another, each as GDAL understands it; east comes first.
std::unique_ptr<OGRCoordinateTransformation> Conversion(const std::string& from,
                                                        const std::string& to);

/// A DEM that fits: 65 x 33 samples, 20 m apart, the first one at 600000, 6000000.
Sketch SmallDem();

}  // namespace tarnvale::test

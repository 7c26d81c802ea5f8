#pragma once

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/status.h"
#include "geom/transgen.h"

namespace tarnvale {

/// Registers the drivers, keeps GDAL quiet (its last message is told with ours) and its cache
/// small.
void StartGdal();
/// What GDAL complained of last on this thread, one line; "" if nothing.
[[nodiscard]] std::string GdalMessage();

/// @param text  anything that GDAL takes for a CRS: EPSG:n, WKT, PROJ string, file, ...
/// @param option  the option that it came by, for the message
Status SystemFromText(const std::string& text, const char* option, OGRSpatialReference& system);
[[nodiscard]] bool SameSystem(const OGRSpatialReference& a, const OGRSpatialReference& b);
/// Whether a CRS is projected with the metre as unit.
[[nodiscard]] bool IsMetric(const OGRSpatialReference& system);
/// "WGS 84 / UTM zone 10N (EPSG:32610)"
[[nodiscard]] std::string SystemName(const OGRSpatialReference& system);

struct CloseDataset {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using DatasetPtr = std::unique_ptr<GDALDataset, CloseDataset>;

/// A raster of any format, georeferenced one way or another. Thread: one at a time; open it again
/// for another thread.
class InputRaster {
public:
    /// @param assigned  CRS for a raster that declares none; may be null
    /// @return FileNotFound, FileDamaged (no raster), BadState (no georeference, no CRS)
    Status Open(const std::string& path, const OGRSpatialReference* assigned);

    [[nodiscard]] GDALDataset& Dataset() const { return *dataset_; }
    [[nodiscard]] const std::string& Path() const { return path_; }
    /// The file's name without folder and extension.
    [[nodiscard]] std::string Stem() const;
    [[nodiscard]] int Columns() const { return dataset_->GetRasterXSize(); }
    [[nodiscard]] int Rows() const { return dataset_->GetRasterYSize(); }
    /// x east or longitude, y north or latitude, without a vertical part.
    [[nodiscard]] const OGRSpatialReference& System() const { return system_; }
    /// The CRS with its vertical part, if it has one.
    [[nodiscard]] const OGRSpatialReference& DeclaredSystem() const { return declared_; }
    [[nodiscard]] const GeoTransform& Georeference() const { return georeference_; }
    [[nodiscard]] bool IsNorthUp() const;

private:
    std::string path_;
    DatasetPtr source_;  // what a wrapper around it, in dataset_, reads
    DatasetPtr dataset_;
    OGRSpatialReference system_, declared_;
    GeoTransform georeference_;
};

/// Four channels of one pixel, each multiplied by the last one, the weight: 0 where there is no
/// data.
struct alignas(16) Pixel4 {
    std::array<float, 4> c{};
};

enum class Beyond : std::uint8_t {
    Void,      ///< no data beyond the raster's sides
    Repeated,  ///< the nearest pixel
};

/// How the bands of a raster become pixels. value' = value * gain + bias.
struct BandPlan {
    std::vector<int> bands;  ///< 1 (all three channels the same) or 3, from 1
    std::array<double, 3> gain{1, 1, 1}, bias{0, 0, 0};
    bool palette = false;        ///< the one band is an index into a colour table
    bool clearEntries = false;   ///< some of whose colours can be seen through
    std::vector<int> maskBands;  ///< bands any of whose masks makes a pixel valid; empty: all valid
    bool alpha = false;          ///< maskBands[0] is itself the alpha band
};

/// Reads windows of a raster as pixels. Thread: one at a time.
class WindowReader {
public:
    /// @param raster  borrowed, must outlive the reader
    WindowReader(InputRaster& raster, BandPlan plan);

    /// Reads columns x0 to x0 + width, rows y0 to y0 + height of the raster reduced by whole
    /// factors (averaged); the window may reach beyond the raster.
    /// @param out  width x height pixels, row-major
    Status Read(int x0, int y0, int width, int height, int xStep, int yStep, Beyond beyond,
                std::span<Pixel4> out);
    [[nodiscard]] const InputRaster& Raster() const { return raster_; }

private:
    Status ReadValues(int x0, int y0, int width, int height, int xStep, int yStep);
    Status ReadWeights(int x0, int y0, int width, int height, int xStep, int yStep);

    InputRaster& raster_;
    BandPlan plan_;
    bool bytes_;  // values come as bytes and go through the tables
    std::array<std::array<float, 256>, 3> table_{};
    std::array<std::uint8_t, 256> opacity_{};  // of the colour table's entries
    std::vector<std::uint8_t> byteValues_;     // pixel-interleaved
    std::vector<float> floatValues_;           // pixel-interleaved
    std::vector<std::uint8_t> weights_, oneMask_;
};

/// Bands whose masks tell where there is data, for these bands of a raster.
void PlanMasks(GDALDataset& dataset, BandPlan& plan);

}  // namespace tarnvale

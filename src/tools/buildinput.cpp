#include "tools/buildinput.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <fmt/format.h>
#include <gdalwarper.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

namespace tarnvale {

namespace {

constexpr std::uint8_t kOpaque = 255;
constexpr GIntBig kCacheBytes = GIntBig{192} << 20;

std::string OneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
    return text;
}

bool Exists(const std::string& path) {
    std::error_code failed;
    return std::filesystem::exists(path, failed);
}

/// Why a path can't be opened as a raster, in one clause.
Status NotARaster(const std::string& path) {
    std::error_code failed;
    if (std::filesystem::is_directory(path, failed)) {
        return _SetErrPosn(StatusCode::FileDamaged, path + " is a folder, not a raster");
    }
    // Names without a file can still mean something to GDAL: databases, services, subdatasets.
    if (!Exists(path) && path.find(':') == std::string::npos) {
        return _SetErrPosn(StatusCode::FileNotFound, path + ": no such file");
    }
    const std::string message = GdalMessage();
    return _SetErrPosn(
        StatusCode::FileDamaged,
        path + " can't be opened as a raster" + (message.empty() ? std::string() : ": " + message));
}

/// Gives a raster that is placed by control points or a model a grid that a transform can place.
DatasetPtr PlaceOnGrid(GDALDataset& source) {
    const bool placed = source.GetGCPCount() > 0 || source.GetMetadata("RPC") != nullptr ||
                        source.GetMetadata("GEOLOCATION") != nullptr;
    if (!placed) return nullptr;
    return DatasetPtr(GDALDataset::FromHandle(GDALAutoCreateWarpedVRT(
        GDALDataset::ToHandle(&source), nullptr, nullptr, GRA_Bilinear, 0.0, nullptr)));
}

GeoTransform FromGdal(const std::array<double, 6>& six) {
    return {six[0], six[1], six[2], six[3], six[4], six[5]};
}

}  // namespace

void StartGdal() {
    GDALAllRegister();
    CPLSetErrorHandler(CPLQuietErrorHandler);
    if (CPLGetConfigOption("GDAL_CACHEMAX", nullptr) == nullptr) GDALSetCacheMax64(kCacheBytes);
}

std::string GdalMessage() {
    return CPLGetLastErrorNo() == 0 ? std::string() : OneLine(CPLGetLastErrorMsg());
}

Status SystemFromText(const std::string& text, const char* option, OGRSpatialReference& system) {
    OGRSpatialReference made;
    if (made.SetFromUserInput(text.c_str()) != OGRERR_NONE) {
        return _SetErrPosn(
            StatusCode::BadState,
            fmt::format("{} {}: no such CRS; give for example EPSG:32633", option, text));
    }
    if (made.IsCompound()) made.StripVertical();
    made.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    system = made;
    return StatusCode::Ok;
}

bool SameSystem(const OGRSpatialReference& a, const OGRSpatialReference& b) {
    const char* const options[] = {"IGNORE_DATA_AXIS_TO_SRS_AXIS_MAPPING=YES",
                                   "CRITERION=EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS", nullptr};
    return a.IsSame(&b, options) != 0;
}

bool IsMetric(const OGRSpatialReference& system) {
    const bool flat = system.IsProjected() != 0 || system.IsLocal() != 0;
    return flat && std::abs(system.GetLinearUnits() - 1.0) < 1e-9;
}

std::string SystemName(const OGRSpatialReference& system) {
    const char* name = system.GetName();
    std::string text = name != nullptr && *name != '\0' ? name : "unnamed CRS";
    const char* authority = system.GetAuthorityName(nullptr);
    const char* code = system.GetAuthorityCode(nullptr);
    if (authority != nullptr && code != nullptr) text += fmt::format(" ({}:{})", authority, code);
    return text;
}

Status InputRaster::Open(const std::string& path, const OGRSpatialReference* assigned) {
    CPLErrorReset();
    InputRaster made;
    made.path_ = path;
    made.dataset_.reset(
        GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR));
    if (!made.dataset_) return NotARaster(path);
    if (made.dataset_->GetRasterCount() == 0) {
        const char* first =
            CSLFetchNameValue(made.dataset_->GetMetadata("SUBDATASETS"), "SUBDATASET_1_NAME");
        return _SetErrPosn(
            StatusCode::FileDamaged,
            first != nullptr
                ? fmt::format("{} holds several rasters; name one, such as {}", path, first)
                : path + " holds no raster");
    }
    std::array<double, 6> six{};
    if (made.dataset_->GetGeoTransform(six.data()) != CE_None) {
        DatasetPtr placed = PlaceOnGrid(*made.dataset_);
        if (!placed || placed->GetGeoTransform(six.data()) != CE_None) {
            return _SetErrPosn(StatusCode::BadState,
                               path +
                                   " has no georeference; give it one, for example with "
                                   "gdal_translate -a_ullr");
        }
        made.source_ = std::move(made.dataset_);
        made.dataset_ = std::move(placed);
    }
    made.georeference_ = FromGdal(six);
    if (const OGRSpatialReference* system = made.dataset_->GetSpatialRef()) {
        made.declared_ = *system;
    } else if (assigned != nullptr) {
        made.declared_ = *assigned;
    } else {
        return _SetErrPosn(StatusCode::BadState,
                           path +
                               " declares no CRS; say with -a_srs which it is, for example "
                               "-a_srs EPSG:32633");
    }
    made.system_ = made.declared_;
    if (made.system_.IsCompound()) made.system_.StripVertical();
    made.system_.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    *this = std::move(made);
    return StatusCode::Ok;
}

std::string InputRaster::Stem() const {
    const std::string stem = std::filesystem::path(path_).stem().string();
    return stem.empty() ? "raster" : stem;
}

bool InputRaster::IsNorthUp() const {
    return georeference_.xRow == 0 && georeference_.yColumn == 0 && georeference_.xColumn > 0 &&
           georeference_.yRow < 0;
}

void PlanMasks(GDALDataset& dataset, BandPlan& plan) {
    plan.maskBands.clear();
    plan.alpha = plan.clearEntries = false;
    if (plan.palette) {
        const GDALColorTable& colors = *dataset.GetRasterBand(plan.bands.front())->GetColorTable();
        for (int i = 0; i < colors.GetColorEntryCount(); ++i) {
            plan.clearEntries = plan.clearEntries || colors.GetColorEntry(i)->c4 < kOpaque;
        }
    }
    for (int i = 1; i <= dataset.GetRasterCount(); ++i) {
        const bool used = std::ranges::find(plan.bands, i) != plan.bands.end();
        if (dataset.GetRasterBand(i)->GetColorInterpretation() == GCI_AlphaBand && !used) {
            plan.maskBands = {i};
            plan.alpha = true;
            return;
        }
    }
    for (const int band : plan.bands) {
        const int flags = dataset.GetRasterBand(band)->GetMaskFlags();
        if ((flags & GMF_ALL_VALID) != 0) {
            plan.maskBands.clear();
            return;
        }
        plan.maskBands.push_back(band);
        if ((flags & GMF_PER_DATASET) != 0) return;
    }
}

WindowReader::WindowReader(InputRaster& raster, BandPlan plan)
    : raster_(raster), plan_(std::move(plan)) {
    GDALRasterBand* first = raster_.Dataset().GetRasterBand(plan_.bands.front());
    bytes_ = true;
    opacity_.fill(kOpaque);
    for (const int band : plan_.bands) {
        bytes_ = bytes_ && raster_.Dataset().GetRasterBand(band)->GetRasterDataType() == GDT_Byte;
    }
    const GDALColorTable* colors = plan_.palette ? first->GetColorTable() : nullptr;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        for (int value = 0; value < 256; ++value) {
            double shown = value * plan_.gain[channel] + plan_.bias[channel];
            if (colors != nullptr) {
                GDALColorEntry entry{};
                if (value < colors->GetColorEntryCount()) colors->GetColorEntryAsRGB(value, &entry);
                const std::array<short, 3> parts{entry.c1, entry.c2, entry.c3};
                shown = parts[channel];
                if (value < colors->GetColorEntryCount())
                    opacity_[static_cast<std::size_t>(value)] =
                        static_cast<std::uint8_t>(std::clamp<short>(entry.c4, 0, kOpaque));
            }
            table_[channel][static_cast<std::size_t>(value)] = static_cast<float>(shown);
        }
    }
}

Status WindowReader::ReadValues(int x0, int y0, int width, int height, int xStep, int yStep) {
    const int bands = static_cast<int>(plan_.bands.size());
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                       static_cast<std::size_t>(bands);
    void* buffer = nullptr;
    GSpacing sample = 1;
    if (bytes_) {
        byteValues_.resize(count);
        buffer = byteValues_.data();
    } else {
        floatValues_.resize(count);
        buffer = floatValues_.data();
        sample = sizeof(float);
    }
    GDALRasterIOExtraArg how;
    INIT_RASTERIO_EXTRA_ARG(how);
    // Palette entries can't be averaged.
    how.eResampleAlg =
        plan_.palette || (xStep == 1 && yStep == 1) ? GRIORA_NearestNeighbour : GRIORA_Average;
    CPLErrorReset();
    if (raster_.Dataset().RasterIO(GF_Read, x0 * xStep, y0 * yStep, width * xStep, height * yStep,
                                   buffer, width, height, bytes_ ? GDT_Byte : GDT_Float32, bands,
                                   plan_.bands.data(), sample * bands, sample * bands * width,
                                   sample, &how) != CE_None) {
        return _SetErrPosn(StatusCode::ReadFailed,
                           raster_.Path() + " can't be read: " + GdalMessage());
    }
    return StatusCode::Ok;
}

Status WindowReader::ReadWeights(int x0, int y0, int width, int height, int xStep, int yStep) {
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    weights_.assign(count, plan_.maskBands.empty() ? kOpaque : 0);
    GDALRasterIOExtraArg how;
    INIT_RASTERIO_EXTRA_ARG(how);
    how.eResampleAlg = xStep == 1 && yStep == 1 ? GRIORA_NearestNeighbour : GRIORA_Average;
    for (const int number : plan_.maskBands) {
        GDALRasterBand* band = raster_.Dataset().GetRasterBand(number);
        GDALRasterBand* mask = plan_.alpha ? band : band->GetMaskBand();
        oneMask_.resize(count);
        CPLErrorReset();
        if (mask->RasterIO(GF_Read, x0 * xStep, y0 * yStep, width * xStep, height * yStep,
                           oneMask_.data(), width, height, GDT_Byte, 0, 0, &how) != CE_None) {
            return _SetErrPosn(StatusCode::ReadFailed,
                               raster_.Path() + " can't be read: " + GdalMessage());
        }
        for (std::size_t i = 0; i < count; ++i) weights_[i] = std::max(weights_[i], oneMask_[i]);
    }
    if (plan_.clearEntries) {
        for (std::size_t i = 0; i < count; ++i)
            weights_[i] = std::min(weights_[i], opacity_[byteValues_[i]]);
    }
    return StatusCode::Ok;
}

Status WindowReader::Read(int x0, int y0, int width, int height, int xStep, int yStep,
                          Beyond beyond, std::span<Pixel4> out) {
    const int columns = std::max(1, raster_.Columns() / xStep);
    const int rows = std::max(1, raster_.Rows() / yStep);
    // What of the window lies on the raster; with repetition at least its nearest pixel.
    const bool repeat = beyond == Beyond::Repeated;
    const int left = std::clamp(x0, 0, repeat ? columns - 1 : columns);
    const int right = std::clamp(x0 + width, repeat ? left + 1 : left, columns);
    const int top = std::clamp(y0, 0, repeat ? rows - 1 : rows);
    const int bottom = std::clamp(y0 + height, repeat ? top + 1 : top, rows);
    const int across = right - left, down = bottom - top;
    if (across <= 0 || down <= 0) {
        std::ranges::fill(out, Pixel4{});
        return StatusCode::Ok;
    }
    // A raster narrower than the step is read as one pixel.
    const int xReal = std::min(xStep, raster_.Columns()), yReal = std::min(yStep, raster_.Rows());
    if (const Status read = ReadValues(left, top, across, down, xReal, yReal); !read.Good())
        return read;
    if (const Status read = ReadWeights(left, top, across, down, xReal, yReal); !read.Good())
        return read;

    const std::size_t bands = plan_.bands.size();
    const std::size_t second = bands == 3 ? 1 : 0, third = bands == 3 ? 2 : 0;
    const auto pixelAt = [&](std::size_t i) {
        if (weights_[i] < 128) return Pixel4{};
        const std::size_t at = i * bands;
        if (bytes_) {
            return Pixel4{{table_[0][byteValues_[at]], table_[1][byteValues_[at + second]],
                           table_[2][byteValues_[at + third]], 1.0F}};
        }
        Pixel4 pixel{{floatValues_[at], floatValues_[at + second], floatValues_[at + third], 1.0F}};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            if (!std::isfinite(pixel.c[channel])) return Pixel4{};
            pixel.c[channel] =
                static_cast<float>(pixel.c[channel] * plan_.gain[channel] + plan_.bias[channel]);
        }
        return pixel;
    };
    for (int y = 0; y < height; ++y) {
        const std::span<Pixel4> line =
            out.subspan(static_cast<std::size_t>(y) * static_cast<std::size_t>(width),
                        static_cast<std::size_t>(width));
        const int row = std::clamp(y0 + y, top, bottom - 1);
        if (row != y0 + y && !repeat) {
            std::ranges::fill(line, Pixel4{});
            continue;
        }
        const auto start = static_cast<std::size_t>(row - top) * static_cast<std::size_t>(across);
        for (int x = 0; x < width; ++x) {
            const int column = std::clamp(x0 + x, left, right - 1);
            line[static_cast<std::size_t>(x)] =
                column != x0 + x && !repeat
                    ? Pixel4{}
                    : pixelAt(start + static_cast<std::size_t>(column - left));
        }
    }
    return StatusCode::Ok;
}

}  // namespace tarnvale

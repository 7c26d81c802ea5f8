#include "tools/buildimage.h"

#include <cpl_error.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace tarnvale {

namespace {

using ZPF::kTileSide;

/// Side of the reduced picture that the stretch is measured on.
constexpr int kSampleSide = 1024;
constexpr double kLowShare = 0.02, kHighShare = 0.98;
/// Sides of the terrain may reach this many pixels beyond the image and still count as covered.
constexpr double kCoveredTolerance = 0.25;
/// Decoded strips that all readers together may hold.
constexpr double kStripBytes = 128.0 * 1024 * 1024;

Status ChooseBands(const TextureRequest& request, GDALDataset& dataset, BandPlan& plan) {
    const int count = dataset.GetRasterCount();
    plan.bands = request.bands;
    for (const int band : plan.bands) {
        if (band > count) {
            return _SetErrPosn(
                StatusCode::BadState,
                fmt::format("{} has {} bands, so there is no band {}", request.path, count, band));
        }
    }
    if (plan.bands.empty()) {
        // Named colours, in whatever order they are stored; else the first ones.
        std::array<int, 3> colors{};
        for (int i = 1; i <= count; ++i) {
            const int color = dataset.GetRasterBand(i)->GetColorInterpretation() - GCI_RedBand;
            if (color >= 0 && color < 3 && colors[static_cast<std::size_t>(color)] == 0) {
                colors[static_cast<std::size_t>(color)] = i;
            }
        }
        if (std::ranges::find(colors, 0) == colors.end()) {
            plan.bands.assign(colors.begin(), colors.end());
        } else if (count >= 3) {
            plan.bands = {1, 2, 3};
        } else {
            plan.bands = {1};
        }
    }
    for (const int band : plan.bands) {
        if (GDALDataTypeIsComplex(dataset.GetRasterBand(band)->GetRasterDataType()) != 0) {
            return _SetErrPosn(StatusCode::BadState,
                               request.path + " holds complex numbers, not a picture");
        }
    }
    GDALRasterBand* first = dataset.GetRasterBand(plan.bands.front());
    plan.palette = plan.bands.size() == 1 && first->GetRasterDataType() == GDT_Byte &&
                   first->GetColorTable() != nullptr &&
                   first->GetColorTable()->GetPaletteInterpretation() == GPI_RGB;
    return StatusCode::Ok;
}

/// Values of a band at about kSampleSide x kSampleSide places that have data.
Status SampleBand(const std::string& path, GDALRasterBand& band, std::vector<float>& values) {
    const int width = std::min(kSampleSide, band.GetXSize()),
              height = std::min(kSampleSide, band.GetYSize());
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<float> all(count);
    std::vector<std::uint8_t> mask(count);
    CPLErrorReset();
    if (band.RasterIO(GF_Read, 0, 0, band.GetXSize(), band.GetYSize(), all.data(), width, height,
                      GDT_Float32, 0, 0, nullptr) != CE_None ||
        band.GetMaskBand()->RasterIO(GF_Read, 0, 0, band.GetXSize(), band.GetYSize(), mask.data(),
                                     width, height, GDT_Byte, 0, 0, nullptr) != CE_None) {
        return _SetErrPosn(StatusCode::ReadFailed, path + " can't be read: " + GdalMessage());
    }
    values.clear();
    for (std::size_t i = 0; i < count; ++i) {
        if (mask[i] != 0 && std::isfinite(all[i])) values.push_back(all[i]);
    }
    return StatusCode::Ok;
}

/// Gain and bias that spread what is between two percentiles over 0 to 255, where a band isn't
/// 8-bit.
Status PlanStretch(const std::string& path, GDALDataset& dataset, ImagePlan& plan) {
    for (std::size_t i = 0; i < plan.bands.bands.size(); ++i) {
        GDALRasterBand* band = dataset.GetRasterBand(plan.bands.bands[i]);
        if (band->GetRasterDataType() == GDT_Byte) continue;
        std::vector<float> values;
        if (const Status read = SampleBand(path, *band, values); !read.Good()) return read;
        if (values.empty()) continue;
        const auto at = [&](double share) {
            const auto nth = values.begin() + static_cast<std::ptrdiff_t>(
                                                  share * static_cast<double>(values.size() - 1));
            std::ranges::nth_element(values, nth);
            return static_cast<double>(*nth);
        };
        const double low = at(kLowShare),
                     high = std::max(at(kHighShare), low + 1e-6 * std::abs(low) + 1e-12);
        plan.bands.gain[i] = 255.0 / (high - low);
        plan.bands.bias[i] = -low * plan.bands.gain[i];
        plan.notes.push_back(fmt::format("band {}: {:.6g} to {:.6g} become 0 to 255",
                                         plan.bands.bands[i], low, high));
    }
    if (plan.bands.bands.size() == 1) {
        plan.bands.gain.fill(plan.bands.gain[0]);
        plan.bands.bias.fill(plan.bands.bias[0]);
    }
    return StatusCode::Ok;
}

bool OnImage(const PixelPoint& p, const InputRaster& image, double tolerance) {
    return p.x >= -tolerance && p.x <= image.Columns() + tolerance && p.y >= -tolerance &&
           p.y <= image.Rows() + tolerance;
}

/// Places on a grid over the terrain, its borders included.
std::vector<PixelPoint> PlacesOver(const TargetGrid& grid, const PixelMap& map) {
    constexpr int kSteps = 64;
    std::vector<PixelPoint> places;
    for (int j = 0; j <= kSteps; ++j) {
        for (int i = 0; i <= kSteps; ++i) {
            places.push_back({static_cast<double>(grid.columns) * i / kSteps,
                              static_cast<double>(grid.rows) * j / kSteps});
        }
    }
    map.Forward(places);
    return places;
}

struct PixelBox {
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

/// Where the image's border comes to lie in texture pixels; nothing where the conversion isn't one
/// to one there, as for a picture of the whole globe.
std::optional<PixelBox> BoxOf(const InputRaster& image, const PixelMap& map) {
    constexpr int kSteps = 64;
    std::optional<PixelBox> box;
    for (int i = 0; i <= kSteps; ++i) {
        const double x = static_cast<double>(image.Columns()) * i / kSteps;
        const double y = static_cast<double>(image.Rows()) * i / kSteps;
        for (const auto& [px, py] :
             {std::pair{x, 0.0}, std::pair{x, static_cast<double>(image.Rows())}, std::pair{0.0, y},
              std::pair{static_cast<double>(image.Columns()), y}}) {
            const PixelPoint there = map.Backward(px, py);
            const PixelPoint back = map.Forward(there.x, there.y);
            if (!(std::abs(back.x - px) < 1.0 && std::abs(back.y - py) < 1.0)) return std::nullopt;
            if (!box) box = PixelBox{there.x, there.y, there.x, there.y};
            *box = {std::min(box->x0, there.x), std::min(box->y0, there.y),
                    std::max(box->x1, there.x), std::max(box->y1, there.y)};
        }
    }
    return box;
}

IntRect TilesIn(const PixelBox& box, const TargetGrid& grid) {
    const auto range = [](double low, double high, int pixels, int& first, int& end) {
        const int tiles = (pixels + kTileSide - 1) / kTileSide;
        first = static_cast<int>(std::floor(std::clamp(low - 2.0, 0.0, pixels - 1.0))) / kTileSide;
        end = std::min(
            tiles,
            static_cast<int>(std::ceil(std::clamp(high + 2.0, 1.0, pixels * 1.0)) - 1) / kTileSide +
                1);
    };
    IntRect tiles;
    range(box.x0, box.x1, grid.columns, tiles.x0, tiles.x1);
    range(box.y0, box.y1, grid.rows, tiles.y0, tiles.y1);
    return tiles;
}

/// The place on the terrain where the image's resolution counts: the middle of what both have.
std::optional<PixelScale> CommonScale(const TargetGrid& terrain, const InputRaster& image,
                                      const PixelMap& map) {
    PixelPoint middle{terrain.columns * 0.5, terrain.rows * 0.5};
    if (const auto box = BoxOf(image, map)) {
        middle.x = 0.5 * (std::max(0.0, box->x0) + std::min<double>(terrain.columns, box->x1));
        middle.y = 0.5 * (std::max(0.0, box->y0) + std::min<double>(terrain.rows, box->y1));
    }
    return ScaleAt(map, middle.x, middle.y);
}

Status NoOverlap(const std::string& path) {
    return _SetErrPosn(StatusCode::BadState,
                       path + " doesn't overlap the DEM; check the georeference and CRS of both");
}

class ImageReader final : public TileReader {
public:
    static Status Create(const ImagePlan& plan, const OGRSpatialReference* assigned,
                         std::unique_ptr<TileReader>& out) {
        std::unique_ptr<ImageReader> made(new ImageReader);
        if (const Status opened = made->image_.Open(plan.path, assigned); !opened.Good())
            return opened;
        if (const Status created = ResampledRaster::Create(
                plan.grid, made->image_, plan.bands, plan.masked ? Beyond::Void : Beyond::Repeated,
                Overshoot::Allowed, made->pixels_);
            !created.Good()) {
            return created;
        }
        made->buffer_.resize(static_cast<std::size_t>(kTileSide) * kTileSide);
        out = std::move(made);
        return StatusCode::Ok;
    }

    Status Read(int x, int y, int width, int height, RawTile& tile) override {
        if (const Status read = pixels_->Read(x, y, width, height, buffer_, tile.coverage);
            !read.Good())
            return read;
        if (tile.coverage == Coverage::Empty) return StatusCode::Ok;
        if (!tile.mask.empty()) std::ranges::fill(tile.mask, std::uint8_t{0});
        for (int row = 0; row < height; ++row) {
            const Pixel4* from =
                &buffer_[static_cast<std::size_t>(row) * static_cast<std::size_t>(width)];
            const std::size_t start = static_cast<std::size_t>(row) * kTileSide;
            for (int column = 0; column < width; ++column) {
                const std::size_t to = start + static_cast<std::size_t>(column);
                const Pixel4& pixel = from[column];
                for (std::size_t c = 0; c < 3; ++c) {
                    tile.cells[to * 3 + c] = static_cast<std::byte>(
                        static_cast<int>(std::clamp(pixel.c[c] + 0.5F, 0.0F, 255.0F)));
                }
                if (!tile.mask.empty()) tile.mask[to] = pixel.c[3] > 0 ? 255 : 0;
            }
        }
        return StatusCode::Ok;
    }

private:
    ImageReader() = default;
    InputRaster image_;
    std::unique_ptr<ResampledRaster> pixels_;
    std::vector<Pixel4> buffer_;
};

class ImageSource final : public TileSource {
public:
    ImageSource(const ImagePlan& plan, const OGRSpatialReference* assigned)
        : plan_(plan), assigned_(assigned) {}
    Status NewReader(std::unique_ptr<TileReader>& reader) const override {
        return ImageReader::Create(plan_, assigned_, reader);
    }
    [[nodiscard]] IntRect Tiles(int /*columns*/, int /*rows*/) const override {
        return plan_.tiles;
    }
    [[nodiscard]] int MostReaders() const override { return plan_.mostReaders; }
    [[nodiscard]] bool ReadsAlongRows() const override { return plan_.alongRows; }

private:
    const ImagePlan& plan_;
    const OGRSpatialReference* assigned_;
};

}  // namespace

Status PlanImage(const TextureRequest& request, const TargetGrid& terrain, int textureSize,
                 const OGRSpatialReference* assigned, ImagePlan& plan) {
    ImagePlan made;
    made.path = request.path;
    InputRaster image;
    if (const Status opened = image.Open(request.path, assigned); !opened.Good()) return opened;
    GDALDataset& dataset = image.Dataset();
    if (const Status chosen = ChooseBands(request, dataset, made.bands); !chosen.Good())
        return chosen;
    PlanMasks(dataset, made.bands);
    if (const Status stretched = PlanStretch(request.path, dataset, made); !stretched.Good())
        return stretched;

    PixelMap onTerrain;
    if (const Status created = PixelMap::Create(terrain, image, onTerrain); !created.Good())
        return created;
    const std::optional<PixelScale> scale = CommonScale(terrain, image, onTerrain);
    if (!scale) return NoOverlap(request.path);
    std::string note;
    const int doublings = ChooseDoublings(terrain, scale->area, textureSize, note);
    if (!note.empty()) made.notes.push_back(note);
    made.grid = TextureGrid(terrain, doublings);

    InputRaster again;
    if (const Status opened = again.Open(request.path, assigned); !opened.Good()) return opened;
    std::unique_ptr<ResampledRaster> trial;
    if (const Status created = ResampledRaster::Create(made.grid, again, made.bands, Beyond::Void,
                                                       Overshoot::Allowed, trial);
        !created.Good()) {
        return created;
    }
    made.copied = trial->IsCopy();
    const std::vector<PixelPoint> places = PlacesOver(made.grid, trial->Map());
    const bool covered = std::ranges::all_of(
        places, [&](const PixelPoint& p) { return OnImage(p, image, kCoveredTolerance); });
    const auto data = made.bands.bands.empty()
                          ? GDT_Byte
                          : dataset.GetRasterBand(made.bands.bands[0])->GetRasterDataType();
    const bool mayBeNan = data == GDT_Float32 || data == GDT_Float64;
    made.masked = !covered || !made.bands.maskBands.empty() || made.bands.clearEntries || mayBeNan;
    made.tiles = {0, 0, (made.grid.columns + kTileSide - 1) / kTileSide,
                  (made.grid.rows + kTileSide - 1) / kTileSide};
    if (!covered) {
        if (const auto box = BoxOf(image, trial->Map())) {
            if (box->x1 <= 0 || box->y1 <= 0 || box->x0 >= made.grid.columns ||
                box->y0 >= made.grid.rows) {
                return NoOverlap(request.path);
            }
            made.tiles = TilesIn(*box, made.grid);
        } else if (std::ranges::none_of(
                       places, [&](const PixelPoint& p) { return OnImage(p, image, 0); })) {
            return NoOverlap(request.path);
        }
    }
    int blockWidth = 0, blockHeight = 0;
    dataset.GetRasterBand(made.bands.bands[0])->GetBlockSize(&blockWidth, &blockHeight);
    made.alongRows = blockWidth >= image.Columns() && image.Columns() > 2 * kTileSide;
    made.mostReaders = 1 << 16;
    if (made.alongRows) {
        const double cells = static_cast<double>(made.grid.rows) / kTileSide;
        const double rowsInTile =
            std::max<double>(image.Rows() / std::max(1.0, cells), blockHeight) + blockHeight;
        double pixelBytes = 0;
        for (const int band : made.bands.bands) {
            pixelBytes +=
                GDALGetDataTypeSizeBytes(dataset.GetRasterBand(band)->GetRasterDataType());
        }
        made.mostReaders = std::max(
            1, static_cast<int>(kStripBytes / (rowsInTile * image.Columns() * pixelBytes)));
    }
    plan = std::move(made);
    return StatusCode::Ok;
}

std::unique_ptr<TileSource> ImageTiles(const ImagePlan& plan, const OGRSpatialReference* assigned) {
    return std::make_unique<ImageSource>(plan, assigned);
}

}  // namespace tarnvale

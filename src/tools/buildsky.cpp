#include "tools/buildsky.h"

#include <cpl_conv.h>
#include <fmt/format.h>
#include <gdal_utils.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>

#include "tools/buildinput.h"
#include "tools/buildpyramid.h"

namespace tarnvale {

namespace {

Status CantRead(const std::string& path) {
    std::error_code failed;
    const bool local = path.find(':') == std::string::npos;
    if (local && !std::filesystem::exists(path, failed))
        return _SetErrPosn(StatusCode::FileNotFound, path + ": no such file");
    if (std::filesystem::is_directory(path, failed))
        return _SetErrPosn(StatusCode::FileDamaged, path + " is a folder, not a picture");
    const std::string message = GdalMessage();
    return _SetErrPosn(StatusCode::FileDamaged, path + " can't be opened as a picture" +
                                                    (message.empty() ? "" : ": " + message));
}

/// A picture whose one band is an index shows its colours instead.
DatasetPtr WithColours(DatasetPtr source, DatasetPtr& kept) {
    if (source->GetRasterBand(1)->GetColorTable() == nullptr) return source;
    const std::array<const char*, 5> words{"-of", "VRT", "-expand", "rgb", nullptr};
    std::array<char*, 5> arguments{};
    std::ranges::transform(words, arguments.begin(),
                           [](const char* word) { return const_cast<char*>(word); });
    GDALTranslateOptions* const options = GDALTranslateOptionsNew(arguments.data(), nullptr);
    GDALDatasetH const expanded =
        GDALTranslate("", GDALDataset::ToHandle(source.get()), options, nullptr);
    GDALTranslateOptionsFree(options);
    if (expanded == nullptr) return source;
    kept = std::move(source);
    return DatasetPtr(GDALDataset::FromHandle(expanded));
}

Status OpenPicture(const std::string& path, DatasetPtr& picture) {
    CPLErrorReset();
    picture.reset(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY));
    if (picture == nullptr || picture->GetRasterCount() < 1) {
        picture.reset();
        return CantRead(path);
    }
    const int columns = picture->GetRasterXSize(), rows = picture->GetRasterYSize();
    if (columns >= 2 && rows >= 2) return StatusCode::Ok;
    picture.reset();
    return _SetErrPosn(
        StatusCode::FileRefused,
        fmt::format("{} has {} x {} pixels; a sky needs at least 2 x 2", path, columns, rows));
}

/// Brings values of more than 8 bits to 0 to 255. @param values  interleaved by band
/// @return false if there is no number among them
bool Stretch(GDALDataType type, const std::vector<float>& values, std::vector<std::uint8_t>& bytes,
             std::string& note) {
    float low = 0, high = 65535;
    if (type != GDT_UInt16) {
        low = std::numeric_limits<float>::max();
        high = std::numeric_limits<float>::lowest();
        for (const float value : values) {
            if (!std::isfinite(value)) continue;
            low = std::min(low, value);
            high = std::max(high, value);
        }
        if (low > high) return false;
        note =
            fmt::format("values from {:.4g} to {:.4g} were stretched over all shades", low, high);
    }
    const float gain = high > low ? 255 / (high - low) : 0;
    std::ranges::transform(values, bytes.begin(), [&](float value) {
        const float shade = std::isfinite(value) ? (value - low) * gain : 0;
        return static_cast<std::uint8_t>(std::clamp(shade, 0.0F, 255.0F) + 0.5F);
    });
    return true;
}

/// Pixels of a picture that the file marks as empty become no numbers.
void TakeOutEmpty(GDALDataset& picture, const std::array<int, 3>& bands,
                  std::vector<float>& values) {
    for (std::size_t band = 0; band < bands.size(); ++band) {
        int marked = 0;
        const auto empty =
            static_cast<float>(picture.GetRasterBand(bands[band])->GetNoDataValue(&marked));
        if (marked == 0) continue;
        for (std::size_t i = band; i < values.size(); i += bands.size())
            if (values[i] == empty) values[i] = std::numeric_limits<float>::quiet_NaN();
    }
}

/// Tiles out of a picture in memory; those at the far sides repeat its last pixels.
class PictureTiles final : public TileSource {
public:
    explicit PictureTiles(const SkyImage& image) : image_(image) {}
    Status NewReader(std::unique_ptr<TileReader>& reader) const override {
        reader = std::make_unique<Reader>(image_);
        return StatusCode::Ok;
    }

private:
    class Reader final : public TileReader {
    public:
        explicit Reader(const SkyImage& image) : image_(image) {}
        Status Read(int x, int y, int width, int height, RawTile& tile) override {
            constexpr int kSide = ZPF::kTileSide;
            for (int row = 0; row < kSide; ++row) {
                const std::size_t from = static_cast<std::size_t>(y + std::min(row, height - 1)) *
                                             static_cast<std::size_t>(image_.columns) +
                                         static_cast<std::size_t>(x);
                std::byte* const line = &tile.cells[static_cast<std::size_t>(row) * kSide * 3];
                std::memcpy(line, &image_.rgb[from * 3], static_cast<std::size_t>(width) * 3);
                for (int column = width; column < kSide; ++column) {
                    std::memcpy(line + static_cast<std::size_t>(column) * 3,
                                line + static_cast<std::size_t>(width - 1) * 3, 3);
                }
            }
            tile.coverage = Coverage::Full;
            return StatusCode::Ok;
        }

    private:
        const SkyImage& image_;
    };

    const SkyImage& image_;
};

}  // namespace

Status CheckSkyImage(const std::string& path) {
    DatasetPtr picture;
    return OpenPicture(path, picture);
}

namespace {

/// Pictures of 1, 2 or 4 bits are read as they are, from 0 to 15 at most.
void SpreadBits(GDALRasterBand& band, std::vector<std::uint8_t>& rgb) {
    const char* const bits = band.GetMetadataItem("NBITS", "IMAGE_STRUCTURE");
    if (bits == nullptr) return;
    const int most = (1 << std::clamp(std::atoi(bits), 1, 8)) - 1;
    for (std::uint8_t& value : rgb)
        value = static_cast<std::uint8_t>(std::min<int>(value, most) * 255 / most);
}

}  // namespace

Status ReadSkyImage(const std::string& path, int widest, SkyImage& image) {
    // Half a JPEG is told of, not filled up with grey.
    const CPLConfigOptionSetter strict("GDAL_ERROR_ON_LIBJPEG_WARNING", "YES", false);
    DatasetPtr kept, picture;  // what shows the colours of another one goes before that
    if (const Status opened = OpenPicture(path, picture); !opened.Good()) return opened;
    picture = WithColours(std::move(picture), kept);
    const int columns = picture->GetRasterXSize(), rows = picture->GetRasterYSize();
    const double scale =
        std::min({1.0, widest / static_cast<double>(columns), widest / static_cast<double>(rows)});
    image.columns = std::max(static_cast<int>(std::lround(columns * scale)), 2);
    image.rows = std::max(static_cast<int>(std::lround(rows * scale)), 2);
    std::string scaled;
    if (scale < 1) {
        scaled = fmt::format("{} x {} pixels were scaled down to {} x {}", columns, rows,
                             image.columns, image.rows);
    }

    const bool coloured = picture->GetRasterCount() >= 3;
    std::array<int, 3> bands{1, coloured ? 2 : 1, coloured ? 3 : 1};
    const GDALDataType type = picture->GetRasterBand(1)->GetRasterDataType();
    const auto pixels =
        static_cast<std::size_t>(image.columns) * static_cast<std::size_t>(image.rows);
    image.rgb.resize(pixels * 3);
    GDALRasterIOExtraArg how;
    INIT_RASTERIO_EXTRA_ARG(how);
    how.eResampleAlg = scale < 1 ? GRIORA_Average : GRIORA_NearestNeighbour;
    const bool bytes = type == GDT_Byte;
    std::vector<float> values(bytes ? 0 : pixels * 3);
    void* const into = bytes ? static_cast<void*>(image.rgb.data()) : values.data();
    const GSpacing one = bytes ? 1 : sizeof(float);
    CPLErrorReset();
    if (picture->RasterIO(GF_Read, 0, 0, columns, rows, into, image.columns, image.rows,
                          bytes ? GDT_Byte : GDT_Float32, 3, bands.data(), 3 * one,
                          3 * one * image.columns, one, &how) != CE_None) {
        const std::string message = GdalMessage();
        return _SetErrPosn(StatusCode::ReadFailed,
                           path + " can't be read" + (message.empty() ? "" : ": " + message));
    }
    image.note.clear();
    if (bytes && kept == nullptr) SpreadBits(*picture->GetRasterBand(1), image.rgb);
    if (!bytes) TakeOutEmpty(*picture, bands, values);
    if (!bytes && !Stretch(type, values, image.rgb, image.note)) {
        return _SetErrPosn(StatusCode::FileRefused,
                           path + " is empty: none of its pixels has a value");
    }
    if (!scaled.empty()) image.note = scaled + (image.note.empty() ? "" : "; " + image.note);
    const std::filesystem::path file = path;
    image.name = file.stem().string();
    image.description = file.filename().string();
    return StatusCode::Ok;
}

Status WriteSky(ZPF::PROJECTWRITER& writer, int parent, const SkyImage& image,
                const SkyEncoding& encoding, TerminalProgress& progress) {
    ZPF::RasterSpec spec;
    spec.name = image.name;
    spec.description = image.description;
    spec.type = ZPF::RasterType::Composite24B;
    spec.columns = image.columns;
    spec.rows = image.rows;
    spec.encoding = encoding.lossless ? ZPF::TileEncoding::Lossless : ZPF::TileEncoding::Automatic;
    spec.jpegQuality = encoding.quality;
    spec.levels = LevelsFor(image.columns, image.rows);
    int number = kNoObject;
    if (const Status added = writer.AddRaster(parent, spec, number); !added.Good()) return added;
    PyramidReport report;
    return WritePyramid(writer, number, spec, PictureTiles(image), "Writing sky", progress, report);
}

}  // namespace tarnvale

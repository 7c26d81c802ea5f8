#include "landscape/skypicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

#include "base/textres.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

namespace {

// Both sides of the texture stay within what every graphics system takes, and its pixels within 32
// megabytes: there may be one for each of seventeen views.
constexpr int kMostColumns = 4096, kMostRows = 2048;
constexpr std::int64_t kMostPixels = 1 << 22;
constexpr std::int64_t kMostRead = 1 << 28;      // pixels; more would take minutes
constexpr std::int64_t kShowProgress = 1 << 24;  // pixels; below it is done before one could read
constexpr float kNadirShade = 0.62F;             // of the horizon's colour
constexpr double kEdgeTolerance = 1.5;
constexpr int kStrip = 16;  // rows that are turned at once: a line of cache

struct Rgb {
    float r = 0, g = 0, b = 0;
};

/// How cells become colours.
class CellColours {
public:
    explicit CellColours(const ZPF::RASTERHANDLE& raster) : type_(raster.Header().type) {
        if (type_ != ZPF::RasterType::Unsigned8) return;
        ZPF::ColorMap map;
        const bool mapped = raster.ReadColorMap(map).Good();
        for (std::size_t i = 0; i < palette_.size(); ++i) {
            const auto grey = static_cast<float>(i);
            palette_[i] = mapped ? Rgb{static_cast<float>(map[i].red >> 8),
                                       static_cast<float>(map[i].green >> 8),
                                       static_cast<float>(map[i].blue >> 8)}
                                 : Rgb{grey, grey, grey};
        }
    }

    [[nodiscard]] static bool Knows(ZPF::RasterType type) {
        constexpr std::array kKnown{ZPF::RasterType::Unsigned8, ZPF::RasterType::Composite16A,
                                    ZPF::RasterType::Composite16B, ZPF::RasterType::Composite24A,
                                    ZPF::RasterType::Composite24B};
        return std::ranges::find(kKnown, type) != kKnown.end();
    }

    [[nodiscard]] Rgb At(std::span<const std::byte> line, std::size_t column) const {
        const auto byte = [&](std::size_t i) { return static_cast<float>(line[i]); };
        const auto five = [](unsigned word, int shift, unsigned mask) {
            return static_cast<float>(word >> shift & mask) * 255.0F / static_cast<float>(mask);
        };
        switch (type_) {
            case ZPF::RasterType::Composite24A:
                return {byte(column * 3 + 2), byte(column * 3 + 1), byte(column * 3)};
            case ZPF::RasterType::Composite24B:
                return {byte(column * 3), byte(column * 3 + 1), byte(column * 3 + 2)};
            case ZPF::RasterType::Composite16A:
            case ZPF::RasterType::Composite16B: {
                const unsigned word = static_cast<unsigned>(line[column * 2]) |
                                      static_cast<unsigned>(line[column * 2 + 1]) << 8;
                if (type_ == ZPF::RasterType::Composite16A)
                    return {five(word, 10, 31), five(word, 5, 31), five(word, 0, 31)};
                return {five(word, 11, 31), five(word, 5, 63), five(word, 0, 31)};
            }
            default:
                return palette_[static_cast<std::size_t>(line[column])];
        }
    }

private:
    ZPF::RasterType type_;
    std::array<Rgb, 256> palette_{};
};

/// Pixels of a sky's texture, filled row by row of the picture.
class TurnedPicture {
public:
    TurnedPicture(int columns, int rows) : columns_(columns), rows_(rows) {
        picture_.width = 2 * rows;
        picture_.height = columns;
        picture_.pixels.resize(static_cast<std::size_t>(picture_.width) *
                               static_cast<std::size_t>(picture_.height) * 4);
        strip_.resize(static_cast<std::size_t>(columns) * kStrip * 4);
    }

    void PutRow(int row, std::span<const Rgb> colours) {
        const auto within = static_cast<std::size_t>(row % kStrip);
        for (std::size_t column = 0; column < colours.size(); ++column) {
            PutPixel(&strip_[(column * kStrip + within) * 4], colours[column]);
        }
        EndRow(row);
    }

    /// The usual form, as it is: red, green and blue bytes.
    void PutRow(int row, std::span<const std::byte> rgb) {
        std::byte* out = &strip_[static_cast<std::size_t>(row % kStrip) * 4];
        const std::byte* in = rgb.data();
        for (int column = 0; column < columns_; ++column, in += 3, out += kStrip * 4) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
            out[3] = std::byte{255};
        }
        EndRow(row);
    }

    [[nodiscard]] SkyPicture Take() {
        picture_.mirrored = !EdgesMatch();
        return std::move(picture_);
    }

private:
    void EndRow(int row) {
        if (row % kStrip != kStrip - 1 && row != rows_ - 1) return;
        const auto first = static_cast<std::size_t>(row / kStrip) * kStrip;
        const std::size_t bytes = (static_cast<std::size_t>(row) - first + 1) * 4;
        for (std::size_t column = 0; column < static_cast<std::size_t>(columns_); ++column) {
            std::memcpy(Pixel(first, column), &strip_[column * kStrip * 4], bytes);
        }
        if (row == rows_ - 1) FillGround();
    }

    static void PutPixel(std::byte* pixel, const Rgb& colour) {
        const auto whole = [](float value) {
            return static_cast<std::byte>(static_cast<int>(std::clamp(value, 0.0F, 255.0F) + 0.5F));
        };
        pixel[0] = whole(colour.b);
        pixel[1] = whole(colour.g);
        pixel[2] = whole(colour.r);
        pixel[3] = std::byte{255};
    }

    // The edges match where they differ hardly more than each from its neighbour.
    [[nodiscard]] bool EdgesMatch() {
        const auto last = static_cast<std::size_t>(columns_ - 1);
        const double around = Difference(0, last);
        const double within = Difference(0, std::min<std::size_t>(1, last)) +
                              Difference(last, last > 0 ? last - 1 : 0);
        return around <= within + kEdgeTolerance;
    }

    /// Mean difference of two columns of the picture, 0 to 255.
    double Difference(std::size_t a, std::size_t b) {
        const std::byte *one = Pixel(0, a), *other = Pixel(0, b);
        double sum = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(rows_) * 4; ++i)
            sum += std::abs(static_cast<int>(one[i]) - static_cast<int>(other[i]));
        return sum / (rows_ * 3.0);
    }

    std::byte* Pixel(std::size_t x, std::size_t y) {
        return &picture_.pixels[(y * static_cast<std::size_t>(picture_.width) + x) * 4];
    }

    // Haze in the middle colour of the horizon, darker towards the nadir: no band shows where the
    // picture ends, whatever it ends with.
    void FillGround() {
        double r = 0, g = 0, b = 0;
        for (std::size_t column = 0; column < static_cast<std::size_t>(columns_); ++column) {
            const std::byte* const pixel = Pixel(static_cast<std::size_t>(rows_ - 1), column);
            b += std::to_integer<int>(pixel[0]);
            g += std::to_integer<int>(pixel[1]);
            r += std::to_integer<int>(pixel[2]);
        }
        const double share = 1.0 / static_cast<double>(columns_);
        std::vector<std::byte> line(static_cast<std::size_t>(rows_) * 4);
        for (int row = 0; row < rows_; ++row) {
            const float down = static_cast<float>(row) / static_cast<float>(rows_);
            const float shade = 1 - (1 - kNadirShade) * std::min(1.0F, down * 2);
            PutPixel(&line[static_cast<std::size_t>(row) * 4],
                     {static_cast<float>(r * share) * shade, static_cast<float>(g * share) * shade,
                      static_cast<float>(b * share) * shade});
        }
        for (std::size_t y = 0; y < static_cast<std::size_t>(columns_); ++y) {
            std::memcpy(Pixel(static_cast<std::size_t>(rows_), y), line.data(), line.size());
        }
    }

    int columns_, rows_;
    SkyPicture picture_;
    std::vector<std::byte> strip_;
};

/// Least whole factor by which a picture is reduced.
int ReductionFor(int columns, int rows) {
    for (int factor = 1;; ++factor) {
        const std::int64_t width = std::max(columns / factor, 1),
                           height = std::max(rows / factor, 1);
        if (width <= kMostColumns && height <= kMostRows && width * height <= kMostPixels)
            return factor;
    }
}

Status Problem(StatusCode code, const ZPFObjectItem& item, std::string_view what) {
    return _SetErrPosn(code,
                       fmt::format("sky {} of {} {}", item.header.name, item.file.string(), what));
}

/// Opens the coarsest level that still has all the detail that is kept, if there is one.
/// @param factor  in: of the raster; out: what remains for the level
void OpenLevel(const ZPF::FILEHANDLE& file, ZPF::RASTERHANDLE& raster, int& factor) {
    std::vector<ZPF::PyramidLevel> levels;
    if (!raster.GetPyramidList(levels).Good()) return;
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        if (level->factor > factor || level->factor < 2) continue;
        ZPF::RASTERHANDLE reduced;
        if (!reduced.Open(file, level->object).Good()) continue;
        raster = std::move(reduced);
        factor = std::max(factor / level->factor, 1);
        // A level is rounded up, so that a pixel too many may be left.
        const ZPF::RasterHeader& header = raster.Header();
        factor = std::max(factor, ReductionFor(header.columns, header.rows));
        return;
    }
}

/// Tells of progress where it is wanted, and ends with its scope.
class Telling {
public:
    Telling(Progress* progress, std::int64_t pixels, int rows)
        : progress_(pixels >= kShowProgress ? progress : nullptr) {
        if (progress_ != nullptr) progress_->Begin(TEXTRES::Text("loading_sky"), rows, 1);
    }
    ~Telling() {
        if (progress_ != nullptr) progress_->End();
    }
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;
    [[nodiscard]] bool Step() const {
        if (progress_ == nullptr) return true;
        progress_->Pulse();
        return !progress_->Cancelled();
    }

private:
    Progress* progress_;
};

Status ReadRows(ZPF::RASTERHANDLE& raster, const CellColours& cells, int factor, Progress* progress,
                SkyPicture& picture) {
    const ZPF::RasterHeader header = raster.Header();
    const int columns = std::max(header.columns / factor, 1);
    const int rows = std::max(header.rows / factor, 1);
    const int across = std::min(factor, header.columns), down = std::min(factor, header.rows);
    TurnedPicture turned(columns, rows);
    std::vector<std::byte> line(static_cast<std::size_t>(header.columns) *
                                static_cast<std::size_t>(ZPF::BytesOf(header.type)));
    std::vector<Rgb> colours(static_cast<std::size_t>(columns));
    const float share = 1.0F / static_cast<float>(across * down);
    const Telling telling(progress, static_cast<std::int64_t>(header.columns) * header.rows, rows);
    const bool asItIs = factor == 1 && header.type == ZPF::RasterType::Composite24B;
    for (int row = 0; row < rows; ++row) {
        if (asItIs) {
            if (const Status read =
                    raster.ReadLine(row, 0, header.columns, line, ZPF::LineForm::Raw);
                !read.Good()) {
                return read;
            }
            turned.PutRow(row, std::span<const std::byte>(line));
            if (!telling.Step()) return _SetErrPosn(StatusCode::Cancelled);
            continue;
        }
        std::ranges::fill(colours, Rgb{});
        for (int part = 0; part < down; ++part) {
            if (const Status read =
                    raster.ReadLine(row * down + part, 0, header.columns, line, ZPF::LineForm::Raw);
                !read.Good()) {
                return read;
            }
            for (std::size_t column = 0; column < colours.size(); ++column) {
                Rgb& sum = colours[column];
                for (std::size_t i = 0; i < static_cast<std::size_t>(across); ++i) {
                    const Rgb colour =
                        cells.At(line, column * static_cast<std::size_t>(across) + i);
                    sum = {sum.r + colour.r, sum.g + colour.g, sum.b + colour.b};
                }
            }
        }
        for (Rgb& sum : colours) sum = {sum.r * share, sum.g * share, sum.b * share};
        turned.PutRow(row, std::span<const Rgb>(colours));
        if (!telling.Step()) return _SetErrPosn(StatusCode::Cancelled);
    }
    picture = turned.Take();
    return StatusCode::Ok;
}

}  // namespace

std::vector<SkyChoice> ListSkies(const SimulatorFile& file) {
    std::vector<SkyChoice> choices;
    for (const SimSkyEntry& entry : file.Skies()) {
        for (const ZPFObjectItem& item : entry.rasters) {
            SkyChoice choice{item.header.name, item};
            if (entry.rasters.size() > 1) {
                const QNSTRING owner = item.file == file.Path() ? item.file.stem().string()
                                                                : TEXTRES::Text("Tarnvale.sky");
                choice.text = owner + " / " + item.header.name;
            }
            choices.push_back(std::move(choice));
        }
    }
    return choices;
}

Status LoadSkyPicture(const ZPFObjectItem& item, Progress* progress, SkyPicture& picture) try {
    ZPF::FILEHANDLE file;
    if (const Status opened = file.Open(item.file, ZPF::OpenMode::Read); !opened.Good())
        return opened;
    ZPF::RASTERHANDLE raster;
    if (const Status opened = raster.Open(file, item.header.number); !opened.Good())
        return Problem(opened.Code(), item, "can't be opened: make the file anew");
    if (!CellColours::Knows(raster.Header().type)) {
        return Problem(StatusCode::BadState, item,
                       "is no picture: a sky has colours, or grey of 8 bits");
    }
    int factor = ReductionFor(raster.Header().columns, raster.Header().rows);
    const CellColours cells(raster);
    OpenLevel(file, raster, factor);
    const ZPF::RasterHeader& header = raster.Header();
    if (!CellColours::Knows(header.type) ||
        static_cast<std::int64_t>(header.columns) * header.rows > kMostRead) {
        return Problem(StatusCode::FileRefused, item,
                       fmt::format("has {} x {} pixels and no smaller levels: too large to be "
                                   "read; make it anew with tarnvale-build --sky-file",
                                   header.columns, header.rows));
    }
    SkyPicture loaded;
    const Status read = ReadRows(raster, cells, factor, progress, loaded);
    if (read.Code() == StatusCode::Cancelled) return read;
    if (!read.Good())
        return Problem(read.Code(), item, "is damaged: make the file anew, or choose another sky");
    picture = std::move(loaded);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return Problem(StatusCode::NoMemory, item, "doesn't fit in memory: choose a smaller one");
}

}  // namespace tarnvale

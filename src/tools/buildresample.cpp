#include "tools/buildresample.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace tarnvale {

namespace {

using Vector [[gnu::vector_size(16)]] = float;

/// Places are exact at each such step and straight between: at 32 pixels of any size up to a
/// kilometre the Earth's curve stays below a fiftieth of a pixel.
constexpr int kNodeStep = 32;
constexpr int kMostTaps = 16;
/// Windows beyond this are refused: only a map gone wild asks for them.
constexpr double kLargestWindow = 1 << 25;
/// A grid that leaves the raster's lines by less than this many pixels over a tile is parallel to
/// them.
constexpr double kUnbent = 0.01, kSideOfTile = 512;
/// A place may miss the raster by so much of a pixel, which is rounding.
constexpr double kSlack = 0.01;

float Cubic(float distance) {
    const float d = std::abs(distance);
    if (d < 1.0F) return (1.5F * d - 2.5F) * d * d + 1.0F;
    if (d < 2.0F) return ((-0.5F * d + 2.5F) * d - 4.0F) * d + 2.0F;
    return 0.0F;
}

float Tent(float distance) {
    return std::max(0.0F, 1.0F - std::abs(distance));
}

Coverage CoverageOf(std::span<const Pixel4> pixels) {
    bool any = false, all = true;
    for (const Pixel4& pixel : pixels) {
        const bool valid = pixel.c[3] > 0.0F;
        any = any || valid;
        all = all && valid;
    }
    return all ? Coverage::Full : any ? Coverage::Partial : Coverage::Empty;
}

/// Whether a map only shifts by whole pixels.
bool IsShift(const GeoTransform& straight, int columns, int rows) {
    constexpr double kTolerance = 0.01;
    const auto whole = [](double v) { return std::abs(v - std::round(v)) < kTolerance; };
    return std::abs(straight.xColumn - 1) * columns < kTolerance &&
           std::abs(straight.yRow - 1) * rows < kTolerance &&
           std::abs(straight.xRow) * rows < kTolerance &&
           std::abs(straight.yColumn) * columns < kTolerance && whole(straight.xOrigin) &&
           whole(straight.yOrigin) && std::abs(straight.xOrigin) < kLargestWindow &&
           std::abs(straight.yOrigin) < kLargestWindow;
}

/// A weighted sum as a pixel with weight 1; without data where less than half of it had data.
Pixel4 Unweighted(Vector sum) {
    auto pixel = std::bit_cast<Pixel4>(sum);
    const float weight = pixel.c[3];
    if (!(weight > 0.4999F)) return {};
    for (float& channel : pixel.c) channel /= weight;
    pixel.c[3] = 1.0F;
    return pixel;
}

}  // namespace

/// What one axis takes of the window for one place; the weights add up to 1, or are all 0 off the
/// raster.
struct ResampledRaster::Taps {
    int first = 0;  // in the window
    int count = 4;  // at least 4
    bool none = true;
    std::array<float, kMostTaps> weights{};

    template <typename Kernel>
    static Taps Make(const Axis& axis, double place, Kernel kernel) {
        const double centre = place / axis.step - axis.window - 0.5;
        Taps taps;
        taps.count = axis.taps;
        taps.first = static_cast<int>(std::floor(centre - 0.5 * axis.taps)) + 1;
        taps.none = taps.first < 0 || taps.first + taps.count > axis.windowSize;
        const auto start = static_cast<float>(taps.first - centre);
        const auto scale = static_cast<float>(1.0 / axis.widen);
        float total = 0;
        for (int i = 0; i < taps.count; ++i) {
            float& weight = taps.weights[static_cast<std::size_t>(i)];
            weight = kernel((start + static_cast<float>(i)) * scale);
            total += weight;
        }
        // Unwidened weights add up by themselves.
        if (axis.widen > 1.0) {
            for (float& weight : taps.weights) weight /= total;
        }
        return taps.none ? Taps{} : taps;
    }

    /// Weighted sum of the pixels from `line` on.
    [[nodiscard]] Vector Weigh(const Pixel4* line) const {
        const auto at = [line](int i) { return std::bit_cast<Vector>(line[i]); };
        Vector sum =
            at(0) * weights[0] + at(1) * weights[1] + at(2) * weights[2] + at(3) * weights[3];
        for (int i = 4; i < count; ++i) sum += at(i) * weights[static_cast<std::size_t>(i)];
        return sum;
    }
};

void ResampledRaster::Axis::SetScale(double pixelsInCell) {
    step = 1;
    while (pixelsInCell >= 2.0 && step < (1 << 20)) {
        pixelsInCell *= 0.5;
        step *= 2;
    }
    // A hair above 1 is rounding of the georeference, not a reduction.
    widen = pixelsInCell < 1.001 ? 1.0 : pixelsInCell;
    taps = std::min(kMostTaps, 2 * static_cast<int>(std::ceil(2.0 * widen - 1e-9)));
}

void ResampledRaster::Axis::SetWindow(double low, double high) {
    const int reach = kMostTaps / 2 + 1;
    window = static_cast<int>(std::floor(low / step)) - reach;
    windowSize = static_cast<int>(std::ceil(high / step)) + reach - window;
}

ResampledRaster::Taps ResampledRaster::CubicTaps(const Axis& axis, double place) {
    return Taps::Make(axis, place, Cubic);
}

/// Between the two pixels beside a place in a straight line, or over as much as the kernel is
/// widened to.
ResampledRaster::Taps ResampledRaster::StraightTaps(const Axis& axis, double place) {
    return Taps::Make(axis, place, Tent);
}

ResampledRaster::Taps ResampledRaster::TapsAt(const Axis& axis, double place) {
    const bool off = !(place > -kSlack && place < axis.pixels + kSlack);
    if (off && axis.voidBeyond) return {};
    const Taps taps = CubicTaps(axis, place);
    // What lies beyond the border is made up, and a cubic would lean on it.
    const int first = taps.first + axis.window;
    const bool inside = first >= 0 && (first + axis.taps) * axis.step <= axis.pixels;
    return inside ? taps : StraightTaps(axis, place);
}

Status ResampledRaster::Create(const TargetGrid& target, InputRaster& raster, BandPlan plan,
                               Beyond beyond, Overshoot overshoot,
                               std::unique_ptr<ResampledRaster>& out) {
    PixelMap map;
    if (const Status made = PixelMap::Create(target, raster, map); !made.Good()) return made;
    const auto straight = map.StraightOver(target.columns, target.rows);
    if (straight) map.Straighten(*straight);
    std::unique_ptr<ResampledRaster> made(new ResampledRaster(WindowReader(raster, std::move(plan)),
                                                              std::move(map), beyond, overshoot));
    if (straight && IsShift(*straight, target.columns, target.rows)) {
        made->copy_ = true;
        made->copyX_ = static_cast<int>(std::lround(straight->xOrigin));
        made->copyY_ = static_cast<int>(std::lround(straight->yOrigin));
    }
    made->x_.pixels = raster.Columns();
    made->y_.pixels = raster.Rows();
    made->x_.voidBeyond = made->y_.voidBeyond = beyond == Beyond::Void;
    // The grid's middle may have no place on the raster: then the raster's middle counts.
    std::optional<PixelScale> scale = ScaleAt(made->map_, target.columns * 0.5, target.rows * 0.5);
    if (!scale) {
        const PixelPoint middle = made->map_.Backward(raster.Columns() * 0.5, raster.Rows() * 0.5);
        scale = ScaleAt(made->map_, middle.x, middle.y);
    }
    if (scale) {
        made->x_.SetScale(scale->x);
        made->y_.SetScale(scale->y);
    }
    out = std::move(made);
    return StatusCode::Ok;
}

void ResampledRaster::PlaceNodes(int x0, int y0, int width, int height) {
    nodeColumns_ = (width + kNodeStep - 1) / kNodeStep + 1;
    nodeRows_ = (height + kNodeStep - 1) / kNodeStep + 1;
    nodes_.clear();
    for (int j = 0; j < nodeRows_; ++j) {
        for (int i = 0; i < nodeColumns_; ++i) {
            nodes_.push_back(
                {static_cast<double>(x0 + i * kNodeStep), static_cast<double>(y0 + j * kNodeStep)});
        }
    }
    map_.Forward(nodes_);
}

/// @return false where none of the nodes lies near the raster
bool ResampledRaster::PlaceWindow() {
    double left = kLargestWindow, top = kLargestWindow, right = -kLargestWindow,
           bottom = -kLargestWindow;
    for (const PixelPoint& node : nodes_) {
        if (std::isnan(node.x) || std::isnan(node.y)) continue;
        left = std::min(left, node.x);
        right = std::max(right, node.x);
        top = std::min(top, node.y);
        bottom = std::max(bottom, node.y);
    }
    if (beyond_ == Beyond::Void &&
        (right < 0 || bottom < 0 || left > x_.pixels || top > y_.pixels)) {
        return false;
    }
    // What lies far off the raster is void or repeated whatever it is: don't hold it in memory.
    const double xMargin = kMostTaps * x_.step, yMargin = kMostTaps * y_.step;
    left = std::max(left, -xMargin);
    top = std::max(top, -yMargin);
    right = std::min(right, x_.pixels + xMargin);
    bottom = std::min(bottom, y_.pixels + yMargin);
    if (!(left <= right && top <= bottom)) return false;
    x_.SetWindow(left, right);
    y_.SetWindow(top, bottom);
    return true;
}

Status ResampledRaster::Read(int x0, int y0, int width, int height, std::span<Pixel4> out,
                             Coverage& coverage) {
    const std::span<Pixel4> pixels =
        out.first(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (copy_) {
        const Status read =
            reader_.Read(x0 + copyX_, y0 + copyY_, width, height, 1, 1, beyond_, pixels);
        coverage = CoverageOf(pixels);
        return read;
    }
    std::ranges::fill(pixels, Pixel4{});
    coverage = Coverage::Empty;
    PlaceNodes(x0, y0, width, height);
    if (!PlaceWindow()) return StatusCode::Ok;
    if (static_cast<double>(x_.windowSize) * y_.windowSize > kLargestWindow) {
        return _SetErrPosn(StatusCode::BadState,
                           reader_.Raster().Path() +
                               " is bent too strongly by its new CRS here; choose another one with "
                               "-t_srs");
    }
    window_.resize(static_cast<std::size_t>(x_.windowSize) *
                   static_cast<std::size_t>(y_.windowSize));
    if (const Status read = reader_.Read(x_.window, y_.window, x_.windowSize, y_.windowSize,
                                         x_.step, y_.step, Beyond::Repeated, window_);
        !read.Good()) {
        return read;
    }
    const std::optional<GeoTransform>& straight = map_.Straight();
    if (overshoot_ == Overshoot::Held) {
        SampleBent<true>(width, height, pixels);
    } else if (straight && std::abs(straight->xRow) * kSideOfTile < kUnbent &&
               std::abs(straight->yColumn) * kSideOfTile < kUnbent) {
        SampleUpright(width, height, pixels);
    } else {
        SampleBent<false>(width, height, pixels);
    }
    coverage = CoverageOf(pixels);
    return StatusCode::Ok;
}

/// Columns and rows one after the other, which is all it takes where the two grids are parallel.
void ResampledRaster::SampleUpright(int width, int height, std::span<Pixel4> out) {
    // The nodes are as straight as the map.
    const PixelPoint first = nodes_.front();
    const double xPixel = (nodes_[1].x - first.x) / kNodeStep;
    const double yPixel = (nodes_[static_cast<std::size_t>(nodeColumns_)].y - first.y) / kNodeStep;
    const auto columns = static_cast<std::size_t>(width);
    std::vector<Taps> across;
    across.reserve(columns);
    for (int x = 0; x < width; ++x) across.push_back(TapsAt(x_, first.x + (x + 0.5) * xPixel));
    // The lines that were resampled along x last, each in the slot of its number.
    std::vector<Pixel4> lines(columns * kMostTaps);
    std::array<int, kMostTaps> held{};
    held.fill(-1);
    for (int y = 0; y < height; ++y) {
        const Taps down = TapsAt(y_, first.y + (y + 0.5) * yPixel);
        if (down.none) continue;
        std::array<const Pixel4*, kMostTaps> taken{};
        for (int j = 0; j < down.count; ++j) {
            const int row = down.first + j;
            const auto slot = static_cast<std::size_t>(row % kMostTaps);
            Pixel4* line = &lines[slot * columns];
            taken[static_cast<std::size_t>(j)] = line;
            if (held[slot] == row) continue;
            held[slot] = row;
            const Pixel4* from =
                &window_[static_cast<std::size_t>(row) * static_cast<std::size_t>(x_.windowSize)];
            for (std::size_t x = 0; x < columns; ++x) {
                line[x] = std::bit_cast<Pixel4>(across[x].Weigh(from + across[x].first));
            }
        }
        Pixel4* to = &out[static_cast<std::size_t>(y) * columns];
        for (std::size_t x = 0; x < columns; ++x) {
            Vector sum{};
            for (std::size_t j = 0; j < static_cast<std::size_t>(down.count); ++j) {
                sum += std::bit_cast<Vector>(taken[j][x]) * down.weights[j];
            }
            to[x] = Unweighted(sum);
        }
    }
}

/// The place of a cell's centre on the raster; column and row count from the first node.
PixelPoint ResampledRaster::PlaceOf(int x, int y) const {
    const double u = (x + 0.5) / kNodeStep, v = (y + 0.5) / kNodeStep;
    const int column = std::min(static_cast<int>(u), nodeColumns_ - 2);
    const int row = std::min(static_cast<int>(v), nodeRows_ - 2);
    const double fu = u - column, fv = v - row;
    const PixelPoint* above =
        &nodes_[static_cast<std::size_t>(row) * static_cast<std::size_t>(nodeColumns_) +
                static_cast<std::size_t>(column)];
    const PixelPoint* below = above + nodeColumns_;
    return {(above[0].x * (1 - fu) + above[1].x * fu) * (1 - fv) +
                (below[0].x * (1 - fu) + below[1].x * fu) * fv,
            (above[0].y * (1 - fu) + above[1].y * fu) * (1 - fv) +
                (below[0].y * (1 - fu) + below[1].y * fu) * fv};
}

template <bool kHold>
void ResampledRaster::SampleBent(int width, int height, std::span<Pixel4> out) const {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const PixelPoint place = PlaceOf(x, y);
            // Also false for places that there are not.
            if (!(std::abs(place.x) < kLargestWindow && std::abs(place.y) < kLargestWindow))
                continue;
            Taps across = TapsAt(x_, place.x), down = TapsAt(y_, place.y);
            if (across.none || down.none) continue;
            const Pixel4* corner = &window_[static_cast<std::size_t>(down.first) *
                                                static_cast<std::size_t>(x_.windowSize) +
                                            static_cast<std::size_t>(across.first)];
            const auto weigh = [&] {
                Vector sum{};
                for (int j = 0; j < down.count; ++j) {
                    const Pixel4* line = corner + static_cast<std::ptrdiff_t>(j) * x_.windowSize;
                    sum += across.Weigh(line) * down.weights[static_cast<std::size_t>(j)];
                }
                return sum;
            };
            Vector sum = weigh();
            // At the rim of a hole, a cubic that misses some of its samples leans to one side.
            if (std::abs(sum[3] - 1.0F) > 1e-4F && sum[3] != 0) {
                across = StraightTaps(x_, place.x);
                down = StraightTaps(y_, place.y);
                sum = weigh();
            }
            Pixel4& pixel = out[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                static_cast<std::size_t>(x)];
            pixel = Unweighted(sum);
            if constexpr (kHold) {
                if (pixel.c[3] > 0) Hold(corner, x_.windowSize, across, down, pixel.c[0]);
            }
        }
    }
}

/// Keeps a value in the range of the samples that it was made of.
/// @param corner, lineLength  the first tap's sample, and samples from one line to the next
void ResampledRaster::Hold(const Pixel4* corner, int lineLength, const Taps& across,
                           const Taps& down, float& value) {
    float least = std::numeric_limits<float>::max(), most = -least;
    for (int j = 0; j < down.count; ++j) {
        const Pixel4* line = corner + static_cast<std::ptrdiff_t>(j) * lineLength;
        for (int i = 0; i < across.count; ++i) {
            const float weight = down.weights[static_cast<std::size_t>(j)] *
                                 across.weights[static_cast<std::size_t>(i)];
            if (!(line[i].c[3] > 0) || weight == 0) continue;
            least = std::min(least, line[i].c[0]);
            most = std::max(most, line[i].c[0]);
        }
    }
    value = std::clamp(value, least, most);
}

}  // namespace tarnvale

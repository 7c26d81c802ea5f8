#pragma once

#include <memory>
#include <span>
#include <vector>

#include "base/status.h"
#include "tools/buildinput.h"
#include "tools/buildmap.h"

namespace tarnvale {

enum class Coverage : std::uint8_t { Empty, Partial, Full };

/// Whether resampled values may leave the range of the samples they come from.
enum class Overshoot : std::uint8_t {
    Allowed,  ///< sharpest; for imagery
    Held,     ///< for elevations: no rings of negative heights around a cliff at the sea
};

/// A raster seen through a target grid: cubic resampling, widened where pixels are many to a cell,
/// masked pixels left out. Where the two grids agree, pixels are copied as they are.
/// Thread: one at a time; make another one on the raster opened again for another thread.
class ResampledRaster {
public:
    /// @param raster  borrowed, must outlive this
    /// @return PixelMap's errors
    static Status Create(const TargetGrid& target, InputRaster& raster, BandPlan plan,
                         Beyond beyond, Overshoot overshoot, std::unique_ptr<ResampledRaster>& out);

    /// Reads columns x0 to x0 + width, rows y0 to y0 + height of the target grid; a rectangle that
    /// reaches beyond the grid is read as if the grid went on.
    /// @param out  row-major; weights are 0 or 1, and values 0 where the weight is 0
    Status Read(int x0, int y0, int width, int height, std::span<Pixel4> out, Coverage& coverage);

    /// Whether pixels are copied as they are.
    [[nodiscard]] bool IsCopy() const { return copy_; }
    [[nodiscard]] const PixelMap& Map() const { return map_; }

private:
    ResampledRaster(WindowReader reader, PixelMap map, Beyond beyond, Overshoot overshoot)
        : reader_(std::move(reader)),
          map_(std::move(map)),
          beyond_(beyond),
          overshoot_(overshoot) {}

    /// One axis of the raster, and the window of it that is being resampled.
    struct Axis {
        int pixels = 0;      // of the whole raster
        int step = 1;        // whole factor that it is reduced by while reading
        double widen = 1;    // what remains: the kernel is that much wider
        int taps = 4;        // of that kernel
        int window = 0;      // first reduced pixel of the window
        int windowSize = 0;  // reduced pixels
        bool voidBeyond = false;

        void SetScale(double pixelsInCell);
        /// Puts the window around a range of places, in pixels of the raster.
        void SetWindow(double low, double high);
    };
    struct Taps;
    [[nodiscard]] static Taps CubicTaps(const Axis& axis, double place);
    [[nodiscard]] static Taps StraightTaps(const Axis& axis, double place);
    [[nodiscard]] static Taps TapsAt(const Axis& axis, double place);

    void PlaceNodes(int x0, int y0, int width, int height);
    [[nodiscard]] bool PlaceWindow();
    [[nodiscard]] PixelPoint PlaceOf(int x, int y) const;
    void SampleUpright(int width, int height, std::span<Pixel4> out);
    template <bool kHold>
    void SampleBent(int width, int height, std::span<Pixel4> out) const;
    static void Hold(const Pixel4* corner, int lineLength, const Taps& across, const Taps& down,
                     float& value);

    WindowReader reader_;
    PixelMap map_;
    Beyond beyond_;
    Overshoot overshoot_;
    bool copy_ = false;
    int copyX_ = 0, copyY_ = 0;
    Axis x_, y_;
    int nodeColumns_ = 0, nodeRows_ = 0;
    std::vector<PixelPoint> nodes_;  // exact places at each kNodeStep cells
    std::vector<Pixel4> window_;     // x_.windowSize x y_.windowSize reduced pixels
};

}  // namespace tarnvale

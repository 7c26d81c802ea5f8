#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "base/progress.h"

namespace tarnvale {

struct DemoOptions {
    int size = 2049;  // samples along each side: 2^n + 1, 65 to 8193
    int textureSize =
        8192;  // texture pixels along each side: size - 1 times a power of two, at most 32768
    std::uint32_t seed = 1;  // each seed is another landscape
    int threads = 0;         // 0: all the machine has. The landscape doesn't depend on it.
    int reliefSize = 1025;   // samples along each side while land rises and erodes: 2^n + 1, at
                             // least 129. Fewer are quicker and plainer.
};

/// A landscape out of nothing, the same for the same seed on every machine: a coast with islands, a
/// plain with fields, hills, a range of mountains that rain has worn down, lakes and rivers. It
/// measures 40960 metres from the first to the last sample whatever its size; a smaller size is a
/// sparser view of the same landscape.
class DemoLandscape {
public:
    /// Does all the work but painting.
    /// @param progress  told on the calling thread; may be null. Once it answers Cancelled, the
    /// work
    ///                  stops and what is left is an open sea: then throw the landscape away.
    /// Throws std::bad_alloc.
    DemoLandscape(const DemoOptions& options, Progress* progress);
    ~DemoLandscape();
    DemoLandscape(const DemoLandscape&) = delete;
    DemoLandscape& operator=(const DemoLandscape&) = delete;

    /// Samples along each side.
    [[nodiscard]] int Size() const;
    /// Metres between samples.
    [[nodiscard]] double CellSize() const;

    /// Size() x Size() heights in whole metres, row-major, row 0 in the north. Sea is 0, a lake's
    /// surface is flat, and from everywhere a way that never climbs leads to the sea, a lake or the
    /// border (where samples are 40 metres apart or less). Valid as long as the landscape.
    [[nodiscard]] std::span<const std::int16_t> Heights() const;

    /// Paints the texture's pixels from column `x` and row `y` on. The texture spans the centres of
    /// the grid's first and last samples. A tile's pixels don't depend on how the texture is cut
    /// into tiles.
    /// @param rgb  out: width x height pixels of three bytes, row-major, north first
    /// Thread-safe. Throws std::bad_alloc.
    void RenderTextureTile(int x, int y, int width, int height, std::span<std::uint8_t> rgb) const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace tarnvale

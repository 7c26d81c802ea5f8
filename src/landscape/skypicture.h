#pragma once

#include <cstddef>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "landscape/simfile.h"

namespace tarnvale {

/// One sky that can be chosen.
struct SkyChoice {
    QNSTRING text;  ///< for lists: where the sky comes from and its name, where that has several
    ZPFObjectItem item;
};

/// The skies of a landscape, its own ones first, then those beside the program, in file order.
[[nodiscard]] std::vector<SkyChoice> ListSkies(const SimulatorFile& file);

/// A sky as the dome's texture wants it. The texture's columns go from the zenith to the nadir, its
/// rows around: a picture whose top edge is the zenith lies in it on its side and fills the left
/// half; the right half, the ground below the horizon, is plain.
struct SkyPicture {
    int width = 0, height = 0;      ///< of the texture
    std::vector<std::byte> pixels;  ///< blue, green, red, spare, as GraphicsSystem takes them
    /// The picture's left and right edges don't match, so that a seam would show where it goes
    /// around again: it is to be mirrored there.
    bool mirrored = false;

    [[nodiscard]] bool Empty() const noexcept { return pixels.empty(); }
};

/// Reads a sky raster of any size: coloured, with a colour map, or grey. Large ones are reduced,
/// from a pyramid level where there is one, to what a graphics system surely takes.
/// @param progress  told of a picture that takes long; may be null
/// @param picture   out; untouched where reading fails
/// @return the store's error; BadState for a raster that is no picture, FileRefused for one too
///         large to be read in one go: the detail names file and sky and says what to do; Cancelled
Status LoadSkyPicture(const ZPFObjectItem& item, Progress* progress, SkyPicture& picture);

}  // namespace tarnvale

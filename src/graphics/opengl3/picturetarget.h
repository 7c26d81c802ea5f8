#pragma once

#include <cstddef>
#include <span>

#include "graphics/opengl3/cameramatrix.h"
#include "graphics/opengl3/globject.h"
#include "graphics/picturefile.h"

namespace tarnvale {

/// Where the picture is drawn before the window shows it. A window's own depth has 24 bits, most of
/// them spent within the first metres; here it is a 32-bit float, reversed where the driver can,
/// which resolves a metre at the horizon as well as at 10 units. Thread: that of the context, which
/// must be current.
class PictureTarget {
public:
    /// Asks the driver what it can.
    void Open();
    void Abandon() noexcept;

    /// Makes the picture the target of drawing, with a size of at least 1 x 1.
    /// @param antialias  4, 3 or 2 samples a pixel, as many as the driver has of these
    /// @return false if there is no memory for it
    [[nodiscard]] bool Begin(int width, int height, bool antialias);
    /// Makes one of many samples, after the last drawing: what Read and Show take.
    void Resolve();
    /// @param rgba  width x height pixels of four bytes
    /// @return in which order the rows come
    [[nodiscard]] RowOrder Read(std::span<std::byte> rgba) const;
    /// Copies the picture to the window's back buffer, which is the target then.
    void Show() const;

    [[nodiscard]] int Width() const noexcept { return width_; }
    [[nodiscard]] int Height() const noexcept { return height_; }
    /// Samples of a pixel, 1 without antialiasing.
    [[nodiscard]] int Samples() const noexcept { return samples_; }
    [[nodiscard]] DepthRange Depth() const noexcept { return depth_; }

private:
    struct Surface {
        GlFramebuffer frame;
        GlTexture colour;               // where a pixel is one sample
        GlRenderbuffer samples, depth;  // samples: where it is several
    };
    [[nodiscard]] bool Make(Surface& surface, int samples, bool withDepth) const;
    void Copy(unsigned target, bool upsideDown) const;
    [[nodiscard]] GLuint Finished() const {
        return samples_ > 1 ? resolved_.frame.Name() : drawn_.frame.Name();
    }
    [[nodiscard]] int SamplesFor(bool antialias) const;

    DepthRange depth_ = DepthRange::Usual;
    int mostSamples_ = 1;
    int width_ = 0, height_ = 0, samples_ = 1;
    bool antialias_ = false;
    Surface drawn_;     // with depth; of several samples under antialiasing
    Surface resolved_;  // only then
};

}  // namespace tarnvale

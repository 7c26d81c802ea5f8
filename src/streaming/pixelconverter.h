#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/status.h"
#include "graphics/graphicssystem.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

/// Turns lines of raster cells into pixels of a texture. A value.
/// Thread: any, one at a time.
class PixelConverter {
public:
    /// @param map  colours of 8-bit cells; null: shades of grey
    /// @return BadState for cells that aren't a picture (8-bit and composite types are) or an
    /// unknown
    ///         target
    Status Open(ZPF::RasterType source, const ZPF::ColorMap* map, TexturePixelFormat target);

    [[nodiscard]] std::size_t SourceBytes() const noexcept { return sourceBytes_; }
    [[nodiscard]] std::size_t TargetBytes() const noexcept { return targetBytes_; }

    /// Converts mask.size() pixels. Where the mask is 0 the pixel becomes clear, or black where the
    /// target has no alpha.
    /// @param cells   mask.size() x SourceBytes(), as ReadBlock gives them
    /// @param pixels  mask.size() x TargetBytes()
    void Convert(std::span<const std::byte> cells, std::span<const std::uint8_t> mask,
                 std::span<std::byte> pixels) const;

private:
    /// Pixels on the way: alpha, red, green, blue from the highest byte down.
    using Argb = std::uint32_t;
    static constexpr std::size_t kRun = 256;

    void Load(const std::byte* cells, std::size_t count, Argb* out) const;
    void Store(const Argb* pixels, std::size_t count, std::byte* out) const;

    ZPF::RasterType source_ = ZPF::RasterType::Composite24B;
    TexturePixelFormat target_ = TexturePixelFormat::Bgra;
    std::size_t sourceBytes_ = 0, targetBytes_ = 0;
    PixelFormatDescriptor format_;
    int alphaBits_ = 0, alphaShift_ = 0;
    std::array<Argb, 256> colours_{};  // of 8-bit cells
};

}  // namespace tarnvale

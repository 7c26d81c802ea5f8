#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/color.h"
#include "base/status.h"

namespace tarnvale::ZPF {

// Each decoder looks at the sizes in a blob before it makes room for anything: what isn't exactly
// one tile of kTileSide x kTileSide pixels is refused, so no blob can ask for more memory or time
// than a tile takes. All answer FileDamaged with a clause that says what is wrong; the output is
// then undefined. Thread: any; nothing is shared.

/// Order of the bytes of an 8-bit colour pixel.
enum class PixelOrder : std::uint8_t { Grey, Rgb, Bgr, Rgba };
[[nodiscard]] constexpr std::size_t BytesOf(PixelOrder order) {
    return order == PixelOrder::Grey ? 1 : order == PixelOrder::Rgba ? 4 : 3;
}

/// @param pixels   a tile, row-major; not Rgba
/// @param quality  1 to 100
Status EncodeJpeg(std::span<const std::byte> pixels, PixelOrder order, int quality,
                  std::vector<std::byte>& blob);
Status DecodeJpeg(std::span<const std::byte> blob, PixelOrder order, std::span<std::byte> pixels);

/// @param palette  colours of an 8-bit tile of numbers (Grey); empty: plain grey
Status EncodePng(std::span<const std::byte> pixels, PixelOrder order,
                 std::span<const COLOR> palette, std::vector<std::byte>& blob);
/// A tile of 16-bit numbers.
Status EncodePng16(std::span<const std::uint16_t> cells, std::vector<std::byte>& blob);
/// Grey gives grey levels, or the numbers of a palette; Rgb and Bgr any PNG with its alpha dropped.
Status DecodePng(std::span<const std::byte> blob, PixelOrder order, std::span<std::byte> pixels);
/// Only a PNG of one channel of 16 bits.
Status DecodePng16(std::span<const std::byte> blob, std::span<std::uint16_t> cells);

/// One strip of 32-bit floats, LZW-compressed unless that makes it longer.
Status EncodeTiff(std::span<const float> cells, std::vector<std::byte>& blob);
/// Baseline TIFF of one band of 32-bit floats, either byte order, any strips, plain or LZW.
Status DecodeTiff(std::span<const std::byte> blob, std::span<float> cells);

/// zlib streams.
Status Deflate(std::span<const std::byte> plain, std::vector<std::byte>& blob);
/// @param plain  exactly what the stream must give
Status Inflate(std::span<const std::byte> blob, std::span<std::byte> plain);

[[nodiscard]] bool IsJpeg(std::span<const std::byte> blob);
[[nodiscard]] bool IsPng(std::span<const std::byte> blob);

}  // namespace tarnvale::ZPF

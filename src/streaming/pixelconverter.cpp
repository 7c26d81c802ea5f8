#include "streaming/pixelconverter.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tarnvale {

namespace {

constexpr std::uint32_t kOpaque = 0xFF000000U;

std::uint32_t Pack(std::uint32_t alpha, std::uint32_t red, std::uint32_t green,
                   std::uint32_t blue) {
    return alpha << 24 | red << 16 | green << 8 | blue;
}

std::uint32_t Widen5(std::uint32_t value) {
    return (value << 3 | value >> 2) & 0xFFU;
}

std::uint32_t Widen6(std::uint32_t value) {
    return (value << 2 | value >> 4) & 0xFFU;
}

/// Bits of a target's pixel that hold alpha; 0 where it has none, or a spare part instead.
std::uint32_t AlphaMask(TexturePixelFormat format) {
    using enum TexturePixelFormat;
    switch (format) {
        case Rgba:
        case Bgra:
        case A8R8G8B8:
            return 0xFF000000U;
        case A1R5G5B5:
            return 0x8000U;
        case A4R4G4B4:
            return 0xF000U;
        case A8R3G3B2:
            return 0xFF00U;
        default:
            return 0;
    }
}

std::uint32_t Load16(const std::byte* cell) {
    std::uint16_t value = 0;
    std::memcpy(&value, cell, sizeof value);
    return value;
}

/// Blue, green, red in memory order.
std::uint32_t Load24(const std::byte* cell) {
    return std::to_integer<std::uint32_t>(cell[0]) | std::to_integer<std::uint32_t>(cell[1]) << 8 |
           std::to_integer<std::uint32_t>(cell[2]) << 16;
}

std::uint32_t SwapRedAndBlue(std::uint32_t value) {
    return (value & 0xFF00FF00U) | (value >> 16 & 0xFFU) | (value & 0xFFU) << 16;
}

}  // namespace

Status PixelConverter::Open(ZPF::RasterType source, const ZPF::ColorMap* map,
                            TexturePixelFormat target) {
    using enum ZPF::RasterType;
    if (source != Unsigned8 && source != Composite16A && source != Composite16B &&
        source != Composite24A && source != Composite24B) {
        return _SetErrPosn(StatusCode::BadState,
                           "the raster isn't a picture; give one of 8-bit or composite colour");
    }
    if (BytesPerPixel(target) == 0) return _SetErrPosn(StatusCode::BadState);
    source_ = source;
    target_ = target;
    sourceBytes_ = static_cast<std::size_t>(ZPF::BytesOf(source));
    targetBytes_ = static_cast<std::size_t>(BytesPerPixel(target));
    format_ = DescribePixelFormat(target);
    const std::uint32_t alpha = AlphaMask(target);
    alphaBits_ = std::popcount(alpha);
    alphaShift_ = alpha == 0 ? 0 : std::countr_zero(alpha);
    for (std::uint32_t i = 0; i < colours_.size(); ++i) {
        if (map == nullptr) {
            colours_[i] = Pack(255, i, i, i);
        } else {
            const COLOR& colour = (*map)[i];
            colours_[i] = Pack(static_cast<std::uint32_t>(255 - colour.Transparency()),
                               static_cast<std::uint32_t>(colour.red >> 8),
                               static_cast<std::uint32_t>(colour.green >> 8),
                               static_cast<std::uint32_t>(colour.blue >> 8));
        }
    }
    return StatusCode::Ok;
}

void PixelConverter::Load(const std::byte* cells, std::size_t count, Argb* out) const {
    switch (source_) {
        case ZPF::RasterType::Composite24A:
            for (std::size_t i = 0; i < count; ++i) out[i] = Load24(cells + 3 * i) | kOpaque;
            break;
        case ZPF::RasterType::Composite24B:
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = SwapRedAndBlue(Load24(cells + 3 * i)) | kOpaque;
            }
            break;
        case ZPF::RasterType::Composite16A:
            for (std::size_t i = 0; i < count; ++i) {
                const std::uint32_t cell = Load16(cells + 2 * i);
                out[i] =
                    Pack(255, Widen5(cell >> 10 & 31), Widen5(cell >> 5 & 31), Widen5(cell & 31));
            }
            break;
        case ZPF::RasterType::Composite16B:
            for (std::size_t i = 0; i < count; ++i) {
                const std::uint32_t cell = Load16(cells + 2 * i);
                out[i] = Pack(255, Widen5(cell >> 11), Widen6(cell >> 5 & 63), Widen5(cell & 31));
            }
            break;
        default:
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = colours_[std::to_integer<std::size_t>(cells[i])];
            }
            break;
    }
}

void PixelConverter::Store(const Argb* pixels, std::size_t count, std::byte* out) const {
    using enum TexturePixelFormat;
    if (target_ == Bgra || target_ == A8R8G8B8) {
        std::memcpy(out, pixels, count * sizeof(Argb));
        return;
    }
    if (target_ == Rgba) {
        for (std::size_t i = 0; i < count; ++i) {
            const Argb pixel = SwapRedAndBlue(pixels[i]);
            std::memcpy(out + 4 * i, &pixel, sizeof pixel);
        }
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Argb pixel = pixels[i];
        std::uint32_t packed = 0;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const std::uint32_t value = pixel >> (16 - 8 * channel) & 0xFFU;
            packed |= value >> (8 - format_.bits[channel]) << format_.shifts[channel];
        }
        if (alphaBits_ > 0) packed |= pixel >> (32 - alphaBits_) << alphaShift_;
        for (std::size_t byte = 0; byte < targetBytes_; ++byte) {
            out[targetBytes_ * i + byte] = static_cast<std::byte>(packed >> (8 * byte));
        }
    }
}

void PixelConverter::Convert(std::span<const std::byte> cells, std::span<const std::uint8_t> mask,
                             std::span<std::byte> pixels) const {
    std::array<Argb, kRun> run;
    for (std::size_t done = 0; done < mask.size(); done += kRun) {
        const std::size_t count = std::min(kRun, mask.size() - done);
        Load(cells.data() + done * sourceBytes_, count, run.data());
        for (std::size_t i = 0; i < count; ++i) run[i] &= mask[done + i] != 0 ? ~Argb{0} : Argb{0};
        Store(run.data(), count, pixels.data() + done * targetBytes_);
    }
}

}  // namespace tarnvale

#include "zpf/tilecodec.h"

#include <algorithm>
#include <bit>

#include "zpf/cells.h"
#include "zpf/codecs.h"

namespace tarnvale::ZPF {

static_assert(std::endian::native == std::endian::little,
              "raw cells are kept as the machine has them");

namespace {

constexpr int kZero = 32768;  // where a signed 0 stands in a 16-bit PNG
constexpr std::uint16_t kTop = 65535;

std::size_t PackedBytes(RasterType type) {
    return kTileCells * static_cast<std::size_t>(BitsOf(type)) / 8;
}

/// Cells of 1 or 4 bits, the first in the highest bits.
void Pack(std::span<const std::byte> cells, int bits, std::span<std::byte> packed) {
    const std::size_t perByte = static_cast<std::size_t>(8 / bits);
    const unsigned most = (1U << bits) - 1;
    for (std::size_t i = 0; i < packed.size(); ++i) {
        unsigned byte = 0;
        for (std::size_t k = 0; k < perByte; ++k) {
            byte = byte << bits | (std::to_integer<unsigned>(cells[i * perByte + k]) & most);
        }
        packed[i] = static_cast<std::byte>(byte);
    }
}

void Unpack(std::span<const std::byte> packed, int bits, std::span<std::byte> cells) {
    const std::size_t perByte = static_cast<std::size_t>(8 / bits);
    const unsigned most = (1U << bits) - 1;
    for (std::size_t i = 0; i < packed.size(); ++i) {
        const auto byte = std::to_integer<unsigned>(packed[i]);
        for (std::size_t k = 0; k < perByte; ++k) {
            const auto shift = static_cast<unsigned>(8 - bits) -
                               static_cast<unsigned>(k) * static_cast<unsigned>(bits);
            cells[i * perByte + k] = static_cast<std::byte>(byte >> shift & most);
        }
    }
}

// A channel of 5 or 6 bits widens to 8 by repeating its high bits, so that the ends stay the ends,
// and narrows by dropping them again. The spare bit of a 5-5-5 cell rides on the lowest bit of
// blue, which widening leaves without a meaning: no eye sees it, and nothing is lost.
unsigned Widen(unsigned value, unsigned bits) {
    return value << (8 - bits) | value >> (2 * bits - 8);
}

void Composite16ToRgb(RasterType type, std::span<const std::byte> cells, std::span<std::byte> rgb) {
    const bool has6 = type == RasterType::Composite16B;
    for (std::size_t i = 0; i < kTileCells; ++i) {
        const unsigned cell = LoadCell<std::uint16_t>(cells, i);
        const unsigned red = Widen(has6 ? cell >> 11 : cell >> 10 & 31, 5);
        const unsigned green = has6 ? Widen(cell >> 5 & 63, 6) : Widen(cell >> 5 & 31, 5);
        const unsigned spare = has6 ? 0 : cell >> 15;
        rgb[i * 3] = static_cast<std::byte>(red);
        rgb[i * 3 + 1] = static_cast<std::byte>(green);
        rgb[i * 3 + 2] = static_cast<std::byte>(Widen(cell & 31, 5) ^ spare);
    }
}

/// @param exact  the pixels come from a lossless tile, so blue's lowest bit can be trusted
void RgbToComposite16(RasterType type, std::span<const std::byte> rgb, bool exact,
                      std::span<std::byte> cells) {
    const bool has6 = type == RasterType::Composite16B;
    for (std::size_t i = 0; i < kTileCells; ++i) {
        const auto red = std::to_integer<unsigned>(rgb[i * 3]) >> 3;
        const auto green = std::to_integer<unsigned>(rgb[i * 3 + 1]);
        const auto blue = std::to_integer<unsigned>(rgb[i * 3 + 2]);
        unsigned cell = blue >> 3;
        if (has6) {
            cell |= red << 11 | (green >> 2) << 5;
        } else {
            cell |= red << 10 | (green >> 3) << 5;
            if (exact && (blue ^ 1U) == Widen(blue >> 3, 5)) cell |= 0x8000U;
        }
        StoreCell(cells, i, static_cast<std::uint16_t>(cell));
    }
}

/// Pixels of a composite tile as the coders take them: red, green, blue, and alpha where `mask` has
/// any.
std::vector<std::byte> ToPixels(RasterType type, std::span<const std::byte> cells,
                                std::span<const std::uint8_t> mask) {
    std::vector<std::byte> rgb(kTileCells * 3);
    if (BitsOf(type) == 16) {
        Composite16ToRgb(type, cells, rgb);
    } else {
        std::ranges::copy(cells, rgb.begin());
        if (type == RasterType::Composite24A) {
            for (std::size_t i = 0; i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
        }
    }
    if (mask.empty()) return rgb;
    std::vector<std::byte> rgba(kTileCells * 4);
    for (std::size_t i = 0; i < kTileCells; ++i) {
        std::copy_n(&rgb[i * 3], 3, &rgba[i * 4]);
        rgba[i * 4 + 3] = static_cast<std::byte>(mask[i] == 0 ? 0 : 255);
    }
    return rgba;
}

Status EncodeImage(const RasterSpec& spec, std::span<const std::byte> cells,
                   std::span<const std::uint8_t> mask, std::vector<std::byte>& blob) {
    if (spec.type == RasterType::Unsigned8) {
        if (spec.encoding == TileEncoding::Jpeg && spec.colorMap.empty() && !spec.hasNull) {
            return EncodeJpeg(cells, PixelOrder::Grey, spec.jpegQuality, blob);
        }
        return EncodePng(cells, PixelOrder::Grey, spec.colorMap, blob);
    }
    const bool holes = std::ranges::find(mask, std::uint8_t{0}) != mask.end();
    const bool jpeg = spec.encoding == TileEncoding::Jpeg ||
                      (spec.encoding == TileEncoding::Automatic && !holes && !spec.hasNull);
    if (jpeg && BitsOf(spec.type) == 24) {
        const PixelOrder order =
            spec.type == RasterType::Composite24A ? PixelOrder::Bgr : PixelOrder::Rgb;
        return EncodeJpeg(cells, order, spec.jpegQuality, blob);
    }
    const std::vector<std::byte> pixels =
        ToPixels(spec.type, cells, jpeg || !holes ? std::span<const std::uint8_t>() : mask);
    if (jpeg) return EncodeJpeg(pixels, PixelOrder::Rgb, spec.jpegQuality, blob);
    return EncodePng(pixels, pixels.size() == kTileCells * 4 ? PixelOrder::Rgba : PixelOrder::Rgb,
                     {}, blob);
}

Status DecodeImage(const RasterHeader& header, std::span<const std::byte> blob,
                   std::span<std::byte> cells, std::vector<std::byte>& scratch) {
    const bool jpeg = IsJpeg(blob);
    if (!jpeg && !IsPng(blob)) return _SetErrPosn(StatusCode::FileDamaged, "neither JPEG nor PNG");
    const auto decode = jpeg ? DecodeJpeg : DecodePng;
    switch (header.type) {
        case RasterType::Composite24A:
            return decode(blob, PixelOrder::Bgr, cells);
        case RasterType::Composite24B:
            return decode(blob, PixelOrder::Rgb, cells);
        case RasterType::Composite16A:
        case RasterType::Composite16B: {
            scratch.resize(kTileCells * 3);
            if (const Status status = decode(blob, PixelOrder::Rgb, scratch); !status.Good())
                return status;
            RgbToComposite16(header.type, scratch, !jpeg, cells);
            return StatusCode::Ok;
        }
        default:
            return decode(blob, PixelOrder::Grey, cells);
    }
}

template <typename Cell>
std::span<Cell> SpanOf(std::vector<std::byte>& scratch) {
    scratch.resize(kTileCells * sizeof(Cell));  // allocated memory is aligned for any cell
    return {reinterpret_cast<Cell*>(scratch.data()), kTileCells};
}

Status EncodeCoverage(const RasterSpec& spec, std::span<const std::byte> cells,
                      std::vector<std::byte>& blob) {
    std::vector<std::byte> scratch;
    if (spec.type == RasterType::Float32) {
        const std::span<float> numbers = SpanOf<float>(scratch);
        std::memcpy(numbers.data(), cells.data(), cells.size());
        return EncodeTiff(numbers, blob);
    }
    const std::span<std::uint16_t> numbers = SpanOf<std::uint16_t>(scratch);
    std::memcpy(numbers.data(), cells.data(), cells.size());
    if (spec.type == RasterType::Signed16) {
        RasterHeader header;
        header.hasNull = spec.hasNull;
        header.nullValue = spec.nullValue;
        const SignedPng form(header);
        for (std::uint16_t& number : numbers)
            number = form.ToPng(static_cast<std::int16_t>(number));
    }
    return EncodePng16(numbers, blob);
}

Status DecodeCoverage(const RasterHeader& header, std::span<const std::byte> blob,
                      std::span<std::byte> cells, std::vector<std::byte>& scratch) {
    if (header.type == RasterType::Float32) {
        const std::span<float> numbers = SpanOf<float>(scratch);
        if (const Status status = DecodeTiff(blob, numbers); !status.Good()) return status;
        std::memcpy(cells.data(), numbers.data(), cells.size());
        return StatusCode::Ok;
    }
    if (!IsPng(blob)) return _SetErrPosn(StatusCode::FileDamaged, "no PNG");
    const std::span<std::uint16_t> numbers = SpanOf<std::uint16_t>(scratch);
    if (const Status status = DecodePng16(blob, numbers); !status.Good()) return status;
    if (header.type == RasterType::Signed16) {
        const SignedPng form(header);
        for (std::uint16_t& number : numbers)
            number = static_cast<std::uint16_t>(form.FromPng(number));
    }
    std::memcpy(cells.data(), numbers.data(), cells.size());
    return StatusCode::Ok;
}

}  // namespace

TileStore StoreOf(RasterType type) noexcept {
    if (IsComposite(type) || type == RasterType::Unsigned8) return TileStore::Image;
    const bool coverage = type == RasterType::Unsigned16 || type == RasterType::Signed16 ||
                          type == RasterType::Float32;
    return coverage ? TileStore::Coverage : TileStore::Own;
}

SignedPng::SignedPng(const RasterHeader& header) {
    if (header.hasNull && FitsCell<std::int16_t>(header.nullValue)) {
        null_ = static_cast<int>(header.nullValue) + kZero;
    }
}

std::uint16_t SignedPng::ToPng(std::int16_t cell) const {
    const int number = cell + kZero;
    if (number == null_) return kTop;
    return static_cast<std::uint16_t>(number == kTop && HasNull() ? null_ : number);
}

std::int16_t SignedPng::FromPng(std::uint16_t number) const {
    if (HasNull() && number == kTop) return static_cast<std::int16_t>(null_ - kZero);
    return static_cast<std::int16_t>((number == null_ ? kTop : number) - kZero);
}

Status EncodeCells(const RasterSpec& spec, std::span<const std::byte> cells,
                   std::span<const std::uint8_t> mask, std::vector<std::byte>& blob) {
    switch (StoreOf(spec.type)) {
        case TileStore::Image:
            return EncodeImage(spec, cells, mask, blob);
        case TileStore::Coverage:
            return EncodeCoverage(spec, cells, blob);
        case TileStore::Own:
            break;
    }
    const int bits = BitsOf(spec.type);
    if (bits >= 8) return Deflate(cells, blob);
    std::vector<std::byte> packed(PackedBytes(spec.type));
    Pack(cells, bits, packed);
    return Deflate(packed, blob);
}

Status EncodeMask(std::span<const std::uint8_t> mask, std::vector<std::byte>& blob) {
    std::vector<std::byte> cells(kTileCells);
    std::ranges::transform(mask, cells.begin(), [](std::uint8_t opaque) {
        return static_cast<std::byte>(opaque == 0 ? 0 : 1);
    });
    RasterSpec spec;
    spec.type = RasterType::Unsigned1;
    return EncodeCells(spec, cells, {}, blob);
}

Status DecodeCells(const RasterHeader& header, std::span<const std::byte> blob,
                   std::span<std::byte> cells, std::vector<std::byte>& scratch) {
    if (blob.size() > kLongestTile)
        return _SetErrPosn(StatusCode::FileDamaged, "longer than any tile");
    switch (StoreOf(header.type)) {
        case TileStore::Image:
            return DecodeImage(header, blob, cells, scratch);
        case TileStore::Coverage:
            return DecodeCoverage(header, blob, cells, scratch);
        case TileStore::Own:
            break;
    }
    const int bits = BitsOf(header.type);
    if (bits >= 8) return Inflate(blob, cells);
    scratch.resize(PackedBytes(header.type));
    if (const Status status = Inflate(blob, scratch); !status.Good()) return status;
    Unpack(scratch, bits, cells);
    return StatusCode::Ok;
}

}  // namespace tarnvale::ZPF

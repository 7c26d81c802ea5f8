#include <array>
#include <bit>
#include <cstring>

#include "zpf/cells.h"
#include "zpf/codecs.h"
#include "zpf/lzw.h"

namespace tarnvale::ZPF {

namespace {

enum Tag : std::uint16_t {
    kWidth = 256,
    kHeight = 257,
    kBits = 258,
    kCompression = 259,
    kPhotometric = 262,
    kStripOffsets = 273,
    kSamples = 277,
    kRowsPerStrip = 278,
    kStripBytes = 279,
    kPredictor = 317,
    kTileWidth = 322,
    kSampleFormat = 339,
};
constexpr std::uint16_t kShort = 3, kLong = 4;
constexpr std::uint32_t kPlain = 1, kLzw = 5;
constexpr std::uint32_t kBlackIsZero = 1, kFloat = 3;
constexpr std::size_t kHeader = 8, kEntry = 12;
constexpr std::size_t kTileBytes = kTileCells * sizeof(float);
constexpr std::uint32_t kMostStrips = kTileSide;

/// Numbers of a TIFF in its own byte order; what lies outside reads as 0 and is remembered.
class Reader {
public:
    Reader(std::span<const std::byte> blob, bool bigEndian) : blob_(blob), bigEndian_(bigEndian) {}
    std::uint32_t Number(std::size_t offset, std::size_t bytes) {
        if (offset > blob_.size() || bytes > blob_.size() - offset) {
            outside_ = true;
            return 0;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) {
            const std::size_t at = bigEndian_ ? i : bytes - 1 - i;
            value = value << 8 | static_cast<std::uint32_t>(blob_[offset + at]);
        }
        return value;
    }
    [[nodiscard]] bool Outside() const { return outside_; }

private:
    std::span<const std::byte> blob_;
    bool bigEndian_;
    bool outside_ = false;
};

struct Field {
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::size_t place = 0;  // of its first value

    /// @return value number `index`; `otherwise` where the field is missing
    std::uint32_t Get(Reader& reader, std::uint32_t index, std::uint32_t otherwise) const {
        if (count == 0) return otherwise;
        const std::size_t size = type == kShort ? 2 : 4;
        return index < count ? reader.Number(place + index * size, size) : otherwise;
    }
};

struct Directory {
    Field width, height, bits, compression, offsets, samples, rowsPerStrip, bytes, predictor,
        tileWidth, format;

    Field* Find(std::uint32_t tag) {
        switch (tag) {
            case kWidth:
                return &width;
            case kHeight:
                return &height;
            case kBits:
                return &bits;
            case kCompression:
                return &compression;
            case kStripOffsets:
                return &offsets;
            case kSamples:
                return &samples;
            case kRowsPerStrip:
                return &rowsPerStrip;
            case kStripBytes:
                return &bytes;
            case kPredictor:
                return &predictor;
            case kTileWidth:
                return &tileWidth;
            case kSampleFormat:
                return &format;
            default:
                return nullptr;
        }
    }
};

Status Damaged(const char* what) {
    return _SetErrPosn(StatusCode::FileDamaged, what);
}

}  // namespace

Status EncodeTiff(std::span<const float> cells, std::vector<std::byte>& blob) {
    if (cells.size() != kTileCells) return _SetErrPosn(StatusCode::BadState);
    const std::span<const std::byte> plain = std::as_bytes(cells);
    std::vector<std::byte> coded;
    LzwEncode(plain, coded);
    const bool shorter = coded.size() < plain.size();
    const std::span<const std::byte> strip = shorter ? std::span<const std::byte>(coded) : plain;

    struct Item {
        std::uint16_t tag, type;
        std::uint32_t value;
    };
    constexpr std::size_t kItems = 10;
    constexpr std::uint32_t kStrip = kHeader + 2 + kItems * kEntry + 4;
    const std::array<Item, kItems> items{{
        {kWidth, kShort, kTileSide},
        {kHeight, kShort, kTileSide},
        {kBits, kShort, 32},
        {kCompression, kShort, shorter ? kLzw : kPlain},
        {kPhotometric, kShort, kBlackIsZero},
        {kStripOffsets, kLong, kStrip},
        {kSamples, kShort, 1},
        {kRowsPerStrip, kShort, kTileSide},
        {kStripBytes, kLong, static_cast<std::uint32_t>(strip.size())},
        {kSampleFormat, kShort, kFloat},
    }};
    blob.clear();
    blob.reserve(kStrip + strip.size());
    const auto put = [&blob](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            blob.push_back(static_cast<std::byte>(value >> (8 * i) & 0xFF));
    };
    put('I' | 'I' << 8, 2);
    put(42, 2);
    put(kHeader, 4);
    put(kItems, 2);
    for (const Item& item : items) {
        put(item.tag, 2);
        put(item.type, 2);
        put(1, 4);
        put(item.value, 4);  // a short stands in the low bytes
    }
    put(0, 4);
    blob.insert(blob.end(), strip.begin(), strip.end());
    return StatusCode::Ok;
}

Status DecodeTiff(std::span<const std::byte> blob, std::span<float> cells) {
    if (cells.size() != kTileCells) return _SetErrPosn(StatusCode::BadState);
    if (blob.size() < kHeader || blob[0] != blob[1] ||
        (blob[0] != std::byte{'I'} && blob[0] != std::byte{'M'})) {
        return Damaged("no TIFF");
    }
    const bool bigEndian = blob[0] == std::byte{'M'};
    Reader reader(blob, bigEndian);
    if (reader.Number(2, 2) != 42) return Damaged("no TIFF");
    const std::size_t start = reader.Number(4, 4);
    const std::uint32_t entries = reader.Number(start, 2);
    Directory directory;
    for (std::uint32_t i = 0; i < entries && !reader.Outside(); ++i) {
        const std::size_t entry = start + 2 + i * kEntry;
        Field* field = directory.Find(reader.Number(entry, 2));
        if (field == nullptr) continue;
        field->type = static_cast<std::uint16_t>(reader.Number(entry + 2, 2));
        field->count = reader.Number(entry + 4, 4);
        if ((field->type != kShort && field->type != kLong) || field->count > kMostStrips) {
            return Damaged("a TIFF with a broken directory");
        }
        const std::size_t bytes = field->count * (field->type == kShort ? 2U : 4U);
        field->place = bytes <= 4 ? entry + 8 : reader.Number(entry + 8, 4);
    }
    const auto is = [&](const Field& field, std::uint32_t value, std::uint32_t otherwise) {
        return field.Get(reader, 0, otherwise) == value;
    };
    if (!is(directory.width, kTileSide, 0) || !is(directory.height, kTileSide, 0)) {
        return Damaged("a TIFF that isn't of a tile's size");
    }
    const std::uint32_t compression = directory.compression.Get(reader, 0, kPlain);
    if (!is(directory.bits, 32, 1) || !is(directory.samples, 1, 1) ||
        !is(directory.format, kFloat, 1) || !is(directory.predictor, 1, 1) ||
        directory.tileWidth.count != 0 || (compression != kPlain && compression != kLzw)) {
        return Damaged("a TIFF that isn't one band of plain or LZW-coded 32-bit floats in strips");
    }
    const std::uint32_t rows = directory.rowsPerStrip.Get(reader, 0, kTileSide);
    if (rows == 0) return Damaged("a TIFF with a broken directory");
    const std::span<std::byte> out = std::as_writable_bytes(cells);
    std::size_t done = 0;
    for (std::uint32_t strip = 0; done < kTileBytes; ++strip) {
        const std::size_t offset = directory.offsets.Get(reader, strip, 0);
        const std::size_t length = directory.bytes.Get(reader, strip, 0);
        const std::size_t wanted =
            std::min<std::size_t>(kTileBytes - done, std::size_t{rows} * kTileSide * sizeof(float));
        if (reader.Outside() || length == 0 || offset > blob.size() ||
            length > blob.size() - offset) {
            return Damaged("a TIFF with a strip outside it");
        }
        const std::span<const std::byte> source = blob.subspan(offset, length);
        const std::span<std::byte> target = out.subspan(done, wanted);
        if (compression == kPlain) {
            if (length < wanted) return Damaged("a TIFF with a short strip");
            std::memcpy(target.data(), source.data(), wanted);
        } else if (!LzwDecode(source, target)) {
            return Damaged("a TIFF with a broken strip");
        }
        done += wanted;
    }
    if (bigEndian) {
        for (std::size_t i = 0; i < kTileBytes; i += 4) std::reverse(&out[i], &out[i] + 4);
    }
    return StatusCode::Ok;
}

}  // namespace tarnvale::ZPF

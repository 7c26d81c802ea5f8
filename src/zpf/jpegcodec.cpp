#include <turbojpeg.h>

#include <cstring>
#include <memory>

#include "zpf/cells.h"
#include "zpf/codecs.h"

namespace tarnvale::ZPF {

namespace {

// From here on colour keeps its full resolution: who asks for so much wants no colour fringes.
constexpr int kFullColorQuality = 95;

struct DestroyCodec {
    void operator()(void* codec) const { tjDestroy(codec); }
};
using Codec = std::unique_ptr<void, DestroyCodec>;

struct FreeBuffer {
    void operator()(unsigned char* buffer) const { tjFree(buffer); }
};

int FormatOf(PixelOrder order) {
    return order == PixelOrder::Grey ? TJPF_GRAY : order == PixelOrder::Rgb ? TJPF_RGB : TJPF_BGR;
}

}  // namespace

bool IsJpeg(std::span<const std::byte> blob) {
    return blob.size() > 3 && blob[0] == std::byte{0xFF} && blob[1] == std::byte{0xD8} &&
           blob[2] == std::byte{0xFF};
}

Status EncodeJpeg(std::span<const std::byte> pixels, PixelOrder order, int quality,
                  std::vector<std::byte>& blob) {
    if (order == PixelOrder::Rgba || pixels.size() != kTileCells * BytesOf(order) || quality < 1 ||
        quality > 100) {
        return _SetErrPosn(StatusCode::BadState);
    }
    thread_local const Codec codec(tjInitCompress());
    if (codec == nullptr) return _SetErrPosn(StatusCode::NoMemory);
    const int sampling = order == PixelOrder::Grey     ? TJSAMP_GRAY
                         : quality < kFullColorQuality ? TJSAMP_420
                                                       : TJSAMP_444;
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    const int result = tjCompress2(
        codec.get(), reinterpret_cast<const unsigned char*>(pixels.data()), kTileSide, 0, kTileSide,
        FormatOf(order), &buffer, &size, sampling, quality, TJFLAG_ACCURATEDCT);
    const std::unique_ptr<unsigned char, FreeBuffer> owner(buffer);
    if (result != 0) return _SetErrPosn(StatusCode::BadState, tjGetErrorStr2(codec.get()));
    blob.resize(size);
    std::memcpy(blob.data(), buffer, size);
    return StatusCode::Ok;
}

Status DecodeJpeg(std::span<const std::byte> blob, PixelOrder order, std::span<std::byte> pixels) {
    if (order == PixelOrder::Rgba || pixels.size() != kTileCells * BytesOf(order)) {
        return _SetErrPosn(StatusCode::BadState);
    }
    thread_local Codec codec;
    if (codec == nullptr) codec.reset(tjInitDecompress());
    if (codec == nullptr) return _SetErrPosn(StatusCode::NoMemory);
    const auto* bytes = reinterpret_cast<const unsigned char*>(blob.data());
    int width = 0, height = 0, sampling = 0, space = 0;
    if (tjDecompressHeader3(codec.get(), bytes, blob.size(), &width, &height, &sampling, &space) !=
        0) {
        codec.reset();  // a decoder that stopped inside a header takes no other picture
        return _SetErrPosn(StatusCode::FileDamaged, "a JPEG with a broken header");
    }
    if (width != kTileSide || height != kTileSide) {
        return _SetErrPosn(StatusCode::FileDamaged, "a JPEG that isn't of a tile's size");
    }
    // A hostile JPEG can repeat its scans by the thousand: limit them.
    const int flags = TJFLAG_FASTUPSAMPLE | TJFLAG_LIMITSCANS;
    if (tjDecompress2(codec.get(), bytes, blob.size(),
                      reinterpret_cast<unsigned char*>(pixels.data()), kTileSide, 0, kTileSide,
                      FormatOf(order), flags) != 0) {
        return _SetErrPosn(StatusCode::FileDamaged, "a JPEG with broken data");
    }
    return StatusCode::Ok;
}

}  // namespace tarnvale::ZPF

#include <zlib.h>

#include <climits>

#include "zpf/codecs.h"

namespace tarnvale::ZPF {

Status Deflate(std::span<const std::byte> plain, std::vector<std::byte>& blob) {
    uLongf size = compressBound(plain.size());
    blob.resize(size);
    const int result = compress2(reinterpret_cast<Bytef*>(blob.data()), &size,
                                 reinterpret_cast<const Bytef*>(plain.data()), plain.size(), 6);
    if (result != Z_OK) return _SetErrPosn(StatusCode::NoMemory);
    blob.resize(size);
    return StatusCode::Ok;
}

Status Inflate(std::span<const std::byte> blob, std::span<std::byte> plain) {
    if (blob.size() > UINT_MAX || plain.size() > UINT_MAX) return _SetErrPosn(StatusCode::BadState);
    uLongf size = plain.size();
    const int result = uncompress(reinterpret_cast<Bytef*>(plain.data()), &size,
                                  reinterpret_cast<const Bytef*>(blob.data()), blob.size());
    if (result == Z_MEM_ERROR) return _SetErrPosn(StatusCode::NoMemory);
    if (result != Z_OK || size != plain.size()) {
        return _SetErrPosn(StatusCode::FileDamaged,
                           "compressed data that isn't of a tile's length");
    }
    return StatusCode::Ok;
}

}  // namespace tarnvale::ZPF

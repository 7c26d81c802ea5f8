// Decodes any bytes as a tile of each raster type. The first byte of an input chooses the type.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "seeds.h"
#include "zpf/cells.h"
#include "zpf/tilecodec.h"

using namespace tarnvale;
using ZPF::RasterType;

namespace {

constexpr std::array kTypes{
    RasterType::Unsigned1,    RasterType::Unsigned4,    RasterType::Unsigned8,
    RasterType::Unsigned16,   RasterType::Signed16,     RasterType::Signed64,
    RasterType::Float32,      RasterType::Composite16A, RasterType::Composite24A,
    RasterType::Composite24B,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<std::byte> cells, scratch;
    if (size == 0) return 0;
    ZPF::RasterHeader header;
    header.type = kTypes[data[0] % kTypes.size()];
    header.hasNull = data[0] >= 128;
    cells.resize(ZPF::kTileCells * static_cast<std::size_t>(ZPF::BytesOf(header.type)));
    const std::span blob(reinterpret_cast<const std::byte*>(data) + 1, size - 1);
    static_cast<void>(ZPF::DecodeCells(header, blob, cells, scratch).Good());
    return 0;
}

/// Half of the time begins from a sound tile, so that the fuzzer needn't find out what a JPEG is.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximum);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maximum, unsigned int seed) {
    static const std::vector<std::vector<std::byte>> tiles = SeedTiles();
    if (size < 64 && seed % 2 == 0) {
        const std::vector<std::byte>& tile = tiles[seed / 2 % tiles.size()];
        if (tile.size() + 1 <= maximum) {
            data[0] = static_cast<std::uint8_t>(seed / 64 % 256);
            std::transform(tile.begin(), tile.end(), data + 1,
                           [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
            size = tile.size() + 1;
        }
    }
    return LLVMFuzzerMutate(data, size, maximum);
}

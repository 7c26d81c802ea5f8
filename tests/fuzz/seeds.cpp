#include "seeds.h"

#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "zpf/cells.h"
#include "zpf/zpfwriter.h"

namespace tarnvale {

namespace {

using ZPF::RasterType;

constexpr std::array kTypes{
    RasterType::Unsigned1,    RasterType::Unsigned4,    RasterType::Unsigned8,
    RasterType::Unsigned16,   RasterType::Signed16,     RasterType::Signed32,
    RasterType::Float32,      RasterType::Float64,      RasterType::Composite16A,
    RasterType::Composite24A, RasterType::Composite24B,
};

// A file of few tiles is opened and read fast; the others have a fuzzer of their own.
constexpr std::array kFileTypes{RasterType::Unsigned4, RasterType::Unsigned8, RasterType::Signed16,
                                RasterType::Composite24B};

ZPF::RasterSpec SpecOf(RasterType type) {
    ZPF::RasterSpec spec;
    spec.name = "r" + std::to_string(static_cast<std::uint32_t>(type));
    spec.type = type;
    spec.columns = 40;
    spec.rows = 30;
    spec.hasNull = type == RasterType::Signed16 || type == RasterType::Float32;
    spec.nullValue = -9999;
    if (type == RasterType::Unsigned8) spec.colorMap.assign(9, COLOR{65535, 9, 300, 0});
    if (type == RasterType::Composite24B) {
        spec.levels = 2;
        spec.hasMask = true;
        if (!COORDREFSYS::FromText("EPSG:32633", spec.system).Good()) return spec;
        spec.georeference = {400000, 30, 0, 5600000, 0, -30};
    }
    return spec;
}

ZPF::EncodedTile TileOf(const ZPF::RasterSpec& spec) {
    std::vector<std::byte> cells(ZPF::kTileCells *
                                 static_cast<std::size_t>(ZPF::BytesOf(spec.type)));
    for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<std::byte>(i / 4096 % 7);
    ZPF::EncodedTile tile;
    if (!ZPF::PROJECTWRITER::EncodeTile(spec, 0, cells, {}, tile).Good()) tile = {};
    return tile;
}

}  // namespace

std::vector<std::byte> SeedFile() {
    std::error_code failed;
    const FILEPATH path = std::filesystem::temp_directory_path(failed) /
                          ("zpf-seed-" + std::to_string(getpid()) + ".sim");
    {
        ZPF::PROJECTWRITER writer;
        int number = 0;
        if (!writer.Create(path).Good() || !writer.AddFolder(0, "SKY", number).Good() ||
            !writer.AddText(number, "about", "text", number).Good()) {
            return {};
        }
        for (const RasterType type : kFileTypes) {
            const ZPF::RasterSpec spec = SpecOf(type);
            if (!writer.AddRaster(0, spec, number).Good()) return {};
            for (int level = 0; level < spec.levels; ++level) {
                if (!writer.PutTile(number, level, 0, 0, TileOf(spec)).Good()) return {};
            }
        }
        if (!writer.Commit().Good()) return {};
    }
    std::ifstream stream(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    std::filesystem::remove(path, failed);
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return {first, first + bytes.size()};
}

std::vector<std::vector<std::byte>> SeedTiles() {
    std::vector<std::vector<std::byte>> tiles;
    for (const RasterType type : kTypes) {
        ZPF::RasterSpec spec = SpecOf(type);
        tiles.push_back(TileOf(spec).pixels);
        spec.encoding = ZPF::TileEncoding::Lossless;
        tiles.push_back(TileOf(spec).pixels);
    }
    return tiles;
}

}  // namespace tarnvale

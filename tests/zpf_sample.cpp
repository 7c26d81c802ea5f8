// Writes a project file with rasters of every kind that other programs can see, or looks whether
// such a file still holds them: zpf_sample write|check|list FILE. The cells follow a rule that
// gpkg_gdal_test.py knows too.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "zpf/cells.h"
#include "zpf/schema.h"
#include "zpf/zpfwriter.h"

using namespace tarnvale;
using ZPF::RasterSpec;
using ZPF::RasterType;

namespace {

constexpr int kColumns = 700, kRows = 600;

int Rule(int column, int row) {
    return column * 7 + row * 13 + column * row / 64;
}

/// A byte of a picture; band 0 to 2.
std::uint8_t Byte(int column, int row, int band) {
    return static_cast<std::uint8_t>((Rule(column, row) + band * 50) % 251);
}

bool IsHole(int column, int row) {
    return (column / 50 + row / 40) % 5 == 0;
}

/// One cell of a raster, in raw form.
void PutCell(const RasterSpec& spec, int column, int row, std::span<std::byte> cells,
             std::size_t index) {
    const int rule = Rule(column, row);
    switch (spec.type) {
        case RasterType::Unsigned1:
            cells[index] = static_cast<std::byte>(rule % 2);
            break;
        case RasterType::Unsigned8:
            cells[index] = static_cast<std::byte>(rule % (spec.colorMap.empty() ? 251 : 40));
            break;
        case RasterType::Unsigned16:
            ZPF::StoreCell(cells, index, static_cast<std::uint16_t>(rule % 60001));
            break;
        case RasterType::Signed16:
            ZPF::StoreCell(cells, index,
                           static_cast<std::int16_t>(rule % 37 == 0 ? -9999 : rule % 2001 - 500));
            break;
        case RasterType::Float32:
            ZPF::StoreCell(cells, index, static_cast<float>(rule) / 8 - 1000);
            break;
        case RasterType::Composite16B:
            ZPF::StoreCell(cells, index, static_cast<std::uint16_t>(rule % 65536));
            break;
        default:
            for (int band = 0; band < 3; ++band) {
                const int place = spec.type == RasterType::Composite24A ? 2 - band : band;
                cells[index * 3 + static_cast<std::size_t>(place)] =
                    static_cast<std::byte>(Byte(column, row, band));
            }
    }
}

std::vector<RasterSpec> Specs() {
    const std::array<std::pair<const char*, RasterType>, 12> kinds{{
        {"Heights", RasterType::Signed16},
        {"Scaled", RasterType::Signed16},
        {"Counts", RasterType::Unsigned16},
        {"Exact", RasterType::Float32},
        {"Land", RasterType::Composite24B},
        {"Lossless", RasterType::Composite24B},
        {"Holes", RasterType::Composite24B},
        {"Classes", RasterType::Unsigned8},
        {"Grey", RasterType::Unsigned8},
        {"Blue first", RasterType::Composite24A},
        {"Tilted", RasterType::Signed16},
        {"Bits", RasterType::Unsigned1},
    }};
    std::vector<RasterSpec> specs;
    for (const auto& [name, type] : kinds) {
        RasterSpec spec;
        spec.name = name;
        spec.type = type;
        spec.columns = kColumns;
        spec.rows = kRows;
        spec.encoding =
            spec.name == "Land" ? ZPF::TileEncoding::Automatic : ZPF::TileEncoding::Lossless;
        spec.georeference = {400000, 30, 0, 5600000, 0, -20};
        spec.hasNull = type == RasterType::Signed16;
        spec.nullValue = -9999;
        const char* system = "EPSG:32633";
        if (spec.name == "Scaled") {
            spec.scale = 0.25;
            spec.offset = 100;
        } else if (spec.name == "Counts") {
            system = "EPSG:4326";
            spec.georeference = {-10, 0.01, 0, 50, 0, -0.01};
        } else if (spec.name == "Exact") {
            system =
                "+proj=lcc +lat_1=40 +lat_2=60 +lat_0=50 +lon_0=12 +x_0=5 +y_0=7 +ellps=GRS80 "
                "+units=m";
        } else if (spec.name == "Tilted") {
            spec.georeference = {400000, 30, 4, 5600000, 4, -30};
        } else if (spec.name == "Land") {
            spec.levels = 2;
        } else if (spec.name == "Classes") {
            for (std::uint16_t i = 0; i < 40; ++i) {
                spec.colorMap.push_back({static_cast<std::uint16_t>(i * 0x0505),
                                         static_cast<std::uint16_t>(i * 0x0202),
                                         static_cast<std::uint16_t>(0xFFFF - i * 0x0303), 0});
            }
        }
        spec.hasMask = spec.name == "Holes";
        if (!COORDREFSYS::FromText(system, spec.system).Good()) return {};
        specs.push_back(std::move(spec));
    }
    return specs;
}

Status WriteTile(ZPF::PROJECTWRITER& writer, int number, const RasterSpec& spec, int level,
                 int tileColumn, int tileRow) {
    std::vector<std::byte> cells(ZPF::kTileCells *
                                 static_cast<std::size_t>(ZPF::BytesOf(spec.type)));
    std::vector<std::uint8_t> mask(spec.hasMask ? ZPF::kTileCells : 0);
    for (int row = 0; row < ZPF::kTileSide; ++row) {
        for (int column = 0; column < ZPF::kTileSide; ++column) {
            const int x = (tileColumn * ZPF::kTileSide + column) << level,
                      y = (tileRow * ZPF::kTileSide + row) << level;
            const std::size_t index =
                static_cast<std::size_t>(row) * ZPF::kTileSide + static_cast<std::size_t>(column);
            // A smooth picture, so that a JPEG keeps it.
            if (spec.name == "Land") {
                for (int band = 0; band < 3; ++band) {
                    cells[index * 3 + static_cast<std::size_t>(band)] =
                        static_cast<std::byte>(std::min((x / 4 + y / 8 + band * 9) / 2 + 60, 255));
                }
            } else {
                PutCell(spec, x, y, cells, index);
            }
            if (spec.hasMask) mask[index] = IsHole(x, y) ? 0 : 255;
        }
    }
    ZPF::EncodedTile tile;
    const Status status = ZPF::PROJECTWRITER::EncodeTile(spec, level, cells, mask, tile);
    return status.Good() ? writer.PutTile(number, level, tileColumn, tileRow, tile) : status;
}

Status Write(const FILEPATH& path) {
    ZPF::PROJECTWRITER writer;
    if (const Status status = writer.Create(path); !status.Good()) return status;
    for (const RasterSpec& spec : Specs()) {
        int number = kNoObject;
        if (const Status status = writer.AddRaster(kRootObject, spec, number); !status.Good())
            return status;
        for (int level = 0; level < spec.levels; ++level) {
            for (int tileRow = 0; tileRow * ZPF::kTileSide < ZPF::ReducedSide(kRows, 1 << level);
                 ++tileRow) {
                for (int tileColumn = 0;
                     tileColumn * ZPF::kTileSide < ZPF::ReducedSide(kColumns, 1 << level);
                     ++tileColumn) {
                    if (const Status status =
                            WriteTile(writer, number, spec, level, tileColumn, tileRow);
                        !status.Good()) {
                        return status;
                    }
                }
            }
        }
    }
    return writer.Commit();
}

/// @return BadState where a cell differs
Status Check(const FILEPATH& path) {
    ZPF::FILEHANDLE file;
    if (const Status status = file.Open(path, ZPF::OpenMode::Read); !status.Good()) return status;
    for (const RasterSpec& spec : Specs()) {
        ZPF::RASTERHANDLE raster;
        const int number = file.FindObject(kRootObject, ObjectType::Raster, spec.name);
        if (const Status status = raster.Open(file, number); !status.Good()) return status;
        if (spec.name == "Land") continue;  // lossy
        const auto bytes = static_cast<std::size_t>(ZPF::BytesOf(spec.type));
        std::vector<std::byte> line(kColumns * bytes), wanted(kColumns * bytes);
        for (int row = 0; row < kRows; ++row) {
            if (const Status status = raster.ReadLine(row, 0, kColumns, line, ZPF::LineForm::Raw);
                !status.Good()) {
                return status;
            }
            for (int column = 0; column < kColumns; ++column) {
                PutCell(spec, column, row, wanted, static_cast<std::size_t>(column));
            }
            if (line != wanted)
                return _SetErrPosn(StatusCode::BadState,
                                   spec.name + " differs in row " + std::to_string(row));
        }
    }
    return StatusCode::Ok;
}

/// Prints the rasters at the root, each with the first byte or the number of its middle cell.
Status List(const FILEPATH& path) {
    ZPF::FILEHANDLE file;
    if (const Status status = file.Open(path, ZPF::OpenMode::Read); !status.Good()) return status;
    std::int64_t iterator = 0;
    for (int number = 0; file.GetNextInodeNum(iterator, kRootObject, ObjectType::Raster, number);) {
        ZPF::RASTERHANDLE raster;
        ZPFObjectHeader header;
        if (const Status status = file.ReadObjectHeader(number, header); !status.Good())
            return status;
        if (const Status status = raster.Open(file, number); !status.Good()) return status;
        const int columns = raster.Header().columns, rows = raster.Header().rows;
        std::array<std::byte, 8> cell{};
        if (const Status status =
                raster.ReadLine(rows / 2, columns / 2, 1, cell, ZPF::LineForm::Raw);
            !status.Good()) {
            return status;
        }
        const bool isWord = ZPF::BytesOf(raster.Header().type) == 2;
        const int value =
            isWord ? ZPF::LoadCell<std::int16_t>(cell, 0) : std::to_integer<int>(cell[0]);
        std::printf("%d %s %d x %d, middle cell %d\n", number, header.name.c_str(), columns, rows,
                    value);
    }
    return StatusCode::Ok;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fputs("usage: zpf_sample write|check|list FILE\n", stderr);
        return 1;
    }
    const std::string_view command = arguments[1];
    Status status = StatusCode::BadState;
    if (command == "write") status = Write(arguments[2]);
    if (command == "check") status = Check(arguments[2]);
    if (command == "list") status = List(arguments[2]);
    if (status.Good()) return 0;
    std::fprintf(stderr, "%s\n", GetErrString(status).c_str());
    return 1;
}

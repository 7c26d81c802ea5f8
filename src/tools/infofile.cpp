#include "tools/infofile.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "landscape/rootrasters.h"
#include "landscape/simfile.h"
#include "zpf/zpffile.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array kTypes{ObjectType::Folder,   ObjectType::Raster,   ObjectType::Vector,
                            ObjectType::Database, ObjectType::ColorMap, ObjectType::Text};

const char* NameOf(ObjectType type) {
    switch (type) {
        case ObjectType::Folder:
            return "folder";
        case ObjectType::Raster:
            return "raster";
        case ObjectType::Vector:
            return "vector";
        case ObjectType::Database:
            return "database";
        case ObjectType::ColorMap:
            return "colour map";
        case ObjectType::Text:
            return "text";
    }
    return "unknown";
}

const char* NameOf(ZPF::RasterType type) {
    using enum ZPF::RasterType;
    switch (type) {
        case Unsigned1:
            return "1-bit mask";
        case Unsigned4:
            return "4-bit unsigned";
        case Unsigned8:
            return "8-bit unsigned";
        case Unsigned32:
            return "32-bit unsigned";
        case Unsigned16:
            return "16-bit unsigned";
        case Unsigned64:
            return "64-bit unsigned";
        case Signed8:
            return "8-bit signed";
        case Signed16:
            return "16-bit signed";
        case Signed32:
            return "32-bit signed";
        case Signed64:
            return "64-bit signed";
        case Float32:
            return "32-bit float";
        case Float64:
            return "64-bit float";
        case Composite16A:
            return "16-bit colour (5-5-5)";
        case Composite16B:
            return "16-bit colour (5-6-5)";
        case Composite24A:
            return "24-bit colour (blue first)";
        case Composite24B:
            return "24-bit colour";
    }
    return "unknown";
}

struct Extent {
    double xMin = 0, yMin = 0, xMax = 0, yMax = 0;
    void Include(double x, double y) {
        xMin = std::min(xMin, x);
        xMax = std::max(xMax, x);
        yMin = std::min(yMin, y);
        yMax = std::max(yMax, y);
    }
};

/// Bounds on the map of a rectangle of grid positions.
Extent ExtentOf(const GeoTransform& t, double x0, double y0, double x1, double y1) {
    const auto at = [&](double x, double y) {
        return std::pair{t.xOrigin + x * t.xColumn + y * t.xRow,
                         t.yOrigin + x * t.yColumn + y * t.yRow};
    };
    const auto [firstX, firstY] = at(x0, y0);
    Extent extent{firstX, firstY, firstX, firstY};
    for (const auto& [x, y] : {at(x1, y0), at(x0, y1), at(x1, y1)}) extent.Include(x, y);
    return extent;
}

Json JsonOf(const Extent& e) {
    return {{"xmin", e.xMin}, {"ymin", e.yMin}, {"xmax", e.xMax}, {"ymax", e.yMax}};
}

Json JsonOf(const COORDREFSYS& system) {
    Json json{{"name", system.Name()}};
    if (const auto code = system.EpsgCode()) json["epsg"] = *code;
    json["wkt"] = system.Wkt();
    return json;
}

/// The systems of a file, by their text. To describe one takes milliseconds, and thousands of
/// rasters may share it.
using SystemFacts = std::map<std::string, Json>;

const Json& FactsOf(const COORDREFSYS& system, SystemFacts& systems) {
    const auto [known, isNew] = systems.try_emplace(system.Wkt());
    if (isNew) known->second = JsonOf(system);
    return known->second;
}

/// Everything about a raster but its pixels.
Json RasterFacts(const ZPF::RASTERHANDLE& raster, const ZPF::FILEHANDLE& file, int number,
                 SystemFacts& systems) {
    const ZPF::RasterHeader& header = raster.Header();
    Json json{{"columns", header.columns},
              {"rows", header.rows},
              {"type", NameOf(header.type)},
              {"type_code", static_cast<std::uint32_t>(header.type)}};
    if (header.hasNull) json["null"] = header.nullValue;
    if (header.scale != 1 || header.offset != 0) {
        json["scale"] = header.scale;
        json["offset"] = header.offset;
    }
    if (double width = 0, height = 0; raster.GetCellSize(width, height).Good()) {
        json["cell_size_m"] = {width, height};
    }
    GeoTransform place;
    COORDREFSYS system;
    if (raster.GetGeoreference(place, system).Good()) {
        json["crs"] = FactsOf(system, systems);
        json["geotransform"] = {place.xOrigin, place.xColumn, place.xRow,
                                place.yOrigin, place.yColumn, place.yRow};
        json["extent"] = JsonOf(ExtentOf(place, 0, 0, header.columns, header.rows));
    }
    if (ZPF::RasterStatistics statistics;
        IsElevationType(header.type) && raster.GetStatistics(statistics).Good()) {
        json["minimum"] = statistics.minimum * header.scale + header.offset;
        json["maximum"] = statistics.maximum * header.scale + header.offset;
    }
    Json levels = Json::array();
    std::vector<ZPF::PyramidLevel> pyramid;
    if (raster.GetPyramidList(pyramid).Good()) {
        for (const ZPF::PyramidLevel& level : pyramid) {
            Json entry{{"factor", level.factor}};
            ZPF::RASTERHANDLE reduced;
            if (reduced.Open(file, level.object).Good()) {
                entry["columns"] = reduced.Header().columns;
                entry["rows"] = reduced.Header().rows;
            }
            levels.push_back(entry);
        }
    }
    json["pyramid"] = levels;
    json["masked"] = raster.FindMask() != kNoObject;
    json["counts_as_elevation"] = IsElevationType(header.type);
    json["counts_as_texture"] = IsTextureCandidate(file, number, header.type);
    return json;
}

Json ObjectsUnder(const ZPF::FILEHANDLE& file, int parent, SystemFacts& systems) {
    std::vector<std::pair<int, ObjectType>> children;
    for (const ObjectType type : kTypes) {
        std::int64_t iterator = 0;
        for (int number = kNoObject; file.GetNextInodeNum(iterator, parent, type, number);) {
            children.emplace_back(number, type);
        }
    }
    std::ranges::sort(children);
    Json list = Json::array();
    for (const auto& [number, type] : children) {
        Json json{{"number", number}, {"type", NameOf(type)}};
        ZPFObjectHeader header;
        if (const Status read = file.ReadObjectHeader(number, header); read.Good()) {
            json["name"] = header.name;
            json["description"] = header.description;
            json["path"] = file.GetObjectPath(number);
        } else {
            json["error"] = GetErrString(read);
        }
        if (type == ObjectType::Raster) {
            ZPF::RASTERHANDLE raster;
            if (const Status opened = raster.Open(file, number); opened.Good()) {
                json["raster"] = RasterFacts(raster, file, number, systems);
            } else {
                json["error"] = GetErrString(opened);
            }
        }
        if (Json below = ObjectsUnder(file, number, systems); !below.empty())
            json["objects"] = std::move(below);
        list.push_back(std::move(json));
    }
    return list;
}

/// For each pair of an elevation raster and a texture at the root: whether they fit, and why.
Status AddFits(const ZPF::FILEHANDLE& file, Json& description) {
    RootRasters rasters;
    if (const Status read = rasters.Read(file); !read.Good()) return read;
    const auto nameOf = [&file](int number) {
        ZPFObjectHeader header;
        return file.ReadObjectHeader(number, header).Good() ? header.name : QNSTRING();
    };
    Json fits = Json::array();
    for (const RootRaster& dem : rasters.All()) {
        if (!dem.elevation) continue;
        for (const RootRaster& texture : rasters.All()) {
            if (!texture.texture) continue;
            QNSTRING why;
            bool fit = false;
            if (const Status tried = rasters.TextureFits(dem, texture, fit, &why); !tried.Good())
                return tried;
            fits.push_back({{"dem", dem.number},
                            {"dem_name", nameOf(dem.number)},
                            {"texture", texture.number},
                            {"texture_name", nameOf(texture.number)},
                            {"fits", fit},
                            {"why", why}});
        }
    }
    description["fits"] = std::move(fits);
    return StatusCode::Ok;
}

struct TerrainPlace {
    Extent extent;
    double zMin = 0, zMax = 0;
    COORDREFSYS system;
};

std::optional<TerrainPlace> PlaceOf(const ZPF::FILEHANDLE& file, int number) {
    ZPF::RASTERHANDLE raster;
    TerrainPlace place;
    ZPF::RasterStatistics statistics;
    GeoTransform grid;
    if (!raster.Open(file, number).Good() || !raster.GetStatistics(statistics).Good())
        return std::nullopt;
    const ZPF::RasterHeader& header = raster.Header();
    // Without a georeference the map is the grid itself.
    if (!raster.GetGeoreference(grid, place.system).Good()) grid = {};
    place.extent = ExtentOf(grid, 0.5, 0.5, header.columns - 0.5, header.rows - 0.5);
    place.zMin = statistics.minimum * header.scale + header.offset;
    place.zMax = statistics.maximum * header.scale + header.offset;
    return place;
}

Json JsonOf(const TerrainPlace& place) {
    Json json = JsonOf(place.extent);
    json["zmin"] = place.zMin;
    json["zmax"] = place.zMax;
    return json;
}

/// Terrains as the simulator finds them, and the extent of all that lie in the first one's CRS.
void AddTerrains(const ZPF::FILEHANDLE& file, const SimulatorFile& landscape, Json& description) {
    Json terrains = Json::array();
    std::optional<TerrainPlace> whole;
    for (const SimTerrainEntry& entry : landscape.Terrains()) {
        Json terrain{{"dem", entry.dem.header.number}, {"name", entry.dem.header.name}};
        Json textures = Json::array();
        for (const ZPFObjectItem& texture : entry.textures) {
            textures.push_back({{"texture", texture.header.number}, {"name", texture.header.name}});
        }
        terrain["textures"] = textures;
        if (const auto place = PlaceOf(file, entry.dem.header.number)) {
            terrain["extent"] = JsonOf(*place);
            if (!whole) {
                whole = place;
            } else if (place->system.Equivalent(whole->system)) {
                whole->extent.Include(place->extent.xMin, place->extent.yMin);
                whole->extent.Include(place->extent.xMax, place->extent.yMax);
                whole->zMin = std::min(whole->zMin, place->zMin);
                whole->zMax = std::max(whole->zMax, place->zMax);
            }
        }
        terrains.push_back(terrain);
    }
    description["extent"] = whole ? JsonOf(*whole) : Json();
    if (whole && whole->system.Valid()) description["crs"] = JsonOf(whole->system);
    description["terrains"] = terrains;
}

Json NamesOf(const QNLIST<ZPFObjectItem>& items) {
    Json names = Json::array();
    for (const ZPFObjectItem& item : items) names.push_back(item.header.name);
    return names;
}

}  // namespace

Status DescribeFile(const FILEPATH& path, Json& description) {
    ZPF::FILEHANDLE file;
    if (const Status opened = file.Open(path, ZPF::OpenMode::Read); !opened.Good()) return opened;
    SimulatorFile landscape;
    const Status read = landscape.Read(path);
    if (!read.Good() && read.Code() != StatusCode::NoLandscape) return read;

    std::error_code failed;
    Json made{{"file", path.string()},
              {"size_bytes", std::filesystem::file_size(path, failed)},
              {"valid", landscape.Valid()}};
    AddTerrains(file, landscape, made);
    if (const Status added = AddFits(file, made); !added.Good()) return added;
    made["vectors"] = NamesOf(landscape.Vectors());
    made["texts"] = NamesOf(landscape.Texts());
    SystemFacts systems;
    made["objects"] = ObjectsUnder(file, kRootObject, systems);
    description = std::move(made);
    return StatusCode::Ok;
}

}  // namespace tarnvale

#include "tools/infotext.h"

#include <fmt/format.h>

namespace tarnvale {

namespace {

using Json = nlohmann::ordered_json;

std::string Text(const Json& json, const char* key) {
    return json.value(key, std::string());
}

std::string Metres(const Json& extent) {
    return fmt::format("{:.2f} to {:.2f} east, {:.2f} to {:.2f} north", extent.value("xmin", 0.0),
                       extent.value("xmax", 0.0), extent.value("ymin", 0.0),
                       extent.value("ymax", 0.0));
}

std::string SystemText(const Json& system) {
    const std::string name = Text(system, "name");
    return system.contains("epsg") ? fmt::format("{} (EPSG:{})", name, system["epsg"].get<int>())
                                   : name;
}

void AppendRaster(const Json& raster, const std::string& indent, std::string& out) {
    out += fmt::format("{}{} x {}, {}", indent, raster.value("columns", 0), raster.value("rows", 0),
                       Text(raster, "type"));
    if (raster.contains("cell_size_m")) {
        out += fmt::format(", cell {:.6g} x {:.6g} m", raster["cell_size_m"][0].get<double>(),
                           raster["cell_size_m"][1].get<double>());
    }
    if (raster.contains("minimum")) {
        out += fmt::format(", {:.6g} to {:.6g} m", raster.value("minimum", 0.0),
                           raster.value("maximum", 0.0));
    }
    if (raster.contains("null")) out += fmt::format(", null {:.6g}", raster.value("null", 0.0));
    if (raster.value("masked", false)) out += ", masked";
    out += '\n';
    if (raster.contains("crs")) {
        out += fmt::format("{}CRS {}\n{}extent {}\n", indent, SystemText(raster["crs"]), indent,
                           Metres(raster["extent"]));
    } else {
        out += indent + "no georeference\n";
    }
    if (const Json& levels = raster["pyramid"]; !levels.empty()) {
        out += indent + "pyramid";
        for (const Json& level : levels) {
            out += fmt::format(" {}x{}", level.value("columns", 0), level.value("rows", 0));
        }
        out += '\n';
    }
}

void AppendObjects(const Json& objects, int depth, std::string& out) {
    const std::string indent(static_cast<std::size_t>(2 * depth), ' ');
    for (const Json& object : objects) {
        out += fmt::format("{}{} {} \"{}\"", indent, object.value("number", 0),
                           Text(object, "type"), Text(object, "name"));
        if (const std::string about = Text(object, "description"); !about.empty())
            out += " - " + about;
        out += '\n';
        if (object.contains("error")) out += indent + "  damaged: " + Text(object, "error") + "\n";
        if (object.contains("raster")) AppendRaster(object["raster"], indent + "  ", out);
        if (object.contains("objects")) AppendObjects(object["objects"], depth + 1, out);
    }
}

void AppendLandscape(const Json& description, std::string& out) {
    for (const Json& terrain : description["terrains"]) {
        out += fmt::format("Terrain \"{}\"", Text(terrain, "name"));
        for (const Json& texture : terrain["textures"]) {
            out += fmt::format("{}\"{}\"",
                               &texture == &terrain["textures"].front() ? " with texture " : ", ",
                               Text(texture, "name"));
        }
        out += '\n';
    }
    if (const Json& extent = description["extent"]; extent.is_object()) {
        out += fmt::format("Extent {}, {:.6g} to {:.6g} m high\n", Metres(extent),
                           extent.value("zmin", 0.0), extent.value("zmax", 0.0));
    }
    if (description.contains("crs")) out += "CRS " + SystemText(description["crs"]) + "\n";
}

/// Why each elevation raster and each texture is or isn't part of a terrain.
void AppendReasons(const Json& description, std::string& out) {
    for (const Json& fit : description["fits"]) {
        out += fmt::format("\"{}\" {} \"{}\": {}\n", Text(fit, "texture_name"),
                           fit.value("fits", false) ? "is a texture of" : "doesn't fit",
                           Text(fit, "dem_name"), Text(fit, "why"));
    }
    bool elevation = false, texture = false;
    for (const Json& object : description["objects"]) {
        if (!object.contains("raster")) continue;
        elevation = elevation || object["raster"].value("counts_as_elevation", false);
        texture = texture || object["raster"].value("counts_as_texture", false);
    }
    if (!elevation)
        out += "No raster at the root counts as elevation: it takes 8, 16 or 32 bits, or floats\n";
    if (!texture) {
        out +=
            "No raster at the root counts as texture: it takes composite colour, or 8 bits with a "
            "colour map\n";
    }
}

}  // namespace

std::string TextOf(const Json& description) {
    std::string out =
        fmt::format("{}: {:.2f} MB, {}\n", Text(description, "file"),
                    description.value("size_bytes", 0.0) / 1e6,
                    description.value("valid", false) ? "a landscape" : "not a landscape");
    AppendLandscape(description, out);
    AppendReasons(description, out);
    out += "Objects:\n";
    AppendObjects(description["objects"], 1, out);
    return out;
}

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarnvale {

/// A place on the earth, degrees.
struct GeographicPlace {
    double longitude = 0, latitude = 0;
};

/// Degrees; east is less than west where the area crosses the 180th meridian.
struct GeographicArea {
    double west = -180, south = -90, east = 180, north = 90;
    [[nodiscard]] bool Holds(const GeographicPlace& place) const noexcept;
};

/// An entry of the coordinate library's database.
struct CoordRefSysEntry {
    std::string code;  ///< "EPSG:32632", as COORDREFSYS::FromText reads it
    std::string name;
    std::string area;  ///< where it is meant to be used, in words
    GeographicArea bounds;
    std::string key;  ///< what is searched in: code and name in lower case
};

/// All systems of map coordinates on the earth that are in use, by authority and code. Takes about
/// half a second: call it once, on any thread.
[[nodiscard]] std::vector<CoordRefSysEntry> ReadCoordRefSystems();

/// Indices of the entries whose code or name holds every word of `text`, whatever the case of its
/// ASCII letters. First those with a word as their code, then as their code's number, then those
/// in whose name every word begins a word, then the rest; of these two, those that are meant for
/// `place` come first, and WGS 84 before other datums. Otherwise in the order of `entries`. All of
/// them for no words.
[[nodiscard]] std::vector<std::uint32_t> FindCoordRefSystems(
    std::span<const CoordRefSysEntry> entries, std::string_view text,
    const std::optional<GeographicPlace>& place = std::nullopt);

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarnvale {

/// An entry of the coordinate library's database.
struct CoordRefSysEntry {
    std::string code;  ///< "EPSG:32632", as COORDREFSYS::FromText reads it
    std::string name, area;
    std::string key;  ///< what is searched in: code and name in lower case
};

/// All systems of map coordinates on the earth that are in use, by authority and code. Takes about
/// half a second: call it once, on any thread.
[[nodiscard]] std::vector<CoordRefSysEntry> ReadCoordRefSystems();

/// Indices of the entries whose code or name holds every word of `text`, whatever the case of its
/// ASCII letters. First those with a word as their code, then as their code's number, then those
/// in whose name every word begins a word, then the rest; each in the order of `entries`. All of
/// them for no words.
[[nodiscard]] std::vector<std::uint32_t> FindCoordRefSystems(
    std::span<const CoordRefSysEntry> entries, std::string_view text);

}  // namespace tarnvale

#include "geom/crslist.h"

#include <proj.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "geom/projcontext.h"

namespace tarnvale {

namespace {

struct CrsListDeleter {
    void operator()(PROJ_CRS_INFO** list) const noexcept { proj_crs_info_list_destroy(list); }
};
struct ParametersDeleter {
    void operator()(PROJ_CRS_LIST_PARAMETERS* parameters) const noexcept {
        proj_get_crs_list_parameters_destroy(parameters);
    }
};

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::vector<std::string> WordsOf(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string> words;
    while (true) {
        const auto begin = text.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos) return words;
        text.remove_prefix(begin);
        const auto end = std::min(text.find_first_of(kBlanks), text.size());
        words.push_back(Lower(text.substr(0, end)));
        text.remove_prefix(end);
    }
}

constexpr std::size_t kRanks = 10;

bool BeginsAWord(std::string_view text, std::string_view word) {
    for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const char before = at == 0 ? ' ' : text[at - 1];
        const bool inside = (before >= 'a' && before <= 'z') || (before >= '0' && before <= '9');
        if (!inside) return true;
    }
    return false;
}

// Where an entry stands among those found: the smaller, the nearer to what was meant.
// @return kRanks where a word is missing
std::size_t RankOf(const CoordRefSysEntry& entry, std::span<const std::string> words,
                   const std::optional<GeographicPlace>& place) {
    const std::string_view key = entry.key, code = key.substr(0, entry.code.size());
    const std::string_view name = key.substr(code.size());
    bool wholeCode = false, number = false, inName = true;
    for (const std::string& word : words) {
        if (key.find(word) == std::string_view::npos) return kRanks;
        wholeCode = wholeCode || code == word;
        number = number || (code.size() > word.size() && code.ends_with(word) &&
                            code[code.size() - word.size() - 1] == ':');
        inName = inName && BeginsAWord(name, word);
    }
    if (wholeCode) return 0;
    if (number) return 1;
    const bool meant = place.has_value() && entry.bounds.Holds(*place);
    const bool worldwide = name.starts_with(" wgs 84");  // what most data of today are in
    return 2U + (inName ? 0U : 4U) + (meant ? 0U : 2U) + (worldwide ? 0U : 1U);
}

}  // namespace

bool GeographicArea::Holds(const GeographicPlace& place) const noexcept {
    if (place.latitude < south || place.latitude > north) return false;
    if (west <= east) return place.longitude >= west && place.longitude <= east;
    return place.longitude >= west || place.longitude <= east;
}

std::vector<CoordRefSysEntry> ReadCoordRefSystems() {
    const ProjContext context = NewProjContext();
    const std::unique_ptr<PROJ_CRS_LIST_PARAMETERS, ParametersDeleter> parameters(
        proj_get_crs_list_parameters_create());
    const std::array<PJ_TYPE, 2> types{PJ_TYPE_GEOGRAPHIC_2D_CRS, PJ_TYPE_PROJECTED_CRS};
    parameters->types = types.data();
    parameters->typesCount = types.size();
    parameters->allow_deprecated = 0;
    parameters->celestial_body_name = "Earth";
    int count = 0;
    const std::unique_ptr<PROJ_CRS_INFO*, CrsListDeleter> list(
        proj_get_crs_info_list_from_database(context.get(), nullptr, parameters.get(), &count));
    std::vector<CoordRefSysEntry> entries;
    if (list == nullptr) return entries;
    entries.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const PROJ_CRS_INFO& info = *list.get()[i];
        CoordRefSysEntry entry;
        entry.code = std::string(info.auth_name) + ":" + info.code;
        entry.name = info.name;
        if (info.area_name != nullptr) entry.area = info.area_name;
        if (info.bbox_valid != 0) {
            entry.bounds = {info.west_lon_degree, info.south_lat_degree, info.east_lon_degree,
                            info.north_lat_degree};
        }
        entry.key = Lower(entry.code + " " + entry.name);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<std::uint32_t> FindCoordRefSystems(std::span<const CoordRefSysEntry> entries,
                                               std::string_view text,
                                               const std::optional<GeographicPlace>& place) {
    const std::vector<std::string> words = WordsOf(text);
    std::array<std::vector<std::uint32_t>, kRanks> ranks;
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        const std::size_t rank = RankOf(entries[i], words, place);
        if (rank < kRanks) ranks[rank].push_back(i);
    }
    std::vector<std::uint32_t> found;
    for (const std::vector<std::uint32_t>& rank : ranks)
        found.insert(found.end(), rank.begin(), rank.end());
    return found;
}

}  // namespace tarnvale

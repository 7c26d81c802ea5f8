#include "base/status.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/textres.h"

namespace tarnvale {

namespace {

// Details are composed in English below the windows, and the command line tools print them so. What
// people meet of them in windows is put into their language, phrase by phrase: no phrase stands
// before one that holds it.
constexpr std::pair<std::string_view, const char*> kPhrases[] = {
    {"no such file; check the name", "detail_no_such_file"},
    {"the file or its folder can't be used", "detail_not_usable"},
    {"can't be read; check the permissions", "detail_not_readable"},
    {"check the permissions", "detail_permissions"},
    {"no project file;", "detail_no_project_file"},
    {"no file;", "detail_no_file"},
    {"a database, but no GeoPackage;", "detail_no_geopackage"},
    {"choose a .sim file", "detail_choose_landscape"},
    {"cut short;", "detail_cut_short"},
    {"goes on without end;", "detail_endless"},
    {"make the file anew or fetch it again", "detail_make_anew"},
    {"is too large for this machine's memory", "detail_too_large"},
    {"holds no elevation raster with a texture that fits it; see with tarnvale-info what each "
     "raster lacks",
     "detail_no_terrain"},
    {"another program holds the file; close it there", "detail_held"},
    {"no room left on the disc; free some or choose another folder", "detail_no_room"},
    {"isn't there any more", "detail_gone"},
    {"isn't there", "detail_absent"},
    {"can't be read, or is no atlas of up to 1 MB", "detail_no_atlas"},
    {"is neither beside this one nor in PATH; install it again", "detail_no_program"},
    {"has no features; add some, or name another layer", "detail_no_features"},
    {"is no map; name a raster or a vector layer in the atlas", "detail_no_map"},
    {"has no geometry that lies on a map; mend it in a GIS", "detail_nowhere"},
    {"has no geometry column; name a layer of points, lines or polygons", "detail_no_geometry"},
    {"open only landscapes from who you trust, or make the file anew", "detail_trust"},
    {"has no object", "detail_no_object"},
};

ErrPosn& LastError() {
    thread_local ErrPosn last;
    return last;
}

std::string InTheUsersLanguage(std::string detail) {
    for (const auto& [english, key] : kPhrases) {
        const std::size_t at = detail.rfind(english);  // names of files come before
        if (at != std::string::npos) detail.replace(at, english.size(), TEXTRES::Text(key));
    }
    return detail;
}

}  // namespace

Status _SetErrPosn(StatusCode code, std::string detail, const char* file, int line) {
    ErrPosn& last = LastError();
    if (!detail.empty() || last.code != code) last.detail = std::move(detail);
    last.code = code;
    last.file = file;
    last.line = line;
    return code;
}

void ClearErrPosn() {
    LastError() = {};
}

const ErrPosn& GetErrPosn() {
    return LastError();
}

std::string GetErrString(Status status) {
    std::string text = TEXTRES::Text("error_" + std::to_string(-status.Value()));
    const ErrPosn& last = LastError();
    if (last.code == status.Code() && !last.detail.empty())
        text += ": " + InTheUsersLanguage(last.detail);
    std::ranges::replace(text, '\n', ' ');
    return text;
}

}  // namespace tarnvale

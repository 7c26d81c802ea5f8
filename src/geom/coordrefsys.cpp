#include <proj.h>
#include <proj_experimental.h>  // proj_crs_demote_to_2D

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <utility>

#include "geom/projcontext.h"
#include "geom/transgen.h"

namespace tarnvale {

ProjContext NewProjContext() {
    ProjContext context(proj_context_create());
    if (context == nullptr) throw std::bad_alloc();
    proj_log_level(context.get(), PJ_LOG_NONE);
    proj_context_set_enable_network(context.get(), 0);
    return context;
}

ProjObject NewConversion(PJ_CONTEXT* context, const std::string& fromWkt,
                         const std::string& toWkt) {
    const ProjObject from(proj_create(context, fromWkt.c_str()));
    const ProjObject to(proj_create(context, toWkt.c_str()));
    if (from == nullptr || to == nullptr) return nullptr;
    const ProjObject found(
        proj_create_crs_to_crs_from_pj(context, from.get(), to.get(), nullptr, nullptr));
    if (found == nullptr) return nullptr;
    return ProjObject(proj_normalize_for_visualization(context, found.get()));
}

namespace {

constexpr std::size_t kLongestText = 100'000;  // bytes; no description of a system comes near

struct ListDeleter {
    void operator()(PJ_OBJ_LIST* list) const noexcept { proj_list_destroy(list); }
};
using ProjList = std::unique_ptr<PJ_OBJ_LIST, ListDeleter>;

std::string AsWkt(PJ_CONTEXT* context, const PJ* system, PJ_WKT_TYPE type) {
    const std::array<const char*, 2> options{"MULTILINE=NO", nullptr};
    const char* wkt = proj_as_wkt(context, system, type, options.data());
    return wkt != nullptr ? wkt : "";
}

bool IsGeographicType(PJ_TYPE type) {
    return type == PJ_TYPE_GEOGRAPHIC_2D_CRS || type == PJ_TYPE_GEOGRAPHIC_3D_CRS;
}

// What a point on a map needs: heights don't take part, so the horizontal half of a compound system
// serves. @return null for anything that isn't a system of two map coordinates
ProjObject Horizontal(PJ_CONTEXT* context, ProjObject system) {
    while (system != nullptr && proj_get_type(system.get()) == PJ_TYPE_COMPOUND_CRS) {
        system.reset(proj_crs_get_sub_crs(context, system.get(), 0));
    }
    if (system == nullptr) return nullptr;
    switch (proj_get_type(system.get())) {
        case PJ_TYPE_GEOGRAPHIC_3D_CRS:
        case PJ_TYPE_PROJECTED_CRS:
            return ProjObject(proj_crs_demote_to_2D(context, nullptr, system.get()));
        case PJ_TYPE_GEOGRAPHIC_2D_CRS:
        case PJ_TYPE_ENGINEERING_CRS:
        case PJ_TYPE_OTHER_CRS:  // one derived from a projected system, such as a mine's own grid
            return system;
        case PJ_TYPE_BOUND_CRS: {
            const ProjObject source =
                Horizontal(context, ProjObject(proj_get_source_crs(context, system.get())));
            return source != nullptr ? std::move(system) : nullptr;
        }
        default:
            return nullptr;
    }
}

// The system itself, without the shift to WGS 84 that may be bound to it.
ProjObject Unbound(PJ_CONTEXT* context, ProjObject system) {
    while (system != nullptr && proj_get_type(system.get()) == PJ_TYPE_BOUND_CRS) {
        system.reset(proj_get_source_crs(context, system.get()));
    }
    return system;
}

// Degrees; east may lie beyond 180 where the area crosses that meridian.
struct Area {
    double west = -180, south = -85, east = 180, north = 85;
    bool known = false;
};

Area AreaOf(PJ_CONTEXT* context, const PJ* object) {
    Area area;
    double west = 0, south = 0, east = 0, north = 0;
    if (proj_get_area_of_use(context, object, &west, &south, &east, &north, nullptr) != 0 &&
        west >= -180 && south >= -90 && north <= 90 && south < north && east <= 180) {
        area = {west, south, east < west ? east + 360 : east, north, true};
    }
    return area;
}

bool Holds(const Area& area, double longitude, double latitude) {
    if (latitude < area.south || latitude > area.north) return false;
    return (longitude >= area.west && longitude <= area.east) ||
           (longitude + 360 >= area.west && longitude + 360 <= area.east) ||
           (longitude - 360 >= area.west && longitude - 360 <= area.east);
}

// Coordinates of `a` are those of `b` when every operation that may come to use between them leaves
// every place of its area where it is, by a millimetre or so. Their names then don't matter.
class SameCoordinates {
public:
    SameCoordinates(PJ_CONTEXT* context, const PJ* a, const PJ* b, double tolerance)
        : context_(context), a_(a), b_(b), tolerance_(tolerance) {}

    [[nodiscard]] bool Test() const {
        const ProjObject plain = Unbound(context_, ProjObject(proj_clone(context_, a_)));
        const ProjObject geographic(proj_crs_get_geodetic_crs(context_, plain.get()));
        if (geographic == nullptr) return false;
        const ProjObject places = Normalised(ProjObject(proj_create_crs_to_crs_from_pj(
            context_, geographic.get(), plain.get(), nullptr, nullptr)));
        const std::unique_ptr<PJ_OPERATION_FACTORY_CONTEXT,
                              decltype(&proj_operation_factory_context_destroy)>
            factory(proj_create_operation_factory_context(context_, nullptr),
                    &proj_operation_factory_context_destroy);
        if (places == nullptr || factory == nullptr) return false;
        proj_operation_factory_context_set_spatial_criterion(
            context_, factory.get(), PROJ_SPATIAL_CRITERION_PARTIAL_INTERSECTION);
        proj_operation_factory_context_set_grid_availability_use(
            context_, factory.get(), PROJ_GRID_AVAILABILITY_DISCARD_OPERATION_IF_MISSING_GRID);
        const ProjList operations(proj_create_operations(context_, a_, b_, factory.get()));
        if (operations == nullptr) return false;
        int tried = 0;
        for (int i = 0; i < proj_list_get_count(operations.get()); ++i) {
            ProjObject operation =
                Normalised(ProjObject(proj_list_get(context_, operations.get(), i)));
            if (operation == nullptr) return false;
            const int kept = PlacesKept(places.get(), operation.get());
            if (kept < 0) return false;
            tried += kept;
        }
        return tried > 0;
    }

private:
    [[nodiscard]] ProjObject Normalised(ProjObject operation) const {
        if (operation == nullptr) return nullptr;
        return ProjObject(proj_normalize_for_visualization(context_, operation.get()));
    }

    // @return how many places were tried, -1 if one of them moved
    [[nodiscard]] int PlacesKept(PJ* places, PJ* operation) const {
        constexpr int kSteps = 12;
        const Area area = AreaOf(context_, operation);
        const Area areaA = AreaOf(context_, a_), areaB = AreaOf(context_, b_);
        // The smallest area gives the lattice, so that a small one isn't missed.
        Area lattice = area;
        for (const Area& other : {areaA, areaB}) {
            if (other.east - other.west < lattice.east - lattice.west) lattice = other;
        }
        int tried = 0;
        for (int i = 0; i <= kSteps; ++i) {
            for (int j = 0; j <= kSteps; ++j) {
                const double longitude = std::lerp(lattice.west, lattice.east, i / double{kSteps});
                const double latitude = std::lerp(lattice.south, lattice.north, j / double{kSteps});
                if (!Holds(area, longitude, latitude) || !Holds(areaA, longitude, latitude) ||
                    !Holds(areaB, longitude, latitude)) {
                    continue;
                }
                const int moved = Moved(places, operation, longitude, latitude);
                if (moved > 0) return -1;
                tried += moved == 0 ? 1 : 0;
            }
        }
        return tried;
    }

    // @return 1 if the place moves, 0 if it stays, -1 if `a` can't tell it to begin with
    [[nodiscard]] int Moved(PJ* places, PJ* operation, double longitude, double latitude) const {
        const PJ_COORD place =
            proj_trans(places, PJ_FWD, proj_coord(longitude, latitude, 0, HUGE_VAL));
        const PJ_COORD back = proj_trans(places, PJ_INV, place);
        // Far from its middle a projection loses its way; what happens there says nothing.
        if (!std::isfinite(place.xy.x) || !std::isfinite(place.xy.y) ||
            !(std::abs(back.xy.x - longitude) < 1e-9) || !(std::abs(back.xy.y - latitude) < 1e-9)) {
            return -1;
        }
        const PJ_COORD moved = proj_trans(operation, PJ_FWD, place);
        return std::abs(moved.xy.x - place.xy.x) <= tolerance_ &&
                       std::abs(moved.xy.y - place.xy.y) <= tolerance_
                   ? 0
                   : 1;
    }

    PJ_CONTEXT* context_;
    const PJ* a_;
    const PJ* b_;
    double tolerance_;  // in units of the systems
};

// @return metres or radians of one unit of the first axis; 0 if it can't be told
double UnitOf(PJ_CONTEXT* context, const PJ* system) {
    const ProjObject axes(proj_crs_get_coordinate_system(context, system));
    double factor = 0;
    if (axes == nullptr || proj_cs_get_axis_info(context, axes.get(), 0, nullptr, nullptr, nullptr,
                                                 &factor, nullptr, nullptr, nullptr) == 0) {
        return 0;
    }
    return factor;
}

// Start of a text from a stranger, fit for a message.
std::string Shown(std::string_view text) {
    std::string shown(text.substr(0, 40));
    std::ranges::replace_if(
        shown, [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return text.size() > shown.size() ? shown + "..." : shown;
}

ProjObject Parse(PJ_CONTEXT* context, const std::string& wkt) {
    return wkt.empty() ? nullptr : ProjObject(proj_create(context, wkt.c_str()));
}

bool IsWord(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-' || c == '.';
    });
}

// Only what has the form of a definition: anything else would be searched for among the names of
// the registry, loosely, and for as long as a second.
// @return null if it isn't understood
ProjObject Create(PJ_CONTEXT* context, std::string definition) {
    const auto holds = [&definition](const char* part) {
        return definition.find(part) != std::string::npos;
    };
    if (definition.starts_with("+") || definition.starts_with("proj=")) {
        if (!holds("proj=") && !holds("init=")) return nullptr;
        if (!holds("type=crs")) definition += " +type=crs";
        return ProjObject(proj_create(context, definition.c_str()));
    }
    const auto colon = definition.find(':');
    const std::string_view text = definition;
    if (colon != std::string::npos && IsWord(text.substr(0, colon))) {
        const std::string code = definition.substr(colon + 1);
        std::string authority = definition.substr(0, colon);
        std::ranges::transform(authority, authority.begin(),
                               [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (IsWord(code)) {
            return ProjObject(proj_create_from_database(context, authority.c_str(), code.c_str(),
                                                        PJ_CATEGORY_CRS, 0, nullptr));
        }
        // a horizontal system and one of heights
        if (!code.empty() && code.find_first_not_of("0123456789+") == std::string::npos)
            return ProjObject(proj_create(context, (authority + ":" + code).c_str()));
    }
    const auto bracket = definition.find('[');
    auto keyword = text.substr(0, bracket == std::string::npos ? 0 : bracket);
    keyword = keyword.substr(0, keyword.find_last_not_of(" \t\r\n") + 1);
    if (!definition.starts_with("{") && !definition.starts_with("urn:") &&
        !definition.starts_with("http") && !IsWord(keyword)) {
        return nullptr;
    }
    return ProjObject(proj_create(context, definition.c_str()));
}

}  // namespace

Status COORDREFSYS::FromText(std::string_view text, COORDREFSYS& out) {
    const auto fail = [&text] {
        return _SetErrPosn(StatusCode::BadState,
                           "\"" + Shown(text) + "\" isn't a coordinate reference system of maps");
    };
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || text.size() > kLongestText) return fail();
    std::string definition(text.substr(first, text.find_last_not_of(" \t\r\n\0") - first + 1));
    const ProjContext context = NewProjContext();
    const ProjObject system = Horizontal(context.get(), Create(context.get(), definition));
    if (system == nullptr) return fail();
    std::string wkt = AsWkt(context.get(), system.get(), PJ_WKT2_2019);
    if (wkt.empty()) return fail();
    out.wkt_ = std::move(wkt);
    return StatusCode::Ok;
}

Status COORDREFSYS::FromIdentity(int identity, COORDREFSYS& out) {
    if (identity != kFixedReference) {
        return _SetErrPosn(StatusCode::BadState, "no coordinate reference system has the number " +
                                                     std::to_string(identity));
    }
    return FromText("EPSG:4326", out);
}

std::string COORDREFSYS::Wkt1() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Parse(context.get(), wkt_);
    return system != nullptr ? AsWkt(context.get(), system.get(), PJ_WKT1_GDAL) : "";
}

std::string COORDREFSYS::Name() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Unbound(context.get(), Parse(context.get(), wkt_));
    return system != nullptr ? proj_get_name(system.get()) : "";
}

bool COORDREFSYS::IsGeographic() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Unbound(context.get(), Parse(context.get(), wkt_));
    return system != nullptr && IsGeographicType(proj_get_type(system.get()));
}

double COORDREFSYS::MetresPerUnit() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Unbound(context.get(), Parse(context.get(), wkt_));
    if (system == nullptr || IsGeographicType(proj_get_type(system.get()))) return 0;
    return UnitOf(context.get(), system.get());
}

double COORDREFSYS::DegreesPerUnit() const {
    constexpr double kDegreesPerRadian = 57.29577951308232;
    const ProjContext context = NewProjContext();
    const ProjObject system = Unbound(context.get(), Parse(context.get(), wkt_));
    if (system == nullptr || !IsGeographicType(proj_get_type(system.get()))) return 0;
    return UnitOf(context.get(), system.get()) * kDegreesPerRadian;
}

std::string COORDREFSYS::AreaOfUse() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Unbound(context.get(), Parse(context.get(), wkt_));
    const char* area = nullptr;
    if (system == nullptr || proj_get_area_of_use(context.get(), system.get(), nullptr, nullptr,
                                                  nullptr, nullptr, &area) == 0) {
        return {};
    }
    return area != nullptr ? area : "";
}

std::optional<int> COORDREFSYS::EpsgCode() const {
    const ProjContext context = NewProjContext();
    const ProjObject system = Parse(context.get(), wkt_);
    if (system == nullptr) return std::nullopt;
    const auto codeOf = [](const PJ* object) -> std::optional<int> {
        const char* authority = proj_get_id_auth_name(object, 0);
        const char* code = proj_get_id_code(object, 0);
        if (authority == nullptr || code == nullptr || std::string_view(authority) != "EPSG") {
            return std::nullopt;
        }
        const int number = std::atoi(code);
        return number > 0 ? std::optional(number) : std::nullopt;
    };
    // A file may claim a code that its parameters don't bear out, so the registry has the last
    // word.
    const auto equals = [&context, &system](const PJ* candidate) {
        return proj_is_equivalent_to_with_ctx(context.get(), system.get(), candidate,
                                              PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS) != 0;
    };
    if (const auto claimed = codeOf(system.get())) {
        const ProjObject registered(proj_create_from_database(
            context.get(), "EPSG", std::to_string(*claimed).c_str(), PJ_CATEGORY_CRS, 0, nullptr));
        if (registered != nullptr && equals(registered.get())) return claimed;
    }
    const ProjList found(proj_identify(context.get(), system.get(), "EPSG", nullptr, nullptr));
    for (int i = 0; found != nullptr && i < proj_list_get_count(found.get()); ++i) {
        const ProjObject candidate(proj_list_get(context.get(), found.get(), i));
        if (candidate != nullptr && equals(candidate.get())) return codeOf(candidate.get());
    }
    return std::nullopt;
}

bool COORDREFSYS::Equivalent(const COORDREFSYS& other) const {
    if (wkt_ == other.wkt_) return true;
    if (!Valid() || !other.Valid()) return false;
    const ProjContext context = NewProjContext();
    const ProjObject a = Parse(context.get(), wkt_), b = Parse(context.get(), other.wkt_);
    if (a == nullptr || b == nullptr) return false;
    if (proj_is_equivalent_to_with_ctx(context.get(), a.get(), b.get(),
                                       PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS) != 0) {
        return true;
    }
    const ProjObject plainA =
        Unbound(context.get(), ProjObject(proj_clone(context.get(), a.get())));
    const ProjObject plainB =
        Unbound(context.get(), ProjObject(proj_clone(context.get(), b.get())));
    if (plainA == nullptr || plainB == nullptr ||
        proj_get_type(plainA.get()) != proj_get_type(plainB.get())) {
        return false;
    }
    const double unit = UnitOf(context.get(), plainA.get());
    if (!(unit > 0) || std::abs(unit - UnitOf(context.get(), plainB.get())) > unit * 1e-12) {
        return false;
    }
    constexpr double kMetres = 1e-3, kRadians = kMetres / 6.4e6;
    const bool geographic = IsGeographicType(proj_get_type(plainA.get()));
    const double tolerance = (geographic ? kRadians : kMetres) / unit;
    return SameCoordinates(context.get(), a.get(), b.get(), tolerance).Test();
}

}  // namespace tarnvale

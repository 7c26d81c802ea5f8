#include "tools/buildgrid.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace tarnvale {

namespace {

/// Cells may be this much coarser than the DEM's own before the grid is doubled.
constexpr double kCoarsest = 1.1;
/// Chosen by the program, a side has at most 8193 samples.
constexpr int kMostChosenDoublings = 13;
/// Largest side of a texture that is chosen by the image's resolution alone.
constexpr int kMostTextureDoublings = 17;
/// Texture pixels may be coarser than the image's own by this share of a doubling, 19 %.
constexpr double kCoarsestDoublings = 0.25;
/// Degrees of longitude that one zone may be stretched over; at its ends it is 1.5 % too long.
constexpr double kWidestZone = 20.0;
/// Sample centres may miss the DEM's outermost ones by this many pixels, which is rounding.
constexpr double kEdgeTolerance = 0.005;

struct Box {
    double xMin = 0, yMin = 0, xMax = 0, yMax = 0;
    [[nodiscard]] double Width() const { return xMax - xMin; }
    [[nodiscard]] double Height() const { return yMax - yMin; }
};

/// A grid whose cells are units of the CRS, so that its positions are map coordinates with y
/// negated.
TargetGrid MapAsGrid(const OGRSpatialReference& system) {
    TargetGrid grid;
    grid.system = system;
    grid.columns = grid.rows = 1;
    return grid;
}

/// Whether a place on the map lies between the centres of the DEM's outermost pixels.
bool OnSamples(const PixelPoint& pixel, const InputRaster& dem) {
    return pixel.x >= 0.5 - kEdgeTolerance && pixel.x <= dem.Columns() - 0.5 + kEdgeTolerance &&
           pixel.y >= 0.5 - kEdgeTolerance && pixel.y <= dem.Rows() - 0.5 + kEdgeTolerance;
}

/// Places along a line that lie off the DEM's samples.
int PlacesOff(const PixelMap& map, const InputRaster& dem, PixelPoint from, PixelPoint to) {
    constexpr int kSteps = 64;
    std::array<PixelPoint, kSteps + 1> places;
    for (int i = 0; i <= kSteps; ++i) {
        const double t = static_cast<double>(i) / kSteps;
        places[static_cast<std::size_t>(i)] = {from.x + (to.x - from.x) * t,
                                               -(from.y + (to.y - from.y) * t)};
    }
    map.Forward(places);
    return static_cast<int>(
        std::ranges::count_if(places, [&](const PixelPoint& p) { return !OnSamples(p, dem); }));
}

/// How much of each side of a box lies off the DEM: left, bottom, right, top.
std::array<int, 4> SidesOff(const PixelMap& map, const InputRaster& dem, const Box& b) {
    return {PlacesOff(map, dem, {b.xMin, b.yMin}, {b.xMin, b.yMax}),
            PlacesOff(map, dem, {b.xMin, b.yMin}, {b.xMax, b.yMin}),
            PlacesOff(map, dem, {b.xMax, b.yMin}, {b.xMax, b.yMax}),
            PlacesOff(map, dem, {b.xMin, b.yMax}, {b.xMax, b.yMax})};
}

double& SideOf(Box& box, std::size_t side) {
    return *std::array<double*, 4>{&box.xMin, &box.yMin, &box.xMax, &box.yMax}[side];
}

/// The bounding box of the DEM's sample centres on the map.
std::optional<Box> Bounds(const PixelMap& map, const InputRaster& dem) {
    constexpr int kSteps = 64;
    std::optional<Box> box;
    for (int i = 0; i <= kSteps; ++i) {
        const double x = 0.5 + (dem.Columns() - 1.0) * i / kSteps;
        const double y = 0.5 + (dem.Rows() - 1.0) * i / kSteps;
        for (const auto& [px, py] : {std::pair{x, 0.5}, std::pair{x, dem.Rows() - 0.5},
                                     std::pair{0.5, y}, std::pair{dem.Columns() - 0.5, y}}) {
            const PixelPoint place = map.Backward(px, py);
            // On the far side of the globe a zone's formulas answer anything.
            const PixelPoint back = map.Forward(place.x, place.y);
            if (!(std::abs(back.x - px) < 0.1 && std::abs(back.y - py) < 0.1)) return std::nullopt;
            if (!box) box = Box{place.x, -place.y, place.x, -place.y};
            box->xMin = std::min(box->xMin, place.x);
            box->xMax = std::max(box->xMax, place.x);
            box->yMin = std::min(box->yMin, -place.y);
            box->yMax = std::max(box->yMax, -place.y);
        }
    }
    return box;
}

/// Shrinks the bounding box, always at the side that lies off the DEM most, until none does; then
/// lets each side grow back as far as it may.
std::optional<Box> LargestInside(const PixelMap& map, const InputRaster& dem, Box box) {
    const std::array<double, 4> step{box.Width() / 256, box.Height() / 256, -box.Width() / 256,
                                     -box.Height() / 256};
    const auto inside = [&](const Box& b) {
        return std::ranges::all_of(SidesOff(map, dem, b), [](int off) { return off == 0; });
    };
    bool moved = false;
    for (;;) {
        const std::array<int, 4> off = SidesOff(map, dem, box);
        const auto worst = std::ranges::max_element(off);
        if (*worst == 0) break;
        const auto side = static_cast<std::size_t>(worst - off.begin());
        SideOf(box, side) += step[side];
        moved = true;
        if (box.Width() < 4 * step[0] || box.Height() < 4 * step[1]) return std::nullopt;
    }
    if (!moved) return box;
    for (std::size_t side = 0; side < 4; ++side) {
        double good = SideOf(box, side), bad = good - step[side];
        for (int i = 0; i < 8; ++i) {
            const double middle = 0.5 * (good + bad);
            Box tried = box;
            SideOf(tried, side) = middle;
            (inside(tried) ? good : bad) = middle;
        }
        SideOf(box, side) = good;
    }
    return box;
}

int Samples(int doublings) {
    return (1 << doublings) + 1;
}

bool MayBeVerbatim(const InputRaster& dem, const OGRSpatialReference& system,
                   const BuildOptions& options) {
    const auto across = ExactDoublings(dem.Columns()), down = ExactDoublings(dem.Rows());
    const bool fits = across && down && *across >= kFewestDoublings && *down >= kFewestDoublings;
    const bool sizeAsked = options.size != 0 && options.size != std::max(dem.Columns(), dem.Rows());
    return fits && dem.IsNorthUp() && !options.area && !options.cell && !sizeAsked &&
           SameSystem(dem.System(), system);
}

/// Doublings of the longer side for --size, with a note where that isn't a power of two plus one.
int DoublingsForSize(int size, std::vector<std::string>& notes) {
    if (const auto exact = ExactDoublings(size)) {
        return std::clamp(*exact, kFewestDoublings, kMostDoublings);
    }
    const int nearest = std::clamp(static_cast<int>(std::lround(std::log2(size - 1.0))),
                                   kFewestDoublings, kMostDoublings);
    notes.push_back(
        fmt::format("--size {} isn't a power of two plus one: {} samples are made instead", size,
                    Samples(nearest)));
    return nearest;
}

/// Area, doublings and cells where -tr fixes the cells.
void FitToCell(const BuildOptions& options, Box& area, int& across, int& down,
               std::vector<std::string>& notes) {
    const double width = (*options.cell)[0], height = (*options.cell)[1];
    // An area that was asked for is met as nearly as can be, a DEM isn't left.
    const auto doublings = [&](double length, double cell) {
        const double exact = std::log2(length / cell);
        const double whole = options.area ? std::round(exact) : std::floor(exact + 0.015);
        return std::clamp(static_cast<int>(whole), kFewestDoublings, kMostDoublings);
    };
    across = doublings(area.Width(), width);
    down = doublings(area.Height(), height);
    if (options.size != 0) {
        const int longer = DoublingsForSize(options.size, notes);
        const int shift = longer - std::max(across, down);
        across = std::clamp(across + shift, kFewestDoublings, kMostDoublings);
        down = std::clamp(down + shift, kFewestDoublings, kMostDoublings);
    }
    const double wantedWidth = area.Width(), wantedHeight = area.Height();
    const double x = 0.5 * (area.xMin + area.xMax), y = 0.5 * (area.yMin + area.yMax);
    const double halfWidth = 0.5 * width * (1 << across), halfHeight = 0.5 * height * (1 << down);
    area = {x - halfWidth, y - halfHeight, x + halfWidth, y + halfHeight};
    if (std::abs(area.Width() - wantedWidth) > 1e-6 * wantedWidth ||
        std::abs(area.Height() - wantedHeight) > 1e-6 * wantedHeight) {
        notes.push_back(
            fmt::format("with that cell size and a power of two of cells the area is {:.0f} x "
                        "{:.0f} m instead of "
                        "{:.0f} x {:.0f} m, around the same centre",
                        area.Width(), area.Height(), wantedWidth, wantedHeight));
    }
}

/// Doublings that keep the DEM's own resolution, or those that --size asks for.
void FitToArea(const BuildOptions& options, const Box& area, double ownCellArea, int& across,
               int& down, std::vector<std::string>& notes) {
    // As near to square as powers of two allow.
    const int more = static_cast<int>(std::lround(std::log2(area.Height() / area.Width())));
    const int limit = options.size != 0 ? kMostDoublings : kMostChosenDoublings;
    if (options.size != 0) {
        const int longer = DoublingsForSize(options.size, notes);
        across = more > 0 ? longer - more : longer;
        down = more > 0 ? longer : longer + more;
    } else {
        const double cells = area.Width() * area.Height() / (ownCellArea * kCoarsest * kCoarsest);
        // Sides of exactly a power of two of the DEM's cells stay so in spite of rounding.
        across = static_cast<int>(std::ceil(0.5 * (std::log2(cells) - more) - 1e-9));
        down = across + more;
        if (const int over = std::max(across, down) - limit; over > 0) {
            across -= over;
            down -= over;
            notes.push_back(
                fmt::format("the DEM is finer than {} samples show; --size {} keeps more of it",
                            Samples(limit), Samples(limit + 1)));
        }
    }
    across = std::clamp(across, kFewestDoublings, limit);
    down = std::clamp(down, kFewestDoublings, limit);
}

}  // namespace

std::optional<int> ExactDoublings(int samples) {
    const int cells = samples - 1;
    if (cells < 1 || !std::has_single_bit(static_cast<unsigned>(cells))) return std::nullopt;
    return std::countr_zero(static_cast<unsigned>(cells));
}

Status ChooseSystem(const InputRaster& dem, const OGRSpatialReference* asked,
                    const BuildOptions& options, OGRSpatialReference& system) {
    if (asked != nullptr) {
        if (!IsMetric(*asked)) {
            return _SetErrPosn(
                StatusCode::BadState,
                fmt::format("the landscape's CRS must be projected in metres, and {} isn't; "
                            "leave out -t_srs to get the UTM zone",
                            SystemName(*asked)));
        }
        system = *asked;
        return StatusCode::Ok;
    }
    if (IsMetric(dem.System())) {
        system = dem.System();
        return StatusCode::Ok;
    }
    OGRSpatialReference globe;
    globe.importFromEPSG(4326);
    globe.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    PixelMap map;
    if (const Status made = PixelMap::Create(MapAsGrid(globe), dem, map); !made.Good()) return made;
    const PixelPoint centre = map.Backward(dem.Columns() * 0.5, dem.Rows() * 0.5);
    const double longitude = centre.x, latitude = -centre.y;
    if (!(std::abs(longitude) <= 540.0 && std::abs(latitude) <= 90.0)) {
        return _SetErrPosn(StatusCode::BadState,
                           dem.Path() +
                               ": its centre has no place on the globe; check its georeference and "
                               "CRS, or give -t_srs");
    }
    const auto turn = [&](double column) {  // from the centre, whichever way longitudes count
        return std::abs(
            std::remainder(map.Backward(column, dem.Rows() * 0.5).x - longitude, 360.0));
    };
    const double width = turn(0) + turn(dem.Columns());
    if (!(width <= kWidestZone) && !options.area) {
        return _SetErrPosn(
            StatusCode::BadState,
            fmt::format("{} spans {:.0f} degrees of longitude, more than a UTM zone shows well; "
                        "name a CRS with -t_srs, or an area with -te",
                        dem.Path(), width));
    }
    const double turned = std::remainder(longitude, 360.0);
    const int zone = std::clamp(static_cast<int>(std::floor((turned + 180.0) / 6.0)) + 1, 1, 60);
    const bool north = latitude >= 0;
    int code = (north ? 32600 : 32700) + zone;
    if (std::abs(latitude) > 84.0) code = north ? 32661 : 32761;
    OGRSpatialReference made;
    made.importFromEPSG(code);
    made.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    system = made;
    return StatusCode::Ok;
}

Status ChooseGrid(const InputRaster& dem, const OGRSpatialReference& system,
                  const BuildOptions& options, TerrainPlan& plan) {
    TerrainPlan made;
    made.grid.system = system;
    if (MayBeVerbatim(dem, system, options)) {
        const GeoTransform& own = dem.Georeference();
        made.grid.xMin = own.xOrigin;
        made.grid.yMax = own.yOrigin;
        made.grid.cellWidth = own.xColumn;
        made.grid.cellHeight = -own.yRow;
        made.grid.columns = dem.Columns();
        made.grid.rows = dem.Rows();
        made.verbatim = true;
        made.notes.push_back("the DEM fits already and is stored sample for sample");
        plan = std::move(made);
        return StatusCode::Ok;
    }
    PixelMap map;
    if (const Status created = PixelMap::Create(MapAsGrid(system), dem, map); !created.Good())
        return created;
    Box area;
    if (options.area) {
        area = {(*options.area)[0], (*options.area)[1], (*options.area)[2], (*options.area)[3]};
    } else {
        const std::optional<Box> bounds = Bounds(map, dem);
        const std::optional<Box> inside = bounds && bounds->Width() > 0 && bounds->Height() > 0
                                              ? LargestInside(map, dem, *bounds)
                                              : bounds;
        if (!inside || !(inside->Width() > 0 && inside->Height() > 0)) {
            return _SetErrPosn(
                StatusCode::BadState,
                fmt::format("{} doesn't make a rectangle in {}; name an area with -te, or "
                            "another CRS with -t_srs",
                            dem.Path(), SystemName(system)));
        }
        area = *inside;
        const double kept = area.Width() * area.Height() / (bounds->Width() * bounds->Height());
        if (kept < 0.999) {
            made.notes.push_back(
                fmt::format("the ragged border that the new CRS gives is left out; -te {:.0f} "
                            "{:.0f} {:.0f} {:.0f} takes it in",
                            bounds->xMin, bounds->yMin, bounds->xMax, bounds->yMax));
        }
    }
    // The resolution where area and DEM meet; the area's centre may lie off the DEM.
    std::optional<PixelScale> scale =
        ScaleAt(map, 0.5 * (area.xMin + area.xMax), -0.5 * (area.yMin + area.yMax));
    if (!scale) {
        const PixelPoint middle = map.Backward(dem.Columns() * 0.5, dem.Rows() * 0.5);
        scale = ScaleAt(map, middle.x, middle.y);
    }
    if (!scale) {
        return _SetErrPosn(StatusCode::BadState,
                           fmt::format("{} can't be brought to {}; name another CRS with -t_srs",
                                       dem.Path(), SystemName(system)));
    }
    int across = 0, down = 0;
    if (options.cell) {
        FitToCell(options, area, across, down, made.notes);
    } else {
        FitToArea(options, area, 1.0 / scale->area, across, down, made.notes);
    }
    TargetGrid& grid = made.grid;
    grid.columns = Samples(across);
    grid.rows = Samples(down);
    grid.cellWidth = area.Width() / (1 << across);
    grid.cellHeight = area.Height() / (1 << down);
    grid.xMin = area.xMin - 0.5 * grid.cellWidth;
    grid.yMax = area.yMax + 0.5 * grid.cellHeight;
    made.notes.push_back(fmt::format(
        "{} x {} samples with cells of {:.4g} x {:.4g} m; the DEM's own pixels are about {:.4g} m",
        grid.columns, grid.rows, grid.cellWidth, grid.cellHeight, std::sqrt(1.0 / scale->area)));
    plan = std::move(made);
    return StatusCode::Ok;
}

TargetGrid TextureGrid(const TargetGrid& terrain, int doublings) {
    TargetGrid grid = terrain;
    grid.xMin = terrain.xMin + 0.5 * terrain.cellWidth;
    grid.yMax = terrain.yMax - 0.5 * terrain.cellHeight;
    grid.cellWidth = terrain.cellWidth / (1 << doublings);
    grid.cellHeight = terrain.cellHeight / (1 << doublings);
    grid.columns = (terrain.columns - 1) << doublings;
    grid.rows = (terrain.rows - 1) << doublings;
    return grid;
}

int ChooseDoublings(const TargetGrid& terrain, double pixelsInCell, int textureSize,
                    std::string& note) {
    const int longer = std::max(terrain.columns, terrain.rows) - 1;
    const int cells = std::countr_zero(static_cast<unsigned>(longer));
    if (textureSize != 0) {
        const double wish = std::log2(static_cast<double>(textureSize)) - cells;
        const int doublings = std::max(0, static_cast<int>(std::lround(wish)));
        if (longer << doublings != textureSize) {
            note = fmt::format(
                "--texture-size {}: {} pixels are made instead, a power of two and at least "
                "one for each cell",
                textureSize, longer << doublings);
        }
        return doublings;
    }
    const int doublings = std::max(
        0, static_cast<int>(std::ceil(0.5 * std::log2(pixelsInCell) - kCoarsestDoublings)));
    const int most = std::max(0, kMostTextureDoublings - cells);
    if (doublings > most) {
        note = fmt::format("the image is finer than {} pixels show; --texture-size takes more",
                           longer << most);
    }
    return std::min(doublings, most);
}

}  // namespace tarnvale

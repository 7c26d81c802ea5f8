#include "simulator/readoutrecord.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

constexpr int kEdgeSteps = 16;  // a straight edge of a landscape is a curve in another system

// Metres between two places of the scene.
double TrueDistance(const Vec3f& a, const Vec3f& b, float exaggeration) {
    return std::hypot(static_cast<double>(a.x) - b.x, static_cast<double>(a.y) - b.y,
                      (static_cast<double>(a.z) - b.z) / exaggeration);
}

ReadoutPlace PlaceUnder(const Simulator& simulator, int view, int x, int y,
                        const ReadoutScale& scale) {
    ReadoutPlace place;
    if (simulator.GetGraphicsSystem(view) == nullptr) return place;
    const std::optional<GroundPoint> ground = simulator.PickGround(view, x, y);
    if (!ground.has_value()) return place;
    place.east = ground->map.x;
    place.north = ground->map.y;
    if (!scale.Convert(place.east, place.north)) return place;
    place.valid = true;
    // The map is flat; its places have the ground's own height in the scene.
    const float exaggeration = simulator.VerticalExaggeration();
    const float elevation = ground->scene.z / exaggeration;
    place.elevation = elevation * scale.Factor(ReadoutQuantity::Elevation);

    const double factor = scale.Factor(ReadoutQuantity::Distance);
    double apart = -1;
    for (const auto& [dx, dy] : {std::pair{0, -1}, {-1, 0}, {1, 0}, {0, 1}}) {
        const std::optional<GroundPoint> next = simulator.PickGround(view, x + dx, y + dy);
        if (next.has_value())
            apart = std::max(apart, TrueDistance(ground->scene, next->scene, exaggeration));
    }
    constexpr double kMost = 1e9;
    if (apart >= 0) place.accuracy = static_cast<int>(std::min(std::ceil(apart * factor), kMost));
    if (view != View::kMap) {
        place.hasDistance = true;
        place.distance = static_cast<float>(
            TrueDistance(simulator.Picture(view).eye, ground->scene, exaggeration) * factor);
    }
    return place;
}

}  // namespace

std::optional<GeographicPlace> LandscapeCentre(const Simulator& simulator) {
    const Scene* const scene = simulator.GetScene();
    if (scene == nullptr || scene->Empty()) return std::nullopt;
    const Box& box = scene->WholeBox();
    Vec3d map;
    COORDREFSYS globe;
    COORDOP_LIST operations;
    if (!simulator
             .SceneToMap({static_cast<float>(box.CentreX()), static_cast<float>(box.CentreY()), 0},
                         map)
             .Good() ||
        !COORDREFSYS::FromIdentity(COORDREFSYS::kFixedReference, globe).Good() ||
        !COORDOP_LIST::Create(scene->Reference().Transform().OutputCoordRefSys(), globe, operations)
             .Good() ||
        !operations.ConvertPoint(map.x, map.y).Good()) {
        return std::nullopt;
    }
    return GeographicPlace{map.x, map.y};
}

void ReadoutRecorder::FillFlight(const Simulator& simulator, const FrameClock& clock,
                                 const ReadoutScale& scale, SimulatorReadoutValues& values) {
    values.instantFrameRate = clock.FrameRate();
    values.averageFrameRate = clock.AverageFrameRate();
    values.terrainQuality = static_cast<float>(TerrainModel::Quality());
    values.velocity = clock.Velocity() * scale.Factor(ReadoutQuantity::Velocity);
    const Viewer& viewer = simulator.GetViewer();
    const float angle = scale.Factor(ReadoutQuantity::Angle);
    values.pitch = viewer.Shown().pitch * angle;
    values.roll = viewer.Shown().roll * angle;
    values.heading = viewer.Shown().heading * angle;
    const Vec3f& position = viewer.Position();
    const float elevation = scale.Factor(ReadoutQuantity::Elevation);
    values.altitude = position.z / simulator.VerticalExaggeration() * elevation;
    values.surfaceElevation = simulator.GetScene()->FirstLayer(position.x, position.y) * elevation;
}

void ReadoutRecorder::FillPlaces(const Simulator& simulator, const MousePlace& mouse,
                                 const ReadoutScale& scale, SimulatorReadoutValues& values) {
    Vec3d viewer;
    values.viewerNorth = values.viewerEast = SimulatorReadoutValues::kUnknown;
    if (simulator.SceneToMap(simulator.GetViewer().Position(), viewer).Good() &&
        scale.Convert(viewer.x, viewer.y)) {
        values.viewerEast = viewer.x;
        values.viewerNorth = viewer.y;
    }
    values.mouse = PlaceUnder(simulator, mouse.view, mouse.x, mouse.y, scale);
    for (int view = 0; view < View::kCount; ++view) {
        const ViewPicture& picture = simulator.Picture(view);
        values.centres[view] =
            PlaceUnder(simulator, view, picture.width / 2, picture.height / 2, scale);
    }

    if (extentsOf_ != scale.Revision()) {
        extents_ = MeasureExtents(simulator, scale);
        extentsOf_ = scale.Revision();
    }
    values.northExtent = extents_.north;
    values.southExtent = extents_.south;
    values.eastExtent = extents_.east;
    values.westExtent = extents_.west;
    const double distance = scale.Factor(ReadoutQuantity::Distance);
    values.eastWestExtents = static_cast<float>(extents_.eastWestMetres * distance);
    values.northSouthExtents = static_cast<float>(extents_.northSouthMetres * distance);
    const Box& box = simulator.GetScene()->WholeBox();
    const double elevation = scale.Factor(ReadoutQuantity::Elevation);
    values.minimumElevation = static_cast<float>(box.zMin * elevation);
    values.maximumElevation = static_cast<float>(box.zMax * elevation);
}

ReadoutRecorder::Extents ReadoutRecorder::MeasureExtents(const Simulator& simulator,
                                                         const ReadoutScale& scale) {
    const Box& box = simulator.GetScene()->WholeBox();
    Extents extents;
    const auto add = [&](double x, double y) {
        Vec3d map;
        const Vec3f scene{static_cast<float>(x), static_cast<float>(y), 0};
        if (!simulator.SceneToMap(scene, map).Good() || !scale.Convert(map.x, map.y)) return;
        // These leave out what isn't known yet.
        extents.east = std::fmax(extents.east, map.x);
        extents.west = std::fmin(extents.west, map.x);
        extents.north = std::fmax(extents.north, map.y);
        extents.south = std::fmin(extents.south, map.y);
    };
    for (int i = 0; i <= kEdgeSteps; ++i) {
        const double x = std::lerp(box.xMin, box.xMax, i / double{kEdgeSteps});
        const double y = std::lerp(box.yMin, box.yMax, i / double{kEdgeSteps});
        add(x, box.yMin);
        add(x, box.yMax);
        add(box.xMin, y);
        add(box.xMax, y);
    }
    // Degrees are no distance: the scene's own size stands for them.
    const bool metric = !scale.IsLatLon() && std::isfinite(extents.east);
    extents.eastWestMetres =
        metric ? (extents.east - extents.west) * scale.MetresPerUnit() : box.xMax - box.xMin;
    extents.northSouthMetres =
        metric ? (extents.north - extents.south) * scale.MetresPerUnit() : box.yMax - box.yMin;
    return extents;
}

}  // namespace tarnvale

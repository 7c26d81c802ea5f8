#include "overlays/maplocator.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/settings.h"

namespace tarnvale {

namespace {

constexpr float kCircleStep = 0.31415927F;  // radians
constexpr float kShortestLine = 0.0001F;    // scene units; what is divided by its length
constexpr float kArrowLength = 4;           // units

Vec3f OnMap(const Vec3f& point) {
    return {point.x, point.y, 0};
}

void DrawArrow(GraphicsSystem& graphics, const LocatorScene& scene) {
    Vec3f along = Normalized(OnMap(scene.forward));
    if (!(Length(along) > 0)) along = {0, 1, 0};  // the map's own up for a viewer who looks down
    const Vec3f viewer = OnMap(scene.viewer);
    const Vec3f aside = scene.unit * Vec3f{along.y, -along.x, 0};
    RenderMesh& mesh = graphics.ScratchMesh();
    mesh.Clear();
    mesh.kind = PrimitiveKind::List;
    mesh.colour = settings::MapLocatorArrowColor.Get();
    mesh.wireframe = false;
    mesh.texture = nullptr;
    mesh.vertices.Append(viewer + aside);
    mesh.vertices.Append(viewer - aside);
    mesh.vertices.Append(viewer + kArrowLength * scene.unit * along);
    graphics.DrawMeshes(graphics.ScratchBatch());
    mesh.Clear();
}

}  // namespace

MapLocator::MapLocator() {
    for (int i = 0; i < kCircle; ++i) {
        const float angle = static_cast<float>(i) * kCircleStep;
        circle_[static_cast<std::size_t>(i)] = {std::sin(angle), std::cos(angle)};
    }
}

void MapLocator::Draw(GraphicsSystem& graphics, const RenderCamera& camera,
                      const LocatorScene& scene) {
    int width = 0, height = 0;
    graphics.BeginView(camera, width, height, FramePass::Overlay);
    if (!(scene.unit > 0)) return;
    switch (static_cast<LocatorKind>(settings::MapLocator.Get())) {
        case LocatorKind::ViewerCenter:
            DrawViewerAndCentre(graphics, scene);
            break;
        case LocatorKind::Arrow:
            DrawArrow(graphics, scene);
            break;
    }
}

void MapLocator::DrawViewerAndCentre(GraphicsSystem& graphics, const LocatorScene& scene) {
    const Vec3f viewer = OnMap(scene.viewer);
    DrawCircle(graphics, viewer, scene.unit, settings::MapLocatorViewerColor.Get());
    Vec3f end;
    if (scene.centre.has_value()) {
        end = OnMap(*scene.centre);
        DrawCircle(graphics, end, scene.unit, settings::MapLocatorCenterColor.Get());
    } else {
        const Vec3f look = scene.lookAt - scene.viewer;
        end = OnMap(scene.viewer + (Length(look) + scene.beyond) * Normalized(look));
    }
    DrawLine(graphics, viewer, end, scene.unit);
}

void MapLocator::DrawCircle(GraphicsSystem& graphics, const Vec3f& centre, float radius,
                            COLOR colour) {
    const std::span<Vec3f> ring(vertices_.data(), kCircle);
    std::ranges::transform(circle_, ring.begin(), [&](const Vec2f& point) {
        return centre + radius * Vec3f{point.x, point.y, 0};
    });
    graphics.DrawLines(ring, colour, LineMode::Strip);
}

void MapLocator::DrawLine(GraphicsSystem& graphics, const Vec3f& from, const Vec3f& to,
                          float dash) {
    const Vec3f along = to - from;
    const float length = std::max(Length(along), kShortestLine);
    const float dashes = length / dash;
    if (!(dashes >= 2) || !std::isfinite(length)) return;  // the marks touch; or there is no end
    const auto count =
        static_cast<std::size_t>(std::min(dashes, static_cast<float>(kMostVertices)));
    const Vec3f step = along * (dash / length);
    for (std::size_t i = 0; i + 1 < count; ++i) vertices_[i] = from + static_cast<float>(i) * step;
    vertices_[count - 1] = to;
    graphics.DrawLines({vertices_.data(), count}, settings::MapLocatorLineColor.Get(),
                       LineMode::Segments);
}

}  // namespace tarnvale

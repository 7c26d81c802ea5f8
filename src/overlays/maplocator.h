#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/vec3f.h"
#include "graphics/graphicssystem.h"

namespace tarnvale {

/// Marks in the map view, as `MapLocator` numbers them.
enum class LocatorKind : std::int32_t { ViewerCenter = 0, Arrow = 1 };

/// What the marks show. Scene coordinates; the map is flat, so heights don't count.
struct LocatorScene {
    Vec3f viewer, lookAt;
    Vec3f forward;                ///< the viewer's, any length
    std::optional<Vec3f> centre;  ///< the ground in the middle of the main view, where there is any
    float beyond = 0;             ///< without it, how far past `lookAt` the line goes; scene units
    float unit = 0;               ///< radius of a mark and length of a dash, scene units, above 0
};

/// The mark that shows in the map where the viewer stands and looks: two circles with a dashed line
/// between them, or an arrow. Thread: the frame cycle's.
class MapLocator {
public:
    static constexpr int kMostVertices = 200;  ///< of the line
    /// Radius of a mark in pixels, of a map as high as `MapWidth` tells.
    static constexpr float kPixels = 7.5F;

    MapLocator();

    /// Draws over what the map shows so far, in a pass of its own. Allocates nothing once the
    /// scratch mesh has its size; may throw std::bad_alloc until then.
    void Draw(GraphicsSystem& graphics, const RenderCamera& camera, const LocatorScene& scene);

private:
    void DrawCircle(GraphicsSystem& graphics, const Vec3f& centre, float radius, COLOR colour);
    void DrawLine(GraphicsSystem& graphics, const Vec3f& from, const Vec3f& to, float dash);
    void DrawViewerAndCentre(GraphicsSystem& graphics, const LocatorScene& scene);

    static constexpr int kCircle = 21;  // the last closes the ring
    std::array<Vec2f, kCircle> circle_;
    std::array<Vec3f, kMostVertices> vertices_;  // of what is being drawn
};

}  // namespace tarnvale

#pragma once

#include <array>
#include <optional>

#include "base/views.h"
#include "graphics/rendermesh.h"
#include "simulator/box.h"
#include "simulator/viewer.h"

namespace tarnvale {

/// Degrees, and scene units along the line of sight. The field of view is held to 5 to 45.
struct CustomView {
    float yaw = 0, pitch = 0, roll = 0, offset = 0, fieldOfView = 45;
};

/// What cameras depend on beside the viewer.
struct CameraSurroundings {
    Box sceneBox;  ///< elevations without exaggeration
    float exaggeration = 1;
    float groundUnderViewer = 0;                 ///< first layer's elevation
    float aspect = 1;                            ///< width / height of the view
    float northAtViewer = 0, northAtCentre = 0;  ///< degrees between grid north and true north
};

/// Where each of the views looks from, at, and which way is up. Scene coordinates. A value.
class ViewCameras {
public:
    /// All views but the custom one.
    static constexpr float kFieldOfView = 45;

    CustomView custom;

    /// @param view    8 to 15
    /// @param target  scene x, y and elevation; none: the view looks forward
    void SetTarget(int view, std::optional<Vec3f> target);

    /// Scene units that the map view spans, about its height as it is drawn.
    [[nodiscard]] static double MapWidth(const CameraSurroundings& around);

    /// Sets eye, look-at, up and field of view of `camera`; the rest stays. Look-at differs from
    /// the eye and up isn't along the line of sight, whatever the viewer's state.
    void Compute(int view, const Viewer& viewer, const CameraSurroundings& around,
                 RenderCamera& camera) const;

private:
    static void ComputeMap(const Viewer& viewer, const CameraSurroundings& around,
                           RenderCamera& camera);
    void ComputeCustom(const Viewer& viewer, RenderCamera& camera) const;

    std::array<std::optional<Vec3f>, View::kMain - View::kFirstPoi> targets_;
};

}  // namespace tarnvale

#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "base/status.h"
#include "base/vec3f.h"
#include "base/views.h"
#include "overlays/poi.h"
#include "simulator/framecycle.h"
#include "simulator/scene.h"
#include "simulator/viewcameras.h"
#include "simulator/viewer.h"

namespace tarnvale {

/// The points of interest of the open landscape: which of the eight there are, how they are named,
/// which one the tool has selected, and in which views their markers are shown. A point's view
/// keeps looking at it. Points live as long as the landscape is open; which of them were changed
/// since they were last written somewhere is known here. Views are those of points, 8 to 15, if not
/// said otherwise; for others an operation answers BadState or does nothing.
/// Thread: the frame cycle's.
class PoiControl {
public:
    static constexpr int kNone = View::kMain;  ///< no point is selected

    /// @param scene  of the open landscape, null while there is none. All on loan; outlive this
    PoiControl(const std::unique_ptr<Scene>& scene, const Viewer& viewer, ViewCameras& cameras);

    /// Makes a point or gives one another marker; a new one has its view's own name, stands at the
    /// scene's origin and isn't seen before it gets a position.
    /// @return BadState for no such view or marker
    Status CreatePOIView(int view, int marker);
    /// The point is no more; its slot can be used again, with the colour that it has.
    void DeletePOI(int view);
    [[nodiscard]] bool Exists(int view) const;
    /// @return the lowest view without a point; none: there are eight
    [[nodiscard]] std::optional<int> FreeView() const;

    Status SetPOIColor(int view, const COLOR& color);
    Status GetPOIColor(int view, COLOR& color) const { return slots_.GetColor(view, color); }
    [[nodiscard]] int POIMarker(int view) const { return slots_.GetMarker(view); }
    /// @param x, y  map coordinates of the reference layer
    /// @return BadState, nothing changed, without a landscape, or where there is no such place
    Status SetPOIPosition(int view, double x, double y);
    /// @param map  out: z is the elevation of the ground there
    Status GetPOIPosition(int view, Vec3d& map) const;
    void SetPOIName(int view, std::string name);
    /// UTF-8; empty for no such view.
    [[nodiscard]] const std::string& POIName(int view) const;
    /// Map coordinates of the ground under the viewer. @return BadState without a landscape
    Status GetViewerMapPosition(double& x, double& y) const;

    /// @param view  of an existing point; anything else selects none
    void SetCurrentPOIView(int view);
    [[nodiscard]] int CurrentPOIView() const noexcept { return current_; }

    /// @param view  any of the seventeen: whether its picture has markers
    void ShowMarkers(int view, bool shown);
    [[nodiscard]] bool MarkersShown(int view) const;

    /// Whether there is a point that was made or changed since MarkSaved.
    [[nodiscard]] bool HasUnsaved() const;
    void MarkSaved() { unsaved_.fill(false); }

    /// A step of the mouse with the left button down in a view.
    struct Step {
        int view = View::kMain, x = -1, y = -1;  ///< pixels; -1: not known
        bool pressed = false;                    ///< the button went down just now
    };
    /// Places the selected point at the ground under the mouse on the press, and in the map as long
    /// as the button is down. In other pictures but its own, motion up and down moves it along the
    /// line from the eye, and motion sideways turns it about the eye.
    /// @param ground   scene; under the mouse, if there is any
    /// @param picture  the view as last drawn
    void Drag(const Step& step, const std::optional<Vec3f>& ground, const ViewPicture& picture);

    // The frame cycle's:
    /// The landscape goes: no point is left.
    void UnassignAll();
    /// The landscape's terrain models are others now.
    void TerrainsChanged();
    void SetVerticalScale(float scale) noexcept { slots_.SetVerticalScale(scale); }
    void BeginFrame();
    void Draw(GraphicsSystem& graphics, const RenderCamera& camera, int view);

private:
    struct Point {
        bool exists = false;
        std::string name;
    };

    [[nodiscard]] static std::size_t IndexOf(int view) {
        return static_cast<std::size_t>(view - View::kFirstPoi);
    }
    void MoveTo(int view, const Vec3f& place);

    const std::unique_ptr<Scene>& scene_;
    const Viewer& viewer_;
    ViewCameras& cameras_;
    SIMPOISET slots_;
    std::array<Point, SIMPOISET::kSlots> points_;
    std::array<bool, SIMPOISET::kSlots> unsaved_{};
    std::array<bool, View::kCount> shown_;
    int current_ = kNone;
    Step last_;  // of the drag
};

}  // namespace tarnvale

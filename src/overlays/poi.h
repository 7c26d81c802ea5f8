#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/color.h"
#include "base/status.h"
#include "base/vec3f.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// A place that the user marked, and how its marker stands this frame. Scene coordinates.
struct SIMPOISLOT {
    Vec3f position;   ///< z: elevation, known once it was drawn
    Vec3f right, up;  ///< axes of the marker, with its size
    COLOR colour;
    std::int32_t marker = 0;                ///< shape; 0: none is drawn
    const TerrainModel* terrain = nullptr;  ///< where its elevation is asked for; on loan
};

/// The eight points of interest, one for each of views 8 to 15, and the shapes of their markers.
/// An operation on any other view does nothing. Thread: the frame cycle's only.
class SIMPOISET {
public:
    static constexpr int kSlots = View::kMain - View::kFirstPoi;
    static constexpr int kMarkers = 6;
    static constexpr float kSymbolShare = 0.001F;  ///< of the scene's two sides: a marker's scale
    static constexpr float kCrossShare = 0.05F;    ///< of the eye's height: a cross's arms

    /// Corner of a marker: `a` along the axis to the right, `b` along the one upwards.
    struct Corner {
        float a = 0, b = 0;
    };

    /// Eight colours that can be told from each other, and no marker.
    SIMPOISET();

    /// @return key of the shape's name; "none" for no such shape
    [[nodiscard]] static const char* MarkerKey(int marker);
    /// @return three corners for each triangle; empty for "none" and for no such shape
    [[nodiscard]] static std::span<const Corner> MarkerShape(int marker);
    /// The colour that a slot starts with.
    [[nodiscard]] static COLOR FirstColor(int view);

    /// Ignores a marker that isn't there.
    void SetMarker(int view, int marker);
    void SetColor(int view, const COLOR& color);
    /// Moves a slot to the ground; its elevation is 0 until it is drawn.
    void SetPosition(int view, float x, float y);
    /// @param terrain  on loan until another is set; null: the elevation is 0
    void SetTerrain(int view, const TerrainModel* terrain);
    /// @return BadState, `color` untouched, for a view without a slot
    Status GetColor(int view, COLOR& color) const;
    Status GetPosition(int view, Vec3f& position) const;
    /// @return 0 for a view without a slot
    [[nodiscard]] int GetMarker(int view) const;
    /// Elevation of the ground where a slot stands.
    [[nodiscard]] float GroundHeight(int view) const;

    /// Once a frame, before the views are drawn: turns the markers' broad sides to the viewer.
    /// @param scale  scene units of a marker's unit
    void UpdateAxes(const Vec3f& eye, float scale);
    /// The vertical exaggeration.
    void SetVerticalScale(float scale) noexcept { verticalScale_ = scale; }
    /// Draws the markers of a view; in the map a cross for each, on the flat map. Allocates nothing
    /// once the system's scratch mesh has its size.
    void Draw(GraphicsSystem& graphics, const RenderCamera& camera, int view);

private:
    [[nodiscard]] SIMPOISLOT* Slot(int view);
    [[nodiscard]] const SIMPOISLOT* Slot(int view) const;
    static void DrawCross(GraphicsSystem& graphics, const RenderCamera& camera,
                          const SIMPOISLOT& slot);
    void DrawMarker(GraphicsSystem& graphics, SIMPOISLOT& slot) const;

    std::array<SIMPOISLOT, kSlots> slots_;
    float verticalScale_ = 1;
};

}  // namespace tarnvale

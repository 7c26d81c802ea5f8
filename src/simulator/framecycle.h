#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/status.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "overlays/compass.h"
#include "overlays/maplocator.h"
#include "overlays/skydome.h"
#include "simulator/frameobserver.h"
#include "simulator/scene.h"
#include "simulator/viewcameras.h"
#include "simulator/viewer.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

class PoiControl;

/// What the views of one frame are drawn from; on loan for the frame.
struct FrameScene {
    Scene& scene;
    Viewer& viewer;  ///< the custom view moves it during its pass and puts it back
    const ViewCameras& cameras;
    const ViewSystems& systems;
    float exaggeration = 1;
    float northAtViewer = 0;  ///< degrees
    PoiControl& pois;
    SkyDome* sky = nullptr;  ///< drawn where the setting `Sky` is on; may be null
};

/// A view as it was last drawn. Scene coordinates.
struct ViewPicture {
    Vec3f eye, lookAt, up;
    float fieldOfView = 0;
    int width = 0, height = 0;  ///< pixels; 0 before the first frame
};

/// Direction from the eye through the middle of a pixel, counted from the upper left corner.
[[nodiscard]] Vec3f RayThrough(const ViewPicture& picture, int x, int y);

/// Draws the open views of a frame, each by one pass. Allocates nothing in a steady frame.
class FrameCycle final : private TerrainSink {
public:
    /// Clears and shows every open view, as long as there is no landscape.
    void DrawEmpty(const ViewSystems& systems);
    /// Draws views 0 to 16 that are open, the main view last. A view that nobody can see is left
    /// out, and its picture stays.
    /// @return the status of the last terrain that was drawn, 0 if there was none
    Status Draw(const FrameScene& frame);

    /// An empty one for no such view.
    [[nodiscard]] const ViewPicture& Picture(int view) const;
    void SetObserver(FrameObserver* observer) noexcept { observer_ = observer; }  ///< on loan
    /// Part timing costs about a millisecond in a frame of 11,000 primitives.
    void SetPartTiming(bool on) noexcept { timing_ = on; }
    [[nodiscard]] const FrameTimes& Times() const noexcept { return times_; }

private:
    class Stopwatch;
    class Pass;

    void DrawView(const FrameScene& frame, int view, Status& result);
    void SetPlanes(const FrameScene& frame, int view);
    void BeginViewPass(int view);
    void DrawSky(const FrameScene& frame, int view);
    void DrawLayer(TerrainLayer& layer, int view, int index, float exaggeration, Status& result);
    void FlushForObserver();
    Status DrawTexture(TerrainLayer& layer, int view, int index, float exaggeration);
    void EndViewPass(const FrameScene& frame, int view);
    void NoteGround(const TerrainLayer& layer, const TextureLayer& texture, float exaggeration);
    void DrawCompass(const FrameScene& frame);
    void DrawLocator(const FrameScene& frame);
    void DrawVeil(const FrameScene& frame);
    void DrawTerrainMesh(TerrainPrimitive& mesh) override;
    void DrawWatched(TerrainPrimitive& mesh);
    void Raise(TerrainPrimitive& mesh) const;
    const RenderMeshBatch& PlainBatch(const TerrainPrimitive& mesh);

    RenderCamera camera_;  // of the current view; of the current layer while it is drawn
    std::array<ViewPicture, View::kCount> pictures_{};
    TerrainPrimitive mapGrid_;
    float mapWidth_ = 0;  // scene units
    Compass compass_;
    MapLocator locator_;
    GraphicsSystem* graphics_ = nullptr;  // the current view's, on loan
    TextureModel* texture_ = nullptr;     // of the texture being drawn; null: plain or wireframe
    int textureIndex_ = 0;
    float verticalOffset_ = 0;  // scene units
    bool wireframe_ = false;
    bool solid_ = false;                 // what is drawn of the texture has no hole
    std::optional<SolidGround> ground_;  // under the current view's eye
    FrameObserver* observer_ = nullptr;
    FrameObserver* watching_ = nullptr;  // the observer while it is told of a layer
    bool timing_ = false;
    FrameTimes times_;
};

}  // namespace tarnvale

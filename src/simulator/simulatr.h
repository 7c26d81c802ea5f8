#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/progress.h"
#include "base/status.h"
#include "base/types.h"
#include "base/vec3f.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "input/flightinput.h"
#include "landscape/simfile.h"
#include "landscape/skypicture.h"
#include "overlays/skydome.h"
#include "simulator/actionpoints.h"
#include "simulator/frameclock.h"
#include "simulator/framecycle.h"
#include "simulator/frameobserver.h"
#include "simulator/poicontrol.h"
#include "simulator/readoutrecord.h"
#include "simulator/readouts.h"
#include "simulator/readoutvalues.h"
#include "simulator/scene.h"
#include "simulator/simulatorhost.h"
#include "simulator/viewcameras.h"
#include "simulator/viewer.h"
#include "simulator/viewzoom.h"

namespace tarnvale {

/// A point of the ground.
struct GroundPoint {
    Vec3f scene;  ///< z with exaggeration
    Vec3d map;    ///< map coordinates of the reference layer, elevation
};

enum class FirstFrame : std::uint8_t { Drawn, Left };

/// The open landscape and the viewer that flies over it: owns the scene, runs the frame cycle,
/// answers with plain values. A program makes one; where drawing goes, where time comes from and
/// which models there are is handed in. Until Initialize every other operation that returns a
/// status answers NotInitialised and changes nothing. Thread: the frame cycle's only. Nothing
/// throws.
class Simulator {
public:
    /// @param models  the kinds of terrain and texture; none: those that the program knows
    /// @param clock   on loan; null: the machine's
    explicit Simulator(std::unique_ptr<SceneModels> models = nullptr, const Clock* clock = nullptr);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    /// @param host  on loan for the simulator's life; may be null where there is no program around
    Status Initialize(SimulatorHost* host);
    /// Who is told of long loading; on loan, may be null.
    void SetProgress(Progress* progress) noexcept { progress_ = progress; }

    /// Opens a landscape in place of the old one, and draws a frame from the initial viewpoint. The
    /// new terrains are loaded before the old landscape goes: where that fails the old one goes on
    /// flying. Textures come after it has gone, and one that can't be used leaves its layer plain.
    /// A failed first frame is answered too, but then the new landscape stays.
    /// @return NoLandscape for a file without valid content; Cancelled; BadState without a main
    ///         graphics system; the terrain's error; the first frame's
    /// The first of the file's skies comes with it and turns the setting `Sky` on; a sky that
    /// can't be loaded leaves it off, and SkyProblem tells why.
    /// @param first  Left: the viewer is placed and nothing drawn, so that the caller's own frame
    ///               is the first one that the terrain's heights keep something of
    Status BuildScene(const SimulatorFile& file, FirstFrame first = FirstFrame::Drawn);
    Status BuildScene(const QNLIST<SimTerrainEntry>& terrains);
    /// Closes the landscape; the views stay attached.
    void Unload();
    [[nodiscard]] bool IsLandscapeReady(ReadyLevel level) const;

    /// Moves the viewer by a record and draws a frame. The viewer stays while no landscape is
    /// ready, while a tool other than viewpoint has the mouse, and in the frame after a placement.
    /// @param input  null: there are no controls
    /// @param live   whether the next Update may apply input
    Status Update(const FlightInput* input, bool live);
    /// Draws a frame in all open views. Without a landscape the views are cleared and shown.
    /// @return NotInitialised; BadState without a main graphics system; the last terrain's status
    Status DrawFrame(bool live);

    /// Leaves the time since the last frame out of rates and averages. For whoever draws no frames
    /// for a while, as behind a dialog or in a hidden window: call it before the next frame.
    void SkipTime() noexcept { frameClock_.Skip(); }

    /// Gives a view its graphics system, already open and on loan until another or null is
    /// attached. Detach (null) before a system is shut down: its textures go with the models of the
    /// view.
    /// @return BadState for no such view
    Status AttachGraphicsSystem(GraphicsSystem* system, int view);
    [[nodiscard]] GraphicsSystem* GetGraphicsSystem(int view) const;
    /// Sets the speeds along the axes for the new terrains, too.
    Status SetTerrainModel(int index);
    Status SetTextureModel(int index);
    /// For the terrain's choice of detail; each view pass sets its own again. Degrees.
    void SetFieldOfView(float degrees);
    /// Keeps the viewer at the same height in elevation units. Ignored outside 0.01 to 100.
    void SetVerticalExaggeration(float value);
    [[nodiscard]] float VerticalExaggeration() const noexcept { return exaggeration_; }
    /// @return BadState for an index out of range
    Status SetTextureVisible(int layer, int texture, int view, bool on);
    Status ToggleTextureVisible(int layer, int texture, int view);
    /// The vertical offsets of what stands on the layers; empty without a landscape.
    [[nodiscard]] std::vector<LayerOffset> LayerOffsets() const;
    /// @param offsets  elevation units, in the order of LayerOffsets
    /// @return NoLandscape; BadState, and nothing is changed, for another count or a number that
    ///         isn't finite
    Status SetLayerOffsets(std::span<const float> offsets);
    /// Tells the terrains that the settings of their detail have changed.
    void TerrainSettingsChanged();
    /// @param position  scene. @return the point's index
    int AddActionPoint(const Vec3f& position, float radius);

    /// Above the centre of the scene, as high above the top as the top is above the bottom, looking
    /// at the north-west corner. 0 and nothing done while no landscape is ready.
    Status RestoreInitialViewpoint(bool live);
    /// Turns back towards the home point and levels.
    Status Recenter(bool live);
    /// Starts the view that a command line asks for. 0 and nothing done while no landscape is
    /// ready.
    /// @param x, y, z     map coordinates of the reference layer; z above the ground, elevation
    /// units
    /// @param azimuth, elevation  direction of view, degrees
    /// @param field       scene units that the view spans, which sets the distance
    /// @param rate, type  degrees a second of a MotionType; other types give no motion
    /// @return BadState, and nothing is changed, where the point can't be converted or a number or
    ///         what comes of it isn't finite as a 32-bit float
    Status StartCommandLineView(double x, double y, double z, double azimuth, double elevation,
                                double field, double rate, std::int32_t type, bool live);
    /// Places the viewer; the placement holds for the next frame whatever the controls say.
    /// @param draw  draws a frame at once
    /// @return BadState, and nothing is changed, where a number isn't finite
    Status PlaceByOrientation(const Vec3f& position, const Attitude& attitude, bool draw);
    /// @param position, target  scene
    /// @return BadState, and nothing is changed, where a number or the distance isn't finite
    Status PlaceByLookAt(const Vec3f& position, const Vec3f& target, bool draw);

    void SetToolMode(ToolMode mode) noexcept { toolMode_ = mode; }
    [[nodiscard]] ToolMode GetToolMode() const noexcept { return toolMode_; }
    /// A mouse message of a view's window: where the mouse is and which buttons are down. A click
    /// in a view turns the viewer towards the ground there, once the left button is up again. In
    /// the map a press near the viewer's mark grabs and drags it, one elsewhere swings the look;
    /// the frames go on with that 16 times a second as long as the button is down.
    /// @param x, y  pixels of the view from its upper left corner; -1, -1: the mouse left the view
    CursorMode OnMouse(int view, int x, int y, bool left, bool right);
    /// Who is given the ground where the left button is released in the main view while the atlas
    /// tool has the mouse. Called inside OnMouse: don't open a dialog there.
    void SetPlaceSink(std::function<void(const GroundPoint&)> sink) {
        placeSink_ = std::move(sink);
    }
    /// The ground under a pixel of a view as last drawn; in the map view, of the flat map.
    [[nodiscard]] std::optional<GroundPoint> PickGround(int view, int x, int y) const;

    /// @param view  the map or the custom view; BadState for others
    Status ZoomView(int view, ViewZoom zoom);
    [[nodiscard]] CustomView& Custom() noexcept { return cameras_.custom; }
    /// @param view    8 to 15
    /// @param target  scene x, y and elevation; none: the view looks forward
    void SetViewTarget(int view, std::optional<Vec3f> target) { cameras_.SetTarget(view, target); }
    /// The points of interest.
    [[nodiscard]] PoiControl& Pois() noexcept { return pois_; }
    [[nodiscard]] const PoiControl& Pois() const noexcept { return pois_; }
    /// A view as it was last drawn; an empty picture for no such view.
    [[nodiscard]] const ViewPicture& Picture(int view) const { return cycle_.Picture(view); }

    /// The record of the last frame.
    [[nodiscard]] const SimulatorReadoutValues& ReadoutValues() const noexcept {
        return readoutValues_;
    }
    [[nodiscard]] Readouts& GetReadouts() noexcept { return readouts_; }
    /// Shows everything anew at once, without a frame: after a format, a unit or the system of the
    /// readouts changed. Nothing to do while they have no display or there is no landscape.
    void RefreshReadouts();
    [[nodiscard]] const Viewer& GetViewer() const noexcept { return viewer_; }
    /// The open landscape, or null.
    [[nodiscard]] const Scene* GetScene() const noexcept { return scene_.get(); }
    /// Degrees from grid north to true north at the viewer.
    [[nodiscard]] float NorthDegrees() const noexcept { return northDegrees_; }
    /// @return BadState without a landscape or where the point can't be converted
    Status MapToScene(const Vec3d& map, Vec3f& scene) const;
    Status SceneToMap(const Vec3f& scene, Vec3d& map) const;

    /// The skies that the open landscape may have.
    [[nodiscard]] const std::vector<SkyChoice>& Skies() const noexcept { return skies_; }
    /// Index of the sky that is shown; -1 for none.
    [[nodiscard]] int CurrentSky() const noexcept { return currentSky_; }
    /// Shows another sky; the setting `Sky` stays.
    /// @return BadState for no such sky; why it can't be loaded: then the old one stays
    Status LoadSky(int index);
    /// Why the landscape came without its first sky; empty if it didn't.
    [[nodiscard]] const std::string& SkyProblem() const noexcept { return skyProblem_; }
    [[nodiscard]] SkyDome& Sky() noexcept { return sky_; }

    /// True when every open texture of a visible view has all the tiles that the last frame wished
    /// for.
    [[nodiscard]] bool Settled() const;

    void SetFrameObserver(FrameObserver* observer) noexcept { cycle_.SetObserver(observer); }
    void SetPartTiming(bool on) noexcept { cycle_.SetPartTiming(on); }
    [[nodiscard]] const FrameTimes& Times() const noexcept { return cycle_.Times(); }

private:
    Status CheckReadyToDraw() const;
    [[nodiscard]] FlightConditions Conditions() const;
    void SetCrossingSpeeds();
    Status Build(const QNLIST<SimTerrainEntry>& terrains, std::vector<SkyChoice> skies,
                 FirstFrame first);
    void PlaceAtHome();
    void BuildSky(std::vector<SkyChoice> skies);
    void RebuildLostViews();
    void UpdateReadouts();
    void ShowReadouts(bool force);
    void UpdateNorth();
    void UpdateSun();
    [[nodiscard]] bool NearViewer(const GroundPoint& ground) const;
    void StepMouse(bool grabbing);
    void StepPoi(bool pressed);

    QNSYSTEM machineClock_;
    const Clock* clock_;
    std::unique_ptr<SceneModels> models_;
    SimulatorHost* host_ = nullptr;
    Progress* progress_ = nullptr;
    bool initialised_ = false;
    int terrainIndex_ = 0, textureIndex_ = 0;
    ViewSystems systems_{};
    std::unique_ptr<Scene> scene_;
    ActionPoints actionPoints_;
    Viewer viewer_;
    ViewCameras cameras_;
    PoiControl pois_{scene_, viewer_, cameras_};
    FrameClock frameClock_;
    FrameCycle cycle_;
    SkyDome sky_;
    std::vector<SkyChoice> skies_;
    int currentSky_ = -1;
    std::string skyProblem_;
    SimulatorReadoutValues readoutValues_;
    ReadoutRecorder readoutRecorder_;
    Readouts readouts_;
    float fieldOfView_ = ViewCameras::kFieldOfView;
    float exaggeration_ = 1;
    float northDegrees_ = 0;
    std::array<float, 3> sunAngles_{};  // elevation, azimuth, north of the sun vector in force
    bool sunKnown_ = false;
    bool controlsLive_ = false;
    ToolMode toolMode_ = ToolMode::Viewpoint;
    std::function<void(const GroundPoint&)> placeSink_;

    struct Mouse {
        int view = View::kMain, x = -1, y = -1;
        bool left = false, right = false;
        bool grabbing = false;  // the viewer's mark in the map
    };
    Mouse mouse_;
};

}  // namespace tarnvale

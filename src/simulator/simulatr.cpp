#include "simulator/simulatr.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include "base/inistore.h"
#include "base/settings.h"

namespace tarnvale {

namespace {

constexpr double kRoundingBias = 1e-10;
constexpr float kCrossingShare = 0.008333334F;  // of the longer side a second: 120 seconds to cross
constexpr float kLongestSide = 60000;  // beyond it the landscape is crossed at a fixed speed
constexpr float kFixedSpeed = 500;     // scene units a second
constexpr float kLeastExaggeration = 0.01F, kGreatestExaggeration = 100;
constexpr float kNorthTolerance = 0.01F;  // degrees
constexpr float kGrabShare = 0.001F;      // of the longer side, for each percent of MapExtents

constexpr const char* kFarView = "the view lies beyond all numbers: choose a nearer one";
constexpr const char* kNotFinitePlace = "a number of the place isn't finite: correct it";

bool SameWord(const std::string& a, const std::string& b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// Whether all numbers are finite, and stay so as 32-bit floats, in which the viewer reckons.
bool AllFinite(std::initializer_list<double> numbers) {
    return std::ranges::all_of(numbers, [](double number) {
        return std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
    });
}

// Index of the kind that the setting names; the first kind where it names none.
template <typename NameOf>
int ChosenKind(const char* key, NameOf nameOf) {
    std::string wanted;
    if (!_iniRead(key, wanted)) return 0;
    for (int index = 0; !nameOf(index).empty(); ++index) {
        if (SameWord(wanted, nameOf(index))) return index;
    }
    return 0;
}

}  // namespace

Simulator::Simulator(std::unique_ptr<SceneModels> models, const Clock* clock)
    : clock_(clock != nullptr ? clock : &machineClock_), models_(std::move(models)) {
    if (models_ == nullptr) models_ = std::make_unique<RegisteredModels>();
}

Simulator::~Simulator() = default;

Status Simulator::Initialize(SimulatorHost* host) {
    host_ = host;
    SetVerticalExaggeration(settings::VerticalExaggeration.Get());
    terrainIndex_ = ChosenKind("TerrainModel", [this](int i) { return models_->TerrainName(i); });
    textureIndex_ = ChosenKind("TextureModel", [this](int i) { return models_->TextureName(i); });
    initialised_ = true;
    return StatusCode::Ok;
}

Status Simulator::CheckReadyToDraw() const {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (systems_[View::kMain] == nullptr) return _SetErrPosn(StatusCode::BadState);
    return StatusCode::Ok;
}

Status Simulator::BuildScene(const SimulatorFile& file, FirstFrame first) {
    if (const Status ready = CheckReadyToDraw(); !ready.Good()) return ready;
    if (!file.Valid()) return _SetErrPosn(StatusCode::NoLandscape);
    const Status built = Build(file.Terrains(), ListSkies(file), first);
    if (built.Good() && skyProblem_.empty()) skyProblem_ = file.SkyProblem();
    return built;
}

Status Simulator::BuildScene(const QNLIST<SimTerrainEntry>& terrains) {
    return Build(terrains, {}, FirstFrame::Drawn);
}

Status Simulator::Build(const QNLIST<SimTerrainEntry>& terrains, std::vector<SkyChoice> skies,
                        FirstFrame first) try {
    if (const Status ready = CheckReadyToDraw(); !ready.Good()) return ready;
    SkipTime();  // whatever it comes to, no frame is drawn meanwhile
    if (host_ != nullptr && !host_->MayReplaceLandscape())
        return _SetErrPosn(StatusCode::Cancelled);

    auto scene = std::make_unique<Scene>(*models_, systems_, progress_);
    if (const Status opened = scene->OpenTerrains(terrains, terrainIndex_, textureIndex_);
        !opened.Good()) {
        return opened;
    }

    // The old textures go before the new ones come: both together may be more than fits.
    Unload();
    scene_ = std::move(scene);
    scene_->OpenTextures();
    readouts_.Scale().SetLandscape(scene_->Reference().Transform().OutputCoordRefSys());
    SetCrossingSpeeds();
    BuildSky(std::move(skies));
    settings::MapExtents = 100;
    if (first == FirstFrame::Drawn) return RestoreInitialViewpoint(false);
    PlaceAtHome();
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void Simulator::BuildSky(std::vector<SkyChoice> skies) {
    const Box& box = scene_->WholeBox();
    sky_.Build(static_cast<float>(box.CentreX()), static_cast<float>(box.CentreY()),
               static_cast<float>(std::max(box.xMax - box.xMin, box.yMax - box.yMin)));
    skies_ = std::move(skies);
    if (!skies_.empty()) {
        if (const Status loaded = LoadSky(0); !loaded.Good()) skyProblem_ = GetErrString(loaded);
    }
    const bool on = sky_.HasPicture();
    if (settings::Sky.Get() == on) return;
    if (host_ != nullptr) {
        settings::Sky.Set(on);
    } else {
        settings::Sky.SetUnsaved(on);  // without a program around, nobody's preferences are kept
    }
}

Status Simulator::LoadSky(int index) {
    if (index < 0 || index >= static_cast<int>(skies_.size()))
        return _SetErrPosn(StatusCode::BadState, "there is no such sky");
    SkipTime();
    SkyPicture picture;
    if (const Status loaded =
            LoadSkyPicture(skies_[static_cast<std::size_t>(index)].item, progress_, picture);
        !loaded.Good()) {
        return loaded;
    }
    sky_.SetPicture(std::move(picture));
    currentSky_ = index;
    return StatusCode::Ok;
}

void Simulator::SetCrossingSpeeds() {
    const float longer = scene_->LongerSide();
    const float speed = longer <= kLongestSide ? longer * kCrossingShare : kFixedSpeed;
    settings::UpDownSpeed = settings::LeftRightSpeed = settings::ForwardBackwardSpeed = speed;
}

void Simulator::Unload() {
    pois_.UnassignAll();
    scene_.reset();
    sky_.Clear();
    skies_.clear();
    currentSky_ = -1;
    skyProblem_.clear();
    actionPoints_.Clear();
    mouse_ = {};
    readoutValues_ = {};
    readouts_.Clear();
    frameClock_.Restart();
    northDegrees_ = 0;
    controlsLive_ = false;
}

bool Simulator::IsLandscapeReady(ReadyLevel level) const {
    return scene_ != nullptr && scene_->Ready(level);
}

FlightConditions Simulator::Conditions() const {
    return {scene_.get(), exaggeration_, frameClock_.Now(), readoutValues_.instantFrameRate,
            mouse_.left || mouse_.right};
}

Status Simulator::Update(const FlightInput* input, bool live) {
    if (const Status ready = CheckReadyToDraw(); !ready.Good()) return ready;
    if (input != nullptr && controlsLive_ && toolMode_ == ToolMode::Viewpoint &&
        IsLandscapeReady(ReadyLevel::Terrain)) {
        viewer_.Step(*input, Conditions());
    }
    return DrawFrame(live);
}

Status Simulator::DrawFrame(bool live) try {
    if (const Status ready = CheckReadyToDraw(); !ready.Good()) return ready;
    RebuildLostViews();
    if (settings::VerticalExaggeration.Get() != exaggeration_) {
        SetVerticalExaggeration(settings::VerticalExaggeration.Get());
    }
    if (scene_ == nullptr) {
        cycle_.DrawEmpty(systems_);
        return StatusCode::Ok;
    }
    frameClock_.Tick(clock_->Seconds(), viewer_.Position());
    if (frameClock_.DragDue() && mouse_.left && mouse_.view == View::kMap &&
        toolMode_ == ToolMode::Viewpoint) {
        StepMouse(mouse_.grabbing);
    }
    pois_.BeginFrame();
    UpdateNorth();
    UpdateSun();
    UpdateReadouts();
    // In the first frame there is no rate to go by.
    if (const float rate = frameClock_.FrameRate(); rate > 0) {
        for (std::size_t i = 0; i < scene_->Layers().size(); ++i)
            TerrainModel::RegulateFrameRate(rate);
    }
    const Status drawn = cycle_.Draw(
        {*scene_, viewer_, cameras_, systems_, exaggeration_, northDegrees_, pois_, &sky_});
    fieldOfView_ = ViewCameras::kFieldOfView;
    controlsLive_ = live;
    return drawn;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void Simulator::RebuildLostViews() {
    for (int view = 0; view < View::kCount; ++view) {
        GraphicsSystem* const system = systems_[view];
        if (system == nullptr || !system->IsLost()) continue;
        if (scene_ != nullptr) scene_->DetachView(view);
        sky_.DetachView(view);
        // The tiles come again from the root on. A failure is tried again with
        // the next frame, while the owner leaves the system attached.
        if (system->Rebuild().Good() && scene_ != nullptr) scene_->AttachView(view);
    }
}

void Simulator::UpdateReadouts() {
    ReadoutRecorder::FillFlight(*this, frameClock_, readouts_.Scale(), readoutValues_);
    // The ground is looked for only where somebody sees it, and as often as it is shown: what the
    // last frame drew.
    if (readouts_.HasDisplay() && frameClock_.ReadoutsDue()) ShowReadouts(false);
}

void Simulator::ShowReadouts(bool force) {
    readoutRecorder_.FillPlaces(*this, {mouse_.view, mouse_.x, mouse_.y}, readouts_.Scale(),
                                readoutValues_);
    readouts_.Update(readoutValues_, readouts_.Scale().IsLatLon(), force);
}

void Simulator::RefreshReadouts() try {
    if (!readouts_.HasDisplay() || !IsLandscapeReady(ReadyLevel::Terrain)) return;
    ReadoutRecorder::FillFlight(*this, frameClock_, readouts_.Scale(), readoutValues_);
    ShowReadouts(true);
} catch (const std::bad_alloc&) {
    (void)_SetErrPosn(StatusCode::NoMemory);
}

void Simulator::UpdateNorth() {
    const float degrees = scene_->NorthDegrees(viewer_.Position().x, viewer_.Position().y);
    if (std::abs(degrees - northDegrees_) > kNorthTolerance) northDegrees_ = degrees;
}

void Simulator::UpdateSun() {
    const std::array<float, 3> angles{settings::SunElevationAngle.Get(),
                                      settings::SunAzimuthAngle.Get(), northDegrees_};
    if (sunKnown_ && angles == sunAngles_) return;
    sunAngles_ = angles;
    sunKnown_ = true;
    GraphicsSystem::SetSunVector(GraphicsSystem::ComputeSunVector(angles[0], angles[1], angles[2]));
}

Status Simulator::AttachGraphicsSystem(GraphicsSystem* system, int view) try {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (!View::Exists(view)) return _SetErrPosn(StatusCode::BadState);
    if (systems_[view] == system) return StatusCode::Ok;
    if (scene_ != nullptr) scene_->DetachView(view);
    sky_.DetachView(view);
    if (mouse_.view == view) mouse_ = {};  // the release of a held button may never come
    systems_[view] = system;
    if (system == nullptr) return StatusCode::Ok;
    // A texel that isn't wholly opaque is dropped, never blended.
    system->SetAlphaFunction(AlphaFunction::Equal, 1.0F);
    if (scene_ != nullptr) scene_->AttachView(view);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    if (scene_ != nullptr) scene_->DetachView(view);
    systems_[view] = nullptr;
    return _SetErrPosn(StatusCode::NoMemory);
}

GraphicsSystem* Simulator::GetGraphicsSystem(int view) const {
    return View::Exists(view) ? systems_[view] : nullptr;
}

Status Simulator::SetTerrainModel(int index) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ != nullptr) {
        SkipTime();
        if (const Status set = scene_->SetTerrainModel(index); !set.Good()) return set;
        pois_.TerrainsChanged();
        SetCrossingSpeeds();
    } else if (models_->TerrainName(index).empty()) {
        return _SetErrPosn(StatusCode::BadState);
    }
    terrainIndex_ = index;
    return StatusCode::Ok;
}

Status Simulator::SetTextureModel(int index) try {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ != nullptr) {
        SkipTime();
        if (const Status set = scene_->SetTextureModel(index); !set.Good()) return set;
    } else if (models_->TextureName(index).empty()) {
        return _SetErrPosn(StatusCode::BadState);
    }
    textureIndex_ = index;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status Simulator::ZoomView(int view, ViewZoom zoom) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (view == View::kCustom) {
        Custom().fieldOfView = ZoomedField(Custom().fieldOfView, zoom);
    } else if (view == View::kMap) {
        const float longer = scene_ != nullptr ? scene_->LongerSide() : 0;
        settings::MapExtents = ZoomedExtents(settings::MapExtents, longer, zoom);
    } else {
        return _SetErrPosn(StatusCode::BadState);
    }
    return StatusCode::Ok;
}

void Simulator::SetFieldOfView(float degrees) {
    fieldOfView_ = degrees;
    if (scene_ != nullptr) scene_->SetFieldOfView(degrees);
}

void Simulator::SetVerticalExaggeration(float value) {
    if (!(value >= kLeastExaggeration && value <= kGreatestExaggeration)) return;
    if (value != exaggeration_ && IsLandscapeReady(ReadyLevel::Terrain)) {
        const Vec3f& home = viewer_.Home();
        viewer_.Rescale(value / exaggeration_, scene_->FirstLayer(home.x, home.y) * value);
    }
    exaggeration_ = value;
    pois_.SetVerticalScale(value);
    TerrainModel::SetVerticalScale(value);
}

Status Simulator::SetTextureVisible(int layer, int texture, int view, bool on) try {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::NoLandscape);
    return scene_->SetTextureVisible(layer, texture, view, on);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status Simulator::ToggleTextureVisible(int layer, int texture, int view) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::NoLandscape);
    const auto& layers = scene_->Layers();
    if (layer < 0 || layer >= static_cast<int>(layers.size()) || texture < 0 ||
        texture >= static_cast<int>(layers[layer]->textures.size()) || !View::Exists(view)) {
        return _SetErrPosn(StatusCode::BadState);
    }
    return SetTextureVisible(layer, texture, view, !layers[layer]->textures[texture].visible[view]);
}

std::vector<LayerOffset> Simulator::LayerOffsets() const {
    return scene_ != nullptr ? scene_->Offsets() : std::vector<LayerOffset>();
}

Status Simulator::SetLayerOffsets(std::span<const float> offsets) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::NoLandscape);
    return scene_->SetOffsets(offsets);
}

void Simulator::TerrainSettingsChanged() {
    if (scene_ == nullptr) return;
    for (const auto& layer : scene_->Layers()) layer->terrain->SettingsChanged();
}

int Simulator::AddActionPoint(const Vec3f& position, float radius) {
    return actionPoints_.Add(position, radius);
}

Status Simulator::RestoreInitialViewpoint(bool live) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (!IsLandscapeReady(ReadyLevel::Terrain)) return StatusCode::Ok;
    PlaceAtHome();
    return DrawFrame(live);
}

void Simulator::PlaceAtHome() {
    const Box& box = scene_->WholeBox();
    const auto x = static_cast<float>(box.CentreX()), y = static_cast<float>(box.CentreY());
    const Vec3f target{static_cast<float>(box.xMin), static_cast<float>(box.yMax),
                       scene_->FirstLayer(x, y) * exaggeration_};
    viewer_.PlaceAtHome({x, y, static_cast<float>((2 * box.zMax - box.zMin) * exaggeration_)},
                        target);
}

Status Simulator::Recenter(bool live) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    viewer_.Recenter();
    return DrawFrame(live);
}

Status Simulator::StartCommandLineView(double x, double y, double z, double azimuth,
                                       double elevation, double field, double rate,
                                       std::int32_t type, bool live) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (!IsLandscapeReady(ReadyLevel::Terrain)) return StatusCode::Ok;
    if (!AllFinite({x, y, z, azimuth, elevation, field, rate}))
        return _SetErrPosn(StatusCode::BadState, "a number of the view isn't finite: correct it");
    const TerrainModel& terrain = scene_->Reference();
    double column = x, row = y;
    if (const Status converted = TransGenConvPointInv(terrain.Transform(), column, row);
        !converted.Good()) {
        return converted;
    }
    if (!AllFinite({column, row})) return _SetErrPosn(StatusCode::BadState, kFarView);
    const auto cell = [](double value, int count) {
        return static_cast<int>(std::clamp(std::round(value + kRoundingBias), -1.0, count + 1.0));
    };
    const float ground =
        terrain.GetElevation(cell(column, terrain.GetColumns()), cell(row, terrain.GetRows()));
    const Vec3f point{static_cast<float>(column * terrain.CellWidth()),
                      static_cast<float>(-row * terrain.CellHeight()),
                      static_cast<float>((ground + z) * exaggeration_)};
    // The field of view goes into the tangent as it stands, in degrees: command lines that exist
    // have their distances from it.
    const double distance = field * 0.5 / std::tan(0.5 * fieldOfView_);
    if (!AllFinite({point.x, point.y, point.z, distance}))
        return _SetErrPosn(StatusCode::BadState, kFarView);
    viewer_.StartMotion(point, {static_cast<float>(elevation), 0, static_cast<float>(azimuth)},
                        static_cast<float>(distance), rate, type, frameClock_.Now());
    return DrawFrame(live);
}

Status Simulator::PlaceByOrientation(const Vec3f& position, const Attitude& attitude, bool draw) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (!AllFinite({position.x, position.y, position.z, attitude.pitch, attitude.roll,
                    attitude.heading})) {
        return _SetErrPosn(StatusCode::BadState, kNotFinitePlace);
    }
    viewer_.PlaceByOrientation(position, attitude);
    controlsLive_ = draw;
    return draw ? DrawFrame(false) : Status(StatusCode::Ok);
}

Status Simulator::PlaceByLookAt(const Vec3f& position, const Vec3f& target, bool draw) {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (!AllFinite({position.x, position.y, position.z, target.x, target.y, target.z,
                    Length(target - position)})) {
        return _SetErrPosn(StatusCode::BadState, kNotFinitePlace);
    }
    viewer_.PlaceByLookAt(position, target);
    controlsLive_ = draw;
    return draw ? DrawFrame(false) : Status(StatusCode::Ok);
}

Status Simulator::MapToScene(const Vec3d& map, Vec3f& scene) const {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::BadState);
    return scene_->MapToScene(map, exaggeration_, scene);
}

Status Simulator::SceneToMap(const Vec3f& scene, Vec3d& map) const {
    if (!initialised_) return _SetErrPosn(StatusCode::NotInitialised);
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::BadState);
    return scene_->SceneToMap(scene, exaggeration_, map);
}

bool Simulator::Settled() const {
    return scene_ == nullptr || scene_->Settled();
}

std::optional<GroundPoint> Simulator::PickGround(int view, int x, int y) const {
    if (!View::Exists(view) || !IsLandscapeReady(ReadyLevel::Terrain)) return std::nullopt;
    const ViewPicture& picture = cycle_.Picture(view);
    if (x < 0 || y < 0 || x >= picture.width || y >= picture.height) return std::nullopt;
    const Vec3f along = RayThrough(picture, x, y);
    GroundPoint point;
    if (view == View::kMap) {
        if (!(along.z < 0)) return std::nullopt;
        point.scene = picture.eye + along * (-picture.eye.z / along.z);
        point.scene.z = scene_->FirstLayer(point.scene.x, point.scene.y) * exaggeration_;
        if (!SceneToMap(point.scene, point.map).Good()) return std::nullopt;
        return point;
    }
    const float reach = std::max(Length(picture.lookAt - picture.eye), 1.0F);
    if (!scene_->Reference().PickPoint(picture.eye, picture.eye + along * reach, point.map,
                                       false) ||
        !MapToScene(point.map, point.scene).Good()) {
        return std::nullopt;
    }
    return point;
}

CursorMode Simulator::OnMouse(int view, int x, int y, bool left, bool right) {
    if (!View::Exists(view)) return CursorMode::Default;
    const bool released = mouse_.left && !left;
    const bool pressed = left && !mouse_.left;
    const bool grabbing = mouse_.grabbing && view == mouse_.view;
    mouse_ = {view, x, y, left, right, grabbing && left};
    if (toolMode_ != ToolMode::Viewpoint) {
        mouse_.grabbing = false;
        if (toolMode_ == ToolMode::PointOfInterest && left) StepPoi(pressed);
        if (toolMode_ == ToolMode::Atlas && view == View::kMain && released && placeSink_) {
            if (const auto place = PickGround(view, x, y)) placeSink_(*place);
        }
        return CursorMode::Default;
    }
    if (view != View::kMap) {
        if (released) StepMouse(false);
        return CursorMode::Default;
    }
    const std::optional<GroundPoint> ground = PickGround(view, x, y);
    const bool near = ground.has_value() && NearViewer(*ground);
    if (pressed) mouse_.grabbing = near;
    // While the button stays down the frames step, so that a busy mouse doesn't.
    if (pressed || released) StepMouse(mouse_.grabbing || grabbing);
    return near || grabbing || mouse_.grabbing ? CursorMode::Grab : CursorMode::Default;
}

bool Simulator::NearViewer(const GroundPoint& ground) const {
    const Vec3f away = ground.scene - viewer_.Position();
    return std::hypot(away.x, away.y) < scene_->LongerSide() * settings::MapExtents * kGrabShare;
}

void Simulator::StepMouse(bool grabbing) {
    const std::optional<GroundPoint> ground = PickGround(mouse_.view, mouse_.x, mouse_.y);
    if (!ground.has_value()) return;
    if (grabbing) {
        viewer_.DragTo(ground->scene.x, ground->scene.y);
    } else {
        viewer_.LookTowards(ground->scene);
    }
}

void Simulator::StepPoi(bool pressed) {
    // Looking for the ground of a perspective takes time: done only where it is asked for.
    const bool onGround = pressed || mouse_.view == View::kMap;
    std::optional<Vec3f> ground;
    if (onGround) {
        if (const auto found = PickGround(mouse_.view, mouse_.x, mouse_.y)) ground = found->scene;
    }
    pois_.Drag({mouse_.view, mouse_.x, mouse_.y, pressed}, ground, Picture(mouse_.view));
}

}  // namespace tarnvale

#include "simulator/framecycle.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "base/settings.h"
#include "simulator/mapgrid.h"
#include "simulator/poicontrol.h"
#include "terrain/viewpyramid.h"

namespace tarnvale {

namespace {

constexpr float kNearPlane = 10;
constexpr float kFarReach = 5.5F;  // times the farthest corner
constexpr float kMapReach = 1.5F;  // times the map eye's height
constexpr float kClearance = 5 * kNearPlane;
constexpr float kWidestPyramid = 90;  // degrees of view; beyond it a picture may be wider

// Nobody misses the picture of a view that is minimised or hidden.
bool Wanted(const ViewSystems& systems, int view) {
    return systems[view] != nullptr && systems[view]->IsVisible();
}

// Whether the sky can't be seen through any of it.
bool Solid(const RenderMeshBatch& batch) {
    return std::ranges::all_of(batch, [](const RenderMesh* mesh) {
        return mesh->texture != nullptr && mesh->texture->Opaque();
    });
}

}  // namespace

/// Adds the time of its life to a sum, where timing is on.
class FrameCycle::Stopwatch {
public:
    Stopwatch(bool on, double& sum) : sum_(on ? &sum : nullptr) {
        if (on) start_ = std::chrono::steady_clock::now();
    }
    ~Stopwatch() {
        if (sum_ == nullptr) return;
        *sum_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

private:
    double* sum_;
    std::chrono::steady_clock::time_point start_;
};

/// Holds what a view's pass borrows, and gives it back however the pass ends: the observer and the
/// graphics system are on loan, and the custom view moves the viewer.
class FrameCycle::Pass {
public:
    Pass(FrameCycle& cycle, GraphicsSystem* graphics, Viewer& viewer)
        : cycle_(cycle), viewer_(viewer), saved_(viewer) {
        cycle_.graphics_ = graphics;
    }
    ~Pass() {
        viewer_ = saved_;
        cycle_.graphics_ = nullptr;
        cycle_.texture_ = nullptr;
        cycle_.watching_ = nullptr;
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

private:
    FrameCycle& cycle_;
    Viewer& viewer_;
    const Viewer saved_;
};

const ViewPicture& FrameCycle::Picture(int view) const {
    static const ViewPicture none;
    return View::Exists(view) ? pictures_[view] : none;
}

Vec3f RayThrough(const ViewPicture& picture, int x, int y) {
    const Vec3f forward = Normalized(picture.lookAt - picture.eye);
    const Vec3f right = Normalized(Cross(forward, picture.up));
    const Vec3f up = Cross(right, forward);
    const double half = std::tan(picture.fieldOfView * 0.008726646259971648);  // pi / 360
    const double across = (2 * (x + 0.5) - picture.width) / picture.height;
    const double above = 1 - 2 * (y + 0.5) / picture.height;
    return forward + right * static_cast<float>(across * half) +
           up * static_cast<float>(above * half);
}

void FrameCycle::DrawEmpty(const ViewSystems& systems) {
    RenderCamera camera;
    camera.lookAt.z = 1;
    camera.up.y = 1;
    camera.fieldOfView = ViewCameras::kFieldOfView;
    camera.nearPlane = 1;
    camera.farPlane = 2;
    for (int view = 0; view < View::kCount; ++view) {
        if (!Wanted(systems, view)) continue;
        int width = 0, height = 0;
        systems[view]->BeginView(camera, width, height, FramePass::Full);
        // A failing device is no concern of the frame cycle: the next frame tries again.
        (void)systems[view]->EndFrame();
    }
}

Status FrameCycle::Draw(const FrameScene& frame) {
    times_ = {};
    const Stopwatch watch(true, times_.total);
    wireframe_ = settings::Wireframe.Get();
    Status result = StatusCode::Ok;
    for (int view = 0; view < View::kCount; ++view) {
        if (!Wanted(frame.systems, view)) continue;
        const Pass pass(*this, frame.systems[view], frame.viewer);
        if (view == View::kCustom) frame.viewer.Advance(frame.cameras.custom.offset);
        DrawView(frame, view, result);
    }
    return result;
}

void FrameCycle::DrawView(const FrameScene& frame, int view, Status& result) {
    const Vec3f position = frame.viewer.Position();
    CameraSurroundings around;
    around.sceneBox = frame.scene.WholeBox();
    around.exaggeration = frame.exaggeration;
    around.northAtViewer = frame.northAtViewer;
    if (view == View::kVertical)
        around.groundUnderViewer = frame.scene.FirstLayer(position.x, position.y);
    if (view == View::kMap) {
        const int width = graphics_->GetClientWidth(), height = graphics_->GetClientHeight();
        if (width > 0 && height > 0)
            around.aspect = static_cast<float>(width) / static_cast<float>(height);
        around.northAtCentre =
            frame.scene.NorthDegrees(static_cast<float>(around.sceneBox.CentreX()),
                                     static_cast<float>(around.sceneBox.CentreY()));
        mapWidth_ = static_cast<float>(ViewCameras::MapWidth(around));
    }
    camera_ = {};
    frame.cameras.Compute(view, frame.viewer, around, camera_);
    frame.scene.SetFieldOfView(camera_.fieldOfView);
    SetPlanes(frame, view);
    BeginViewPass(view);

    ground_.reset();
    graphics_->SetAlphaTest(true);
    const auto& layers = frame.scene.Layers();
    for (int i = 0; i < static_cast<int>(layers.size()); ++i) {
        DrawLayer(*layers[i], view, i, frame.exaggeration, result);
    }
    graphics_->SetModelMatrix(layers.front()->placement.Matrix());
    graphics_->SetAlphaTest(false);
    // A backdrop, so it looks as if it had been drawn first, but fills only what the terrain
    // leaves.
    DrawSky(frame, view);
    RenderMesh& scratch = graphics_->ScratchMesh();
    scratch.wireframe = false;
    scratch.texture = nullptr;
    if (view == View::kMap) {
        // What follows lies over the map, whatever its height.
        int width = 0, height = 0;
        graphics_->BeginView(camera_, width, height, FramePass::Overlay);
    }
    frame.pois.Draw(*graphics_, camera_, view);
    EndViewPass(frame, view);
}

void FrameCycle::SetPlanes(const FrameScene& frame, int view) {
    float reach = 0;
    if (view == View::kMap) {
        reach = camera_.eye.z * kMapReach;
        camera_.overrideFog = true;
        camera_.fogOn = false;
    } else {
        Box box = frame.scene.VisibleBox(view);
        if (box.Empty()) box = frame.scene.WholeBox();
        box.zMin *= frame.exaggeration;
        box.zMax *= frame.exaggeration;
        reach = static_cast<float>(box.FarthestCorner(frame.viewer.Position()));
    }
    camera_.nearPlane = kNearPlane;
    camera_.farPlane = std::max(reach * kFarReach, kNearPlane * 2);
}

void FrameCycle::BeginViewPass(int view) {
    const Stopwatch watch(timing_, times_.draw);
    ViewPicture& picture = pictures_[view];
    graphics_->BeginView(camera_, picture.width, picture.height, FramePass::Full);
    picture.eye = camera_.eye;
    picture.lookAt = camera_.lookAt;
    picture.up = camera_.up;
    picture.fieldOfView = camera_.fieldOfView;
}

void FrameCycle::DrawSky(const FrameScene& frame, int view) {
    if (!settings::Sky.Get() || view == View::kMap || frame.sky == nullptr) return;
    const Stopwatch watch(timing_, times_.draw);
    const ViewPicture& picture = pictures_[view];
    const bool wide = camera_.fieldOfView <= kWidestPyramid && picture.height > 0;
    ViewPyramid seen;
    if (wide) {
        seen.Build(camera_.eye, camera_.lookAt, camera_.up, camera_.fieldOfView,
                   static_cast<float>(picture.width) / static_cast<float>(picture.height));
    }
    frame.sky->Draw(
        *graphics_, view, frame.viewer.Position(),
        ground_.has_value() && camera_.eye == frame.viewer.Position() ? &*ground_ : nullptr,
        wide ? &seen : nullptr);
}

void FrameCycle::DrawLayer(TerrainLayer& layer, int view, int index, float exaggeration,
                           Status& result) {
    const ViewPicture& picture = pictures_[view];
    const std::vector<IntRect>& regions = layer.extents[view];
    if (picture.width <= 0 || picture.height <= 0) return;
    const RenderCamera whole = camera_;
    if (index > 0) {
        graphics_->SetModelMatrix(layer.placement.Matrix());
        camera_.eye = layer.placement.ToLayer(whole.eye);
        camera_.lookAt = layer.placement.ToLayer(whole.lookAt);
        camera_.up = layer.placement.ToLayer(whole.up) - layer.placement.ToLayer({});
    }
    const bool relief = view != View::kMap;
    bool drawable = !regions.empty();
    if (relief && drawable) {
        watching_ = observer_;
        if (watching_ != nullptr) {
            FlushForObserver();
            watching_->OnLayerBegin(view, index, camera_, picture.width, picture.height, regions);
        }
        const Stopwatch watch(timing_, times_.select);
        ViewPyramid pyramid;
        pyramid.Build(camera_.eye, camera_.lookAt, camera_.up, camera_.fieldOfView,
                      static_cast<float>(picture.width) / static_cast<float>(picture.height));
        drawable =
            layer.terrain->Update(camera_, pyramid, picture.width, picture.height, regions).Good();
    }
    if (drawable) {
        for (int i = 0; i < static_cast<int>(layer.textures.size()); ++i) {
            if (!layer.textures[i].visible[view]) continue;
            const Status drawn = DrawTexture(layer, view, i, exaggeration);
            if (!relief) continue;
            result = drawn;
            if (index == 0 && drawn.Good() && solid_ && !ground_.has_value())
                NoteGround(layer, layer.textures[i], exaggeration);
        }
    }
    if (watching_ != nullptr) {
        FlushForObserver();
        watching_->OnLayerEnd(view, index);
    }
    watching_ = nullptr;
    camera_ = whole;
}

void FrameCycle::FlushForObserver() {
    const Stopwatch watch(timing_, times_.draw);
    graphics_->Flush();
}

Status FrameCycle::DrawTexture(TerrainLayer& layer, int view, int index, float exaggeration) {
    const ViewPicture& picture = pictures_[view];
    TextureLayer& texture = layer.textures[index];
    TextureModel* model = texture.models[view].get();
    if (wireframe_ || (model != nullptr && !model->IsOpen())) model = nullptr;
    if (model != nullptr) model->SetView(camera_, picture.width, picture.height);

    texture_ = model;
    solid_ = model != nullptr;
    textureIndex_ = index;
    Status drawn = StatusCode::Ok;
    if (view == View::kMap) {
        verticalOffset_ = 0;
        drawn = DrawMapGrid(*layer.terrain, camera_.eye, picture.width, picture.height, mapGrid_,
                            *this);
    } else {
        verticalOffset_ = texture.verticalOffset * exaggeration;
        const double caused = times_.prepare + times_.draw;
        double spent = 0;
        {
            const Stopwatch watch(timing_, spent);
            drawn = layer.terrain->Draw(*this, texture.bounds);
        }
        times_.mesh += spent - (times_.prepare + times_.draw - caused);
    }
    texture_ = nullptr;

    if (model != nullptr) {
        {
            const Stopwatch watch(timing_, times_.service);
            model->Service();
        }
        if (watching_ != nullptr) watching_->OnService(index);
    }
    return drawn;
}

void FrameCycle::NoteGround(const TerrainLayer& layer, const TextureLayer& texture,
                            float exaggeration) {
    const TerrainModel& terrain = *layer.terrain;
    const float raise = texture.verticalOffset * exaggeration;
    // What is nearer than the near plane is cut away, and through the cut the sky can be seen.
    const float above =
        camera_.eye.z - terrain.NearestElevation(camera_.eye.x, camera_.eye.y) * exaggeration;
    if (above - raise < kClearance) return;
    // From sample to sample; a cell within, so that the drawn edge counts.
    const IntRect& cells = texture.bounds;
    Vec3f first{static_cast<float>(cells.x0 + 1), static_cast<float>(cells.y1 - 1), 0};
    Vec3f last{static_cast<float>(cells.x1 - 1), static_cast<float>(cells.y0 + 1), 0};
    terrain.GridToWorld(first);
    terrain.GridToWorld(last);
    if (camera_.eye.x < first.x || camera_.eye.x > last.x || camera_.eye.y < first.y ||
        camera_.eye.y > last.y) {
        return;
    }
    ground_ = {first.x, first.y, last.x, last.y, terrain.MinimumElevation() * exaggeration + raise};
}

void FrameCycle::EndViewPass(const FrameScene& frame, int view) {
    const Stopwatch watch(timing_, times_.draw);
    if (pictures_[view].width > 0 && pictures_[view].height > 0) {
        if (view == View::kMap) DrawLocator(frame);
        if (view == View::kMain && settings::Compass.Get()) DrawCompass(frame);
    }
    if (view != View::kMap) DrawVeil(frame);
    RenderMesh& scratch = graphics_->ScratchMesh();
    scratch.colour = COLOR::Plain();
    scratch.wireframe = true;
    scratch.texture = nullptr;
    (void)graphics_->EndFrame();
}

void FrameCycle::DrawCompass(const FrameScene& frame) {
    const ViewPicture& picture = pictures_[View::kMain];
    const Axes& axes = frame.viewer.FlightAxes();
    compass_.Draw(
        *graphics_, camera_, static_cast<float>(picture.width) / static_cast<float>(picture.height),
        {frame.viewer.Position(), axes.right, axes.forward, axes.up, frame.northAtViewer});
}

void FrameCycle::DrawLocator(const FrameScene& frame) {
    LocatorScene shown;
    shown.viewer = frame.viewer.Position();
    shown.lookAt = frame.viewer.LookAt();
    shown.forward = frame.viewer.SideAxes().forward;
    shown.beyond = frame.scene.LongerSide() * settings::MapExtents * 0.01F;
    shown.unit = mapWidth_ * MapLocator::kPixels / static_cast<float>(pictures_[View::kMap].height);
    Vec3d map;
    Vec3f ground;
    if (frame.scene.Reference().PickPoint(shown.viewer, shown.lookAt, map, false) &&
        frame.scene.MapToScene(map, frame.exaggeration, ground).Good()) {
        shown.centre = ground;
    }
    locator_.Draw(*graphics_, camera_, shown);
}

void FrameCycle::DrawVeil(const FrameScene& frame) {
    const Vec3f eye = frame.viewer.Position();
    if (eye.z >= frame.scene.FirstLayer(eye.x, eye.y) * frame.exaggeration) return;
    RenderMesh& scratch = graphics_->ScratchMesh();
    scratch.Clear();
    scratch.kind = PrimitiveKind::List;
    scratch.wireframe = false;
    // Without any extent: it brings a system back to drawing plain surfaces.
    for (int i = 0; i < 3; ++i) scratch.vertices.Append(Vec3f{});
    graphics_->DrawMeshes(graphics_->ScratchBatch());
    scratch.Clear();
    graphics_->DrawSubterrainVeil();
}

void FrameCycle::DrawTerrainMesh(TerrainPrimitive& mesh) {
    if (mesh.vertices.Count() <= 2) return;
    if (watching_ != nullptr || timing_) {
        DrawWatched(mesh);
        return;
    }
    if (verticalOffset_ != 0) Raise(mesh);
    const RenderMeshBatch& batch = texture_ != nullptr ? texture_->Prepare(mesh) : PlainBatch(mesh);
    if (solid_) solid_ = Solid(batch);
    graphics_->DrawMeshes(batch);
}

void FrameCycle::DrawWatched(TerrainPrimitive& mesh) {
    if (watching_ != nullptr) watching_->OnPrimitive(textureIndex_, mesh);
    if (timing_) ++times_.primitives;
    if (verticalOffset_ != 0) Raise(mesh);
    const RenderMeshBatch* batch = nullptr;
    {
        const Stopwatch watch(timing_, times_.prepare);
        batch = texture_ != nullptr ? &texture_->Prepare(mesh) : &PlainBatch(mesh);
    }
    if (watching_ != nullptr) watching_->OnBatch(textureIndex_, *batch);
    if (solid_) solid_ = Solid(*batch);
    const Stopwatch watch(timing_, times_.draw);
    graphics_->DrawMeshes(*batch);
}

void FrameCycle::Raise(TerrainPrimitive& mesh) const {
    for (Vec3f& vertex : mesh.vertices) vertex.z += verticalOffset_;
}

const RenderMeshBatch& FrameCycle::PlainBatch(const TerrainPrimitive& mesh) {
    RenderMesh& scratch = graphics_->ScratchMesh();
    scratch.Clear();
    scratch.kind = mesh.kind;
    scratch.vertices.Append(mesh.vertices.Span());
    scratch.wireframe = wireframe_;
    return graphics_->ScratchBatch();
}

}  // namespace tarnvale

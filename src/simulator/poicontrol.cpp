#include "simulator/poicontrol.h"

#include <cmath>
#include <utility>

#include "simulator/viewtitle.h"

namespace tarnvale {

namespace {

constexpr float kFarthest = 1e8F;  // scene units: beyond it floats can't tell where a view looks

bool IsPlace(const Vec3f& scene) {
    return std::abs(scene.x) <= kFarthest && std::abs(scene.y) <= kFarthest;
}

}  // namespace

namespace {

constexpr float kAlongPerPixel = 0.01F;  // of the way from the eye

}  // namespace

PoiControl::PoiControl(const std::unique_ptr<Scene>& scene, const Viewer& viewer,
                       ViewCameras& cameras)
    : scene_(scene), viewer_(viewer), cameras_(cameras) {
    shown_.fill(true);
}

Status PoiControl::CreatePOIView(int view, int marker) {
    if (!View::IsPoi(view) || marker < 0 || marker >= SIMPOISET::kMarkers)
        return _SetErrPosn(StatusCode::BadState);
    Point& point = points_[IndexOf(view)];
    if (!std::exchange(point.exists, true)) (void)GetViewTitle(view, point.name);
    slots_.SetMarker(view, marker);
    unsaved_[IndexOf(view)] = true;
    return StatusCode::Ok;
}

void PoiControl::DeletePOI(int view) {
    if (!Exists(view)) return;
    slots_.SetMarker(view, 0);
    points_[IndexOf(view)] = {};
    unsaved_[IndexOf(view)] = false;
    cameras_.SetTarget(view, std::nullopt);
    if (current_ == view) current_ = kNone;
}

bool PoiControl::Exists(int view) const {
    return View::IsPoi(view) && points_[IndexOf(view)].exists;
}

std::optional<int> PoiControl::FreeView() const {
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        if (!Exists(view)) return view;
    }
    return std::nullopt;
}

Status PoiControl::SetPOIColor(int view, const COLOR& color) {
    if (!View::IsPoi(view)) return _SetErrPosn(StatusCode::BadState);
    slots_.SetColor(view, color);
    unsaved_[IndexOf(view)] = true;
    return StatusCode::Ok;
}

Status PoiControl::SetPOIPosition(int view, double x, double y) {
    if (!View::IsPoi(view) || scene_ == nullptr) return _SetErrPosn(StatusCode::BadState);
    Vec3f place;
    if (const Status converted = scene_->MapToScene({x, y, 0}, 1, place); !converted.Good())
        return converted;
    if (!IsPlace(place)) return _SetErrPosn(StatusCode::BadState);
    MoveTo(view, place);
    return StatusCode::Ok;
}

void PoiControl::MoveTo(int view, const Vec3f& place) {
    slots_.SetPosition(view, place.x, place.y);
    // The only terrain that the mouse finds and map coordinates belong to.
    slots_.SetTerrain(view, &scene_->Reference());
    cameras_.SetTarget(view, Vec3f{place.x, place.y, slots_.GroundHeight(view)});
    unsaved_[IndexOf(view)] = true;
}

Status PoiControl::GetPOIPosition(int view, Vec3d& map) const {
    Vec3f place;
    if (const Status got = slots_.GetPosition(view, place); !got.Good()) return got;
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::BadState);
    place.z = slots_.GroundHeight(view);
    return scene_->SceneToMap(place, 1, map);
}

void PoiControl::SetPOIName(int view, std::string name) {
    if (!Exists(view)) return;
    points_[IndexOf(view)].name = std::move(name);
    unsaved_[IndexOf(view)] = true;
}

const std::string& PoiControl::POIName(int view) const {
    static const std::string none;
    return Exists(view) ? points_[IndexOf(view)].name : none;
}

Status PoiControl::GetViewerMapPosition(double& x, double& y) const {
    if (scene_ == nullptr) return _SetErrPosn(StatusCode::BadState);
    Vec3d map;
    const Status converted = scene_->SceneToMap(viewer_.Position(), 1, map);
    if (!converted.Good()) return converted;
    x = map.x;
    y = map.y;
    return StatusCode::Ok;
}

void PoiControl::SetCurrentPOIView(int view) {
    current_ = Exists(view) ? view : kNone;
}

void PoiControl::ShowMarkers(int view, bool shown) {
    if (View::Exists(view)) shown_[static_cast<std::size_t>(view)] = shown;
}

bool PoiControl::MarkersShown(int view) const {
    return View::Exists(view) && shown_[static_cast<std::size_t>(view)];
}

bool PoiControl::HasUnsaved() const {
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        if (Exists(view) && unsaved_[IndexOf(view)]) return true;
    }
    return false;
}

void PoiControl::Drag(const Step& step, const std::optional<Vec3f>& ground,
                      const ViewPicture& picture) {
    if (current_ == kNone || scene_ == nullptr) return;
    Vec3f target;
    if (!slots_.GetPosition(current_, target).Good()) return;
    const bool known = step.x != -1 && step.y != -1;
    const Step last = last_;
    if (known) last_ = step;

    if (step.pressed || (step.view == View::kMap && step.view != current_)) {
        if (ground.has_value()) MoveTo(current_, *ground);
        return;
    }
    const bool moved = known && last.view == step.view && (step.x != last.x || step.y != last.y);
    if (step.view == current_ || !moved) return;
    Vec3f away = target - picture.eye;
    away.z = 0;
    away += away * (kAlongPerPixel * static_cast<float>(last.y - step.y));
    if (step.x != last.x) {
        const Vec3f ray = RayThrough(picture, step.x, step.y);
        const Vec3f flat{ray.x, ray.y, 0};
        if (Length(flat) > 0) away = Normalized(flat) * Length(away);
    }
    const Vec3f place = picture.eye + away;
    if (IsPlace(place)) MoveTo(current_, place);
}

void PoiControl::UnassignAll() {
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        slots_.SetMarker(view, 0);
        slots_.SetTerrain(view, nullptr);
        slots_.SetPosition(view, 0, 0);
        slots_.SetColor(view, SIMPOISET::FirstColor(view));
        cameras_.SetTarget(view, std::nullopt);
    }
    points_ = {};
    unsaved_.fill(false);
    current_ = kNone;
    last_ = {};
}

void PoiControl::TerrainsChanged() {
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        if (!Exists(view)) continue;
        Vec3f place;
        const bool known = slots_.GetPosition(view, place).Good();
        slots_.SetTerrain(view, &scene_->Reference());
        if (known) cameras_.SetTarget(view, Vec3f{place.x, place.y, slots_.GroundHeight(view)});
    }
}

void PoiControl::BeginFrame() {
    if (scene_ == nullptr) return;
    const Box& box = scene_->WholeBox();
    slots_.UpdateAxes(viewer_.Position(),
                      static_cast<float>((box.xMax - box.xMin) + (box.yMax - box.yMin)) *
                          SIMPOISET::kSymbolShare);
}

void PoiControl::Draw(GraphicsSystem& graphics, const RenderCamera& camera, int view) {
    if (MarkersShown(view)) slots_.Draw(graphics, camera, view);
}

}  // namespace tarnvale

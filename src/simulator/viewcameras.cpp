#include "simulator/viewcameras.h"

#include <algorithm>
#include <cmath>

#include "base/settings.h"

namespace tarnvale {

namespace {

constexpr float kLeastCustomField = 5;  // degrees
constexpr double kRadians = 0.017453292519943295;

// Where two directions are so nearly one that no picture could be built, a neighbouring one serves.
void MakeUsable(RenderCamera& camera) {
    Vec3f along = camera.lookAt - camera.eye;
    if (!(Length(along) > 0)) {
        along = {0, 1, 0};
        camera.lookAt = camera.eye + along;
        if (camera.lookAt == camera.eye) {
            // far from the origin a unit is lost in the eye's own coordinates
            along.y = std::max(1.0F, std::abs(camera.eye.y) * 1e-3F);
            camera.lookAt = camera.eye + along;
        }
    }
    const auto lost = [&](const Vec3f& up) {
        return !(Length(Cross(Normalized(along), Normalized(up))) > 1e-6F);
    };
    for (const Vec3f other : {Vec3f{0, 0, 1}, Vec3f{0, 1, 0}}) {
        if (lost(camera.up)) camera.up = other;
    }
}

// Held at least `margin` inside both ends; in the middle where there is no room.
float HoldInside(double value, double low, double high, double margin) {
    if (high - low <= 2 * margin) return static_cast<float>((low + high) * 0.5);
    return static_cast<float>(std::clamp(value, low + margin, high - margin));
}

Vec3f Flat(const Vec3f& direction) {
    return Normalized(Vec3f{direction.x, direction.y, 0});
}

}  // namespace

void ViewCameras::SetTarget(int view, std::optional<Vec3f> target) {
    if (View::IsPoi(view)) targets_[view - View::kFirstPoi] = target;
}

void ViewCameras::Compute(int view, const Viewer& viewer, const CameraSurroundings& around,
                          RenderCamera& camera) const {
    const Vec3f position = viewer.Position();
    const Axes& axes = viewer.SideAxes();
    const float distance = viewer.ViewDistance();
    camera.eye = position;
    camera.up = axes.up;
    camera.fieldOfView = kFieldOfView;
    switch (view) {
        case View::kLeft:
            camera.lookAt = position - distance * axes.right;
            break;
        case View::kRight:
            camera.lookAt = position + distance * axes.right;
            break;
        case View::kRear:
            camera.lookAt = position - distance * axes.forward;
            break;
        case View::kUp:
            camera.lookAt = position + distance * axes.up;
            camera.up = -axes.forward;
            break;
        case View::kDown:
            camera.lookAt = position - distance * axes.up;
            camera.up = axes.forward;
            break;
        case View::kVertical:
            camera.lookAt = {position.x, position.y,
                             around.groundUnderViewer * around.exaggeration};
            camera.up = Flat(axes.forward);
            break;
        case View::kMap:
            ComputeMap(viewer, around, camera);
            break;
        case View::kCustom:
            ComputeCustom(viewer, camera);
            break;
        case View::kMain:
            camera.lookAt = viewer.LookAt();
            camera.up = viewer.CameraUp();
            break;
        default: {
            const std::optional<Vec3f>& target = targets_[view - View::kFirstPoi];
            camera.lookAt = position + distance * axes.forward;
            if (target.has_value()) {
                camera.lookAt = {target->x, target->y, target->z * around.exaggeration};
                const Vec3f along = camera.lookAt - position;
                camera.up = Normalized(Cross(Cross(along, axes.up), along));
            }
        }
    }
    MakeUsable(camera);
}

double ViewCameras::MapWidth(const CameraSurroundings& around) {
    const Box& box = around.sceneBox;
    const double dx = box.xMax - box.xMin, dy = box.yMax - box.yMin;
    const double aspect = around.aspect;
    double width = 0;
    if (settings::MapViewOrientationNorth.Get()) {
        const double s = std::abs(std::sin(around.northAtCentre * kRadians));
        const double c = std::abs(std::cos(around.northAtCentre * kRadians));
        width = dx <= aspect * dy ? s * dx + c * dy : s * dy + c * dx / aspect;
    } else {
        width = std::sqrt(dx * dx + dy * dy);
        if (aspect < 1) width /= aspect;
    }
    return width * (settings::MapExtents * 0.01);
}

void ViewCameras::ComputeMap(const Viewer& viewer, const CameraSurroundings& around,
                             RenderCamera& camera) {
    const Box& box = around.sceneBox;
    const double width = MapWidth(around);
    camera.eye.x = static_cast<float>(box.CentreX());
    camera.eye.y = static_cast<float>(box.CentreY());
    if (settings::MapExtents < 100) {
        camera.eye.x = HoldInside(viewer.Position().x, box.xMin, box.xMax, 0.35 * width);
        camera.eye.y = HoldInside(viewer.Position().y, box.yMin, box.yMax, 0.35 * width);
    }
    camera.eye.z = static_cast<float>(width / (2 * std::tan(kFieldOfView * kRadians * 0.5)) * 1.02);
    camera.lookAt = {camera.eye.x, camera.eye.y, 0};
    if (settings::MapViewOrientationNorth.Get()) {
        const double north = around.northAtViewer * kRadians;
        camera.up = {static_cast<float>(-std::sin(north)), static_cast<float>(std::cos(north)), 0};
    } else {
        camera.up = Flat(viewer.SideAxes().forward);
    }
}

void ViewCameras::ComputeCustom(const Viewer& viewer, RenderCamera& camera) const {
    camera.fieldOfView = std::fmax(kLeastCustomField, std::fmin(custom.fieldOfView, kFieldOfView));
    Vec3f along = viewer.LookAt() - viewer.Position();
    Vec3f up = Normalized(viewer.CameraUp());  // flat, and shorter, in the vertical look
    Vec3f right = Normalized(Cross(Normalized(along), up));
    right = RotateAbout(right, up, custom.yaw);
    along = RotateAbout(along, up, custom.yaw);
    up = RotateAbout(up, Normalized(along), custom.roll);
    along = RotateAbout(along, right, custom.pitch);
    up = RotateAbout(up, right, custom.pitch);
    camera.up = Normalized(up);
    camera.lookAt = viewer.Position() + along;
}

}  // namespace tarnvale

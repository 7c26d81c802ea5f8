#include "simulator/viewer.h"

#include <cmath>

namespace tarnvale {

namespace {

constexpr float kLookTolerance = 1e-3F;  // of the view distance

bool AnyOf(float a, float b, float c) {
    return a != 0 || b != 0 || c != 0;
}

}  // namespace

void Viewer::Step(const FlightInput& input, const FlightConditions& conditions) {
    const float lockedZ = position_.z;
    altitudeLocked_ = input.altitudeLock;
    if (motion_.firstFrames) {
        ++motionFrames_;
        motion_.throttleBaseline = input.speed;
        if (motionFrames_ >= 4) {
            motion_.firstFrames = false;
            motionFrames_ = 3;
        }
    }
    if (conditions.mouseHeld) motion_.rate = 0;
    if (WantsManual(input)) {
        FlyManually(input);
        motion_.rate = 0;
    } else {
        FlyAutomatically(conditions);
    }
    LimitHeight(input, conditions, lockedZ);
    if (input.rollZero) {
        flight_.roll = 0;
        axes_ = AxesFromAttitude(flight_);
        cameraUp_ = axes_.up;
    }
    sideAxes_ = axes_;
    ApplyLookDirection(input.lookFlags, conditions);
}

// A throttle that was open when a motion began doesn't end it; moving it does, and so does every
// other control.
bool Viewer::WantsManual(const FlightInput& input) const {
    return motion_.rate == 0 || input.speed != motion_.throttleBaseline ||
           AnyOf(input.worldMove[0], input.worldMove[1], input.altitude) ||
           AnyOf(input.slide, input.verticalSlide, 0) ||
           AnyOf(input.worldTurn[0], input.worldTurn[1], input.worldTurn[2]) ||
           AnyOf(input.pitch, input.roll, input.turn);
}

void Viewer::FlyManually(const FlightInput& input) {
    if (AnyOf(input.worldMove[0], input.worldMove[1], input.altitude)) {
        MoveWorld(input.worldMove[0], input.worldMove[1], input.altitude);
    }
    if (AnyOf(input.slide, input.forward, input.verticalSlide)) {
        MoveBody(input.slide, input.forward, input.verticalSlide);
    }
    if (AnyOf(input.worldTurn[0], input.worldTurn[1], input.worldTurn[2])) {
        TurnWorld(input.worldTurn[0], input.worldTurn[1], input.worldTurn[2]);
    }
    if (AnyOf(input.pitch, input.roll, input.turn)) TurnBody(input.pitch, input.roll, input.turn);
}

void Viewer::FlyAutomatically(const FlightConditions& conditions) {
    if (motion_.type == static_cast<std::int32_t>(MotionType::Orbit)) {
        lookAt_ = position_ + distance_ * axes_.forward;
        const double turned = (conditions.now - motion_.startTime) * motion_.rate;
        flight_.heading = WrapDegrees(static_cast<float>(motion_.startHeading + turned));
        shown_.heading = flight_.heading;
        axes_ = AxesFromAttitude(flight_);
        position_ = lookAt_ - distance_ * axes_.forward;
    } else if (motion_.type == static_cast<std::int32_t>(MotionType::TurnOnTheSpot)) {
        if (conditions.frameRate > 0) {
            TurnWorld(0, 0, static_cast<float>(-motion_.rate / conditions.frameRate));
        }
    }
}

void Viewer::LimitHeight(const FlightInput& input, const FlightConditions& conditions,
                         float lockedZ) {
    if (input.altitudeLock) {
        lookAt_.z += lockedZ - position_.z;
        position_.z = lockedZ;
        return;
    }
    if ((!input.useMinimumHeight && !input.useMaximumHeight) || conditions.ground == nullptr)
        return;
    const float ground = conditions.ground->LastLayer(position_.x, position_.y);
    const auto moveTo = [this](float z) {
        lookAt_.z += z - position_.z;
        position_.z = z;
    };
    const float lowest = (ground + input.minimumHeight) * conditions.exaggeration;
    if (input.useMinimumHeight && lowest > position_.z) moveTo(lowest);
    const float highest = (ground + input.maximumHeight) * conditions.exaggeration;
    if (input.useMaximumHeight && highest < position_.z) moveTo(highest);
}

void Viewer::ApplyLookDirection(std::int16_t flags, const FlightConditions& conditions) {
    const Vec3f right = axes_.right, forward = axes_.forward, up = axes_.up;
    if ((flags & LookFlag::kDown) != 0) {
        lookAt_ = position_ - distance_ * up;
        cameraUp_ = forward;
        shown_ = AttitudeFromAxes({right, -up, forward});
    } else if ((flags & LookFlag::kRight) != 0) {
        lookAt_ = position_ + distance_ * right;
        cameraUp_ = up;
        shown_ = AttitudeFromAxes({-forward, right, up});
    } else if ((flags & LookFlag::kRear) != 0) {
        lookAt_ = position_ - distance_ * forward;
        cameraUp_ = up;
        shown_ = AttitudeFromAxes({-right, -forward, up});
    } else if ((flags & LookFlag::kLeft) != 0) {
        lookAt_ = position_ - distance_ * right;
        cameraUp_ = up;
        shown_ = AttitudeFromAxes({forward, -right, up});
    } else if ((flags & LookFlag::kUp) != 0) {
        lookAt_ = position_ + distance_ * up;
        cameraUp_ = -forward;
        shown_ = AttitudeFromAxes({right, up, -forward});
    } else if ((flags & LookFlag::kVertical) != 0) {
        const float ground = conditions.ground == nullptr
                                 ? 0.0F
                                 : conditions.ground->FirstLayer(position_.x, position_.y);
        lookAt_ = {position_.x, position_.y, ground * conditions.exaggeration};
        cameraUp_ = {forward.x, forward.y, 0};
        shown_ = AttitudeFromAxes({right, up, -forward});
    } else {
        AimAlong(axes_);
        shown_ = AttitudeFromAxes(axes_);
    }
}

void Viewer::AimAlong(const Axes& axes) {
    lookAt_ = position_ + distance_ * axes.forward;
    cameraUp_ = axes.up;
}

void Viewer::MoveWorld(float dx, float dy, float dz) {
    const Vec3f move{dx, dy, dz};
    position_ += move;
    lookAt_ += move;
}

void Viewer::MoveBody(float right, float forward, float up) {
    const Vec3f move = right * axes_.right + forward * axes_.forward + up * axes_.up;
    MoveWorld(move.x, move.y, move.z);
}

void Viewer::TurnWorld(float a, float b, float c) {
    for (Vec3f* axis : {&axes_.right, &axes_.forward, &axes_.up}) {
        *axis = RotateAbout(*axis, {1, 0, 0}, a);
        *axis = RotateAbout(*axis, {0, 1, 0}, b);
        *axis = RotateAbout(*axis, {0, 0, 1}, c);
    }
    EndTurn();
}

void Viewer::TurnBody(float pitch, float roll, float turn) {
    axes_.right = RotateAbout(axes_.right, axes_.forward, roll);
    axes_.right = RotateAbout(axes_.right, axes_.up, turn);
    axes_.forward = RotateAbout(axes_.forward, axes_.right, pitch);
    axes_.forward = RotateAbout(axes_.forward, axes_.up, turn);
    axes_.up = RotateAbout(axes_.up, axes_.right, pitch);
    axes_.up = RotateAbout(axes_.up, axes_.forward, roll);
    EndTurn();
}

void Viewer::EndTurn() {
    flight_ = AttitudeFromAxes(axes_);
    shown_ = flight_;
    AimAlong(axes_);
}

void Viewer::AttitudeFromLook() {
    const Vec3f along = lookAt_ - position_;
    distance_ = Length(along);
    if (distance_ == 0) distance_ = 1;
    const float roll = shown_.roll;
    shown_ = AttitudeOfDirection(along);
    shown_.roll = roll;
    cameraUp_ = AxesFromAttitude(shown_).up;
}

void Viewer::PlaceByOrientation(const Vec3f& position, const Attitude& attitude) {
    position_ = position;
    shown_ = attitude;
    flight_ = attitude;
    axes_ = AxesFromAttitude(attitude);
    sideAxes_ = axes_;
    AimAlong(axes_);
}

void Viewer::PlaceByLookAt(const Vec3f& position, const Vec3f& target) {
    const Vec3f along = target - position;
    const float distance = Length(along);
    position_ = position;
    if (!(distance > 0)) {
        AimAlong(axes_);
        return;
    }
    lookAt_ = target;
    distance_ = distance;
    axes_ = LevelAxes(Normalized(along));
    sideAxes_ = axes_;
    cameraUp_ = axes_.up;
    flight_ = AttitudeFromAxes(axes_);
    flight_.roll = 0;
    shown_ = flight_;
}

void Viewer::PlaceAtHome(const Vec3f& position, const Vec3f& target) {
    motion_.rate = 0;
    position_ = position;
    lookAt_ = target;
    shown_.roll = 0;
    AttitudeFromLook();
    axes_ = AxesFromAttitude(shown_);
    sideAxes_ = axes_;
    flight_ = shown_;
    home_ = target;
}

void Viewer::Recenter() {
    const Vec3f along = home_ - position_;
    lookAt_ = home_;
    if (Length(along) > 0) axes_ = LevelAxes(Normalized(along));
    distance_ = Length(along) > 0 ? Length(along) : 1.0F;
    sideAxes_ = axes_;
    cameraUp_ = axes_.up;
    flight_ = AttitudeFromAxes(axes_);
    flight_.roll = 0;
    shown_ = flight_;
}

void Viewer::LookTowards(const Vec3f& target) {
    const Vec3f along = target - position_;
    const float distance = Length(along);
    if (!(distance > 0)) return;
    const float roll = flight_.roll;
    lookAt_ = target;
    distance_ = distance;
    Axes axes;
    axes.forward = Normalized(along);
    axes.right = Cross(axes.forward, axes_.up);
    axes = Length(axes.right) > 0 ? Axes{Normalized(axes.right), axes.forward, {}}
                                  : LevelAxes(axes.forward);
    axes.up = Cross(axes.right, axes.forward);
    flight_ = AttitudeFromAxes(axes);
    flight_.roll = roll;
    shown_ = flight_;
    axes_ = AxesFromAttitude(flight_);
    cameraUp_ = axes_.up;
}

void Viewer::DragTo(float x, float y) {
    const Vec3f target = lookAt_;
    position_.x = x;
    position_.y = y;
    LookTowards(target);
}

void Viewer::StartMotion(const Vec3f& point, const Attitude& attitude, float distance, double rate,
                         std::int32_t type, float now) {
    shown_ = attitude;
    shown_.roll = 0;
    flight_ = shown_;
    axes_ = AxesFromAttitude(shown_);
    sideAxes_ = axes_;
    cameraUp_ = axes_.up;
    distance_ = distance > 0 ? distance : 1.0F;
    if (type == static_cast<std::int32_t>(MotionType::Orbit)) {
        lookAt_ = point;
        position_ = lookAt_ - distance_ * axes_.forward;
    } else {
        position_ = point;
        lookAt_ = position_ + distance_ * axes_.forward;
    }
    motion_ = {rate, type, attitude.heading, now, true, motion_.throttleBaseline};
}

void Viewer::Rescale(float factor, float homeZ) {
    // A look direction in force is no part of the flight, and the next step applies it anew.
    // Without one the look-at point stays to the last bit, however often the scale changes.
    const Vec3f ahead = position_ + distance_ * axes_.forward;
    if (Length(lookAt_ - ahead) > kLookTolerance * distance_) lookAt_ = ahead;
    lookAt_.z *= factor;
    position_.z *= factor;
    home_.z = homeZ;
    shown_.roll = flight_.roll;
    AttitudeFromLook();
    flight_ = shown_;
    axes_ = AxesFromAttitude(shown_);
    sideAxes_ = axes_;
}

void Viewer::Advance(float distance) {
    const Vec3f move = Normalized(lookAt_ - position_) * distance;
    position_ += move;
    lookAt_ += move;
}

}  // namespace tarnvale

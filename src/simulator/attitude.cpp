#include "simulator/attitude.h"

#include <algorithm>
#include <cmath>

namespace tarnvale {

namespace {

constexpr double kRadians = 0.017453292519943295;
constexpr double kDegrees = 57.29577951308232;

float HeadingOf(double x, double y) {
    return WrapDegrees(static_cast<float>(90.0 - std::atan2(y, x) * kDegrees));
}

float PitchOf(double sine) {
    return static_cast<float>(std::asin(std::clamp(sine, -1.0, 1.0)) * kDegrees);
}

}  // namespace

float WrapDegrees(float degrees) {
    if (!std::isfinite(degrees)) return 0;
    if (degrees >= 0 && degrees < 360) return degrees;
    float wrapped = std::fmod(degrees, 360.0F);
    if (wrapped < 0) wrapped += 360.0F;
    return wrapped < 360.0F ? wrapped : 0.0F;
}

Axes AxesFromAttitude(const Attitude& attitude) {
    const double pitch = attitude.pitch * kRadians;
    const double heading = (90.0 - attitude.heading) * kRadians;
    const double roll = attitude.roll * kRadians;
    const double sp = std::sin(pitch), cp = std::cos(pitch);
    const double sh = std::sin(heading), ch = std::cos(heading);
    const double sr = std::sin(roll), cr = std::cos(roll);
    Axes axes;
    axes.forward = {static_cast<float>(ch * cp), static_cast<float>(sh * cp),
                    static_cast<float>(sp)};
    axes.up = {static_cast<float>(sr * sh - cr * ch * sp),
               static_cast<float>(-(cr * sh * sp) - sr * ch), static_cast<float>(cr * cp)};
    axes.right = Cross(axes.forward, axes.up);
    return axes;
}

Attitude AttitudeFromAxes(const Axes& axes) {
    Attitude attitude;
    attitude.pitch = PitchOf(axes.forward.z);
    attitude.heading = HeadingOf(axes.forward.x, axes.forward.y);
    // Exactly upright the angle has no meaning, and rounding must not give it one.
    const double cosine = std::abs(attitude.pitch) < 90 ? std::cos(attitude.pitch * kRadians) : 0.0;
    if (std::abs(axes.up.z) < std::abs(cosine)) {
        attitude.roll =
            static_cast<float>(std::acos(std::clamp(axes.up.z / cosine, -1.0, 1.0)) * kDegrees);
    }
    if (axes.right.z > 0) attitude.roll = -attitude.roll;
    return attitude;
}

Axes LevelAxes(const Vec3f& forward) {
    Axes axes;
    axes.forward = forward;
    if (forward.x == 0 && forward.y == 0) {
        axes.up = Cross(Vec3f{1, 0, 0}, forward);
        axes.right = Cross(forward, axes.up);
    } else {
        axes.right = Cross(forward, Vec3f{0, 0, 1});
        axes.up = Cross(axes.right, forward);
    }
    axes.right = Normalized(axes.right);
    axes.up = Normalized(axes.up);
    return axes;
}

Attitude AttitudeOfDirection(const Vec3f& along) {
    const double length =
        std::sqrt(static_cast<double>(along.x) * along.x + static_cast<double>(along.y) * along.y +
                  static_cast<double>(along.z) * along.z);
    return {PitchOf(length > 0 ? along.z / length : 0.0), 0, HeadingOf(along.x, along.y)};
}

Vec3f RotateAbout(const Vec3f& vector, const Vec3f& axis, float degrees) {
    const double half = degrees * 0.008726646259971648;  // pi / 360
    const double s = std::sin(half), w = std::cos(half);
    const double qx = axis.x * s, qy = axis.y * s, qz = axis.z * s;
    // q x (vector, 0)
    const double tw = -qx * vector.x - qy * vector.y - qz * vector.z;
    const double tx = w * vector.x + qy * vector.z - qz * vector.y;
    const double ty = w * vector.y + qz * vector.x - qx * vector.z;
    const double tz = w * vector.z + qx * vector.y - qy * vector.x;
    // x conjugate of q
    return {static_cast<float>(-tw * qx + tx * w - ty * qz + tz * qy),
            static_cast<float>(-tw * qy + ty * w - tz * qx + tx * qz),
            static_cast<float>(-tw * qz + tz * w - tx * qy + ty * qx)};
}

}  // namespace tarnvale

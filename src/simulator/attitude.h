#pragma once

#include "base/vec3f.h"

namespace tarnvale {

/// Angles in degrees. Heading 0 looks along +y and grows clockwise seen from above; pitch is
/// positive upward; roll is about the forward axis, positive to the right.
struct Attitude {
    float pitch = 0, roll = 0, heading = 0;
    friend constexpr bool operator==(const Attitude&, const Attitude&) = default;
};

/// Three unit vectors at right angles: right = forward x up.
struct Axes {
    Vec3f right{1, 0, 0}, forward{0, 1, 0}, up{0, 0, 1};
    friend constexpr bool operator==(const Axes&, const Axes&) = default;
};

[[nodiscard]] Axes AxesFromAttitude(const Attitude& attitude);
/// Pitch is held to -90..90 and heading to 0..below 360. Straight up or down the roll is 0.
[[nodiscard]] Attitude AttitudeFromAxes(const Axes& axes);
/// Axes without roll that look along `forward`; straight up or down, up lies along north.
/// @param forward  unit length
[[nodiscard]] Axes LevelAxes(const Vec3f& forward);
/// Turns `vector` about a unit axis, counter-clockwise seen against the axis.
[[nodiscard]] Vec3f RotateAbout(const Vec3f& vector, const Vec3f& axis, float degrees);
/// @return the direction's pitch and heading; roll 0. @param along  any length but 0
[[nodiscard]] Attitude AttitudeOfDirection(const Vec3f& along);
/// Brings an angle into 0 to below 360; 0 for what isn't a number.
[[nodiscard]] float WrapDegrees(float degrees);

}  // namespace tarnvale

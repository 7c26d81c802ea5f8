#pragma once

#include <array>
#include <cstdint>

#include "base/vec3f.h"

namespace tarnvale {

/// Row-vector order, translation in the last row, as SetModelMatrix takes it: a point times the
/// model, the view and the projection is a place in the picture. 64 bits until the product is done,
/// since scenes are far larger than 32 bits resolve.
using Matrix4 = std::array<double, 16>;

constexpr Matrix4 kIdentity4{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// @return `a`, then `b`
[[nodiscard]] Matrix4 Multiply(const Matrix4& a, const Matrix4& b);

/// From scene to eye, which looks along its negative z. Identity where the line of sight is no line
/// or `up` lies along it.
[[nodiscard]] Matrix4 LookAt(const Vec3f& eye, const Vec3f& lookAt, const Vec3f& up);

/// How depth comes out.
enum class DepthRange : std::uint8_t {
    Usual,     ///< -1 at the near plane, 1 at the far one
    Reversed,  ///< 1 at the near plane, 0 at the far one: a float's fine end meets the wide far end
};
/// @param fovDegrees  vertical field of view. @param aspect  width / height
[[nodiscard]] Matrix4 Perspective(double fovDegrees, double aspect, double nearPlane,
                                  double farPlane, DepthRange range);

/// What a directional light gives to a normal `n` of a model is its colour times the dot product of
/// `n` with this. A light turns with the model that it falls on, as if it was a part of it: model
/// and camera are one on the way into the picture, and the light is given before both. A model of
/// twice the size takes half of it, since normals shrink as their model grows.
/// @param direction  where the light goes, of any length; none of no length or no number
[[nodiscard]] Vec3f TowardsLight(const Vec3f& direction, const Matrix4& model);

[[nodiscard]] std::array<float, 16> ToFloats(const Matrix4& matrix);

}  // namespace tarnvale

#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

#include "base/vec3f.h"

namespace tarnvale {

/// View volume for culling: four planes through the eye, no near plane and no far plane.
/// World units throughout. A value: rebuild it for each view of each frame, copy it freely.
class ViewPyramid {
public:
    static constexpr std::uint8_t kTop = 1, kBottom = 2, kRight = 4, kLeft = 8;

    /// @param fovDegrees  vertical field of view, 0 < fovDegrees < 180
    /// @param aspect      picture width / height, > 0
    /// The half width at `lookAt` is distance * aspect at every field of view; only the height
    /// follows `fovDegrees`. Below 90 degrees the volume is thus wider than the picture.
    void Build(const Vec3f& eye, const Vec3f& lookAt, const Vec3f& up, float fovDegrees,
               float aspect);

    /// @return k... bits of the planes that `p` is beyond, 0 if inside. On a plane is inside.
    [[nodiscard]] std::uint8_t OutCode(const Vec3f& p) const noexcept;

    /// Beyond two neighbouring planes only the edge between them counts, so a sphere that
    /// grazes one side close to a corner can be missed.
    [[nodiscard]] bool TouchesSphere(const Vec3f& centre, float radiusSquared) const noexcept;

    /// Cuts a-b to the stretch inside. @return false, both ends untouched, if there is none.
    [[nodiscard]] bool ClipSegment(Vec3f& a, Vec3f& b) const noexcept;

private:
    Vec3f apex_;                      // the eye
    std::array<Vec3f, 4> normals_;    // unit length, inward: right, bottom, left, top
    std::array<float, 4> constants_;  // p inside plane i: normals_[i] . p + constants_[i] >= 0
    std::array<Vec3f, 4> edges_;      // edge i lies between planes i and (i + 1) % 4
};
static_assert(std::is_trivially_copyable_v<ViewPyramid>);
static_assert(sizeof(ViewPyramid) == 31 * sizeof(float));

}  // namespace tarnvale

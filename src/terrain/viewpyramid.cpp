#include "terrain/viewpyramid.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tarnvale {
namespace {

constexpr double kHalfDegree = 0.008726646259971648;  // radians, pi / 360

/// Side that lies beyond plane i.
constexpr std::array<std::uint8_t, 4> kSideOfPlane = {ViewPyramid::kRight, ViewPyramid::kBottom,
                                                      ViewPyramid::kLeft, ViewPyramid::kTop};

}  // namespace

void ViewPyramid::Build(const Vec3f& eye, const Vec3f& lookAt, const Vec3f& up, float fovDegrees,
                        float aspect) {
    const Vec3f sight = lookAt - eye;
    const Vec3f unitUp = Normalized(up);
    const double halfHeight = static_cast<double>(Length(sight)) *
                              std::tan(static_cast<double>(fovDegrees) * kHalfDegree);
    const Vec3f upward = unitUp * static_cast<float>(halfHeight);
    // As long as the line of sight: the half width knows no field of view.
    const Vec3f right = Cross(sight, unitUp) * aspect;
    const std::array<Vec3f, 4> corners = {
        lookAt + right + upward,
        lookAt + right - upward,
        lookAt - right - upward,
        lookAt - right + upward,
    };
    apex_ = eye;
    for (std::size_t i = 0; i < 4; ++i) {
        normals_[i] = Normalized(Cross(corners[i] - eye, corners[(i + 1) % 4] - eye));
        constants_[i] = -Dot(normals_[i], eye);
    }
    for (std::size_t i = 0; i < 4; ++i) edges_[i] = Cross(normals_[i], normals_[(i + 1) % 4]);
}

std::uint8_t ViewPyramid::OutCode(const Vec3f& p) const noexcept {
    std::uint8_t code = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        if (Dot(normals_[i], p) + constants_[i] < 0.0F) {
            code = static_cast<std::uint8_t>(code | kSideOfPlane[i]);
        }
    }
    return code;
}

bool ViewPyramid::TouchesSphere(const Vec3f& centre, float radiusSquared) const noexcept {
    const std::uint8_t code = OutCode(centre);
    if (code == 0) return true;
    if (radiusSquared == 0.0F) return false;
    for (std::size_t i = 0; i < 4; ++i) {
        const int both = kSideOfPlane[i] | kSideOfPlane[(i + 1) % 4];
        if ((code & both) != both) continue;
        const Vec3f across = Cross(apex_ - centre, edges_[i]);
        return Dot(across, across) / Dot(edges_[i], edges_[i]) < radiusSquared;
    }
    for (std::size_t i = 0; i < 4; ++i) {
        if ((code & kSideOfPlane[i]) == 0) continue;
        const float distance = Dot(normals_[i], centre) + constants_[i];
        return distance * distance / Dot(normals_[i], normals_[i]) < radiusSquared;
    }
    return false;
}

bool ViewPyramid::ClipSegment(Vec3f& a, Vec3f& b) const noexcept {
    const std::uint8_t codeA = OutCode(a);
    const std::uint8_t codeB = OutCode(b);
    if ((codeA | codeB) == 0) return true;
    if ((codeA & codeB) != 0) return false;
    const Vec3f way = b - a;
    float first = 0.0F;
    float last = 1.0F;
    for (const Vec3f& normal : normals_) {
        const float speed = Dot(normal, way);
        if (speed == 0.0F) continue;
        const float t = Dot(normal, a - apex_) * (-1.0F / speed);
        if (t < 0.0F || t > 1.0F) continue;
        if (speed > 0.0F) {
            first = std::max(first, t);
        } else {
            last = std::min(last, t);
        }
    }
    if (first > last) return false;
    b = a + way * last;
    a = a + way * first;
    return true;
}

}  // namespace tarnvale

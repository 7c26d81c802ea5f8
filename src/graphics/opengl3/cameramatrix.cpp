#include "graphics/opengl3/cameramatrix.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tarnvale {

namespace {

Vec3d Unit(const Vec3d& v) {
    const double length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    return length > 0 ? Vec3d{v.x / length, v.y / length, v.z / length} : Vec3d{};
}

Vec3d CrossOf(const Vec3d& a, const Vec3d& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double DotOf(const Vec3d& a, const Vec3d& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Vec3d Wide(const Vec3f& v) {
    return {v.x, v.y, v.z};
}

}  // namespace

Matrix4 Multiply(const Matrix4& a, const Matrix4& b) {
    Matrix4 product{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            double sum = 0;
            for (std::size_t i = 0; i < 4; ++i) sum += a[row * 4 + i] * b[i * 4 + column];
            product[row * 4 + column] = sum;
        }
    }
    return product;
}

Matrix4 LookAt(const Vec3f& eye, const Vec3f& lookAt, const Vec3f& up) {
    const Vec3d from = Wide(eye), to = Wide(lookAt);
    const Vec3d back = Unit({from.x - to.x, from.y - to.y, from.z - to.z});
    const Vec3d right = Unit(CrossOf(Wide(up), back));
    if (back == Vec3d{} || right == Vec3d{}) return kIdentity4;
    const Vec3d above = CrossOf(back, right);
    return {right.x,
            above.x,
            back.x,
            0,
            right.y,
            above.y,
            back.y,
            0,
            right.z,
            above.z,
            back.z,
            0,
            -DotOf(right, from),
            -DotOf(above, from),
            -DotOf(back, from),
            1};
}

Matrix4 Perspective(double fovDegrees, double aspect, double nearPlane, double farPlane,
                    DepthRange range) {
    const double height = std::tan(fovDegrees * std::numbers::pi / 360.0);
    const double deep = farPlane - nearPlane;
    if (!(height > 0) || !(aspect > 0) || deep == 0) return kIdentity4;
    const bool reversed = range == DepthRange::Reversed;
    const double scale = reversed ? nearPlane / deep : -(farPlane + nearPlane) / deep;
    const double offset = (reversed ? 1 : -2) * farPlane * nearPlane / deep;
    return {1 / (height * aspect), 0, 0, 0, 0, 1 / height, 0, 0, 0, 0, scale, -1, 0, 0, offset, 0};
}

Vec3f TowardsLight(const Vec3f& direction, const Matrix4& model) {
    const Vec3d d = Wide(direction);
    const Vec3d turned{d.x * model[0] + d.y * model[4] + d.z * model[8],
                       d.x * model[1] + d.y * model[5] + d.z * model[9],
                       d.x * model[2] + d.y * model[6] + d.z * model[10]};
    const double length = std::sqrt(DotOf(turned, turned));
    if (!(length > 0) || !std::isfinite(length)) return {};
    return {static_cast<float>(-d.x / length), static_cast<float>(-d.y / length),
            static_cast<float>(-d.z / length)};
}

std::array<float, 16> ToFloats(const Matrix4& matrix) {
    std::array<float, 16> floats{};
    std::ranges::transform(matrix, floats.begin(), [](double v) { return static_cast<float>(v); });
    return floats;
}

}  // namespace tarnvale

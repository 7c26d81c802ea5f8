#pragma once

#include <cmath>

namespace tarnvale {

/// Point or direction of three 32-bit floats; the unit and space are the user's.
struct Vec3f {
    float x = 0, y = 0, z = 0;

    friend constexpr Vec3f operator+(Vec3f a, Vec3f b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
    friend constexpr Vec3f operator-(Vec3f a, Vec3f b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
    friend constexpr Vec3f operator-(Vec3f a) { return {-a.x, -a.y, -a.z}; }
    friend constexpr Vec3f operator*(Vec3f a, float s) { return {a.x * s, a.y * s, a.z * s}; }
    friend constexpr Vec3f operator*(float s, Vec3f a) { return a * s; }
    constexpr Vec3f& operator+=(Vec3f b) { return *this = *this + b; }
    constexpr Vec3f& operator-=(Vec3f b) { return *this = *this - b; }
    friend constexpr bool operator==(Vec3f a, Vec3f b) = default;
};

struct Vec2f {
    float x = 0, y = 0;
    friend constexpr bool operator==(Vec2f a, Vec2f b) = default;
};

struct Vec3d {
    double x = 0, y = 0, z = 0;
    friend constexpr bool operator==(Vec3d a, Vec3d b) = default;
};

[[nodiscard]] constexpr float Dot(Vec3f a, Vec3f b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
[[nodiscard]] constexpr Vec3f Cross(Vec3f a, Vec3f b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
[[nodiscard]] inline float Length(Vec3f a) {
    return std::sqrt(Dot(a, a));
}
/// @return `a` at length 1, or `a` itself where its length is 0.
[[nodiscard]] inline Vec3f Normalized(Vec3f a) {
    const float length = Length(a);
    return length > 0.0F ? a * (1.0F / length) : a;
}

static_assert(sizeof(Vec3f) == 12 && sizeof(Vec2f) == 8);

}  // namespace tarnvale

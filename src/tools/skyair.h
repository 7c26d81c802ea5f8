#pragma once

#include <array>
#include <vector>

namespace tarnvale::sky {

/// Linear light, red, green, blue; the sun above the air is about 1 in each.
struct Light {
    float r = 0, g = 0, b = 0;

    friend constexpr Light operator+(Light a, Light b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
    friend constexpr Light operator*(Light a, Light b) { return {a.r * b.r, a.g * b.g, a.b * b.b}; }
    friend constexpr Light operator*(Light a, float s) { return {a.r * s, a.g * s, a.b * s}; }
    constexpr Light& operator+=(Light other) { return *this = *this + other; }
};
[[nodiscard]] constexpr Light Mix(Light a, Light b, float t) {
    return a * (1 - t) + b * t;
}

/// Direction of unit length: x east, y north, z up.
struct Direction {
    float x = 0, y = 0, z = 1;
    [[nodiscard]] constexpr float Dot(const Direction& other) const {
        return x * other.x + y * other.y + z * other.z;
    }
};

/// Light scattered forward (g near 1), evenly (0) or back, as share of each steradian.
[[nodiscard]] float ForwardPhase(float cosine, float g);

/// What the sun makes of clear air: light scattered once by molecules and haze, dimmed on both ways
/// by these and by ozone, and an even share for what is scattered again. Lengths in kilometres.
class Air {
public:
    static constexpr float kEarth = 6371, kTop = 60;

    /// @param sunElevation  degrees; the sun stands in the south
    /// @param haze          1 for clear weather
    Air(float sunElevation, float haze);

    /// @param d  at or above the horizon
    [[nodiscard]] Light Radiance(const Direction& d) const;
    /// Sunlight that reaches a height.
    [[nodiscard]] Light SunAt(float height) const;
    [[nodiscard]] const Direction& Sun() const noexcept { return sun_; }
    /// The sun's disc and the glow around it, without what the air adds.
    [[nodiscard]] Light SunDisc(const Direction& d, float radiusDegrees) const;

private:
    /// Light from a direction before it is known how far off the sun is.
    struct Scattered {
        Light molecules, haze, again;
    };
    [[nodiscard]] Scattered Integrate(const Direction& d) const;
    [[nodiscard]] Light Dimmed(float height, const Direction& towards) const;
    [[nodiscard]] Light DensityAt(float height) const;

    static constexpr int kAcross = 96, kUp = 96;  // places that Integrate is worked out at
    Direction sun_;
    float haze_;
    std::vector<Scattered> table_;  // by azimuth from north to south, and elevation
};

}  // namespace tarnvale::sky

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarnvale {

/// Everything that programs read beside their vertices and the texture.
struct ProgramInputs {
    static constexpr int kMostLights = 9;  // eight of the callers' and the sun

    std::array<float, 16> clip{};  ///< from model to picture
    std::array<float, 3> ambient{1, 1, 1};
    int lights = 0;
    /// Towards the light, as seen by the model's normals; three a light.
    std::array<float, std::size_t{kMostLights} * 3> lightDirections{};
    std::array<float, std::size_t{kMostLights} * 3> lightColours{};
    /// Alpha from 0 to 255 that passes, lowest and highest; 1: those outside pass instead.
    std::array<float, 3> alphaRange{0, 255, 0};
    std::array<float, 3> fogColour{};
    /// Linear: share of the own colour is x - y * distance. Exponential: e to the minus x *
    /// distance, and that squared for z = 2.
    std::array<float, 3> fog{};

    // Numbers of the states of the groups above, so that each program gets each state once.
    std::uint64_t model = 1, light = 1, alpha = 1, fogging = 1;
};

}  // namespace tarnvale

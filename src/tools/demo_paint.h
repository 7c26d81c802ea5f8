#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/demo_cover.h"
#include "tools/demo_ground.h"
#include "tools/demo_water.h"

namespace tarnvale::demo {

/// Paints a landscape's texture, any part of it at any time. What it was made from must outlive it.
class Painter {
public:
    /// @param textureSize  pixels along each side
    Painter(std::uint32_t seed, int textureSize, const Terrain& terrain, const Waters& waters,
            const Cover& cover);

    /// @param rgb  out: width x height pixels of three bytes
    /// Thread-safe. Throws std::bad_alloc.
    void Paint(int x, int y, int width, int height, std::span<std::uint8_t> rgb) const;

private:
    struct Rgb;
    struct Wave;   // noise and its slope at a place
    struct Place;  // all that is known of a pixel's place
    struct Columns;
    struct Lines;
    struct Land;

    [[nodiscard]] Wave Grain(float x, float y, float length, int turn) const;
    [[nodiscard]] Rgb PaintPlace(const Place& place) const;
    void LayGrass(Land& land) const;
    void LayWoodsAndRock(Land& land) const;
    static void LayShores(Land& land);
    void LayStream(Land& land) const;
    static void LaySnow(Land& land);
    [[nodiscard]] static Rgb Lit(const Land& land);
    [[nodiscard]] Rgb PaintWater(const Place& place, float depth, const Wave& middle,
                                 const Wave& fine) const;
    struct Field;  // a pixel's part in the farmed land
    [[nodiscard]] Field PaintField(const Place& place, float wobble, float fine) const;
    [[nodiscard]] float FarmAt(float x, float y) const;
    void RiverDistances(int x, int y, int width, int height, std::vector<float>& distances) const;

    std::uint32_t seed_;
    int textureSize_;
    float texel_;  // metres
    const Terrain& terrain_;
    const Waters& waters_;
    const Cover& cover_;
    std::vector<std::int8_t> grain_;           // a square of random numbers
    std::vector<std::uint32_t> bucketStarts_;  // rivers by squares of the landscape, in rows
    std::vector<std::uint32_t> bucketPieces_;
};

}  // namespace tarnvale::demo

#pragma once

#include <array>

#include "base/vec3f.h"
#include "simulator/box.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Places a layer in the reference layer's scene: an affine map of x and y that fits best at the
/// four corners of the layer; z is the same in both. The identity for the reference layer itself.
class LayerPlacement {
public:
    LayerPlacement() = default;
    /// Identity where either terrain has no georeference, or the corners can't be converted.
    LayerPlacement(const TerrainModel& layer, const TerrainModel& reference);

    [[nodiscard]] Vec3f ToScene(const Vec3f& own) const;
    [[nodiscard]] Vec3f ToLayer(const Vec3f& scene) const;
    /// Row-vector order, translation in the last row.
    [[nodiscard]] const std::array<double, 16>& Matrix() const noexcept { return matrix_; }

private:
    std::array<double, 16> matrix_{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::array<double, 6> inverse_{1, 0, 0,
                                   1, 0, 0};  // xx, xy, yx, yy, then what is taken off first
};

}  // namespace tarnvale

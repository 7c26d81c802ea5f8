#pragma once

#include "base/status.h"
#include "base/vec3f.h"

namespace tarnvale {

/// From world x, y to pixels of a texture's domain and back: the centre of grid cell 0 lies on
/// pixel 0, the sample at the far end on r * (columns - 1), with r pixels to a cell. 32-bit
/// coefficients, sums in double precision. A value.
class TerrainTextureMapping {
public:
    /// @param columns, rows   samples of the terrain; @param width, height  pixels of the domain
    /// @param cellWidth, cellHeight  world units
    /// @return BadState unless the domain is the grid's cells times the same power of two, 1 or
    /// more,
    ///         on both sides, with both cell sizes above 0 and at least 2 pixels a side
    Status Make(int columns, int rows, float cellWidth, float cellHeight, int width, int height);

    [[nodiscard]] bool Valid() const noexcept { return valid_; }
    [[nodiscard]] float ScaleX() const noexcept { return sx_; }
    [[nodiscard]] float ScaleY() const noexcept { return sy_; }
    [[nodiscard]] float ShiftX() const noexcept { return ox_; }
    [[nodiscard]] float ShiftY() const noexcept { return oy_; }
    [[nodiscard]] float ToPixelX(float worldX) const noexcept {
        return static_cast<float>(static_cast<double>(worldX) * sx_ + ox_);
    }
    [[nodiscard]] float ToPixelY(float worldY) const noexcept {
        return static_cast<float>(static_cast<double>(worldY) * sy_ + oy_);
    }
    [[nodiscard]] float ToWorldX(float pixelX) const noexcept {
        return static_cast<float>(static_cast<double>(pixelX) * ix_ + jx_);
    }
    [[nodiscard]] float ToWorldY(float pixelY) const noexcept {
        return static_cast<float>(static_cast<double>(pixelY) * iy_ + jy_);
    }

private:
    float sx_ = 0, sy_ = 0, ox_ = 0, oy_ = 0;
    float ix_ = 0, iy_ = 0, jx_ = 0, jy_ = 0;
    bool valid_ = false;
};

}  // namespace tarnvale

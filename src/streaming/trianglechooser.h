#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/vec3f.h"
#include "graphics/rendermesh.h"
#include "streaming/texturemapping.h"

namespace tarnvale {

/// What decides how finely a triangle's texture is wanted.
struct TriangleView {
    Vec3f eye;
    float pixelsPerRadian = 0;
};

/// Works out for a run of triangles at once which level of the pyramid each one wants and where its
/// centre lies. Values of one name are 32-bit floats, their sums are made in double precision.
///
/// Four triangles go through each instruction: this is most of what a frame spends on textures.
class TriangleChooser {
public:
    /// Triangles in a run; a strip's next run begins two vertices before the end of the last one.
    static constexpr std::uint32_t kRun = 64;

    /// @return triangles of a primitive, 0 below three vertices and for unknown kinds
    [[nodiscard]] static std::uint32_t Count(PrimitiveKind kind, std::uint32_t vertices) noexcept;
    /// @return indices of the three vertices of a triangle
    [[nodiscard]] static std::array<std::uint32_t, 3> Corners(PrimitiveKind kind,
                                                              std::uint32_t triangle) noexcept {
        switch (kind) {
            case PrimitiveKind::Fan:
                return {0, triangle + 1, triangle + 2};
            case PrimitiveKind::Strip:
                return {triangle, triangle + 1, triangle + 2};
            default:
                return {3 * triangle, 3 * triangle + 1, 3 * triangle + 2};
        }
    }

    /// @param width, height  pixels of the domain; @param levels  of the pyramid
    void SetDomain(const TerrainTextureMapping& mapping, int width, int height, int levels) {
        mapping_ = mapping;
        xMost_ = width - 1;
        yMost_ = height - 1;
        coarsest_ = levels - 1;
    }
    [[nodiscard]] const TerrainTextureMapping& Mapping() const noexcept { return mapping_; }

    /// Works on triangles `first` to `first` + `count` of a primitive. @param count  at most kRun
    void Choose(const TriangleView& view, PrimitiveKind kind, std::span<const Vec3f> vertices,
                std::uint32_t first, std::uint32_t count);

    // Results, by place in the run.

    /// Index of the level wanted, 0 the finest; -1 where the triangle has no area or the eye lies
    /// on its centre.
    [[nodiscard]] std::int32_t Level(std::uint32_t i) const noexcept { return level_[i]; }
    /// Domain pixel of the centre, held inside the domain.
    [[nodiscard]] std::int32_t X(std::uint32_t i) const noexcept { return x_[i]; }
    [[nodiscard]] std::int32_t Y(std::uint32_t i) const noexcept { return y_[i]; }
    /// Screen pixels for each texel of full resolution.
    [[nodiscard]] float Density(std::uint32_t i) const noexcept { return density_[i]; }
    /// Domain position of a corner of a triangle of the run.
    [[nodiscard]] Vec2f Pixel(std::uint32_t i, std::size_t corner) const noexcept {
        return {corners_[corner].pixelX[i], corners_[corner].pixelY[i]};
    }

private:
    /// Triangles worked on at once.
    static constexpr std::size_t kBlock = 4;
    // A run of a strip has two vertices more than triangles; padded for whole blocks.
    static constexpr std::size_t kVertices = kRun + 2 * kBlock;
    struct Vertices {
        std::array<float, kVertices> x, y, z, pixelX, pixelY;
    };
    /// One corner of all triangles of a run: where triangle i has it, at place i.
    struct Corner {
        const float *x = nullptr, *y = nullptr, *z = nullptr;
        const float *pixelX = nullptr, *pixelY = nullptr;
    };
    /// A corner of a few neighbouring triangles.
    struct Block {
        static Block Of(const Corner& corner, std::size_t start);
        alignas(16) std::array<float, kBlock> x, y, z, pixelX, pixelY;
    };

    void Gather(std::size_t row, std::span<const Vec3f> vertices, std::size_t first,
                std::size_t step, std::size_t count);
    void Point(std::size_t corner, std::size_t row, std::size_t shift);
    void MeasureBlock(const TriangleView& view, std::size_t start);

    TerrainTextureMapping mapping_;
    std::int32_t xMost_ = 0, yMost_ = 0, coarsest_ = 0;

    std::array<Corner, 3> corners_;
    alignas(64) std::array<Vertices, 3> rows_{};
    alignas(64) std::array<float, kRun> density_{};
    alignas(64) std::array<std::int32_t, kRun> level_{};
    alignas(64) std::array<std::int32_t, kRun> x_{};
    alignas(64) std::array<std::int32_t, kRun> y_{};
};

}  // namespace tarnvale

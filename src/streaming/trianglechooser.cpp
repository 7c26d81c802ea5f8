#include "streaming/trianglechooser.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tarnvale {

namespace {

constexpr float kThird = 0.33333334F;
/// Level wanted where the density has no logarithm; every pyramid has fewer.
constexpr std::int32_t kBeyondCoarsest = 1 << 20;

float Third(float a, float b, float c) {
    return static_cast<float>((static_cast<double>(a) + b + c) * kThird);
}

float SquaredSum(float x, float y) {
    return static_cast<float>(static_cast<double>(x) * x + static_cast<double>(y) * y);
}

float SquaredSum(float x, float y, float z) {
    return static_cast<float>(static_cast<double>(x) * x + static_cast<double>(y) * y +
                              static_cast<double>(z) * z);
}

float Larger(float a, float b) {
    return a > b ? a : b;
}

/// a * d - b * c
float Minor(float a, float b, float c, float d) {
    return static_cast<float>(static_cast<double>(a) * d - static_cast<double>(b) * c);
}

/// -floor(log2 density), before it is held to the levels there are: the exponent is that floor.
std::int32_t LevelOf(float density) {
    const std::int32_t exponent = (std::bit_cast<std::int32_t>(density) >> 23) - 127;
    return density > 0 ? -exponent : kBeyondCoarsest;
}

/// To the nearest integer, halves up, held to 0 .. most; 0 for not a number.
std::int32_t RoundInto(float value, std::int32_t most) {
    double rounded = static_cast<double>(value) + 0.5;
    rounded = rounded > 0 ? rounded : 0;
    rounded = rounded < most ? rounded : most;
    return static_cast<std::int32_t>(rounded);
}

}  // namespace

std::uint32_t TriangleChooser::Count(PrimitiveKind kind, std::uint32_t vertices) noexcept {
    if (vertices < 3) return 0;
    switch (kind) {
        case PrimitiveKind::List:
            return vertices / 3;
        case PrimitiveKind::Fan:
        case PrimitiveKind::Strip:
            return vertices - 2;
        default:
            return 0;
    }
}

void TriangleChooser::Gather(std::size_t row, std::span<const Vec3f> vertices, std::size_t first,
                             std::size_t step, std::size_t count) {
    Vertices& to = rows_[row];
    const Vec3f* from = vertices.data() + first;
    for (std::size_t i = 0; i < count; ++i) {
        to.x[i] = from[i * step].x;
        to.y[i] = from[i * step].y;
        to.z[i] = from[i * step].z;
    }
    for (std::size_t block = 0; block < count; block += kBlock) {
        for (std::size_t i = block; i < block + kBlock; ++i) {
            to.pixelX[i] = mapping_.ToPixelX(to.x[i]);
            to.pixelY[i] = mapping_.ToPixelY(to.y[i]);
        }
    }
}

void TriangleChooser::Point(std::size_t corner, std::size_t row, std::size_t shift) {
    const Vertices& from = rows_[row];
    corners_[corner] = {&from.x[shift], &from.y[shift], &from.z[shift], &from.pixelX[shift],
                        &from.pixelY[shift]};
}

void TriangleChooser::Choose(const TriangleView& view, PrimitiveKind kind,
                             std::span<const Vec3f> vertices, std::uint32_t first,
                             std::uint32_t count) {
    switch (kind) {
        case PrimitiveKind::Strip:
            Gather(0, vertices, first, 1, count + std::size_t{2});
            for (std::size_t corner = 0; corner < 3; ++corner) Point(corner, 0, corner);
            break;
        case PrimitiveKind::Fan:
            Gather(0, vertices, 0, 0, count);
            Gather(1, vertices, first + std::size_t{1}, 1, count + std::size_t{1});
            Point(0, 0, 0);
            Point(1, 1, 0);
            Point(2, 1, 1);
            break;
        case PrimitiveKind::List:
            for (std::size_t corner = 0; corner < 3; ++corner) {
                Gather(corner, vertices, std::size_t{3} * first + corner, 3, count);
                Point(corner, corner, 0);
            }
            break;
    }
    for (std::size_t block = 0; block < count; block += kBlock) MeasureBlock(view, block);
}

TriangleChooser::Block TriangleChooser::Block::Of(const Corner& corner, std::size_t start) {
    Block block;
    std::copy_n(corner.x + start, kBlock, block.x.begin());
    std::copy_n(corner.y + start, kBlock, block.y.begin());
    std::copy_n(corner.z + start, kBlock, block.z.begin());
    std::copy_n(corner.pixelX + start, kBlock, block.pixelX.begin());
    std::copy_n(corner.pixelY + start, kBlock, block.pixelY.begin());
    return block;
}

void TriangleChooser::MeasureBlock(const TriangleView& view, std::size_t start) {
    // The loop works on copies, of which the compiler knows that nothing else points at them.
    const TerrainTextureMapping mapping = mapping_;
    const TriangleView from = view;
    const std::int32_t xMost = xMost_, yMost = yMost_, coarsest = coarsest_;
    const Block a = Block::Of(corners_[0], start);
    const Block b = Block::Of(corners_[1], start);
    const Block c = Block::Of(corners_[2], start);
    alignas(16) std::array<float, kBlock> densities;
    alignas(16) std::array<std::int32_t, kBlock> levels, xs, ys;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const float ax = a.x[i], ay = a.y[i], az = a.z[i];
        const float bx = b.x[i], by = b.y[i], bz = b.z[i];
        const float cx = c.x[i], cy = c.y[i], cz = c.z[i];
        const float gx = Third(ax, bx, cx), gy = Third(ay, by, cy), gz = Third(az, bz, cz);
        const float reach = std::sqrt(Larger(
            Larger(SquaredSum(ax - gx, ay - gy, az - gz), SquaredSum(bx - gx, by - gy, bz - gz)),
            SquaredSum(cx - gx, cy - gy, cz - gz)));
        const float vx = from.eye.x - gx, vy = from.eye.y - gy, vz = from.eye.z - gz;
        const float distance = std::sqrt(SquaredSum(vx, vy, vz));
        const float ux = bx - ax, uy = by - ay, uz = bz - az;
        const float wx = cx - ax, wy = cy - ay, wz = cz - az;
        const float nx = Minor(uy, uz, wy, wz);
        const float ny = Minor(uz, ux, wz, wx);
        const float nz = Minor(ux, uy, wx, wy);
        const float area = std::sqrt(SquaredSum(nx, ny, nz));
        const auto along =
            static_cast<float>(static_cast<double>(nx) * vx + static_cast<double>(ny) * vy +
                               static_cast<double>(nz) * vz);
        const float cosine = along / area / distance;
        const float radius = std::abs(from.pixelsPerRadian / distance * cosine * reach);

        const float px = mapping.ToPixelX(gx), py = mapping.ToPixelY(gy);
        const float texels =
            std::sqrt(Larger(Larger(SquaredSum(a.pixelX[i] - px, a.pixelY[i] - py),
                                    SquaredSum(b.pixelX[i] - px, b.pixelY[i] - py)),
                             SquaredSum(c.pixelX[i] - px, c.pixelY[i] - py)));
        const float density = radius / texels;
        std::int32_t level = LevelOf(density);
        level = level > 0 ? level : 0;
        level = level < coarsest ? level : coarsest;
        const bool plain = distance == 0 || area == 0;
        densities[i] = density;
        levels[i] = plain ? -1 : level;
        xs[i] = RoundInto(px, xMost);
        ys[i] = RoundInto(py, yMost);
    }
    std::ranges::copy(densities, density_.begin() + start);
    std::ranges::copy(levels, level_.begin() + start);
    std::ranges::copy(xs, x_.begin() + start);
    std::ranges::copy(ys, y_.begin() + start);
}

}  // namespace tarnvale

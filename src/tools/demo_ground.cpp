#include "tools/demo_ground.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tarnvale::demo {
namespace {

// Waves of about `length` metres whose crests run down the slope: gullies and the ribs between
// them.
// @param downX, downY  direction of the slope, of length 1
// @return about -1 to 1
float Gullies(float x, float y, float downX, float downY, float length, std::uint32_t seed) {
    const float scale = 1.0F / (1.7F * length);
    const float u = x * scale;
    const float v = y * scale;
    const int iu = Floor(u);
    const int iv = Floor(v);
    float sum = 0.0F;
    float weights = 0.0F;
    for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) {
            const std::uint32_t h = Hash(iu + i, iv + j, seed);
            const float du = u - static_cast<float>(iu + i) - ToUnit(h << 16);
            const float dv = v - static_cast<float>(iv + j) - ToUnit(h & 0xffff0000U);
            const float near = 1.0F - (du * du + dv * dv) * (1.0F / 1.69F);
            if (near <= 0.0F) continue;
            const float weight = near * near;
            // A wave across the slope that starts anywhere.
            const float phase = (du * downY - dv * downX) * 1.7F + ToUnit(Mix(h));
            const float t = std::abs(2.0F * (phase - static_cast<float>(Floor(phase))) - 1.0F);
            sum += weight * (1.0F - 2.0F * t * t * (3.0F - 2.0F * t));
            weights += weight;
        }
    }
    return weights > 0.0F ? sum / (weights + 0.25F) : 0.0F;
}

class TerrainMaker {
public:
    TerrainMaker(std::uint32_t seed, int size, const Waters& waters, const Workers& workers)
        : seed_(seed),
          waters_(waters),
          workers_(workers),
          size_(size),
          cell_(kExtent / static_cast<float>(size - 1)) {}

    void Refine() {
        terrain_.bed = Grid<float>(size_);
        terrain_.lake = Grid<std::uint8_t>(size_);
        const float ratio =
            static_cast<float>(waters_.bed.Side() - 1) / static_cast<float>(size_ - 1);
        const Grid<std::uint8_t> sills = Sills();
        workers_.Rows(size_, [&](int y) {
            for (int x = 0; x < size_; ++x) {
                const float sx = static_cast<float>(x) * ratio;
                const float sy = static_cast<float>(y) * ratio;
                const int cx = Floor(sx + 0.5F);
                const int cy = Floor(sy + 0.5F);
                const std::uint8_t lake = waters_.lake.At(cx, cy);
                float bed = At(sx, sy);
                if (sills.At(cx, cy) != 0) bed = std::max(bed, waters_.levels[lake] + kFreeboard);
                terrain_.lake.At(x, y) = lake;
                terrain_.bed.At(x, y) = bed;
            }
        });
    }

    /// Keeps the lakes to what their own water reaches: not to low ground beyond the outlet. The
    /// samples of the shore keep their lake too.
    void BoundLakes() {
        const Grid<std::uint8_t>& near = terrain_.lake;
        Grid<std::uint8_t> open(size_);
        std::vector<std::uint32_t> reached;
        const float ratio =
            static_cast<float>(waters_.bed.Side() - 1) / static_cast<float>(size_ - 1);
        for (int y = 0; y < size_; ++y) {
            for (int x = 0; x < size_; ++x) {
                const std::size_t i = near.Index(x, y);
                if (near[i] == 0 || terrain_.bed[i] >= waters_.levels[near[i]]) continue;
                const int cx = Floor(static_cast<float>(x) * ratio + 0.5F);
                const int cy = Floor(static_cast<float>(y) * ratio + 0.5F);
                if (waters_.bed.Clamped(cx, cy) >= waters_.levels[near[i]]) continue;
                open[i] = near[i];
                reached.push_back(static_cast<std::uint32_t>(i));
            }
        }
        while (!reached.empty()) {
            const std::uint32_t i = reached.back();
            reached.pop_back();
            ForAround(i, [&](std::size_t n) {
                if (open[n] != 0 || near[n] != open[i] ||
                    terrain_.bed[n] >= waters_.levels[near[n]])
                    return;
                open[n] = near[n];
                reached.push_back(static_cast<std::uint32_t>(n));
            });
        }
        // Where the water would still stand above the ground beside it, a bank holds it.
        std::vector<std::pair<std::size_t, std::uint8_t>> banks;
        for (std::size_t i = 0; i < open.Count(); ++i) {
            if (open[i] == 0) continue;
            ForAround(i, [&](std::size_t n) {
                if (open[n] != open[i] && terrain_.bed[n] < waters_.levels[open[i]]) {
                    banks.emplace_back(n, open[i]);
                }
            });
        }
        for (const auto& [i, lake] : banks) {
            terrain_.bed[i] = std::max(terrain_.bed[i], waters_.levels[lake] + kFreeboard);
            terrain_.lake[i] = lake;
            open[i] = 0;
        }
        Grid<std::uint8_t> lake = open;
        workers_.Rows(size_, [&](int y) {
            for (int x = 0; x < size_; ++x) {
                const std::size_t i = near.Index(x, y);
                if (open[i] != 0 || near[i] == 0 || terrain_.bed[i] < waters_.levels[near[i]])
                    continue;
                ForAround(i, [&](std::size_t n) {
                    if (open[n] == near[i]) lake[i] = near[i];
                });
            }
        });
        terrain_.lake = std::move(lake);
    }

    /// Lets each river run in a bed of its own.
    void CutRivers() {
        constexpr int kBand = 64;
        const int bands = size_ / kBand + 1;
        std::vector<std::vector<const RiverPiece*>> inBand(static_cast<std::size_t>(bands));
        for (const RiverPiece& piece : waters_.rivers) {
            const float reach = kBank + 0.5F * std::max(piece.width0, piece.width1);
            const int from = std::clamp(
                Floor((std::min(piece.y0, piece.y1) - reach) / cell_) / kBand, 0, bands - 1);
            const int to = std::clamp(
                Floor((std::max(piece.y0, piece.y1) + reach) / cell_ + 1.0F) / kBand, 0, bands - 1);
            for (int band = from; band <= to; ++band)
                inBand[static_cast<std::size_t>(band)].push_back(&piece);
        }
        workers_.Rows(
            bands,
            [&](int band) {
                for (const RiverPiece* piece : inBand[static_cast<std::size_t>(band)]) {
                    Cut(*piece, band * kBand, std::min(size_, (band + 1) * kBand));
                }
            },
            1);
    }

    void Surface() {
        terrain_.heights = Grid<std::int16_t>(size_);
        workers_.Rows(size_, [&](int y) {
            for (int x = 0; x < size_; ++x) {
                const std::size_t i = terrain_.bed.Index(x, y);
                const float level = waters_.levels[terrain_.lake[i]];
                const float height = std::max(terrain_.bed[i], level);
                terrain_.heights[i] = static_cast<std::int16_t>(Floor(height + 0.5F));
            }
        });
        if (cell_ <= 41.0F) FillPits();
    }

    [[nodiscard]] Terrain Take() { return std::move(terrain_); }

private:
    template <class F>
    void ForAround(std::size_t i, const F& visit) const {
        const auto side = static_cast<std::size_t>(size_);
        const int x = static_cast<int>(i % side);
        const int y = static_cast<int>(i / side);
        for (int ny = std::max(0, y - 1); ny <= std::min(size_ - 1, y + 1); ++ny) {
            for (int nx = std::max(0, x - 1); nx <= std::min(size_ - 1, x + 1); ++nx) {
                if (nx != x || ny != y) visit(terrain_.bed.Index(nx, ny));
            }
        }
    }

    static constexpr float kFreeboard = 0.4F;  // metres from a lake's water up to its outlet's bank
    static constexpr float kBank = 60.0F;      // metres from the water to where its cut ends

    // The cells of the lakes' shores that are next to ground below the lake's water: the outlets,
    // which must not wear away as their surroundings are filled in.
    [[nodiscard]] Grid<std::uint8_t> Sills() const {
        const int side = waters_.bed.Side();
        Grid<std::uint8_t> sills(side);
        workers_.Rows(side, [&](int y) {
            for (int x = 0; x < side; ++x) {
                const std::uint8_t lake = waters_.lake.At(x, y);
                const float level = waters_.levels[lake];
                if (lake == 0 || waters_.bed.At(x, y) < level) continue;
                for (int k = 0; k < 9; ++k) {
                    const int nx = x + k % 3 - 1;
                    const int ny = y + k / 3 - 1;
                    if (waters_.lake.Clamped(nx, ny) != lake &&
                        waters_.bed.Clamped(nx, ny) < level) {
                        sills.At(x, y) = 1;
                    }
                }
            }
        });
        return sills;
    }

    // @param sx, sy  in cells of `waters_`
    [[nodiscard]] float At(float sx, float sy) const {
        const float coarse = kExtent / static_cast<float>(waters_.bed.Side() - 1);
        const int ix = Floor(sx);
        const int iy = Floor(sy);
        const float tx = sx - static_cast<float>(ix);
        const float ty = sy - static_cast<float>(iy);
        const Cubic cubicX(tx);
        const Cubic cubicY(ty);
        const Spline splineX(tx);
        const Spline splineY(ty);
        const SplineSlope slopeX(tx);
        const SplineSlope slopeY(ty);
        float height = 0.0F;
        float floor = 0.0F;
        float gx = 0.0F;
        float gy = 0.0F;
        for (int j = 0; j < 4; ++j) {
            const int y = std::clamp(iy - 1 + j, 0, waters_.bed.Side() - 1);
            float line = 0.0F;
            float smooth = 0.0F;
            float rise = 0.0F;
            float low = 0.0F;
            for (int i = 0; i < 4; ++i) {
                const std::size_t k =
                    waters_.bed.Index(std::clamp(ix - 1 + i, 0, waters_.bed.Side() - 1), y);
                const float bed = waters_.bed[k];
                line += cubicX.w[i] * bed;
                smooth += splineX.w[i] * bed;
                rise += slopeX.w[i] * bed;
                low += splineX.w[i] * waters_.floor[k];
            }
            height += cubicY.w[j] * line;
            floor += splineY.w[j] * low;
            gx += splineY.w[j] * rise / coarse;
            gy += slopeY.w[j] * smooth / coarse;
        }
        const float slope = std::sqrt(gx * gx + gy * gy);
        const float above = height - floor;
        const std::uint8_t lake = waters_.lake.Clamped(Floor(sx + 0.5F), Floor(sy + 0.5F));
        const float overWater = height - waters_.levels[lake];
        const float dry =
            0.15F * Smooth(-6.0F, 0.0F, overWater) + 0.85F * Smooth(0.0F, 14.0F, overWater);
        if (dry <= 0.0F) return height;

        const float x = sx * coarse;
        const float y = sy * coarse;
        float detail = (0.9F + 7.0F * std::min(slope, 0.8F)) *
                       Fractal(x / 210.0F, y / 210.0F, Octaves(210.0F), seed_ + 71);
        const float steep = Smooth(0.12F, 0.65F, slope);
        if (steep > 0.0F && cell_ < 60.0F) {
            // The slope's direction, bent a little so that no two gullies run alike.
            const float bend = 0.9F * Noise(x / 260.0F, y / 260.0F, seed_ + 72);
            const float dx = (gx - gy * bend) / slope;
            const float dy = (gy + gx * bend) / slope;
            const float length = 1.0F / std::sqrt(dx * dx + dy * dy);
            float gullies = 12.0F * Gullies(x, y, dx * length, dy * length, 150.0F, seed_ + 73);
            if (cell_ < 30.0F)
                gullies += 6.0F * Gullies(x, y, dx * length, dy * length, 66.0F, seed_ + 74);
            if (cell_ < 13.0F)
                gullies += 2.4F * Gullies(x, y, dx * length, dy * length, 27.0F, seed_ + 75);
            detail += steep * gullies;
            const float rock = Smooth(0.55F, 1.0F, slope);
            if (rock > 0.0F) {
                detail += rock * 16.0F *
                          (Ridged(x / 130.0F, y / 130.0F, Octaves(130.0F), seed_ + 76) - 0.4F);
            }
        }
        return height + dry * (0.15F + 0.85F * Smooth(1.0F, 16.0F, above)) * detail;
    }

    // Octaves of a fractal of this wave length that the grid can show.
    [[nodiscard]] int Octaves(float length) const {
        int octaves = 1;
        while (octaves < 6 && length > 3.9F * cell_) {
            ++octaves;
            length *= 0.5F;
        }
        return octaves;
    }

    void Cut(const RiverPiece& piece, int fromRow, int toRow) {
        const float reach = kBank + 0.5F * std::max(piece.width0, piece.width1);
        const auto first = [&](float a, float b) {
            return Floor((std::min(a, b) - reach) / cell_) + 1;
        };
        const auto last = [&](float a, float b) { return Floor((std::max(a, b) + reach) / cell_); };
        const float dx = piece.x1 - piece.x0;
        const float dy = piece.y1 - piece.y0;
        const float square = std::max(dx * dx + dy * dy, 1e-6F);
        for (int y = std::max(fromRow, first(piece.y0, piece.y1));
             y <= std::min(toRow - 1, last(piece.y0, piece.y1)); ++y) {
            for (int x = std::max(0, first(piece.x0, piece.x1));
                 x <= std::min(size_ - 1, last(piece.x0, piece.x1)); ++x) {
                const float px = cell_ * static_cast<float>(x) - piece.x0;
                const float py = cell_ * static_cast<float>(y) - piece.y0;
                const float t = Clamp01((px * dx + py * dy) / square);
                const float ox = px - t * dx;
                const float oy = py - t * dy;
                const float away =
                    std::sqrt(ox * ox + oy * oy) - 0.5F * Lerp(piece.width0, piece.width1, t);
                if (away > kBank) continue;
                const float bank = std::max(0.0F, away);
                float cut = Lerp(piece.z0, piece.z1, t) + bank * (0.10F + 0.008F * bank);
                // The outlet of a lake isn't cut below its water.
                float& bed = terrain_.bed.At(x, y);
                const float level = waters_.levels[terrain_.lake.At(x, y)];
                if (level > 0.0F) cut = std::max(cut, level + kFreeboard);
                bed = std::min(bed, cut);
            }
        }
    }

    // Raises each pit to the lowest way out, so that all water runs off. Heights are whole metres,
    // so a list for each height does for a queue.
    void FillPits() {
        Grid<std::int16_t>& heights = terrain_.heights;
        const auto [low, high] =
            std::minmax_element(heights.Cells().begin(), heights.Cells().end());
        const int lowest = *low;
        std::vector<std::vector<std::uint32_t>> open(static_cast<std::size_t>(*high - lowest) + 1);
        std::vector<bool> seen(heights.Count(), false);
        const auto push = [&](std::size_t i) {
            seen[i] = true;
            open[static_cast<std::size_t>(heights[i] - lowest)].push_back(
                static_cast<std::uint32_t>(i));
        };
        for (int k = 0; k < size_; ++k) {
            for (const std::size_t i : {heights.Index(k, 0), heights.Index(k, size_ - 1),
                                        heights.Index(0, k), heights.Index(size_ - 1, k)}) {
                if (!seen[i]) push(i);
            }
        }
        for (std::size_t i = 0; i < heights.Count(); ++i) {
            const bool openLake =
                terrain_.lake[i] != 0 && terrain_.bed[i] < waters_.levels[terrain_.lake[i]];
            if (openLake && !seen[i]) push(i);
        }
        for (std::size_t level = 0; level < open.size(); ++level) {
            while (!open[level].empty()) {
                const std::uint32_t i = open[level].back();
                open[level].pop_back();
                ForAround(i, [&](std::size_t n) {
                    if (seen[n]) return;
                    const int brim = lowest + static_cast<int>(level);
                    if (heights[n] < brim) {
                        heights[n] = static_cast<std::int16_t>(brim);
                        terrain_.bed[n] =
                            std::max(terrain_.bed[n], static_cast<float>(brim) - 0.3F);
                    }
                    push(n);
                });
            }
            std::vector<std::uint32_t>().swap(open[level]);
        }
    }

    std::uint32_t seed_;
    const Waters& waters_;
    const Workers& workers_;
    int size_;
    float cell_;
    Terrain terrain_;
};

}  // namespace

Terrain MakeTerrain(std::uint32_t seed, int size, const Waters& waters, const Workers& workers,
                    const Step& step) {
    TerrainMaker maker(seed, size, waters, workers);
    maker.Refine();
    maker.BoundLakes();
    if (!step()) return {};
    maker.CutRivers();
    if (!step()) return {};
    maker.Surface();
    if (!step()) return {};
    return maker.Take();
}

}  // namespace tarnvale::demo

#include "tools/buildpaint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace tarnvale {

namespace {

using ZPF::kTileSide;

struct Tint {
    float at;  // share of the way from the lowest land to the highest
    std::array<float, 3> rgb;
};

/// Land by height: meadow, field, heath, rock, scree, snow.
constexpr std::array<Tint, 8> kLand{{{0.00F, {92, 132, 84}},
                                     {0.10F, {124, 154, 92}},
                                     {0.25F, {172, 172, 112}},
                                     {0.42F, {174, 148, 102}},
                                     {0.58F, {148, 120, 92}},
                                     {0.74F, {140, 127, 118}},
                                     {0.88F, {200, 199, 198}},
                                     {1.00F, {250, 250, 252}}}};
/// Sea by depth.
constexpr std::array<Tint, 3> kSea{
    {{0.0F, {142, 186, 212}}, {0.3F, {108, 160, 196}}, {1.0F, {64, 112, 158}}}};
constexpr float kDeepest = 400.0F;  // metres at which the sea is darkest

constexpr int kCoastalMetres = 10;  // land that begins below this is taken to be by the sea
constexpr std::array<float, 3> kHole{176, 178, 176};

/// Land this high has white summits; lower land stops at a lower tint.
constexpr float kFullRampMetres = 2600.0F;
constexpr float kLeastRampMetres = 120.0F;

constexpr float kSunHeight = 0.7071F;  // sine of 45 degrees
constexpr std::array<float, 3> kRock{126, 114, 102};
constexpr float kRockSlope = 0.35F, kBareSlope = 1.0F;  // where rock begins to show, and is alone
constexpr float kRelief = 1.6F;  // slopes are shaded as if they were that much steeper

std::array<float, 3> TintAt(std::span<const Tint> ramp, float at) {
    if (at <= ramp.front().at) return ramp.front().rgb;
    for (std::size_t i = 1; i < ramp.size(); ++i) {
        if (at > ramp[i].at) continue;
        const float share = (at - ramp[i - 1].at) / (ramp[i].at - ramp[i - 1].at);
        std::array<float, 3> mixed{};
        for (std::size_t c = 0; c < 3; ++c) {
            mixed[c] = ramp[i - 1].rgb[c] + (ramp[i].rgb[c] - ramp[i - 1].rgb[c]) * share;
        }
        return mixed;
    }
    return ramp.back().rgb;
}

/// Heights and slopes at the samples.
class Relief {
public:
    explicit Relief(const TerrainHeights& heights) : heights_(heights) {}

    struct Node {
        float height = 0, xSlope = 0, ySlope = 0;  // slopes toward growing columns and rows
        float land = 0;                            // 0 where there is no elevation, else 1
    };

    [[nodiscard]] Node NodeAt(int column, int row) const {
        const std::int16_t centre = RawAt(column, row);
        if (centre == kNullHeight) return {};
        // A neighbour without elevation is taken to be as high, so that holes get no dark rim.
        const auto h = [&](int dx, int dy) {
            const std::int16_t height = RawAt(column + dx, row + dy);
            return static_cast<float>(height == kNullHeight ? centre : height);
        };
        const float across =
            (h(1, -1) - h(-1, -1)) + 2 * (h(1, 0) - h(-1, 0)) + (h(1, 1) - h(-1, 1));
        const float down = (h(-1, 1) - h(-1, -1)) + 2 * (h(0, 1) - h(0, -1)) + (h(1, 1) - h(1, -1));
        return {static_cast<float>(centre),
                across / (8.0F * static_cast<float>(heights_.grid.cellWidth)),
                down / (8.0F * static_cast<float>(heights_.grid.cellHeight)), 1.0F};
    }

private:
    [[nodiscard]] std::int16_t RawAt(int column, int row) const {
        const TargetGrid& grid = heights_.grid;
        const auto x = static_cast<std::size_t>(std::clamp(column, 0, grid.columns - 1));
        const auto y = static_cast<std::size_t>(std::clamp(row, 0, grid.rows - 1));
        return heights_.heights[y * static_cast<std::size_t>(grid.columns) + x];
    }

    const TerrainHeights& heights_;
};

class Painter final : public TileReader {
public:
    Painter(const TerrainHeights& heights, const TargetGrid& grid) : relief_(heights) {
        pixelsInCell_ = grid.columns / std::max(1, heights.grid.columns - 1);
        lowest_ = static_cast<float>(std::max(0, heights.minimum));
        const float range =
            std::max(static_cast<float>(heights.maximum) - lowest_, kLeastRampMetres);
        // Low hills end among the fields, not in the snow.
        const float summit =
            std::clamp(static_cast<float>(heights.maximum) / kFullRampMetres, 0.0F, 1.0F);
        perMetre_ = (0.42F + 0.58F * summit) / range;
        deepest_ = std::clamp(static_cast<float>(-heights.minimum), 30.0F, kDeepest);
        // By the sea, where nobody measured is water; in the hills it is a hole in the data.
        if (heights.minimum > kCoastalMetres) unknown_ = kHole;
    }

    Status Read(int x, int y, int width, int height, RawTile& tile) override {
        const int firstColumn = x / pixelsInCell_, firstRow = y / pixelsInCell_;
        const int columns = (x + width - 1) / pixelsInCell_ - firstColumn + 2;
        const int rows = (y + height - 1) / pixelsInCell_ - firstRow + 2;
        nodes_.resize(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                nodes_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                       static_cast<std::size_t>(column)] =
                    relief_.NodeAt(firstColumn + column, firstRow + row);
            }
        }
        const float step = 1.0F / static_cast<float>(pixelsInCell_);
        for (int py = 0; py < height; ++py) {
            const int row = (y + py) / pixelsInCell_ - firstRow;
            const float fy = (static_cast<float>((y + py) % pixelsInCell_) + 0.5F) * step;
            for (int px = 0; px < width; ++px) {
                const int column = (x + px) / pixelsInCell_ - firstColumn;
                const float fx = (static_cast<float>((x + px) % pixelsInCell_) + 0.5F) * step;
                const Relief::Node* above =
                    &nodes_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                            static_cast<std::size_t>(column)];
                const Relief::Node* below = above + columns;
                const std::array<float, 4> share{(1 - fx) * (1 - fy), fx * (1 - fy), (1 - fx) * fy,
                                                 fx * fy};
                const auto mix = [&](float Relief::Node::*part) {
                    return above[0].*part * share[0] + above[1].*part * share[1] +
                           below[0].*part * share[2] + below[1].*part * share[3];
                };
                const float land = mix(&Relief::Node::land);
                const float whole = land > 0 ? 1.0F / land : 0.0F;
                Paint(land, mix(&Relief::Node::height) * whole, mix(&Relief::Node::xSlope) * whole,
                      mix(&Relief::Node::ySlope) * whole,
                      &tile.cells[(static_cast<std::size_t>(py) * kTileSide +
                                   static_cast<std::size_t>(px)) *
                                  3]);
            }
        }
        tile.coverage = Coverage::Full;
        return StatusCode::Ok;
    }

private:
    void Paint(float land, float metres, float xSlope, float ySlope, std::byte* rgb) const {
        std::array<float, 3> color{};
        if (land < 0.5F) {
            color = unknown_;
        } else if (metres < 0.5F) {
            // Half a metre: the shore lies halfway between the sea's last sample and land's first.
            color = TintAt(kSea, std::clamp(-metres / deepest_, 0.0F, 1.0F));
        } else {
            color = TintAt(kLand, (metres - lowest_) * perMetre_);
            const float steep = std::hypot(xSlope, ySlope);
            const float rock =
                0.8F * std::clamp((steep - kRockSlope) / (kBareSlope - kRockSlope), 0.0F, 1.0F);
            for (std::size_t c = 0; c < 3; ++c) color[c] += (kRock[c] - color[c]) * rock;
            // Rows grow southward, so a slope that falls to the north-west has both parts above 0.
            const float sx = xSlope * kRelief, sy = ySlope * kRelief;
            const float length = std::sqrt(1.0F + sx * sx + sy * sy);
            const float toLight = (kSunHeight + 0.5F * (sx + sy)) / length;
            const float shade = std::clamp(0.32F + 0.68F * (toLight / kSunHeight), 0.26F, 1.2F);
            for (float& channel : color) channel *= shade;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            rgb[c] =
                static_cast<std::byte>(static_cast<int>(std::clamp(color[c] + 0.5F, 0.0F, 255.0F)));
        }
    }

    Relief relief_;
    int pixelsInCell_ = 1;
    float lowest_ = 0, perMetre_ = 1, deepest_ = 1;
    std::array<float, 3> unknown_ = kSea.front().rgb;
    std::vector<Relief::Node> nodes_;
};

class PaintedSource final : public TileSource {
public:
    PaintedSource(const TerrainHeights& heights, const TargetGrid& grid)
        : heights_(heights), grid_(grid) {}
    Status NewReader(std::unique_ptr<TileReader>& reader) const override {
        reader = std::make_unique<Painter>(heights_, grid_);
        return StatusCode::Ok;
    }

private:
    const TerrainHeights& heights_;
    const TargetGrid& grid_;
};

}  // namespace

std::unique_ptr<TileSource> PaintedTiles(const TerrainHeights& heights, const TargetGrid& grid) {
    return std::make_unique<PaintedSource>(heights, grid);
}

}  // namespace tarnvale

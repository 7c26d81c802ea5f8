#include "tools/demo_paint.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tarnvale::demo {
namespace {

constexpr int kGrainSide = 512;
constexpr int kBuckets = 128;        // river squares along each side
constexpr float kBankReach = 36.0F;  // metres from a river's edge to where it no longer matters
constexpr int kBand = 32;            // rows that are painted together

constexpr float kBucket = kExtent / kBuckets;

constexpr std::size_t Bucket(int x, int y) noexcept {
    return static_cast<std::size_t>(y) * kBuckets + static_cast<std::size_t>(x);
}

// Directions to turn the noise by, so that no two kinds of it line up: cosine and sine.
struct Turn {
    float c, s;
};
constexpr std::array<Turn, 6> kTurns{{{0.9553365F, 0.2955202F},
                                      {0.7648422F, -0.6442177F},
                                      {0.4535961F, 0.8912074F},
                                      {0.9950042F, -0.0998334F},
                                      {0.6216100F, 0.7833269F},
                                      {0.8253356F, -0.5646425F}}};

}  // namespace

struct Painter::Rgb {
    float r, g, b;

    [[nodiscard]] Rgb operator*(float factor) const { return {r * factor, g * factor, b * factor}; }
    [[nodiscard]] static Rgb Mix(const Rgb& from, const Rgb& to, float t) {
        return {Lerp(from.r, to.r, t), Lerp(from.g, to.g, t), Lerp(from.b, to.b, t)};
    }
};

struct Painter::Wave {
    float v;       // -1 to 1
    float dx, dy;  // for a metre
};

struct Painter::Place {
    float x, y;    // metres from the north-west corner
    float bed;     // metres
    float gx, gy;  // its rise to the east and to the south
    float level;   // of the water here or near here; 0 where there is only the sea
    float river;   // metres to the nearest river's edge, negative in it
    std::array<float, kLayers> layers;

    [[nodiscard]] float operator[](Layer layer) const {
        return layers[static_cast<std::size_t>(layer)];
    }
};

struct Painter::Field {
    Rgb colour;
    float share;  // 0 to 1: how much of the pixel is farmed
    float hedge;  // 0 to 1: how much of it is hedge
};

// A pixel of land, laid over layer by layer.
struct Painter::Land {
    const Place& place;
    Wave large, middle, fine, tiny;   // noise of falling length
    float rough = 0.0F, grit = 0.0F;  // sums of it
    float slope = 0.0F;
    float high = 0.0F;  // 0 to 1, from the last meadows to the bare heights
    Rgb colour{0.0F, 0.0F, 0.0F};
    float bumps = 0.35F;                           // metres of the bumps that shade it
    float farm = 0.0F, hedge = 0.0F, wood = 0.0F;  // 0 to 1
};

// For each pixel of a row: the first of the four columns it lies between, and their weights.
struct Painter::Columns {
    std::vector<int> ground, cover;
    std::vector<std::uint8_t>
        groundNear;  // 1: the third of the columns is the nearest, 0: the second
    std::vector<std::array<float, 4>> groundWeights, groundSlopes, coverWeights;
};

// Rows of the grids, drawn together for one row of pixels.
struct Painter::Lines {
    int groundFrom = 0, coverFrom = 0;  // column of the first entry
    std::vector<float> bed, slope;
    std::vector<std::array<float, kLayers>> cover;
};

Painter::Painter(std::uint32_t seed, int textureSize, const Terrain& terrain, const Waters& waters,
                 const Cover& cover)
    : seed_(seed),
      textureSize_(textureSize),
      texel_(kExtent / static_cast<float>(textureSize)),
      terrain_(terrain),
      waters_(waters),
      cover_(cover) {
    grain_.resize(static_cast<std::size_t>(kGrainSide) * kGrainSide);
    for (int y = 0; y < kGrainSide; ++y) {
        for (int x = 0; x < kGrainSide; ++x) {
            const auto row = static_cast<std::size_t>(y) * kGrainSide;
            grain_[row + static_cast<std::size_t>(x)] =
                static_cast<std::int8_t>(static_cast<int>(Hash(x, y, seed + 91) >> 24) - 128);
        }
    }
    const auto visit = [&](const RiverPiece& piece, const auto& use) {
        const float reach = kBankReach + 0.5F * std::max(piece.width0, piece.width1);
        const auto bucket = [](float v) { return std::clamp(Floor(v / kBucket), 0, kBuckets - 1); };
        for (int by = bucket(std::min(piece.y0, piece.y1) - reach);
             by <= bucket(std::max(piece.y0, piece.y1) + reach); ++by) {
            for (int bx = bucket(std::min(piece.x0, piece.x1) - reach);
                 bx <= bucket(std::max(piece.x0, piece.x1) + reach); ++bx) {
                use(Bucket(bx, by));
            }
        }
    };
    bucketStarts_.assign(kBuckets * kBuckets + 1, 0);
    for (const RiverPiece& piece : waters.rivers)
        visit(piece, [&](std::size_t b) { ++bucketStarts_[b + 1]; });
    for (std::size_t b = 0; b + 1 < bucketStarts_.size(); ++b)
        bucketStarts_[b + 1] += bucketStarts_[b];
    bucketPieces_.resize(bucketStarts_.back());
    std::vector<std::uint32_t> next(bucketStarts_.begin(), bucketStarts_.end() - 1);
    for (std::size_t k = 0; k < waters.rivers.size(); ++k) {
        visit(waters.rivers[k],
              [&](std::size_t b) { bucketPieces_[next[b]++] = static_cast<std::uint32_t>(k); });
    }
}

void Painter::RiverDistances(int x, int y, int width, int height,
                             std::vector<float>& distances) const {
    distances.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                     kBankReach);
    const auto bucket = [&](int pixel) {
        return std::clamp(Floor(static_cast<float>(pixel) * texel_ / kBucket), 0, kBuckets - 1);
    };
    for (int by = bucket(y); by <= bucket(y + height); ++by) {
        for (int bx = bucket(x); bx <= bucket(x + width); ++bx) {
            // A piece stands in several squares: in each it draws that square's pixels alone.
            const auto edge = [&](int b) {
                return Floor(static_cast<float>(b) * kBucket / texel_ + 0.5F);
            };
            const int left = std::max(x, edge(bx));
            const int right = std::min(x + width, edge(bx + 1));
            const int top = std::max(y, edge(by));
            const int bottom = std::min(y + height, edge(by + 1));
            const std::size_t b = Bucket(bx, by);
            for (std::uint32_t k = bucketStarts_[b]; k < bucketStarts_[b + 1]; ++k) {
                const RiverPiece& piece = waters_.rivers[bucketPieces_[k]];
                const float reach = kBankReach + 0.5F * std::max(piece.width0, piece.width1);
                const float dx = piece.x1 - piece.x0;
                const float dy = piece.y1 - piece.y0;
                const float inverse = 1.0F / std::max(dx * dx + dy * dy, 1e-6F);
                const int fromX =
                    std::max(left, Floor((std::min(piece.x0, piece.x1) - reach) / texel_));
                const int toX =
                    std::min(right, Floor((std::max(piece.x0, piece.x1) + reach) / texel_) + 1);
                const int fromY =
                    std::max(top, Floor((std::min(piece.y0, piece.y1) - reach) / texel_));
                const int toY =
                    std::min(bottom, Floor((std::max(piece.y0, piece.y1) + reach) / texel_) + 1);
                for (int py = fromY; py < toY; ++py) {
                    float* row = distances.data() +
                                 static_cast<std::size_t>(py - y) * static_cast<std::size_t>(width);
                    const float oy = (static_cast<float>(py) + 0.5F) * texel_ - piece.y0;
                    for (int px = fromX; px < toX; ++px) {
                        const float ox = (static_cast<float>(px) + 0.5F) * texel_ - piece.x0;
                        const float t = Clamp01((ox * dx + oy * dy) * inverse);
                        const float ax = ox - t * dx;
                        const float ay = oy - t * dy;
                        const float away = std::sqrt(ax * ax + ay * ay) -
                                           0.5F * Lerp(piece.width0, piece.width1, t);
                        row[px - x] = std::min(row[px - x], away);
                    }
                }
            }
        }
    }
}

float Painter::FarmAt(float x, float y) const {
    const float cells = static_cast<float>(cover_.Side() - 1) / kExtent;
    const auto& layers = cover_.Clamped(Floor(x * cells + 0.5F), Floor(y * cells + 0.5F));
    return layers[static_cast<std::size_t>(Layer::Farm)];
}

// Smooth noise of about `length` metres.
Painter::Wave Painter::Grain(float x, float y, float length, int turn) const {
    const Turn& t = kTurns[static_cast<std::size_t>(turn)];
    const float scale = 1.0F / length;
    const float u = (x * t.c - y * t.s) * scale;
    const float v = (x * t.s + y * t.c) * scale;
    const int iu = Floor(u);
    const int iv = Floor(v);
    const float fu = u - static_cast<float>(iu);
    const float fv = v - static_cast<float>(iv);
    constexpr int kMask = kGrainSide - 1;
    const std::int8_t* row0 = grain_.data() + (iv & kMask) * kGrainSide;
    const std::int8_t* row1 = grain_.data() + ((iv + 1) & kMask) * kGrainSide;
    const auto a = static_cast<float>(row0[iu & kMask]);
    const auto b = static_cast<float>(row0[(iu + 1) & kMask]);
    const auto c = static_cast<float>(row1[iu & kMask]);
    const auto d = static_cast<float>(row1[(iu + 1) & kMask]);
    const float su = fu * fu * (3.0F - 2.0F * fu);
    const float sv = fv * fv * (3.0F - 2.0F * fv);
    const float top = Lerp(a, b, su);
    const float low = Lerp(c, d, su);
    constexpr float kUnit = 1.0F / 128.0F;
    const float du = Lerp(b - a, d - c, sv) * 6.0F * fu * (1.0F - fu) * scale * kUnit;
    const float dv = (low - top) * 6.0F * fv * (1.0F - fv) * scale * kUnit;
    return {Lerp(top, low, sv) * kUnit, du * t.c + dv * t.s, dv * t.c - du * t.s};
}

// The patchwork of a farmed plain: parishes, each with its own direction, cut into strips and
// fields. A field is farmed as a whole or not at all.
Painter::Field Painter::PaintField(const Place& place, float wobble, float fine) const {
    constexpr float kParish = 1500.0F;
    const float u = place.x / kParish;
    const float v = place.y / kParish;
    const int iu = Floor(u);
    const int iv = Floor(v);
    float nearest = 1e9F;
    float second = 1e9F;
    std::uint32_t parish = 0;
    for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) {
            const std::uint32_t h = Hash(iu + i, iv + j, seed_ + 92);
            const float du = static_cast<float>(iu + i) + ToUnit(h << 16) - u;
            const float dv = static_cast<float>(iv + j) + ToUnit(h & 0xffff0000U) - v;
            const float square = du * du + dv * dv;
            second = std::min(second, std::max(nearest, square));
            if (square < nearest) {
                nearest = square;
                parish = h;
            }
        }
    }
    const std::uint32_t ways = Mix(parish);
    const Turn& turn = kTurns[ways % kTurns.size()];
    const float px = place.x * turn.c + place.y * turn.s + 30.0F * wobble;
    const float py = place.y * turn.c - place.x * turn.s + 30.0F * wobble;
    const float stripWidth = 75.0F + 95.0F * ToUnit(ways << 8);
    const int strip = Floor(px / stripWidth);
    const std::uint32_t stripHash = Hash(strip, 0, parish);
    const float length = stripWidth * (1.3F + 1.7F * ToUnit(stripHash));
    const float along = py + length * ToUnit(stripHash << 12);
    const int field = Floor(along / length);
    std::uint32_t id = Hash(strip, field, parish + 1);
    float across = px - static_cast<float>(strip) * stripWidth;
    float down = along - static_cast<float>(field) * length;
    float edge = std::min(std::min(across, stripWidth - across), std::min(down, length - down));
    if ((id & 3U) == 0) {  // cut in two
        const float half = down - 0.5F * length;
        edge = std::min(edge, std::abs(half));
        if (half > 0.0F) id = Mix(id);
    }
    constexpr std::array<Rgb, 12> kCrops{{{176, 160, 104},
                                          {190, 174, 122},
                                          {104, 122, 62},
                                          {118, 134, 72},
                                          {86, 108, 54},
                                          {134, 112, 84},
                                          {166, 150, 108},
                                          {126, 138, 76},
                                          {112, 130, 66},
                                          {150, 146, 88},
                                          {94, 118, 60},
                                          {158, 150, 96}}};
    const Rgb crop = kCrops[(id >> 8) % kCrops.size()];
    float tone = 0.96F + 0.08F * ToUnit(id << 3) + 0.03F * fine;
    if (texel_ < 2.6F) {  // the plough's lines
        const float row = across * 0.25F;
        tone += 0.05F * (std::abs(row - static_cast<float>(Floor(row)) - 0.5F) - 0.25F);
    }
    const float middleX = (static_cast<float>(strip) + 0.5F) * stripWidth - 30.0F * wobble;
    const float middleY = py - down + 0.5F * length - 30.0F * wobble;
    const float suits =
        FarmAt(middleX * turn.c - middleY * turn.s, middleX * turn.s + middleY * turn.c);
    if (suits < 0.36F + 0.12F * ToUnit(stripHash)) return {{0.0F, 0.0F, 0.0F}, 0.0F, 0.0F};
    const bool hedged = (id >> 28) < 11U;
    float hedge = hedged ? Smooth(7.5F, 3.0F, edge + 2.5F * fine) : 0.0F;
    Rgb colour = crop * tone;
    if (!hedged) colour = Rgb::Mix(colour, {150, 142, 104}, 0.6F * Smooth(3.5F, 1.5F, edge));
    const float border = (std::sqrt(second) - std::sqrt(nearest)) * kParish;
    const float lane = Smooth(7.0F, 3.5F, border + 1.0F * fine);
    hedge *= 1.0F - lane;
    return {Rgb::Mix(colour, {176, 166, 138}, lane), 1.0F, hedge};
}

Painter::Rgb Painter::PaintWater(const Place& place, float depth, const Wave& middle,
                                 const Wave& fine) const {
    const float ripple = 1.0F + 0.02F * middle.v + 0.015F * fine.v + 0.03F * place[Layer::Stir];
    if (place.level > 0.0F) {
        // High lakes are milky from the rock that ice has ground, low ones are dark.
        const float milky = Smooth(700.0F, 1400.0F, place.level);
        const Rgb deep = Rgb::Mix({30, 62, 78}, {38, 96, 112}, milky);
        const Rgb shallow = Rgb::Mix({84, 112, 100}, {104, 158, 156}, milky);
        const float t = depth / (depth + 3.5F);
        const Rgb water = Rgb::Mix(shallow, deep, t) * ripple;
        return Rgb::Mix({122, 118, 96}, water, Smooth(0.0F, 0.7F, depth));
    }
    const float shallows = depth / (depth + 5.0F);
    const float deeps = depth / (depth + 45.0F);
    Rgb water = Rgb::Mix({122, 178, 168}, {38, 104, 128}, shallows);
    water = Rgb::Mix(water, {16, 46, 82}, deeps) * ripple;
    const float surf = Smooth(0.7F, 0.2F, depth + 0.35F * middle.v + 0.25F * fine.v);
    return Rgb::Mix(water, {226, 232, 226}, 0.6F * surf);
}

// Grass by moisture and height, and fields on it.
void Painter::LayGrass(Land& land) const {
    const Place& place = land.place;
    const float wet = place[Layer::Wet];
    const float stir = place[Layer::Stir];
    Rgb colour =
        Rgb::Mix({132, 132, 80}, {94, 118, 58}, Clamp01(2.0F * (wet - 0.26F) + 0.35F * land.rough));
    colour = Rgb::Mix(colour, {124, 119, 96}, 0.85F * land.high);
    colour = Rgb::Mix(colour, {150, 130, 98},
                      0.45F * Smooth(0.35F, 0.75F, land.rough + 0.4F * stir - 0.7F * wet + 0.3F));
    land.colour = colour * (1.0F + 0.07F * land.grit + 0.05F * stir);
    if (place[Layer::Farm] > 0.1F) {
        const Field field = PaintField(place, stir, land.fine.v);
        land.farm = field.share * Smooth(3.0F, 9.0F, place.river + 3.0F * land.middle.v);
        land.colour = Rgb::Mix(land.colour, field.colour, land.farm);
        land.hedge = field.hedge * land.farm;
    }
}

// Woods, hedges and the trees along a stream; rock and what falls from it.
void Painter::LayWoodsAndRock(Land& land) const {
    const Place& place = land.place;
    const float large = land.large.v;
    const float middle = land.middle.v;
    const float fine = land.fine.v;
    const float height = place.bed;
    const float tint = place[Layer::Tint];
    const float stir = place[Layer::Stir];
    const float brook = Smooth(20.0F, 6.0F, place.river + 12.0F * middle + 6.0F * large) *
                        Smooth(1150.0F, 700.0F, height + 300.0F * stir) *
                        Smooth(0.4F, 0.2F, land.slope);
    float wood = Smooth(0.47F, 0.55F,
                        place[Layer::Wood] * (1.0F - 0.85F * land.farm) + 0.17F * large +
                            0.10F * middle + 0.05F * fine);
    const float copse = Smooth(0.62F, 0.72F, 0.55F * large + 0.45F * middle + 0.1F * fine) *
                        Smooth(1700.0F, 1500.0F, height) * (1.0F - 0.8F * land.farm);
    wood = std::max(std::max(wood, 0.9F * land.hedge), std::max(0.85F * brook, copse));

    const float bare = land.slope + 0.20F * land.rough + 0.06F * fine;
    const float limit = 0.86F - 0.20F * land.high + 0.08F * tint;
    const float rock = Smooth(limit - 0.09F, limit + 0.09F, bare);
    const float scree =
        (1.0F - rock) * Smooth(0.42F, 0.62F, bare + 0.1F * stir) * Smooth(0.25F, 0.75F, land.high);
    wood *= (1.0F - rock) * (1.0F - scree);
    land.wood = wood;
    if (wood > 0.0F) {
        const float needles = Smooth(350.0F, 1000.0F, height + 350.0F * stir + 200.0F * large);
        Rgb trees = Rgb::Mix({66, 88, 42}, {48, 69, 44}, needles);
        trees = Rgb::Mix(trees, {86, 98, 48},
                         0.35F * (1.0F - needles) * Smooth(0.1F, 0.6F, middle + 0.5F * land.grit));
        trees = trees * (1.06F + 0.17F * fine + 0.10F * land.tiny.v + 0.07F * large + 0.12F * stir);
        land.colour = Rgb::Mix(land.colour, trees, wood);
        land.bumps = Lerp(land.bumps, 2.4F, wood);
    }
    if (rock > 0.0F || scree > 0.0F) {
        const float bands = Grain(height * 3.1F + 40.0F * large, 211.0F * tint, 60.0F, 3).v;
        Rgb stone =
            Rgb::Mix({112, 112, 114}, {146, 132, 112}, Clamp01(0.5F + 0.9F * tint + 0.15F * large));
        stone = stone * (1.0F + 0.09F * bands + 0.10F * land.grit);
        const Rgb rubble = Rgb::Mix(stone, {158, 152, 142}, 0.6F) * (1.0F + 0.05F * land.grit);
        land.colour = Rgb::Mix(Rgb::Mix(land.colour, rubble, 0.85F * scree), stone, rock);
        land.bumps = Lerp(land.bumps, 2.6F, std::max(rock, 0.4F * scree));
    }
}

// The shores of the sea and of lakes.
void Painter::LayShores(Land& land) {
    const Place& place = land.place;
    const float sea = place[Layer::Sea];
    const float height = place.bed;
    if (sea < 380.0F && height < 14.0F) {
        const float sand =
            Smooth(3.0F, 1.9F, height + 0.8F * land.rough + 0.8F * place[Layer::Stir]) *
            Smooth(0.16F, 0.08F, land.slope + 0.03F * land.rough) *
            Smooth(190.0F, 110.0F, sea + 60.0F * land.large.v);
        const Rgb beach = Rgb::Mix({168, 152, 118}, {214, 200, 164}, Smooth(0.1F, 1.0F, height)) *
                          (1.0F + 0.03F * land.grit);
        land.colour = Rgb::Mix(land.colour, beach, sand);
        land.bumps *= 1.0F - 0.8F * sand;
    }
    if (place.level > 0.0F) {
        const float depth = place.level - height;
        land.colour = Rgb::Mix(land.colour, {134, 126, 104},
                               0.6F * Smooth(1.2F, 0.2F, -depth + 0.4F * land.fine.v));
    }
}

// Streams, with gravel where they are quick.
void Painter::LayStream(Land& land) const {
    const float river = land.place.river;
    if (river >= kBankReach) return;
    const float gravel = Smooth(9.0F, 2.0F, river + 4.0F * land.middle.v) *
                         Smooth(0.02F, 0.05F, land.slope + 0.02F * land.high);
    land.colour = Rgb::Mix(land.colour, Rgb{164, 158, 144} * (1.0F + 0.06F * land.grit),
                           0.75F * gravel * (1.0F - 0.5F * land.wood));
    const float wash = Clamp01(0.5F - (river + 0.8F * land.fine.v) / std::max(texel_, 1.5F));
    const Rgb stream = Rgb::Mix({62, 88, 88}, {112, 142, 142}, Smooth(0.02F, 0.16F, land.slope));
    land.colour = Rgb::Mix(land.colour, stream, wash);
    land.bumps *= 1.0F - wash;
}

// Snow, where it is high, shady and not too steep.
void Painter::LaySnow(Land& land) {
    const Place& place = land.place;
    const float shady = 0.7071F * (place.gx + place.gy) / (1.0F + land.slope);
    const float snowHeight = place.bed + 260.0F * land.rough + 90.0F * place[Layer::Stir] -
                             120.0F * place.gy / (1.0F + land.slope) + 60.0F * shady;
    const float snow = Smooth(1950.0F, 2150.0F, snowHeight) *
                       Smooth(1.15F, 0.85F, land.slope + 0.25F * land.rough);
    if (snow > 0.0F) {
        land.colour = Rgb::Mix(land.colour, Rgb{238, 242, 247} * (1.0F + 0.012F * land.grit), snow);
        land.bumps *= 1.0F - 0.75F * snow;
    }
}

// Sun from the north-west, blue light from the sky.
Painter::Rgb Painter::Lit(const Land& land) {
    const Place& place = land.place;
    const auto slope = [&land](float rise, float large, float middle, float fine, float tiny) {
        return rise + land.bumps * (1.5F * large * (1.0F - land.wood) +
                                    1.2F * middle * (1.0F - land.wood) + 1.0F * fine + 0.4F * tiny);
    };
    const float sx = slope(place.gx, land.large.dx, land.middle.dx, land.fine.dx, land.tiny.dx);
    const float sy = slope(place.gy, land.large.dy, land.middle.dy, land.fine.dy, land.tiny.dy);
    const float facing = (1.0F + 0.72F * (sx + sy)) / std::sqrt(1.0F + sx * sx + sy * sy);
    const float sun = 0.57F * std::max(0.06F, facing) * place[Layer::Light];
    const float sky = 0.46F * place[Layer::Light];
    return {land.colour.r * (1.03F * sun + 0.92F * sky), land.colour.g * (sun + 0.99F * sky),
            land.colour.b * (0.95F * sun + 1.12F * sky)};
}

Painter::Rgb Painter::PaintPlace(const Place& place) const {
    const Wave middle = Grain(place.x, place.y, 23.0F, 1);
    const Wave fine = Grain(place.x, place.y, std::max(8.7F, 1.8F * texel_), 2);
    const float depth = place.level - place.bed;
    if (depth > 0.0F) return PaintWater(place, depth, middle, fine);

    const bool close = texel_ < 2.6F;
    Land land{place, Grain(place.x, place.y, 67.0F, 0), middle, fine, {0.0F, 0.0F, 0.0F}};
    if (close) land.tiny = Grain(place.x, place.y, 3.1F, 3);
    land.rough = 0.5F * land.large.v + 0.3F * middle.v + 0.2F * fine.v;
    land.grit = 0.6F * fine.v + 0.4F * (close ? land.tiny.v : middle.v);
    land.slope = std::sqrt(place.gx * place.gx + place.gy * place.gy);
    land.high = Smooth(1250.0F, 2050.0F, place.bed + 250.0F * land.rough);
    LayGrass(land);
    LayWoodsAndRock(land);
    LayShores(land);
    LayStream(land);
    LaySnow(land);
    return Lit(land);
}

void Painter::Paint(int x, int y, int width, int height, std::span<std::uint8_t> rgb) const {
    if (width <= 0 || height <= 0) return;
    const int groundSide = terrain_.bed.Side();
    const int coverSide = cover_.Side();
    const float groundCell = kExtent / static_cast<float>(groundSide - 1);
    const float groundRatio = static_cast<float>(groundSide - 1) / static_cast<float>(textureSize_);
    const float coverRatio = static_cast<float>(coverSide - 1) / static_cast<float>(textureSize_);
    const auto slopes = [&](float t) {
        const SplineSlope slope(t);
        return std::array<float, 4>{slope.w[0] / groundCell, slope.w[1] / groundCell,
                                    slope.w[2] / groundCell, slope.w[3] / groundCell};
    };
    const auto weights = [](float t) {
        const Spline spline(t);
        return std::array<float, 4>{spline.w[0], spline.w[1], spline.w[2], spline.w[3]};
    };

    Columns columns;
    const auto count = static_cast<std::size_t>(width);
    columns.ground.resize(count);
    columns.cover.resize(count);
    columns.groundNear.resize(count);
    columns.groundWeights.resize(count);
    columns.groundSlopes.resize(count);
    columns.coverWeights.resize(count);
    Lines lines;
    const auto place = [](int pixel, float ratio) {
        return (static_cast<float>(pixel) + 0.5F) * ratio;
    };
    lines.groundFrom = Floor(place(x, groundRatio)) - 1;
    lines.coverFrom = Floor(place(x, coverRatio)) - 1;
    for (int i = 0; i < width; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const float g = place(x + i, groundRatio);
        columns.ground[k] = Floor(g) - 1 - lines.groundFrom;
        columns.groundNear[k] = g - static_cast<float>(Floor(g)) < 0.5F ? 0 : 1;
        columns.groundWeights[k] = weights(g - static_cast<float>(Floor(g)));
        columns.groundSlopes[k] = slopes(g - static_cast<float>(Floor(g)));
        const float c = place(x + i, coverRatio);
        columns.cover[k] = Floor(c) - 1 - lines.coverFrom;
        columns.coverWeights[k] = weights(c - static_cast<float>(Floor(c)));
    }
    lines.bed.resize(static_cast<std::size_t>(columns.ground.back()) + 4);
    lines.slope.resize(lines.bed.size());
    lines.cover.resize(static_cast<std::size_t>(columns.cover.back()) + 4);
    std::vector<float> rivers;

    for (int row = 0; row < height; ++row) {
        if (row % kBand == 0)
            RiverDistances(x, y + row, width, std::min(kBand, height - row), rivers);
        const float gy = place(y + row, groundRatio);
        const int groundRow = Floor(gy);
        const std::array<float, 4> gw = weights(gy - static_cast<float>(groundRow));
        const std::array<float, 4> gs = slopes(gy - static_cast<float>(groundRow));
        for (std::size_t k = 0; k < lines.bed.size(); ++k) {
            float bed = 0.0F;
            float slope = 0.0F;
            for (int j = 0; j < 4; ++j) {
                const float v =
                    terrain_.bed.Clamped(lines.groundFrom + static_cast<int>(k), groundRow - 1 + j);
                bed += gw[static_cast<std::size_t>(j)] * v;
                slope += gs[static_cast<std::size_t>(j)] * v;
            }
            lines.bed[k] = bed;
            lines.slope[k] = slope;
        }
        const float cy = place(y + row, coverRatio);
        const std::array<float, 4> cw = weights(cy - static_cast<float>(Floor(cy)));
        for (std::size_t k = 0; k < lines.cover.size(); ++k) {
            auto& out = lines.cover[k];
            out.fill(0.0F);
            for (int j = 0; j < 4; ++j) {
                const auto& in =
                    cover_.Clamped(lines.coverFrom + static_cast<int>(k), Floor(cy) - 1 + j);
                for (std::size_t m = 0; m < kLayers; ++m)
                    out[m] += cw[static_cast<std::size_t>(j)] * in[m];
            }
        }

        std::uint8_t* out = rgb.data() + static_cast<std::size_t>(row) * count * 3;
        const float* river = rivers.data() + static_cast<std::size_t>(row % kBand) * count;
        Place here{};
        here.y = (static_cast<float>(y + row) + 0.5F) * texel_;
        for (std::size_t k = 0; k < count; ++k) {
            const auto g = static_cast<std::size_t>(columns.ground[k]);
            here.x = (static_cast<float>(x + static_cast<int>(k)) + 0.5F) * texel_;
            here.bed = here.gx = here.gy = 0.0F;
            for (std::size_t i = 0; i < 4; ++i) {
                here.bed += columns.groundWeights[k][i] * lines.bed[g + i];
                here.gx += columns.groundSlopes[k][i] * lines.bed[g + i];
                here.gy += columns.groundWeights[k][i] * lines.slope[g + i];
            }
            const float* c = lines.cover[static_cast<std::size_t>(columns.cover[k])].data();
            for (std::size_t m = 0; m < kLayers; ++m) {
                here.layers[m] = columns.coverWeights[k][0] * c[m] +
                                 columns.coverWeights[k][1] * c[m + kLayers] +
                                 columns.coverWeights[k][2] * c[m + 2 * kLayers] +
                                 columns.coverWeights[k][3] * c[m + 3 * kLayers];
            }
            const int nearest =
                lines.groundFrom + columns.ground[k] + (columns.groundNear[k] != 0 ? 2 : 1);
            const std::uint8_t lake = terrain_.lake.Clamped(
                nearest, groundRow + (gy - static_cast<float>(groundRow) < 0.5F ? 0 : 1));
            here.level = waters_.levels[lake];
            here.river = river[k];
            const Rgb colour = PaintPlace(here);
            const auto byte = [](float v) {
                return static_cast<std::uint8_t>(std::clamp(v + 0.5F, 0.0F, 255.0F));
            };
            out[3 * k] = byte(colour.r);
            out[3 * k + 1] = byte(colour.g);
            out[3 * k + 2] = byte(colour.b);
        }
    }
}

}  // namespace tarnvale::demo

#include "tools/demo_water.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "tools/demo_flow.h"

namespace tarnvale::demo {
namespace {

constexpr std::size_t kMostLakes = 250;
constexpr float kStream = 0.5F;  // square kilometres of land that feed a stream that is drawn

// Kinds of lakes to make. A lake is a length of a valley let down below its lower end.
struct LakeKind {
    int count;
    float minWater, maxWater;    // square kilometres drained
    float minHeight, maxHeight;  // metres
    float minLength, maxLength;  // metres along the valley
    float maxGain;               // metres that the valley may rise on that length
    float radius, depth;         // metres
    float apart;                 // metres to any other lake
};
constexpr std::array<LakeKind, 4> kLakeKinds{{
    {8, 5.0F, 120.0F, 90.0F, 900.0F, 1600.0F, 4500.0F, 130.0F, 430.0F, 60.0F, 3200.0F},
    {5, 0.8F, 12.0F, 12.0F, 260.0F, 600.0F, 1500.0F, 18.0F, 620.0F, 14.0F, 3000.0F},
    {9, 1.0F, 8.0F, 350.0F, 1300.0F, 500.0F, 1300.0F, 60.0F, 300.0F, 30.0F, 1800.0F},
    {24, 0.12F, 1.2F, 1250.0F, 2300.0F, 160.0F, 480.0F, 130.0F, 170.0F, 25.0F, 1100.0F},
}};

class WaterMaker {
public:
    WaterMaker(std::uint32_t seed, Grid<float> heights, const Workers& workers)
        : seed_(seed),
          workers_(workers),
          side_(heights.Side()),
          cell_(kExtent / static_cast<float>(side_ - 1)),
          ends_(side_),
          flow_(side_) {
        waters_.bed = std::move(heights);
        const Grid<float>& bed = waters_.bed;
        for (int y = 0; y < side_; ++y) {
            for (int x = 0; x < side_; ++x) {
                const bool border = x == 0 || y == 0 || x == side_ - 1 || y == side_ - 1;
                ends_.At(x, y) = border || bed.At(x, y) < kShore ? 1 : 0;
            }
        }
        waters_.sea = DistanceToSea();
    }

    /// Water runs over the ground as it is now.
    void Route() {
        flow_.Flood(waters_.bed, ends_);
        Grid<float> rain(side_);
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                rain.At(x, y) = 0.6F + std::max(0.0F, waters_.bed.At(x, y)) * (1.0F / 2000.0F);
            }
        });
        flow_.Gather(rain, workers_);
        waters_.water = flow_.Water();
        const float squareKilometres = cell_ * cell_ * 1e-6F;
        workers_.Rows(side_, [&](int y) {
            float* row = waters_.water.Row(y);
            for (int x = 0; x < side_; ++x) row[x] *= squareKilometres;
        });
    }

    /// Cuts through whatever dams a valley, so that all water runs off; call Route before it.
    void Breach() { flow_.Breach(waters_.bed); }

    /// Streams shift about and level the floor of their valley; ice did so in the high valleys.
    void WidenValleys() {
        FindFloors();
        Grid<float>& bed = waters_.bed;
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const std::size_t i = bed.Index(x, y);
                const float floor = waters_.floor[i];
                const float above = bed[i] - floor;
                const float drained = std::sqrt(waters_.water[root_[i]]);
                const float ice = Smooth(500.0F, 1300.0F, floor) * Smooth(0.8F, 2.5F, drained);
                const float reach = 2.0F + 4.0F * std::min(drained, 9.0F) + 45.0F * ice;
                bed[i] = floor + above * Smooth(-0.25F * reach, 1.6F * reach, above);
            }
        });
    }

    /// Walls that are too steep to stand crumble onto what lies below them.
    void Crumble() {
        constexpr std::array<int, 8> kDx{1, 1, 0, -1, -1, -1, 0, 1};
        constexpr std::array<int, 8> kDy{0, 1, 1, 1, 0, -1, -1, -1};
        for (int pass = 0; pass < 14; ++pass) {
            const Grid<float> from = waters_.bed;
            workers_.Rows(side_, [&](int y) {
                for (int x = 0; x < side_; ++x) {
                    const float here = from.At(x, y);
                    float moved = 0.0F;
                    for (std::size_t d = 0; d < 8; ++d) {
                        const float stands = kStands * ((d & 1U) != 0 ? 1.41421356F : 1.0F) * cell_;
                        const float rise = from.Clamped(x + kDx[d], y + kDy[d]) - here;
                        if (rise > stands) moved += rise - stands;
                        if (rise < -stands) moved += rise + stands;
                    }
                    waters_.bed.At(x, y) = here + 0.11F * moved;
                }
            });
        }
    }

    /// Soil creeps: rounds low hills more than high crests.
    void Soften() {
        for (int pass = 0; pass < 4; ++pass) {
            const Grid<float> from = waters_.bed;
            workers_.Rows(side_, [&](int y) {
                for (int x = 0; x < side_; ++x) {
                    const float here = from.At(x, y);
                    if (here < kShore) continue;
                    const float around = from.Clamped(x - 1, y) + from.Clamped(x + 1, y) +
                                         from.Clamped(x, y - 1) + from.Clamped(x, y + 1) -
                                         4.0F * here;
                    const float rate = 0.05F + 0.14F * Smooth(1700.0F, 700.0F, here);
                    waters_.bed.At(x, y) = here + rate * around;
                }
            });
        }
    }

    /// Cliffs and beaches where the land meets the sea, and the sea's floor.
    void ShapeCoast() {
        FindFloors();
        SmoothCoast();
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) {
                const float wx = cell_ * static_cast<float>(x);
                const float wy = cell_ * static_cast<float>(y);
                const std::size_t i = waters_.bed.Index(x, y);
                float& bed = waters_.bed[i];
                const float distance = waters_.sea[i];
                if (distance > 3000.0F) continue;
                const float kind = Fractal(wx / 4200.0F, wy / 4200.0F, 3, seed_ + 41);
                const float steep = Smooth(-0.1F, 0.35F, kind);
                if (distance <= 0.0F) {
                    const float out = -distance;
                    const float fall = (0.011F + 0.016F * steep) * out;
                    bed = -95.0F * fall / (fall + 60.0F) -
                          0.035F * (0.5F + 2.0F * steep) * std::min(out, 160.0F) +
                          std::min(out * 0.01F, 3.5F) *
                              Fractal(wx / 1300.0F, wy / 1300.0F, 4, seed_ + 42);
                    bed = std::min(bed, -0.004F * out);
                    continue;
                }
                const float valley = waters_.floor[i] > 1.0F ? waters_.floor[i] : 0.0F;
                const float cliff = steep * Fade(distance / 800.0F) *
                                    Smooth(0.0F, 85.0F, distance) *
                                    Smooth(1.0F, 7.0F, bed - valley);
                const float beach = Smooth(0.02F, -0.22F, kind) * Smooth(420.0F, 60.0F, distance);
                // From the shore the ground rises gently, or steeply to a cliff's top.
                bed = std::min(std::max(bed, 0.01F * std::min(distance, 120.0F)),
                               (0.022F + 0.5F * steep) * distance + 0.0003F * distance * distance);
                bed += (16.0F + 50.0F * std::max(0.0F, kind)) * cliff;
                bed = Lerp(bed, std::min(bed, 0.016F * distance), beach);
            }
        });
        for (std::size_t i = 0; i < ends_.Count(); ++i) {
            if (waters_.sea[i] <= 0.0F) ends_[i] = 1;
        }
    }

    void ScoopLakes() {
        Grid<float> sink(side_);
        std::vector<Point> taken;
        for (const LakeKind& kind : kLakeKinds) PlaceLakes(kind, sink, taken);
        workers_.Rows(side_, [&](int y) {
            for (int x = 0; x < side_; ++x) waters_.bed.At(x, y) -= sink.At(x, y);
        });
    }

    /// After Route: pits that are large enough become lakes, the others are filled.
    void FillLakes() {
        Grid<float>& bed = waters_.bed;
        const Grid<float>& filled = flow_.Filled();
        struct Pit {
            std::vector<std::uint32_t> cells;
            float level = 0;
        };
        std::vector<Pit> pits;
        std::vector<std::uint8_t> seen(bed.Count(), 0);
        for (std::size_t start = 0; start < bed.Count(); ++start) {
            if (seen[start] != 0 || filled[start] <= bed[start]) continue;
            Pit pit;
            pit.level = filled[start];
            pit.cells.push_back(static_cast<std::uint32_t>(start));
            seen[start] = 1;
            float deepest = 0.0F;
            for (std::size_t k = 0; k < pit.cells.size(); ++k) {
                const std::uint32_t i = pit.cells[k];
                deepest = std::max(deepest, filled[i] - bed[i]);
                ForAround(i, [&](std::size_t n) {
                    if (seen[n] == 0 && filled[n] > bed[n] && filled[n] == pit.level) {
                        seen[n] = 1;
                        pit.cells.push_back(static_cast<std::uint32_t>(n));
                    }
                });
            }
            const float area = static_cast<float>(pit.cells.size()) * cell_ * cell_;
            if (area > 14000.0F && deepest > 5.0F && pit.level > 4.0F) {
                pits.push_back(std::move(pit));
            } else {
                for (const std::uint32_t i : pit.cells) bed[i] = filled[i];
            }
        }
        std::ranges::stable_sort(
            pits, [](const Pit& a, const Pit& b) { return a.cells.size() > b.cells.size(); });
        waters_.lake = Grid<std::uint8_t>(side_);
        waters_.levels.assign(1, 0.0F);
        for (const Pit& pit : pits) {
            const float level = std::floor(pit.level);
            const bool lake = waters_.levels.size() <= kMostLakes;
            if (lake) waters_.levels.push_back(level);
            for (const std::uint32_t i : pit.cells) {
                if (!lake) bed[i] = filled[i];
                if (lake && bed[i] < level) {
                    waters_.lake[i] = static_cast<std::uint8_t>(waters_.levels.size() - 1);
                }
            }
        }
        // The shore's cells know their lake too, so that its edge can be found between the cells.
        for (int pass = 0; pass < 2; ++pass) {
            const Grid<std::uint8_t> from = waters_.lake;
            for (std::size_t i = 0; i < from.Count(); ++i) {
                if (from[i] != 0) continue;
                ForAround(i, [&](std::size_t n) {
                    if (from[n] != 0 && bed[i] >= waters_.levels[from[n]])
                        waters_.lake[i] = from[n];
                });
            }
        }
    }

    void TraceRivers() {
        std::vector<RiverNode> nodes = RiverNodes();
        SmoothRivers(nodes);
        for (std::size_t k = 0; k < nodes.size(); ++k) AddRiver(nodes, k);
    }

    void FindFloors() {
        root_.assign(waters_.bed.Count(), 0);
        waters_.floor = Grid<float>(side_);
        const std::vector<std::uint32_t>& order = flow_.Order();
        for (std::size_t k = order.size(); k-- > 0;) {
            const std::uint32_t i = order[k];
            const bool own = flow_.IsEnd(i) || waters_.water[i] >= kStream;
            root_[i] = own ? i : root_[flow_.Next(i)];
            waters_.floor[i] = std::max(0.0F, std::min(waters_.bed[i], waters_.bed[root_[i]]));
        }
    }

    [[nodiscard]] Waters Take() { return std::move(waters_); }

private:
    static constexpr float kStands = 0.85F;  // the steepest slope that doesn't crumble
    static constexpr float kShore = 0.5F;    // metres; lower ground is sea
    static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

    [[nodiscard]] float LevelAt(std::size_t i) const {
        return waters_.lake[i] != 0 ? waters_.levels[waters_.lake[i]] : 0.0F;
    }
    [[nodiscard]] bool IsOpenWater(std::size_t i) const { return waters_.bed[i] < LevelAt(i); }

    template <class F>
    void ForAround(std::size_t i, const F& visit) const {
        const int x = static_cast<int>(i) % side_;
        const int y = static_cast<int>(i) / side_;
        for (int ny = std::max(0, y - 1); ny <= std::min(side_ - 1, y + 1); ++ny) {
            for (int nx = std::max(0, x - 1); nx <= std::min(side_ - 1, x + 1); ++nx) {
                if (nx != x || ny != y) visit(waters_.bed.Index(nx, ny));
            }
        }
    }

    struct Point {
        float x, y;  // metres from the north-west corner
    };
    [[nodiscard]] Point PointOf(std::size_t i) const {
        const auto side = static_cast<std::size_t>(side_);
        const std::size_t column = i % side;
        const std::size_t row = i / side;
        return {cell_ * static_cast<float>(column), cell_ * static_cast<float>(row)};
    }
    [[nodiscard]] static Point Middle(const Point& a, const Point& b) {
        return {0.5F * (a.x + b.x), 0.5F * (a.y + b.y)};
    }

    // A cell that a river runs through.
    struct RiverNode {
        std::size_t cell = 0;
        std::uint32_t next = kNone;    // the node below, kNone at an end
        std::uint32_t feeder = kNone;  // the greatest of the nodes above, kNone at a source
        Point point{};
        float surface = 0;  // of its water, metres; falls all the way
        float width = 0;    // metres
        bool open = false;  // in a lake or the sea
    };

    // @return upper nodes before lower ones
    [[nodiscard]] std::vector<RiverNode> RiverNodes() const {
        Grid<float> surface = flow_.Filled();
        std::vector<RiverNode> nodes;
        Grid<std::uint32_t> number(side_, kNone);
        for (const std::uint32_t i : flow_.Order()) {
            if (IsOpenWater(i)) surface[i] = std::min(surface[i], LevelAt(i));
            if (!flow_.IsEnd(i)) {
                surface[flow_.Next(i)] = std::min(surface[flow_.Next(i)], surface[i]);
            }
            const float water = waters_.water[i];
            if (water < kStream) continue;
            number[i] = static_cast<std::uint32_t>(nodes.size());
            nodes.push_back({i, kNone, kNone, PointOf(i), surface[i],
                             1.5F + 3.0F * std::sqrt(water), IsOpenWater(i)});
        }
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            RiverNode& node = nodes[k];
            if (flow_.IsEnd(node.cell)) continue;
            node.next = number[flow_.Next(node.cell)];
            std::uint32_t& feeder = nodes[node.next].feeder;
            if (feeder == kNone || nodes[feeder].width < node.width) {
                feeder = static_cast<std::uint32_t>(k);
            }
        }
        return nodes;
    }

    // Takes the corners out of the rivers, and lets them wind where they are slow.
    void SmoothRivers(std::vector<RiverNode>& nodes) const {
        for (int pass = 0; pass < 3; ++pass) {
            const std::vector<RiverNode> from = nodes;
            for (std::size_t k = 0; k < nodes.size(); ++k) {
                if (nodes[k].feeder == kNone || nodes[k].next == kNone) continue;
                const Point& up = from[nodes[k].feeder].point;
                const Point& down = from[nodes[k].next].point;
                nodes[k].point = Middle(Middle(up, down), from[k].point);
            }
        }
        for (RiverNode& node : nodes) {
            constexpr int kHops = 12;
            const RiverNode* far = &node;
            for (int hop = 0; hop < kHops && far->next != kNone; ++hop) far = &nodes[far->next];
            const float fall = (node.surface - far->surface) / (kHops * cell_);
            const float sway = 12.0F + 70.0F * Smooth(0.025F, 0.002F, fall);
            const float u = node.point.x / 320.0F;
            const float v = node.point.y / 320.0F;
            node.point.x += sway * Fractal(u, v, 2, seed_ + 51);
            node.point.y += sway * Fractal(u, v, 2, seed_ + 52);
        }
    }

    // The river's curve from half way between node `k` and the next to half way beyond that one,
    // where what joins there ends too.
    void AddRiver(const std::vector<RiverNode>& nodes, std::size_t k) {
        const RiverNode& node = nodes[k];
        if (node.next == kNone) return;
        const RiverNode& next = nodes[node.next];
        if (node.open && next.open) return;
        const RiverNode& after = next.next == kNone ? next : nodes[next.next];
        const Point a = Middle(node.point, next.point);
        const Point& b = next.point;
        const Point c = Middle(b, after.point);
        const float za = 0.5F * (node.surface + next.surface);
        const float zc = 0.5F * (next.surface + after.surface);
        if (node.feeder == kNone) {
            waters_.rivers.push_back({node.point.x, node.point.y, a.x, a.y, node.surface, za,
                                      0.5F * node.width, node.width});
        }
        const auto at = [](float p, float q, float r, float t) {
            return Lerp(Lerp(p, q, t), Lerp(q, r, t), t);
        };
        constexpr int kPieces = 4;
        for (int piece = 0; piece < kPieces; ++piece) {
            const float t0 = static_cast<float>(piece) / kPieces;
            const float t1 = static_cast<float>(piece + 1) / kPieces;
            waters_.rivers.push_back(
                {at(a.x, b.x, c.x, t0), at(a.y, b.y, c.y, t0), at(a.x, b.x, c.x, t1),
                 at(a.y, b.y, c.y, t1), at(za, next.surface, zc, t0), at(za, next.surface, zc, t1),
                 Lerp(node.width, next.width, t0), Lerp(node.width, next.width, t1)});
        }
    }

    // Distance by steps to the neighbours and by knight's moves: within 3 % of the true one.
    [[nodiscard]] Grid<float> DistanceToSea() const {
        const auto from = [&](bool sea) {
            constexpr float kFar = 1e6F;
            Grid<float> distance(side_);
            for (std::size_t i = 0; i < distance.Count(); ++i) {
                distance[i] = (waters_.bed[i] < kShore) == sea ? 0.0F : kFar;
            }
            struct Move {
                int dx, dy;
                float length;
            };
            constexpr std::array<Move, 8> kMoves{{{-1, 0, 1.0F},
                                                  {0, -1, 1.0F},
                                                  {-1, -1, 1.4142F},
                                                  {1, -1, 1.4142F},
                                                  {-2, -1, 2.2361F},
                                                  {2, -1, 2.2361F},
                                                  {-1, -2, 2.2361F},
                                                  {1, -2, 2.2361F}}};
            const auto relax = [&](int x, int y, int sign) {
                float& here = distance.At(x, y);
                for (const Move& move : kMoves) {
                    const int nx = x + sign * move.dx;
                    const int ny = y + sign * move.dy;
                    if (nx < 0 || ny < 0 || nx >= side_ || ny >= side_) continue;
                    here = std::min(here, distance.At(nx, ny) + move.length * cell_);
                }
            };
            for (int y = 0; y < side_; ++y) {
                for (int x = 0; x < side_; ++x) relax(x, y, 1);
            }
            for (int y = side_ - 1; y >= 0; --y) {
                for (int x = side_ - 1; x >= 0; --x) relax(x, y, -1);
            }
            return distance;
        };
        Grid<float> toSea = from(true);
        const Grid<float> toLand = from(false);
        for (std::size_t i = 0; i < toSea.Count(); ++i) toSea[i] -= toLand[i];
        return toSea;
    }

    // Rounds the shore, which was cut along the cells' sides: distances of the shore's two sides
    // mingle.
    void SmoothCoast() {
        for (int pass = 0; pass < 5; ++pass) {
            const Grid<float> from = waters_.sea;
            workers_.Rows(side_, [&](int y) {
                for (int x = 0; x < side_; ++x) {
                    if (std::abs(from.At(x, y)) > 8.0F * cell_) continue;
                    const float beside = from.Clamped(x - 1, y) + from.Clamped(x + 1, y) +
                                         from.Clamped(x, y - 1) + from.Clamped(x, y + 1);
                    const float across = from.Clamped(x - 1, y - 1) + from.Clamped(x + 1, y - 1) +
                                         from.Clamped(x - 1, y + 1) + from.Clamped(x + 1, y + 1);
                    waters_.sea.At(x, y) =
                        0.25F * from.At(x, y) + 0.125F * beside + 0.0625F * across;
                }
            });
        }
    }

    // The way up the valley from `outlet`, always along the greatest inflow.
    [[nodiscard]] std::vector<std::uint32_t> WayUp(std::uint32_t outlet,
                                                   const LakeKind& kind) const {
        std::vector<std::uint32_t> way{outlet};
        float length = 0.0F;
        while (length < kind.maxLength) {
            const std::uint32_t here = way.back();
            std::uint32_t best = kNone;
            ForAround(here, [&](std::size_t n) {
                if (flow_.IsEnd(n) || flow_.Next(n) != here) return;
                if (best == kNone || waters_.water[n] > waters_.water[best]) {
                    best = static_cast<std::uint32_t>(n);
                }
            });
            if (best == kNone || waters_.bed[best] - waters_.bed[outlet] > kind.maxGain) break;
            length += flow_.IsDiagonal(best) ? 1.4142F * cell_ : cell_;
            way.push_back(best);
        }
        return way;
    }

    void PlaceLakes(const LakeKind& kind, Grid<float>& sink, std::vector<Point>& taken) const {
        struct Site {
            float worth;
            std::uint32_t outlet;
        };
        std::vector<Site> sites;
        const int margin = std::max(2, static_cast<int>(1200.0F / cell_));
        for (int y = margin; y < side_ - margin; ++y) {
            for (int x = margin; x < side_ - margin; ++x) {
                const std::size_t i = sink.Index(x, y);
                const float height = waters_.bed[i];
                if (height < kind.minHeight || height > kind.maxHeight ||
                    waters_.water[i] < kind.minWater || waters_.water[i] > kind.maxWater) {
                    continue;
                }
                const std::vector<std::uint32_t> way = WayUp(static_cast<std::uint32_t>(i), kind);
                const float length = static_cast<float>(way.size() - 1) * cell_;
                if (length < kind.minLength) continue;
                const float luck = 0.4F + ToUnit(Hash(x, y, seed_ + 61));
                sites.push_back({length * luck, static_cast<std::uint32_t>(i)});
            }
        }
        std::ranges::sort(sites, [](const Site& a, const Site& b) {
            return a.worth != b.worth ? a.worth > b.worth : a.outlet < b.outlet;
        });
        int count = 0;
        for (const Site& site : sites) {
            if (count == kind.count) break;
            const Point outlet = PointOf(site.outlet);
            const bool close = std::ranges::any_of(taken, [&](const Point& other) {
                const float dx = other.x - outlet.x;
                const float dy = other.y - outlet.y;
                return dx * dx + dy * dy < kind.apart * kind.apart;
            });
            if (close) continue;
            ++count;
            const std::vector<std::uint32_t> way = WayUp(site.outlet, kind);
            for (std::size_t k = 0; k < way.size(); k += 4) taken.push_back(PointOf(way[k]));
            LetDown(way, kind, sink);
        }
    }

    void LetDown(const std::vector<std::uint32_t>& way, const LakeKind& kind,
                 Grid<float>& sink) const {
        const float level = waters_.bed[way.front()];
        const std::size_t last = way.size() - 1;
        // Behind the outlet only: what lies below it holds the water up.
        const Point sill = PointOf(way.front());
        const Point up = PointOf(way[std::min<std::size_t>(last, 4)]);
        const float away =
            std::sqrt((up.x - sill.x) * (up.x - sill.x) + (up.y - sill.y) * (up.y - sill.y));
        if (away <= 0.0F) return;
        for (std::size_t k = 1; k < way.size(); ++k) {
            const float t = static_cast<float>(k) / static_cast<float>(last);
            const float shape = Smooth(1.15F, 0.7F, t);
            const float deep = (waters_.bed[way[k]] - level + kind.depth) * shape;
            const float radius = kind.radius * (0.4F + 0.6F * shape);
            const int x = static_cast<int>(way[k]) % side_;
            const int y = static_cast<int>(way[k]) / side_;
            const int reach = static_cast<int>(radius * 1.8F / cell_) + 1;
            for (int ny = std::max(0, y - reach); ny <= std::min(side_ - 1, y + reach); ++ny) {
                for (int nx = std::max(0, x - reach); nx <= std::min(side_ - 1, x + reach); ++nx) {
                    const float dx = cell_ * static_cast<float>(nx - x);
                    const float dy = cell_ * static_cast<float>(ny - y);
                    const float wobble =
                        1.0F + 0.45F * Fractal(cell_ * static_cast<float>(nx) / 700.0F,
                                               cell_ * static_cast<float>(ny) / 700.0F, 3,
                                               seed_ + 62);
                    const float fall =
                        Smooth(1.8F, 0.2F, std::sqrt(dx * dx + dy * dy) / (radius * wobble));
                    const float behind =
                        ((cell_ * static_cast<float>(nx) - sill.x) * (up.x - sill.x) +
                         (cell_ * static_cast<float>(ny) - sill.y) * (up.y - sill.y)) /
                        away;
                    float& here = sink.At(nx, ny);
                    here = std::max(
                        here,
                        deep * fall * Smooth(0.3F * cell_, 0.3F * kind.radius + cell_, behind));
                }
            }
        }
    }

    std::uint32_t seed_;
    const Workers& workers_;
    int side_;
    float cell_;
    Grid<std::uint8_t> ends_;
    Flow flow_;
    std::vector<std::uint32_t> root_;
    Waters waters_;
};

}  // namespace

Waters MakeWaters(std::uint32_t seed, Grid<float> heights, const Workers& workers,
                  const Step& step) {
    WaterMaker maker(seed, std::move(heights), workers);
    maker.Route();
    maker.Breach();
    if (!step()) return {};
    maker.Crumble();
    maker.WidenValleys();
    maker.Soften();
    maker.ShapeCoast();
    maker.Route();
    maker.Breach();
    if (!step()) return {};
    maker.ScoopLakes();
    maker.Route();
    if (!step()) return {};
    maker.FillLakes();
    maker.FindFloors();
    maker.TraceRivers();
    static_cast<void>(step());
    return maker.Take();
}

}  // namespace tarnvale::demo

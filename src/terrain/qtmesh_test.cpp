#include "terrain/qtmesh.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <map>
#include <set>
#include <string>

#include "terrain/testterrain.h"

namespace tarnvale {
namespace {

using testing::CapturingSink;
using testing::LandscapeSpec;
using testing::Viewer;

using Place = std::pair<int, int>;  // row, column of a sample

/// All that must hold for the triangles of a whole view together.
class Seams {
public:
    Seams(const QuadtreeMorphTerrain& terrain, const CapturingSink& sink) {
        for (const SelectedNode& node : terrain.Selection()) {
            EXPECT_LE(node.step, node.level);
            area_ += std::ldexp(1.0, 2 * node.level);
        }
        const float scale = TerrainModel::VerticalScale();
        lowest_ = terrain.MinimumElevation() * scale;
        highest_ = terrain.MaximumElevation() * scale;
        rounding_ = 5e-7F * std::max(std::abs(lowest_), std::abs(highest_));
        for (const CapturingSink::Triangle& triangle : sink.triangles)
            AddTriangle(terrain, triangle);
        CoverNodes(terrain);
    }

    void Check() {
        ASSERT_EQ(faults_, "");
        EXPECT_EQ(triangleArea_, area_) << "the triangles don't cover the nodes once";
        // Edges inside nodes, and most between them, belong to two triangles. The others lie on the
        // borders of nodes; cut at every vertex on them, each piece must again have two sides.
        std::map<Place, int> across;  // pieces one sample long, by their first sample
        std::map<Place, int> down;
        std::ranges::sort(edges_);
        for (auto edge = edges_.begin(); edge != edges_.end();) {
            const auto ends = *edge;
            const auto same = edge;
            while (edge != edges_.end() && *edge == ends) ++edge;
            const auto uses = edge - same;
            if (uses == 2) continue;
            ASSERT_EQ(uses, 1) << "an edge of more than two triangles";
            const auto& [from, to] = ends;
            const bool isAcross = from.first == to.first;
            ASSERT_TRUE(isAcross || from.second == to.second)
                << "a slanting edge without a neighbour";
            const int length = isAcross ? to.second - from.second : to.first - from.first;
            const float a = HeightAt(from);
            const float b = HeightAt(to);
            for (int o = 0; o < length; ++o) {
                const Place place = isAcross ? Place(from.first, from.second + o)
                                             : Place(from.first + o, from.second);
                ++(isAcross ? across : down)[place];
                const float height = HeightAt(place);
                if (o == 0 || std::isnan(height)) continue;
                ++inner_;
                const float straight =
                    a + (b - a) * static_cast<float>(o) / static_cast<float>(length);
                ASSERT_NEAR(height, straight, rounding_) << "a vertex off its neighbour's edge at "
                                                         << place.second << ", " << place.first;
            }
        }
        for (const auto& [place, uses] : across) {
            CheckPiece(place, uses, Covered(place.second, place.first - 1),
                       Covered(place.second, place.first));
        }
        for (const auto& [place, uses] : down) {
            CheckPiece(place, uses, Covered(place.second - 1, place.first),
                       Covered(place.second, place.first));
        }
    }
    /// Vertices found inside an edge of a neighbour.
    [[nodiscard]] int Inner() const { return inner_; }

private:
    [[nodiscard]] float& HeightAt(const Place& place) {
        return heights_.at(testing::SampleAt(place.second, place.first, kMost));
    }
    void AddTriangle(const QuadtreeMorphTerrain& terrain, const CapturingSink::Triangle& triangle) {
        std::array<Place, 3> places;
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3f& v = triangle[i];
            const double column = static_cast<double>(v.x / terrain.CellWidth()) - 0.5;
            const double row = static_cast<double>(-v.y / terrain.CellHeight()) - 0.5;
            places[i] = {static_cast<int>(std::lround(row)), static_cast<int>(std::lround(column))};
            if (std::abs(column - places[i].second) > 1e-3 ||
                std::abs(row - places[i].first) > 1e-3) {
                faults_ = "a vertex beside the samples";
            }
            if (v.z < lowest_ - rounding_ || v.z > highest_ + rounding_) {
                faults_ = "a height outside the terrain's range: " + std::to_string(v.z);
            }
            float& known = HeightAt(places[i]);
            if (std::isnan(known)) known = v.z;
            if (std::bit_cast<std::uint32_t>(known) != std::bit_cast<std::uint32_t>(v.z)) {
                faults_ = "two heights at sample " + std::to_string(places[i].second) + ", " +
                          std::to_string(places[i].first) + ": " + std::to_string(known) + " and " +
                          std::to_string(v.z);
            }
        }
        for (std::size_t i = 0; i < 3; ++i) {
            edges_.push_back(std::minmax(places[i], places[(i + 1) % 3]));
        }
        const auto [ay, ax] = places[0];
        const auto [by, bx] = places[1];
        const auto [cy, cx] = places[2];
        triangleArea_ += std::abs((bx - ax) * (cy - ay) - (cx - ax) * (by - ay)) * 0.5;
    }
    void CoverNodes(const QuadtreeMorphTerrain& terrain) {
        QuadtreeHierarchy hierarchy;
        ASSERT_TRUE(hierarchy.Build(terrain.GetColumns(), terrain.GetRows()).Good());
        for (const SelectedNode& node : terrain.Selection()) {
            const IntRect square = hierarchy.Node(node.level, node.index).Rectangle();
            for (int y = square.y0; y < square.y1; y += 8) {
                for (int x = square.x0; x < square.x1; x += 8) covered_.insert({y / 8, x / 8});
            }
        }
    }
    [[nodiscard]] bool Covered(int column, int row) const {
        return column >= 0 && row >= 0 && covered_.contains({row / 8, column / 8});
    }
    static void CheckPiece(const Place& place, int uses, bool before, bool after) {
        ASSERT_EQ(uses, before + after)
            << "a gap or an overlap at sample " << place.second << ", " << place.first;
    }

    float lowest_ = 0, highest_ = 0, rounding_ = 0;
    double area_ = 0, triangleArea_ = 0;
    int inner_ = 0;
    std::string faults_;
    static constexpr int kMost = 1200;  // samples on a side of any terrain here
    std::vector<float> heights_ = std::vector<float>(kMost * kMost, std::nanf(""));
    std::vector<std::pair<Place, Place>> edges_;
    std::set<Place> covered_;  // in finest nodes
};

class Mesh : public ::testing::Test {
protected:
    void TearDown() override {
        TerrainModel::SetVerticalScale(1.0F);
        TerrainModel::SetQuality(85.0, false);
    }
};

Viewer RandomViewer(const LandscapeSpec& spec, std::mt19937& random) {
    const auto between = [&random](float low, float high) {
        return std::uniform_real_distribution<float>(low, high)(random);
    };
    const float width = static_cast<float>(spec.columns) * spec.cellWidth;
    const float height = static_cast<float>(spec.rows) * spec.cellHeight;
    Viewer viewer;
    viewer.eye = {between(-0.2F, 1.2F) * width, -between(-0.2F, 1.2F) * height,
                  std::exp(between(4.0F, 8.0F))};
    viewer.lookAt = {between(0, 1) * width, -between(0, 1) * height, between(-200, 200)};
    if (random() % 2 == 0) viewer.volumeFieldOfView = 150.0F;
    return viewer;
}

// Sides that meet several unlike neighbours, nodes at the padded border, null samples: everywhere
// the surface must hold together. Each view follows others, whose heights lie about.
TEST_F(Mesh, HoldsTogetherWhateverTheLevelsOfNeighbours) {
    std::mt19937 random(7);
    int inner = 0;
    for (const LandscapeSpec& spec : {
             LandscapeSpec{.columns = 257, .rows = 257, .seed = 1, .relief = 500},
             LandscapeSpec{.columns = 300, .rows = 200, .seed = 2},
             LandscapeSpec{.columns = 257, .rows = 129, .seed = 3, .relief = 60, .rough = 0.7F},
             LandscapeSpec{
                 .columns = 1000, .rows = 513, .seed = 4, .relief = 900, .cellHeight = 7.3F},
             LandscapeSpec{.columns = 300, .rows = 200, .seed = 5, .nullsPerMille = 30},
         }) {
        QuadtreeMorphTerrain terrain;
        ASSERT_TRUE(testing::OpenOn(terrain, testing::MakeLandscape(spec)));
        for (int view = 0; view < 12; ++view) {
            SCOPED_TRACE("landscape " + std::to_string(spec.seed) + ", view " +
                         std::to_string(view));
            TerrainModel::SetQuality(view % 3 == 0 ? 60.0 : 95.0, false);
            TerrainModel::SetVerticalScale(view % 4 == 3 ? 2.7F : 1.0F);
            ASSERT_TRUE(RandomViewer(spec, random).Update(terrain).Good());
            CapturingSink sink;
            ASSERT_TRUE(terrain.Draw(sink, testing::kEverywhere).Good());
            Seams seams(terrain, sink);
            seams.Check();
            if (HasFatalFailure()) return;
            inner += seams.Inner();
        }
    }
    EXPECT_GT(inner, 100) << "the views never made a side meet unlike neighbours";
}

// A second texture is drawn from the same selection, perhaps only where it lies.
TEST_F(Mesh, DrawsTheSameAgainAndOnlyWhereWanted) {
    const LandscapeSpec spec = {.columns = 257, .rows = 257, .seed = 9};
    QuadtreeMorphTerrain terrain;
    ASSERT_TRUE(testing::OpenOn(terrain, testing::MakeLandscape(spec)));
    std::mt19937 random(3);
    for (int view = 0; view < 10; ++view) {
        ASSERT_TRUE(RandomViewer(spec, random).Update(terrain).Good());
        const IntRect part = {100, 40, 150, 90};
        CapturingSink partFirst;
        CapturingSink whole;
        CapturingSink partAgain;
        ASSERT_TRUE(terrain.Draw(partFirst, part).Good());
        ASSERT_TRUE(terrain.Draw(whole, testing::kEverywhere).Good());
        ASSERT_TRUE(terrain.Draw(partAgain, part).Good());
        EXPECT_EQ(partFirst.triangles, partAgain.triangles);
        EXPECT_LE(partFirst.triangles.size(), whole.triangles.size());
        Seams seams(terrain, whole);
        seams.Check();
        if (HasFatalFailure()) return;
    }
}

// One node of 8 x 8 cells. Sample (1, 1) lies on the diagonal from its lower left to its upper
// right, (3, 2) between left and right, (2, 5) between above and below.
TEST_F(Mesh, MorphFollowsTheTriangulation) {
    ElevationSamples samples;
    samples.columns = samples.rows = 9;
    samples.cellWidth = samples.cellHeight = 100.0F;
    samples.values.assign(81, 0);
    const auto set = [&samples](int x, int y, int value) {
        samples.values[testing::SampleAt(x, y, 9)] = static_cast<std::int16_t>(value);
    };
    set(1, 1, 100);
    set(0, 2, 40);
    set(2, 0, 80);
    set(0, 0, 30);  // the other diagonal takes no part
    set(2, 2, 50);
    set(4, 2, 20);
    set(2, 4, 10);
    set(2, 6, 90);
    QuadtreeMorphTerrain terrain;
    ASSERT_TRUE(testing::OpenOn(terrain, samples));
    Viewer viewer = {.eye = {400, 0, 100}, .lookAt = {400, -400, 0}};
    float fraction = 0;
    for (viewer.eye.y = 200.0F; viewer.eye.y < 3000.0F; viewer.eye.y *= 1.02F) {
        ASSERT_TRUE(viewer.Update(terrain).Good());
        ASSERT_EQ(terrain.Selection().size(), 1U);
        const SelectedNode& node = terrain.Selection()[0];
        if (node.step != 0) continue;
        CapturingSink sink;
        ASSERT_TRUE(terrain.Draw(sink, testing::kEverywhere).Good());
        std::map<Place, float> heights;
        for (const auto& triangle : sink.triangles) {
            for (const Vec3f& v : triangle) {
                heights[{static_cast<int>(-v.y / 100), static_cast<int>(v.x / 100)}] = v.z;
            }
        }
        const float t = fraction = node.fraction;
        ASSERT_NEAR(heights.at({1, 1}), 100 * (1 - t) + 60 * t, 1e-3) << t;
        ASSERT_NEAR(heights.at({2, 3}), 35 * t, 1e-3) << t;
        ASSERT_NEAR(heights.at({5, 2}), 50 * t, 1e-3) << t;
        ASSERT_EQ(heights.at({2, 2}), 50);
        ASSERT_EQ(heights.at({2, 0}), 40);
        ASSERT_NEAR(heights.at({1, 0}), 35 * t, 1e-3) << t;
    }
    EXPECT_GT(fraction, 0.9F) << "the flight never left the finest step";
}

/// Heights of the displayed surface at fixed places, half a spacing in; nan where nothing is drawn.
std::vector<float> Probe(const CapturingSink& sink, float spacing, int across) {
    std::vector<float> heights(testing::SampleAt(0, across, across), std::nanf(""));
    for (const auto& [a, b, c] : sink.triangles) {
        const double area =
            static_cast<double>((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y));
        const auto first = [&](float low) {
            return std::max(0, static_cast<int>(std::floor(low / spacing)) - 1);
        };
        const auto last = [&](float high) {
            return std::min(across - 1, static_cast<int>(std::ceil(high / spacing)));
        };
        for (int j = first(-std::max({a.y, b.y, c.y})); j <= last(-std::min({a.y, b.y, c.y}));
             ++j) {
            for (int i = first(std::min({a.x, b.x, c.x})); i <= last(std::max({a.x, b.x, c.x}));
                 ++i) {
                const double x =
                    (i + 0.5) * static_cast<double>(spacing) - static_cast<double>(a.x);
                const double y =
                    -(j + 0.5) * static_cast<double>(spacing) - static_cast<double>(a.y);
                const double u =
                    (x * static_cast<double>(c.y - a.y) - y * static_cast<double>(c.x - a.x)) /
                    area;
                const double v =
                    (y * static_cast<double>(b.x - a.x) - x * static_cast<double>(b.y - a.y)) /
                    area;
                if (u < -1e-6 || v < -1e-6 || u + v > 1 + 1e-6) continue;
                heights[testing::SampleAt(i, j, across)] =
                    a.z + static_cast<float>(u) * (b.z - a.z) + static_cast<float>(v) * (c.z - a.z);
            }
        }
    }
    return heights;
}

/// A place on a path, with the surface that is displayed from there. The whole terrain lies in
/// front of the viewer all the way, so nothing comes and goes but by level of detail.
struct Moment {
    float way = 0;
    std::vector<float> heights;
    std::set<std::pair<int, std::uint32_t>> nodes;

    Moment(QuadtreeMorphTerrain& terrain, float metres) : way(metres) {
        Viewer viewer;
        viewer.eye = {1200 + 0.3F * way, 1400 - way, 500 + 0.2F * way};
        viewer.lookAt = viewer.eye + Vec3f{0, -100, -30};
        viewer.volumeFieldOfView = 170.0F;
        viewer.volumeAspect = 50.0F;
        EXPECT_TRUE(viewer.Update(terrain).Good());
        CapturingSink sink;
        EXPECT_TRUE(terrain.Draw(sink, testing::kEverywhere).Good());
        heights = Probe(sink, 23.7F, 108);
        for (const SelectedNode& node : terrain.Selection()) nodes.emplace(node.level, node.index);
    }
    [[nodiscard]] float GreatestStepTo(const Moment& other) const {
        float greatest = 0;
        for (std::size_t i = 0; i < heights.size(); ++i) {
            EXPECT_FALSE(std::isnan(heights[i])) << "a hole";
            greatest = std::max(greatest, std::abs(heights[i] - other.heights[i]));
        }
        return greatest;
    }
};

TEST_F(Mesh, NothingPops) {
    const LandscapeSpec spec = {.columns = 257, .rows = 257, .seed = 11, .relief = 60};
    QuadtreeMorphTerrain terrain;
    ASSERT_TRUE(testing::OpenOn(terrain, testing::MakeLandscape(spec)));
    TerrainModel::SetQuality(80.0, false);
    constexpr float steepest = 0.15F;   // metres of height for a metre of way
    constexpr float rounding = 0.001F;  // of keys and heights
    int cuts = 0;
    Moment before(terrain, 0.0F);
    for (float way = 6.0F; way < 1000.0F; way += 6.0F) {
        Moment after(terrain, way);
        const Moment next = after;
        ASSERT_LT(before.GreatestStepTo(after), steepest * 6.0F) << "at " << way;
        // Where nodes were split or joined, close in on that place: there nothing may move at all.
        if (before.nodes != after.nodes) {
            ++cuts;
            while (after.way - before.way > 0.002F) {
                Moment middle(terrain, (before.way + after.way) / 2);
                (middle.nodes == before.nodes ? before : after) = std::move(middle);
            }
            ASSERT_LT(before.GreatestStepTo(after), steepest * 0.002F + rounding) << "at " << way;
        }
        before = next;
    }
    EXPECT_GT(cuts, 20);
}

// Just beyond a split the parent was one cell, so its children have a key of all but their own
// level and one more, and in 32 bits just that.
TEST_F(Mesh, KeyRoundedUpBeyondTheNodeStaysInsideIt) {
    const LandscapeSpec spec = {.columns = 257, .rows = 257, .seed = 5, .relief = 4};
    QuadtreeMorphTerrain terrain;
    ASSERT_TRUE(testing::OpenOn(terrain, testing::MakeLandscape(spec)));
    TerrainModel::SetQuality(0.0, false);
    Viewer viewer;
    viewer.up = {0, 1, 0};
    const auto coarsestAlone = [&](float height) {
        viewer.eye.z = height;
        EXPECT_TRUE(viewer.Update(terrain).Good());
        return std::ranges::all_of(terrain.Selection(),
                                   [](const SelectedNode& node) { return node.level == 5; });
    };
    int beyond = 0;
    for (int place = 0; place < 40; ++place) {
        viewer.eye = {1000.0F + 13.7F * static_cast<float>(place), -1280.0F, 0};
        viewer.lookAt = viewer.eye - Vec3f{0, 0, 100};
        float split = 500.0F;
        float whole = 50000.0F;
        ASSERT_FALSE(coarsestAlone(split));
        while (std::nextafter(split, whole) < whole) {
            const float middle = (split + whole) / 2;
            (coarsestAlone(middle) ? whole : split) = middle;
        }
        ASSERT_TRUE(coarsestAlone(whole));
        CapturingSink wholeSink;
        ASSERT_TRUE(terrain.Draw(wholeSink, testing::kEverywhere).Good());
        ASSERT_FALSE(coarsestAlone(split));
        for (const SelectedNode& node : terrain.Selection()) {
            ASSERT_LE(node.step, node.level);
            beyond += node.key >= static_cast<float>(node.level + 1) ? 1 : 0;
        }
        CapturingSink sink;
        ASSERT_TRUE(terrain.Draw(sink, testing::kEverywhere).Good());
        const std::vector<float> before = Probe(wholeSink, 23.7F, 108);
        const std::vector<float> after = Probe(sink, 23.7F, 108);
        for (std::size_t i = 0; i < before.size(); ++i) {
            ASSERT_EQ(std::isnan(before[i]), std::isnan(after[i]));
            ASSERT_FALSE(std::abs(before[i] - after[i]) > 0.01F);
        }
    }
    EXPECT_GT(beyond, 0) << "no key was rounded up";
}

}  // namespace
}  // namespace tarnvale

#include "terrain/quadtree.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <tuple>

#include "terrain/errortables.h"
#include "terrain/testterrain.h"

namespace tarnvale {
namespace {

TEST(Quadtree, ShapeRoundsUpToWholeCoarsestNodes) {
    const std::tuple<int, int, int, int, int, int, int> cases[] = {
        // samples, levels, coarsest nodes, padded samples
        {9, 9, 1, 1, 1, 9, 9},
        {8, 8, 1, 0, 0, 1, 1},
        {12, 12, 1, 1, 1, 9, 9},  // too small to halve: what doesn't fill a node is left out
        {65, 65, 1, 8, 8, 65, 65},
        {129, 129, 2, 8, 8, 129, 129},
        {4097, 4097, 7, 8, 8, 4097, 4097},
        {300, 200, 4, 5, 4, 321, 257},  // halved six times: 150 100, 75 50, 38 25, 19 13, 10 7, 5 4
        {3, 3000, 1, 0, 374, 1, 2993},
    };
    for (const auto& [columns, rows, levels, coarsestColumns, coarsestRows, paddedColumns,
                      paddedRows] : cases) {
        const QuadtreeShape shape = QuadtreeShape::For(columns, rows);
        const std::string what = std::to_string(columns) + " x " + std::to_string(rows);
        EXPECT_EQ(shape.levels, levels) << what;
        EXPECT_EQ(shape.coarsestColumns, coarsestColumns) << what;
        EXPECT_EQ(shape.coarsestRows, coarsestRows) << what;
        EXPECT_EQ(shape.paddedColumns, paddedColumns) << what;
        EXPECT_EQ(shape.paddedRows, paddedRows) << what;
    }
}

TEST(Quadtree, RefusesGridsWithoutAWholeNode) {
    for (const auto& [columns, rows] :
         {std::pair(8, 8), {9, 8}, {8, 9}, {5, 4000}, {4000, 2}, {0, 0}}) {
        QuadtreeHierarchy hierarchy;
        EXPECT_EQ(hierarchy.Build(columns, rows).Code(), StatusCode::NotBuilt)
            << columns << " x " << rows;
    }
}

TEST(Quadtree, ChildrenCoverTheirParentGoingRound) {
    QuadtreeHierarchy hierarchy;
    ASSERT_TRUE(hierarchy.Build(300, 200).Good());
    for (const QuadtreeLevel& level : hierarchy.Levels().subspan(1)) {
        for (std::uint32_t i = 0; i < level.NodeCount(); ++i) {
            const QuadNode node(&level, i);
            const auto [x0, y0, x1, y1] = node.Rectangle();
            const int half = node.Side() / 2;
            const IntRect squares[] = {{x0, y0, x0 + half, y0 + half},
                                       {x0 + half, y0, x1, y0 + half},
                                       {x0 + half, y0 + half, x1, y1},
                                       {x0, y0 + half, x0 + half, y1}};
            for (int k = 0; k < 4; ++k) {
                const QuadNode child = node.Child(k);
                ASSERT_EQ(child.Rectangle(), squares[k]);
                ASSERT_EQ(child.Quadrant(), k);
                ASSERT_EQ(child.Parent().Index(), i);
            }
        }
    }
    const QuadNode nothing;
    EXPECT_EQ(nothing.Side() + nothing.Quadrant() + nothing.LevelNumber(), 0);
    EXPECT_EQ(nothing.Child(2).Level(), nullptr);
    EXPECT_EQ(hierarchy.Node(3, 0).Child(0).Level(), nullptr);
    EXPECT_EQ(hierarchy.Node(99, 0).Level(), nullptr);
}

/// The table of one node from its definition: every sample at every step, one by one.
struct Expected {
    std::vector<float> errors;
    float minimum = std::numeric_limits<float>::max();
    float maximum = std::numeric_limits<float>::lowest();

    Expected(const ElevationSamples& samples, const QuadNode& node) {
        const IntRect square = node.Rectangle();
        for (int k = 0; k <= node.LevelNumber(); ++k) {
            float highest = std::numeric_limits<float>::lowest();
            for (int y = square.y0; y <= square.y1; y += 1 << k) {
                for (int x = square.x0; x <= square.x1; x += 1 << k) {
                    const std::int16_t value = samples.values[testing::SampleAt(
                        std::min(x, samples.columns - 1), std::min(y, samples.rows - 1),
                        samples.columns)];
                    if (samples.nullValue == value) continue;
                    highest = std::max(highest, static_cast<float>(value));
                    if (k == 0) minimum = std::min(minimum, static_cast<float>(value));
                }
            }
            if (k == 0) maximum = highest;
            errors.push_back(k == 0 ? highest : errors[0] - highest);
        }
        if (errors[1] <= 0) errors[1] = 1.0F;
        errors[0] = errors[1] * 0.33F;
        for (std::size_t i = 2; i < errors.size(); ++i) {
            const float v = (errors[i - 1] - errors[i - 2]) + errors[i - 1] + 1.0F;
            errors[i] = v < errors[i] ? errors[i] : v;
        }
    }
};

void ExpectTables(const testing::LandscapeSpec& spec) {
    const ElevationSamples samples = testing::MakeLandscape(spec);
    ElevationGrid grid;
    ASSERT_TRUE(grid.Create(samples).Good());
    QuadtreeHierarchy hierarchy;
    ASSERT_TRUE(hierarchy.Build(spec.columns, spec.rows).Good());
    ASSERT_TRUE(FillErrorTables(grid, hierarchy, nullptr).Good());
    int nodes = 0;
    for (const QuadtreeLevel& level : hierarchy.Levels()) {
        for (std::uint32_t i = 0; i < level.NodeCount(); ++i, ++nodes) {
            const QuadNode node(&level, i);
            const Expected expected(samples, node);
            ASSERT_EQ(node.MinimumElevation(), expected.minimum) << level.Number() << ' ' << i;
            ASSERT_EQ(node.MaximumElevation(), expected.maximum) << level.Number() << ' ' << i;
            for (int k = 0; k <= level.Number(); ++k) {
                const float error = expected.errors[static_cast<std::size_t>(k)];
                ASSERT_TRUE(std::bit_cast<std::uint32_t>(node.Error(k)) ==
                                std::bit_cast<std::uint32_t>(error) ||
                            (std::isnan(node.Error(k)) && std::isnan(error)))
                    << level.Number() << ' ' << i << ' ' << k << ": " << node.Error(k) << " for "
                    << error;
            }
        }
    }
    EXPECT_GT(nodes, 0);
}

TEST(ErrorTables, AreThoseOfTheDefinition) {
    std::uint32_t seed = 1;
    for (const auto& [columns, rows] :
         {std::pair(9, 9), {129, 129}, {300, 200}, {257, 129}, {130, 513}, {77, 1000}, {12, 12}}) {
        for (const int nulls : {0, 20, 990}) {
            SCOPED_TRACE(std::to_string(columns) + " x " + std::to_string(rows) + ", nulls " +
                         std::to_string(nulls));
            ExpectTables(
                {.columns = columns, .rows = rows, .seed = seed++, .nullsPerMille = nulls});
        }
    }
}

}  // namespace
}  // namespace tarnvale

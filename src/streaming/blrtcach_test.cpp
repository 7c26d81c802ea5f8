#include "streaming/blrtcach.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "streaming/fakegraphics_test.h"
#include "streaming/wishlist.h"

namespace tarnvale {
namespace {

using fake::FakeGraphics;

TEST(TilePyramid, HasSquareLevelsUpToOneTile) {
    const std::tuple<int, int, int, std::size_t, std::uint32_t> cases[] = {
        // width, height, log2 side, levels, tiles across the finest
        {1, 1, 9, 1, 1},           {512, 512, 9, 1, 1},   {513, 1, 9, 2, 2},
        {8192, 512, 9, 5, 16},     {8193, 512, 9, 6, 32}, {1536, 1536, 9, 3, 4},
        {1 << 20, 4, 9, 12, 2048}, {5, 3, 0, 4, 8},       {4096, 4096, 12, 1, 1},
    };
    for (const auto& [width, height, log2Side, levels, across] : cases) {
        TilePyramid pyramid;
        ASSERT_TRUE(pyramid.BuildPyramid(width, height, log2Side).Good()) << width;
        ASSERT_EQ(pyramid.Levels().size(), levels) << width;
        EXPECT_EQ(pyramid.Levels().front().Across(), across) << width;
        EXPECT_EQ(pyramid.Levels().front().LevelNumber(), static_cast<int>(levels)) << width;
        EXPECT_EQ(pyramid.Levels().back().Count(), 1U) << width;
        EXPECT_EQ(pyramid.Levels().back().LevelNumber(), 1) << width;
        EXPECT_EQ(&pyramid.Root(), pyramid.Levels().back().Entries().data()) << width;
    }
    const std::tuple<int, int, int> refused[] = {
        {0, 5, 9},       {5, 0, 9}, {-1, 5, 9}, {5, 5, 13}, {5, 5, -1}, {(1 << 20) + 1, 4, 9},
        {1 << 30, 1, 0},
    };
    for (const auto& [width, height, log2Side] : refused) {
        TilePyramid pyramid;
        EXPECT_EQ(pyramid.BuildPyramid(width, height, log2Side).Value(), -1) << width;
        EXPECT_FALSE(pyramid.Ok());
    }
}

TEST(TilePyramid, RelatesTilesAndDomainPoints) {
    TilePyramid pyramid;
    ASSERT_TRUE(pyramid.BuildPyramid(64, 40, 4).Good());  // 4, 2, 1 tiles of 16 across
    ASSERT_EQ(pyramid.Entries().size(), 21U);
    const std::tuple<int, int, int, int> points[] = {
        // level, x, y, index or -1
        {0, 0, 0, 0},   {0, 15, 15, 0}, {0, 16, 0, 1},   {0, 63, 63, 15},
        {0, 64, 0, -1}, {0, -1, 0, -1}, {0, 0, -16, -1}, {1, 31, 32, 2},
        {1, 32, 31, 1}, {2, 63, 0, 0},  {3, 0, 0, -1},   {-1, 0, 0, -1},
    };
    for (const auto& [level, x, y, index] : points) {
        const TileEntry* entry = pyramid.EntryAt(level, x, y);
        EXPECT_EQ(entry == nullptr ? -1 : entry->Index(), index) << level << ' ' << x << ' ' << y;
    }
    // Every tile lies where its parent lies, and numbers go level by level.
    std::uint32_t number = 0;
    for (TileEntry& tile : pyramid.Entries()) {
        EXPECT_EQ(pyramid.NumberOf(tile), number);
        EXPECT_EQ(&pyramid.At(number++), &tile);
        const auto span = static_cast<int>(tile.Level().Span());
        TileEntry* parent = pyramid.Parent(tile);
        EXPECT_EQ(parent,
                  pyramid.EntryAt(tile.Level().Index() + 1, static_cast<int>(tile.Column()) * span,
                                  static_cast<int>(tile.Row()) * span));
    }
}

/// A cache over four levels: 64, 16, 4 and 1 tiles.
class CacheTest : public ::testing::Test {
protected:
    CacheTest() {
        EXPECT_TRUE(pyramid.BuildPyramid(512, 512, 6).Good());
        cache.Reset(pyramid);
    }
    TileEntry& Tile(int level, std::size_t index) {
        return pyramid.Levels()[static_cast<std::size_t>(level)].Entries()[index];
    }
    void Insert(int level, std::size_t index) {
        TileEntry& tile = Tile(level, index);
        const std::uint32_t tag = fake::TagOf(level, tile.Index());
        std::vector<std::byte> pixels(sizeof tag);
        std::memcpy(pixels.data(), &tag, sizeof tag);
        TextureHandle* texture = graphics.CreateTexture(pixels, TextureUse::Terrain);
        ASSERT_NE(texture, nullptr);
        cache.Insert(tile, texture);
    }
    void InsertMany(int level, std::size_t first, std::size_t count) {
        for (std::size_t i = first; i < first + count; ++i) Insert(level, i);
    }
    bool Resident(int level, std::size_t index) {
        return cache.SlotOf(pyramid.NumberOf(Tile(level, index))) != 0;
    }
    void Use(int level, std::size_t index) { ASSERT_NE(cache.Lookup(Tile(level, index)), nullptr); }

    TilePyramid pyramid;
    ResidentTileCache cache;
    FakeGraphics graphics{1};
};

TEST_F(CacheTest, GrowsWithoutEverEvicting) {
    EXPECT_EQ(cache.Limit(), 22U);
    InsertMany(0, 0, 21);
    EXPECT_EQ(cache.Limit(), 22U);
    for (std::uint32_t size = 22; size <= 60; ++size) {
        Insert(0, size - 1);
        EXPECT_EQ(cache.Limit(), size + 1);
        cache.AgeAndEvict(graphics);
        EXPECT_EQ(cache.Size(), size);
    }
}

TEST_F(CacheTest, ShrinksOnceToTwoBelowWhatFitted) {
    struct Case {
        std::size_t resident;
        std::uint32_t limit;
    };
    // With fewer than the limit it started with, what fitted counts: 6 -> min(22, 7) - 3.
    for (const Case& c : {Case{40, 38}, Case{22, 20}, Case{21, 19}, Case{6, 4}, Case{1, 1}}) {
        cache.Reset(pyramid);
        InsertMany(0, 0, c.resident);
        cache.Shrink(graphics);
        EXPECT_EQ(cache.Limit(), c.limit) << c.resident;
        EXPECT_EQ(cache.Size(), c.resident) << "all of age 0";
        cache.Shrink(graphics);
        EXPECT_EQ(cache.Limit(), c.limit) << "the second time";
        cache.AgeAndEvict(graphics);
        EXPECT_LT(cache.Size(), std::max(c.limit, 2U)) << c.resident;
        Insert(1, 0);
        EXPECT_EQ(cache.Limit(), c.limit) << "no growth any more";
        cache.Clear(graphics);
        EXPECT_EQ(graphics.Live(), 0U) << c.resident;
    }
}

TEST_F(CacheTest, DestroysUnusedTilesAtOnceWhenATextureIsRefused) {
    Insert(3, 0);
    InsertMany(0, 0, 39);
    for (std::size_t i = 1; i < 39; ++i) Use(0, i);
    cache.AgeAndEvict(graphics);  // the root and tile 0 now have age 1
    ASSERT_EQ(cache.Size(), 40U);
    cache.Shrink(graphics);
    EXPECT_EQ(cache.Limit(), 38U);
    EXPECT_EQ(graphics.destroyed, 1U);
    EXPECT_EQ(graphics.recycled, 0U);
    EXPECT_EQ(cache.Size(), 39U) << "over the limit: only tiles of this frame are left";
    EXPECT_FALSE(Resident(0, 0));
    EXPECT_TRUE(Resident(3, 0)) << "the coarsest tile never goes";
}

TEST_F(CacheTest, VictimsGoByLevelNumberTimesAgeThenByPlace) {
    Insert(3, 0);
    InsertMany(0, 0, 4);  // level number 4
    InsertMany(1, 0, 2);  // 3
    InsertMany(2, 0, 2);  // 2
    const auto frame = [&](std::initializer_list<std::pair<int, std::size_t>> used) {
        for (const auto& [level, index] : used) Use(level, index);
        cache.AgeAndEvict(graphics);
    };
    frame({{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 0}, {1, 1}, {2, 1}});  // (2,0): age 1
    frame({{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 0}, {2, 1}});          // (2,0): 2, (1,1): 1
    frame({{0, 2}, {0, 3}, {1, 0}, {2, 1}});  // (2,0): 3, (1,1): 2, (0,0) and (0,1): 1
    ASSERT_EQ(cache.Size(), 9U);
    // Scores: (2,0) 2 x 3 = 6, (1,1) 3 x 2 = 6, (0,0) and (0,1) 4. Equal ones: the finer first.
    const std::vector<std::pair<int, std::size_t>> order{{1, 1}, {2, 0}, {0, 0}, {0, 1}};
    cache.Shrink(graphics);  // limit min(22, 10) - 3 = 7: until 6 are left
    EXPECT_EQ(cache.Size(), 6U);
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(Resident(order[i].first, order[i].second), i == 3) << i;
    }
}

TEST_F(CacheTest, EvictsNoTileOfThisFrameAndRecyclesOthers) {
    InsertMany(0, 0, 8);
    cache.Shrink(graphics);  // limit 6
    for (std::size_t i = 0; i < 8; ++i) Use(0, i);
    cache.AgeAndEvict(graphics);
    EXPECT_EQ(cache.Size(), 8U);
    for (std::size_t i = 0; i < 7; ++i) Use(0, i);
    cache.AgeAndEvict(graphics);
    EXPECT_EQ(cache.Size(), 7U);
    EXPECT_EQ(graphics.recycled, 1U);
    EXPECT_FALSE(cache.Saturated()) << "it was worn";
    Insert(1, 5);
    for (std::size_t i = 0; i < 7; ++i) Use(0, i);
    cache.AgeAndEvict(graphics);
    EXPECT_FALSE(Resident(1, 5));
    EXPECT_TRUE(cache.Saturated()) << "it never was, and the others are in use";
    cache.ViewChanged();
    EXPECT_FALSE(cache.Saturated());
}

std::vector<std::uint32_t> Granted(WishList& list, std::size_t most) {
    std::vector<std::uint32_t> order;
    list.Grant([&](std::uint32_t tile) {
        if (order.size() == most) return false;
        order.push_back(tile);
        return true;
    });
    return order;
}

TEST(WishList, GrantsByKeyThenInOrderOfWishing) {
    using Order = std::vector<std::uint32_t>;
    WishList list;
    list.Reset(100);
    for (const auto& [key, tile] : {std::pair(-1.0F, 7), {-4.0F, 3}, {-2.0F, 9}, {-4.0F, 1}}) {
        list.Add(key, static_cast<std::uint32_t>(tile));
    }
    EXPECT_EQ(Granted(list, 9), (Order{3, 1, 9, 7}));

    // A tile counts once, where its best wish stands; of equal wishes the first.
    list.Add(-4, 1);
    list.Add(-1, 2);
    list.Add(-4, 3);
    list.Add(-4, 1);
    list.Add(-5, 2);
    list.Add(-2, 3);
    EXPECT_EQ(list.Count(), 3U);
    EXPECT_EQ(Granted(list, 9), (Order{2, 1, 3}));

    // What isn't granted is forgotten.
    for (std::uint32_t tile = 0; tile < 50; ++tile) list.Add(-static_cast<float>(tile % 10), tile);
    EXPECT_EQ(Granted(list, 2), (Order{9, 19}));
    EXPECT_EQ(list.Count(), 0U);
    list.Add(std::numeric_limits<float>::quiet_NaN(), 5);
    list.Add(-1, 6);
    EXPECT_EQ(Granted(list, 9), (Order{6, 5}));
}

}  // namespace
}  // namespace tarnvale

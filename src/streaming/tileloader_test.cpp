#include "streaming/tileloader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include "streaming/fakegraphics_test.h"

namespace tarnvale {
namespace {

using namespace std::chrono_literals;
using fake::TaggedTiles;
using fake::TagIn;
using fake::TagOf;

/// Tagged tiles that can be held back, or fail.
class HeldTiles final : public TaggedTiles {
public:
    HeldTiles() : TaggedTiles(fake::WholeDomain(64)) {}
    [[nodiscard]] TileRead Read(const TileEntry& tile, std::span<std::byte> pixels) override {
        inside = true;
        while (hold) std::this_thread::sleep_for(1ms);
        inside = false;
        const TileRead read = TaggedTiles::Read(tile, pixels);
        return failing.contains(tile.Index()) ? TileRead::Nothing : read;
    }
    std::atomic<bool> hold{false}, inside{false};
    std::set<int> failing;
};

bool Eventually(const auto& condition) {
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

class LoaderTest : public ::testing::Test {
protected:
    static constexpr std::size_t kBytes = 8 * 8 * 4;
    LoaderTest() {
        EXPECT_TRUE(pyramid.BuildPyramid(64, 64, 3).Good());
        auto made = std::make_unique<HeldTiles>();
        source = made.get();
        EXPECT_TRUE(loader.Open(std::move(made), kBytes, failed).Good());
        loader.SetHandoff(&handoff);
    }
    TileEntry* Tile(std::uint32_t number) { return &pyramid.At(number); }
    bool SlotFilled() { return handoff.IsMyTurn(HandoffParty::Model); }
    std::uint32_t TagInSlot() {
        TileEntry* tile = nullptr;
        std::span<const std::byte> pixels;
        EXPECT_TRUE(handoff.Get(tile, pixels));
        const std::uint32_t tag = TagIn(pixels);
        EXPECT_EQ(tag, TagOf(tile->Level().Index(), tile->Index()));
        return tag;
    }

    TilePyramid pyramid;
    FailedTiles failed;
    TileHandoff handoff;
    HeldTiles* source = nullptr;
    TileLoader loader;
};

TEST(TileHandoff, GivesTheTurnToOnePartyAtATime) {
    TileHandoff handoff;
    TileEntry tile;
    TileEntry* got = nullptr;
    std::span<const std::byte> pixels;
    const std::array<std::byte, 4> buffer{};
    EXPECT_TRUE(handoff.IsMyTurn(HandoffParty::Loader));
    EXPECT_FALSE(handoff.Get(got, pixels));
    EXPECT_FALSE(handoff.Put(nullptr, buffer));
    EXPECT_FALSE(handoff.Put(&tile, {}));
    EXPECT_FALSE(handoff.Get(got, pixels));
    EXPECT_TRUE(handoff.Put(&tile, buffer));
    handoff.PassTurn(HandoffParty::Model);  // out of turn
    EXPECT_TRUE(handoff.IsMyTurn(HandoffParty::Loader));
    handoff.PassTurn(HandoffParty::Loader);
    EXPECT_FALSE(handoff.IsMyTurn(HandoffParty::Loader));
    EXPECT_TRUE(handoff.IsMyTurn(HandoffParty::Model));
    EXPECT_TRUE(handoff.Get(got, pixels));
    EXPECT_TRUE(handoff.Get(got, pixels)) << "reading doesn't empty the slot";
    EXPECT_EQ(got, &tile);
    EXPECT_EQ(pixels.data(), buffer.data());
}

TEST_F(LoaderTest, HandsOverWhatWasAskedForInOrder) {
    source->hold = true;
    EXPECT_TRUE(loader.TryQueue(Tile(1)));
    ASSERT_TRUE(Eventually([&] { return source->inside.load(); }));
    EXPECT_TRUE(loader.TryQueue(Tile(2)));
    EXPECT_TRUE(loader.TryQueue(Tile(3)));
    EXPECT_FALSE(loader.TryQueue(Tile(4))) << "two wait behind the one in hand";
    source->hold = false;
    for (const std::uint32_t number : {1U, 2U, 3U}) {
        ASSERT_TRUE(Eventually([&] { return SlotFilled(); })) << number;
        EXPECT_EQ(TagInSlot(), TagOf(0, static_cast<int>(number)));
        handoff.PassTurn(HandoffParty::Model);
    }
    EXPECT_EQ(failed.Take(), nullptr);
}

TEST_F(LoaderTest, ReportsTilesThatItHasNothingFor) {
    source->failing = {5};
    ASSERT_TRUE(loader.TryQueue(Tile(5)));
    ASSERT_TRUE(loader.TryQueue(Tile(6)));
    ASSERT_TRUE(Eventually([&] { return SlotFilled(); }));
    EXPECT_EQ(TagInSlot(), TagOf(0, 6));
    EXPECT_EQ(failed.Take(), Tile(5));
    EXPECT_EQ(failed.Take(), nullptr);
}

TEST_F(LoaderTest, PacesItselfByItsPoll) {
    const auto start = std::chrono::steady_clock::now();
    for (std::uint32_t number = 1; number <= 5; ++number) {
        ASSERT_TRUE(Eventually([&] { return loader.TryQueue(Tile(number)); }));
        ASSERT_TRUE(Eventually([&] { return SlotFilled(); }));
        handoff.PassTurn(HandoffParty::Model);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4 * TileLoader::kPoll);
}

TEST_F(LoaderTest, ServesADecodedTileWithoutReadingIt) {
    EXPECT_EQ(TagIn(loader.LoadNow(Tile(9))), TagOf(0, 9));
    const int reads = source->reads;
    ASSERT_TRUE(loader.TryQueue(Tile(9)));
    ASSERT_TRUE(Eventually([&] { return SlotFilled(); }));
    EXPECT_EQ(TagInSlot(), TagOf(0, 9));
    EXPECT_EQ(source->reads, reads);
}

// Tile 1 is served again from the decoded ones and so stands twice in their order. When it is
// served once more and waits in the slot, trimming meets its older place: were its buffer recycled
// there, the next read would write into it before the model has taken it.
TEST_F(LoaderTest, NeverRecyclesTheBufferInTheSlot) {
    const auto serve = [&](std::uint32_t number) {
        ASSERT_TRUE(loader.TryQueue(Tile(number)));
        ASSERT_TRUE(Eventually([&] { return SlotFilled(); })) << number;
        EXPECT_EQ(TagInSlot(), TagOf(0, static_cast<int>(number)));
    };
    for (const std::uint32_t number : {1U, 1U, 3U}) {
        serve(number);
        handoff.PassTurn(HandoffParty::Model);
    }
    serve(1);
    const int reads = source->reads;
    for (const std::uint32_t next : {4U, 5U}) ASSERT_TRUE(loader.TryQueue(Tile(next)));
    ASSERT_TRUE(Eventually([&] { return source->reads > reads; }));
    std::this_thread::sleep_for(2 * TileLoader::kPoll);
    EXPECT_EQ(TagInSlot(), TagOf(0, 1)) << "overwritten while the model had the turn";
    for (const int next : {4, 5}) {
        handoff.PassTurn(HandoffParty::Model);
        ASSERT_TRUE(Eventually([&] { return SlotFilled(); }));
        EXPECT_EQ(TagInSlot(), TagOf(0, next));
    }
}

// The best of a few tries counts: the machine may be busy with something else.
TEST_F(LoaderTest, ClosesSoonWhileItWaitsForItsTurn) {
    auto best = std::chrono::steady_clock::duration::max();
    for (int attempt = 0; attempt < 5 && best >= 60ms; ++attempt) {
        auto made = std::make_unique<HeldTiles>();
        source = made.get();
        handoff.Reset();
        ASSERT_TRUE(loader.Open(std::move(made), kBytes, failed).Good());
        loader.SetHandoff(&handoff);
        ASSERT_TRUE(loader.TryQueue(Tile(1)));
        ASSERT_TRUE(Eventually([&] { return SlotFilled(); }));
        ASSERT_TRUE(loader.TryQueue(Tile(2)));
        ASSERT_TRUE(Eventually([&] { return source->reads == 2; }));
        const auto start = std::chrono::steady_clock::now();
        loader.Close();
        best = std::min(best, std::chrono::steady_clock::now() - start);
        EXPECT_EQ(failed.Take(), nullptr) << "the tile in hand is dropped";
        EXPECT_FALSE(loader.TryQueue(Tile(3)));
        EXPECT_TRUE(loader.LoadNow(Tile(3)).empty());
    }
    EXPECT_LT(best, 60ms);
}

TEST_F(LoaderTest, ClosesAfterTheReadInHand) {
    source->hold = true;
    ASSERT_TRUE(loader.TryQueue(Tile(1)));
    ASSERT_TRUE(Eventually([&] { return source->inside.load(); }));
    auto closed = std::async(std::launch::async, [&] { loader.Close(); });
    EXPECT_EQ(closed.wait_for(100ms), std::future_status::timeout);
    source->hold = false;
    EXPECT_EQ(closed.wait_for(500ms), std::future_status::ready);
}

}  // namespace
}  // namespace tarnvale

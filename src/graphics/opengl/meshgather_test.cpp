#include "graphics/opengl/meshgather.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "base/allocations_for_test.h"

namespace tarnvale {
namespace {

using Order = MeshGather::Order;

RenderMesh Numbered(PrimitiveKind kind, int first, int vertices) {
    RenderMesh mesh;
    mesh.kind = kind;
    for (int i = 0; i < vertices; ++i) {
        const auto number = static_cast<float>(first + i);
        mesh.vertices.Append({number, 0, 0});
        mesh.texcoords.Append({number, 0.5F});
        mesh.normals.Append({0, 0, number});
    }
    return mesh;
}

/// Numbers of the vertices that wait, bucket by bucket.
std::vector<std::vector<int>> Waiting(const MeshGather& gather) {
    std::vector<std::vector<int>> result;
    for (const auto& bucket : gather.Waiting()) {
        std::vector<int>& numbers = result.emplace_back();
        for (const auto* chunk = bucket.first; chunk != nullptr; chunk = chunk->next) {
            for (std::uint32_t i = 0; i < chunk->count; ++i) {
                numbers.push_back(static_cast<int>(chunk->positions[i * 3]));
                if (bucket.material.texture != 0) {
                    EXPECT_EQ(chunk->texcoords[i * 2], chunk->positions[i * 3])
                        << "parted from its vertex";
                }
                if (bucket.material.lit) {
                    EXPECT_EQ(chunk->normals[i * 3 + 2], chunk->positions[i * 3])
                        << "parted from its vertex";
                }
            }
        }
    }
    return result;
}

using Numbers = std::vector<std::vector<int>>;

RenderMesh List(int first) {
    return Numbered(PrimitiveKind::List, first, 3);
}
Material Textured(std::uint64_t texture) {
    Material material;
    material.texture = texture;
    return material;
}

TEST(MeshGather, StripsAndFansBecomeListsOfTheSameTriangles) {
    MeshGather gather;
    Material lit;
    lit.lit = true;
    gather.Append(lit, nullptr, Numbered(PrimitiveKind::Strip, 0, 5), Order::Strict);
    gather.Append(lit, nullptr, Numbered(PrimitiveKind::Fan, 10, 4), Order::Strict);
    EXPECT_EQ(gather.Append(lit, nullptr, Numbered(PrimitiveKind::List, 20, 5), Order::Strict), 1U);
    const Numbers expected{{0, 1, 2, 2, 1, 3, 2, 3, 4, 10, 11, 12, 10, 12, 13, 20, 21, 22}};
    EXPECT_EQ(Waiting(gather), expected) << "a list's two odd vertices make no triangle";
}

TEST(MeshGather, OnlyTexturedMeshesMayComeBeforeWhatWasDrawnEarlier) {
    const Material a = Textured(1), b = Textured(2), plain;
    Material wire;
    wire.wireframe = true;
    GatherPlace placeA, placeB;
    MeshGather gather;
    gather.Append(a, &placeA, List(0), Order::Free);
    gather.Append(b, &placeB, List(10), Order::Free);
    gather.Append(a, &placeA, List(20), Order::Free);
    gather.Append(plain, nullptr, List(30), Order::Strict);
    gather.Append(b, &placeB, List(40), Order::Free);
    gather.Append(plain, nullptr, List(50), Order::Strict);
    gather.Append(b, &placeB, List(60), Order::Strict);
    gather.Append(plain, nullptr, List(70), Order::Strict);
    gather.Append(wire, nullptr, List(80), Order::Strict);
    gather.Append(a, &placeA, List(90), Order::Free);
    const Numbers expected{{0, 1, 2, 20, 21, 22},
                           {10, 11, 12, 40, 41, 42},
                           {30, 31, 32, 50, 51, 52},
                           {60, 61, 62},
                           {70, 71, 72},
                           {80, 81, 82},
                           {90, 91, 92}};
    EXPECT_EQ(Waiting(gather), expected);
    EXPECT_TRUE(gather.Holds(placeA));
    gather.Clear();
    EXPECT_FALSE(gather.Holds(placeA));
    gather.Append(a, &placeA, List(0), Order::Free);
    EXPECT_EQ(Waiting(gather), (Numbers{{0, 1, 2}})) << "an old place leads nowhere";
}

TEST(MeshGather, AColourOfItsOwnAndWhatIsBlendedStayApart) {
    const Material a = Textured(1), b = Textured(2);
    Material red = a, clear = b;
    red.colour.red = 1;
    clear.blended = true;
    GatherPlace placeA, placeB;
    MeshGather gather;
    gather.Append(a, &placeA, List(0), Order::Free);
    gather.Append(red, &placeA, List(10), Order::Free);
    gather.Append(b, &placeB, List(20), Order::Free);
    gather.Append(red, &placeA, List(30), Order::Free);
    gather.Append(clear, &placeB, List(40), Order::Strict);
    gather.Append(red, &placeA, List(50), Order::Free);
    EXPECT_EQ(
        Waiting(gather),
        (Numbers{{0, 1, 2}, {10, 11, 12, 30, 31, 32}, {20, 21, 22}, {40, 41, 42}, {50, 51, 52}}));
}

TEST(MeshGather, LongMeshesRunOnOverChunksWithoutTearingATriangle) {
    MeshGather gather;
    const Material plain;
    const int vertices = static_cast<int>(MeshGather::kChunkVertices) * 2;
    gather.Append(plain, nullptr, Numbered(PrimitiveKind::List, 0, 30), Order::Strict);
    gather.Append(plain, nullptr, Numbered(PrimitiveKind::List, 30, vertices), Order::Strict);
    const auto fan = static_cast<int>(MeshGather::kChunkVertices / 3);
    gather.Append(plain, nullptr, Numbered(PrimitiveKind::Fan, 0, fan), Order::Strict);
    const Numbers found = Waiting(gather);
    ASSERT_EQ(found.size(), 1U);
    ASSERT_EQ(found[0].size(), static_cast<std::size_t>(30 + vertices + (fan - 2) * 3));
    for (int i = 0; i < 30 + vertices; ++i) ASSERT_EQ(found[0][static_cast<std::size_t>(i)], i);
    for (const auto* chunk = gather.Waiting()[0].first; chunk != nullptr; chunk = chunk->next) {
        EXPECT_EQ(chunk->count % 3, 0U);
    }
}

TEST(MeshGather, ASteadyFrameAllocatesNothingWhateverComesFirst) {
    MeshGather gather;
    std::mt19937 random(7);
    const RenderMesh small = Numbered(PrimitiveKind::List, 0, 12);
    const RenderMesh strip = Numbered(PrimitiveKind::Strip, 0, 40);
    std::vector<int> order(20000);
    for (int& place : order) place = static_cast<int>(random() % 40);
    std::array<GatherPlace, 40> places;
    for (int frame = 0; frame < 4; ++frame) {
        std::ranges::shuffle(order, random);
        const std::size_t before = Allocations();
        for (const int texture : order) {
            gather.Append(Textured(static_cast<std::uint64_t>(texture) + 1),
                          &places[static_cast<std::size_t>(texture)], texture == 3 ? strip : small,
                          Order::Free);
        }
        EXPECT_EQ(gather.Waiting().size(), 40U);
        gather.Clear();
        if (frame == 0) continue;  // brings the memory in
        EXPECT_EQ(Allocations(), before) << "frame " << frame;
    }
}

}  // namespace
}  // namespace tarnvale

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "base/color.h"
#include "graphics/rendermesh.h"

namespace tarnvale {

/// What meshes must share to be sent in one call.
struct Material {
    std::uint64_t texture = 0;  ///< native name; 0: untextured
    COLOR colour;
    bool wireframe = false;
    bool lit = false;       ///< has normals
    bool blended = false;   ///< lets through what was drawn before it
    bool tested = false;    ///< its texels' alpha decides which of them are drawn
    bool backdrop = false;  ///< lies at the far end of all depth
    friend constexpr bool operator==(const Material&, const Material&) = default;
};

/// Where the meshes of a texture wait; part of the texture, so that finding it takes no search.
struct GatherPlace {
    std::uint64_t serial = 0;
    std::uint32_t bucket = 0;
};

/// Gathers small meshes into few large triangle lists: a terrain sends some ten thousand meshes of
/// a few triangles each, cut by texture tile, and every draw call costs as much as a hundred
/// triangles.
///
/// Each material waits in a bucket of its own; buckets are drawn in the order in which they were
/// opened. A textured mesh joins the bucket of its texture although others were opened since,
/// because textures that cover each other belong to different layers, and a layer comes whole
/// before the next one. Every other mesh joins only the bucket opened last, so it never comes
/// before what it was drawn over.
///
/// Vertices lie in chunks that all buckets take from one pool, which grows to the largest frame and
/// no further: a steady frame allocates nothing, and memory doesn't depend on which texture came
/// when.
class MeshGather {
public:
    static constexpr std::uint32_t kChunkVertices = 6144;  // a multiple of 3

    /// A stretch of a triangle list, as sent in one call. Made without filling the arrays.
    struct Chunk {
        std::uint32_t count;  // vertices
        Chunk* next;
        std::array<float, kChunkVertices * 3> positions;
        std::array<float, kChunkVertices * 2> texcoords;  // of textured materials
        std::array<float, kChunkVertices * 3> normals;    // of lit ones
    };
    static_assert(std::is_trivially_default_constructible_v<Chunk>);
    struct Bucket {
        Material material;
        Chunk* first = nullptr;
        Chunk* last = nullptr;
    };
    enum class Order : std::uint8_t {
        Free,    ///< a textured mesh may join an older bucket
        Strict,  ///< only the bucket opened last may be joined
    };

    /// @param place  the mesh's texture's; null: the mesh joins only the bucket opened last
    /// @param mesh   at least 3 vertices. Normals and texture coordinates are taken as `material`
    /// says.
    /// @return triangles added. May throw std::bad_alloc, with part of the mesh taken.
    std::uint64_t Append(const Material& material, GatherPlace* place, const RenderMesh& mesh,
                         Order order);

    [[nodiscard]] std::span<const Bucket> Waiting() const noexcept { return buckets_; }
    [[nodiscard]] bool Empty() const noexcept { return buckets_.empty(); }
    [[nodiscard]] bool Holds(const GatherPlace& place) const noexcept {
        return place.serial == serial_;
    }
    /// Forgets what waits, keeping the memory.
    void Clear() noexcept;
    /// Gives the memory back too.
    void Free() noexcept;

private:
    [[nodiscard]] Bucket& BucketFor(const Material& material, GatherPlace* place, Order order);
    [[nodiscard]] Chunk* TakeChunk();
    [[nodiscard]] Chunk* Room(Bucket& bucket);
    static void CopyVertices(const Bucket& bucket, const RenderMesh& mesh, std::uint32_t from,
                             std::uint32_t count);
    void AppendList(Bucket& bucket, const RenderMesh& mesh);
    void AppendUnrolled(Bucket& bucket, const RenderMesh& mesh);

    std::vector<Bucket> buckets_;
    std::vector<std::unique_ptr<Chunk>> chunks_;
    std::size_t usedChunks_ = 0;
    std::size_t barrier_ = 0;  // buckets before it are closed to newcomers
    std::uint64_t serial_ = 1;
};

}  // namespace tarnvale

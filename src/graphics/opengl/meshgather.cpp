#include "graphics/opengl/meshgather.h"

#include <algorithm>
#include <cstring>

namespace tarnvale {

static_assert(MeshGather::kChunkVertices % 3 == 0,
              "a triangle must not be torn apart by two chunks");

std::uint64_t MeshGather::Append(const Material& material, GatherPlace* place,
                                 const RenderMesh& mesh, Order order) {
    Bucket& bucket = BucketFor(material, place, order);
    if (mesh.kind == PrimitiveKind::List) {
        AppendList(bucket, mesh);
        return mesh.vertices.Count() / 3;
    }
    AppendUnrolled(bucket, mesh);
    return mesh.vertices.Count() - 2;
}

MeshGather::Bucket& MeshGather::BucketFor(const Material& material, GatherPlace* place,
                                          Order order) {
    if (place != nullptr && order == Order::Free && place->serial == serial_ &&
        place->bucket >= barrier_ && buckets_[place->bucket].material == material) {
        return buckets_[place->bucket];
    }
    if (buckets_.empty() || buckets_.back().material != material) {
        Chunk* chunk = TakeChunk();
        buckets_.push_back({material, chunk, chunk});
        if (material.wireframe || material.lit || material.blended) barrier_ = buckets_.size();
    }
    if (place != nullptr) *place = {serial_, static_cast<std::uint32_t>(buckets_.size() - 1)};
    return buckets_.back();
}

MeshGather::Chunk* MeshGather::TakeChunk() {
    if (usedChunks_ == chunks_.size()) chunks_.push_back(std::make_unique_for_overwrite<Chunk>());
    Chunk* chunk = chunks_[usedChunks_++].get();
    chunk->count = 0;
    chunk->next = nullptr;
    return chunk;
}

MeshGather::Chunk* MeshGather::Room(Bucket& bucket) {
    if (bucket.last->count == kChunkVertices) {
        bucket.last->next = TakeChunk();
        bucket.last = bucket.last->next;
    }
    return bucket.last;
}

void MeshGather::CopyVertices(const Bucket& bucket, const RenderMesh& mesh, std::uint32_t from,
                              std::uint32_t count) {
    Chunk& chunk = *bucket.last;
    std::memcpy(&chunk.positions[chunk.count * 3], mesh.vertices.Data() + from,
                count * sizeof(Vec3f));
    if (bucket.material.texture != 0) {
        std::memcpy(&chunk.texcoords[chunk.count * 2], mesh.texcoords.Data() + from,
                    count * sizeof(Vec2f));
    }
    if (bucket.material.lit) {
        std::memcpy(&chunk.normals[chunk.count * 3], mesh.normals.Data() + from,
                    count * sizeof(Vec3f));
    }
    chunk.count += count;
}

void MeshGather::AppendList(Bucket& bucket, const RenderMesh& mesh) {
    const std::uint32_t count = mesh.vertices.Count() / 3 * 3;
    for (std::uint32_t done = 0; done < count;) {
        const std::uint32_t take = std::min(count - done, kChunkVertices - Room(bucket)->count);
        CopyVertices(bucket, mesh, done, take);
        done += take;
    }
}

void MeshGather::AppendUnrolled(Bucket& bucket, const RenderMesh& mesh) {
    const std::uint32_t triangles = mesh.vertices.Count() - 2;
    for (std::uint32_t i = 0; i < triangles; ++i) {
        (void)Room(bucket);  // three vertices at least, as a chunk holds whole triangles
        if (mesh.kind == PrimitiveKind::Fan) {
            CopyVertices(bucket, mesh, 0, 1);
            CopyVertices(bucket, mesh, i + 1, 2);
        } else if (i % 2 == 0) {
            CopyVertices(bucket, mesh, i, 3);
        } else {  // turned round, so that the whole strip shows the same side
            CopyVertices(bucket, mesh, i + 1, 1);
            CopyVertices(bucket, mesh, i, 1);
            CopyVertices(bucket, mesh, i + 2, 1);
        }
    }
}

void MeshGather::Clear() noexcept {
    buckets_.clear();
    usedChunks_ = 0;
    barrier_ = 0;
    ++serial_;
}

void MeshGather::Free() noexcept {
    Clear();
    buckets_.shrink_to_fit();
    chunks_.clear();
    chunks_.shrink_to_fit();
}

}  // namespace tarnvale

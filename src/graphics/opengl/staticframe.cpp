#include "graphics/opengl/staticframe.h"

#include <algorithm>

namespace tarnvale {

void StaticFrame::Begin(const RenderCamera& frameCamera, int frameWidth, int frameHeight) {
    camera = frameCamera;
    width = frameWidth;
    height = frameHeight;
    parts.clear();
}

void StaticFrame::Add(const MeshGather::Bucket& bucket, const PassState& state,
                      const std::array<double, 16>& model) {
    auto part = std::ranges::find_if(parts, [&](const Part& p) {
        return p.material == bucket.material && p.state == state && p.model == model;
    });
    if (part == parts.end()) {
        parts.push_back({bucket.material, state, model, {}, {}});
        part = parts.end() - 1;
    }
    const std::uint32_t extras = bucket.material.texture != 0 ? 2 : bucket.material.lit ? 3 : 0;
    for (const MeshGather::Chunk* chunk = bucket.first; chunk != nullptr; chunk = chunk->next) {
        const float* positions = chunk->positions.data();
        part->positions.insert(part->positions.end(), positions, positions + chunk->count * 3);
        const float* more =
            bucket.material.texture != 0 ? chunk->texcoords.data() : chunk->normals.data();
        part->extras.insert(part->extras.end(), more, more + chunk->count * extras);
    }
}

void StaticFrame::Forget(std::uint64_t texture) {
    std::erase_if(parts, [&](const Part& part) { return part.material.texture == texture; });
}

}  // namespace tarnvale

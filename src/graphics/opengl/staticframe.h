#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "graphics/graphicssystem.h"
#include "graphics/opengl/meshgather.h"

namespace tarnvale {

/// State beside the material that decides how triangles come out.
struct PassState {
    bool depthWrite = true;
    bool alphaTest = false;
    AlphaFunction alphaFunction = AlphaFunction::Always;
    float alphaReference = 0.0F;
    friend bool operator==(const PassState&, const PassState&) = default;
};

/// The triangles of one frame, kept as one array for each texture, to be drawn again: the least
/// that any way of making and gathering them could cost on this machine.
class StaticFrame {
public:
    struct Part {
        Material material;
        PassState state;
        std::array<double, 16> model{};
        std::vector<float> positions;  // three a vertex
        std::vector<float> extras;  // two texture coordinates a vertex, or a normal of a lit part
    };

    void Begin(const RenderCamera& camera, int width, int height);
    /// Adds a bucket to the part with the same material, state and model matrix.
    void Add(const MeshGather::Bucket& bucket, const PassState& state,
             const std::array<double, 16>& model);
    /// Drops the triangles of a texture that ends.
    void Forget(std::uint64_t texture);

    RenderCamera camera;
    int width = 0, height = 0;
    std::vector<Part> parts;
};

}  // namespace tarnvale

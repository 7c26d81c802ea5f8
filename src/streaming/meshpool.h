#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "graphics/rendermesh.h"

namespace tarnvale {

/// Meshes that are filled and emptied over and over: their arrays keep their memory, so that after
/// a while nothing is allocated any more. Owns all of them. Thread: the frame cycle's.
class MeshPool {
public:
    /// The free mesh that last had the fewest vertices (among equals the one released first), or a
    /// new one; empty. May throw std::bad_alloc.
    [[nodiscard]] RenderMesh& Take() {
        if (free_.empty()) {
            meshes_.reserve(meshes_.size() + 1);
            free_.reserve(meshes_.size() + 1);
            used_.reserve(meshes_.size() + 1);
            meshes_.push_back(std::make_unique<RenderMesh>());
            free_.push_back({0, meshes_.back().get()});
        }
        RenderMesh& mesh = *free_.back().mesh;
        used_.push_back(&mesh);
        free_.pop_back();
        mesh.Clear();
        return mesh;
    }
    /// Makes every mesh in use free again.
    void ReleaseAll() {
        for (RenderMesh* mesh : used_) {
            const std::uint32_t vertices = mesh->vertices.Count();
            const auto place =
                std::ranges::lower_bound(free_, vertices, std::greater<>(), &Free::vertices);
            free_.insert(place, {vertices, mesh});
        }
        used_.clear();
    }

private:
    struct Free {
        std::uint32_t vertices = 0;
        RenderMesh* mesh = nullptr;
    };
    std::vector<std::unique_ptr<RenderMesh>> meshes_;
    std::vector<Free> free_;  // most vertices first, so that the next to be taken is the last
    std::vector<RenderMesh*> used_;
};

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <vector>

#include "base/color.h"
#include "base/growarray.h"
#include "base/vec3f.h"

namespace tarnvale {

class TextureHandle;

enum class PrimitiveKind : std::int32_t { List = 0, Fan = 1, Strip = 2 };

/// Triangles as the terrain makes them: scene coordinates, or a layer's own.
struct TerrainPrimitive {
    PrimitiveKind kind = PrimitiveKind::List;
    GrowArray<Vec3f> vertices;
};

/// One drawable record. `texcoords` and `normals` stand parallel to `vertices` or are empty.
struct RenderMesh : TerrainPrimitive {
    GrowArray<Vec2f> texcoords;
    GrowArray<Vec3f> normals;  ///< none: an unlit mesh
    COLOR colour = COLOR::Plain();
    bool wireframe = false;            ///< lines in `WireframeColor`, no texture, no normals
    TextureHandle* texture = nullptr;  ///< on loan; null: untextured

    void Clear() noexcept {
        vertices.Clear();
        texcoords.Clear();
        normals.Clear();
    }
};

/// Meshes in drawing order, on loan from whoever filled the batch.
using RenderMeshBatch = std::vector<RenderMesh*>;

/// Camera of a view. Lengths in scene units, angles in degrees.
struct RenderCamera {
    Vec3f eye, lookAt, up;
    float fieldOfView = 0;  ///< vertical
    float nearPlane = 0, farPlane = 0;
    bool overrideFog = false;  ///< `fogOn` decides for this frame, not the setting `Fog`
    bool fogOn = false;
};

}  // namespace tarnvale

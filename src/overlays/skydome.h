#pragma once

#include <array>
#include <cstdint>

#include "base/vec3f.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "landscape/skypicture.h"
#include "terrain/viewpyramid.h"

namespace tarnvale {

/// How a dome stands over its landscape.
struct SkyParameters {
    float yaw = 0, pitch = 0, roll = 0;  ///< degrees: about the scene's z, x and y axis, roll first
    float scale = 100;                   ///< percent of half the landscape's longer side
    float height = 0;                    ///< percent of the same, that the centre is raised by
    friend bool operator==(const SkyParameters&, const SkyParameters&) = default;
};

/// Ground without a hole: who stands above it sees no sky behind it. Scene coordinates.
struct SolidGround {
    float xMin = 0, yMin = 0, xMax = 0, yMax = 0;
    float lowest = 0;  ///< no part of it lies below
};

/// The sky: one textured sphere around the landscape. It lies behind all that is drawn in a view,
/// earlier or later, also what stands beyond its sphere, and leaves no depth. Textures belong to
/// the graphics system of each view and are made in the first frame that needs them. Thread: the
/// frame cycle's. Nothing is allocated in a steady frame.
class SkyDome {
public:
    static constexpr int kBands = 30, kSectors = 30;
    /// Third part of a vertex's second texture coordinate below the horizon: beyond any picture.
    static constexpr float kBeyondPicture = 100.0F;

    /// Makes the mesh for a landscape and sets the parameters back. The picture stays.
    /// @param x, y  centre of the landscape, scene
    /// @param side  its longer side, scene units
    void Build(float x, float y, float side);
    /// Another picture; the textures of the old one go. An empty one: no sky.
    void SetPicture(SkyPicture picture);
    [[nodiscard]] bool HasPicture() const noexcept { return !picture_.Empty(); }

    [[nodiscard]] SkyParameters& Parameters() noexcept { return parameters_; }
    [[nodiscard]] const SkyParameters& Parameters() const noexcept { return parameters_; }

    /// Draws the dome in a view, with the scene's coordinates in force. Does nothing before Build,
    /// without a picture, and where the graphics system has no room for its texture. A viewer who
    /// has left the dome sees a ball of wire.
    /// @param graphics  the view's system, on loan until DetachView
    /// @param viewer    scene
    /// @param ground    below the viewer; the parts of the sphere that it hides are left out. Null:
    ///                  nothing is
    /// @param seen      the view's volume, at least as wide as the picture; what lies outside is
    ///                  left out. Null: nothing is
    void Draw(GraphicsSystem& graphics, int view, const Vec3f& viewer,
              const SolidGround* ground = nullptr, const ViewPyramid* seen = nullptr);
    /// Call it before a view gets another graphics system, or its own is shut down.
    void DetachView(int view);
    /// Before the landscape goes: textures, picture and mesh.
    void Clear();

    /// The whole mesh as it stood when it was drawn last.
    [[nodiscard]] const RenderMesh& Mesh() const noexcept { return mesh_; }

private:
    /// A view's texture. @param tried  made, or refused: not asked for again in each frame
    struct ViewTexture {
        TextureHandle* texture = nullptr;  // on loan from its owner
        bool tried = false;
    };
    /// What the vertices were placed by.
    struct Placing {
        SkyParameters parameters;
        float x = 0, y = 0;  // of the centre
        friend bool operator==(const Placing&, const Placing&) = default;
    };

    void AddQuad(int band, int sector);
    void Place(const Placing& placing);
    void LeaveOutUnseen(const Vec3f& viewer, const SolidGround* ground, const ViewPyramid* seen);
    TextureHandle* TextureFor(GraphicsSystem& graphics, int view);

    SkyParameters parameters_;
    float x_ = 0, y_ = 0;    // centre of the landscape
    float half_ = 0;         // of its longer side; 0: not built
    GrowArray<Vec3f> unit_;  // vertices of the mesh on a sphere of radius 1
    RenderMesh mesh_;
    RenderMesh seen_;  // the quads of it that can be seen
    RenderMeshBatch batch_{&mesh_};
    Placing placed_;
    SkyPicture picture_;
    std::array<ViewTexture, View::kCount> textures_{};
};

}  // namespace tarnvale

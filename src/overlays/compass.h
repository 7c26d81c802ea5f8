#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "base/color.h"
#include "base/vec3f.h"
#include "graphics/graphicssystem.h"

namespace tarnvale {

/// Where a compass stands and which way it points. Scene coordinates, unit axes.
struct CompassPose {
    Vec3f eye, right, forward, up;  ///< the flight's axes, whatever direction the picture looks in
    float northDegrees = 0;         ///< from the scene's +y to true north, counter-clockwise
};

/// The rose in the lower right corner of the main view: a body in front of the eye that lies level
/// in the scene and points to true north, lit from above its north. Built once. Thread: the frame
/// cycle's.
class Compass {
public:
    static constexpr float kNearPlane = 1, kFarPlane = 10;

    Compass();

    /// Draws over what the view shows so far, in a pass with planes of its own. Leaves light 0 off,
    /// the model matrix at identity and the scratch mesh empty. Allocates nothing once the scratch
    /// mesh has its size; may throw std::bad_alloc until then.
    /// @param camera  of the view; only its planes are replaced
    /// @param aspect  width / height of the view
    void Draw(GraphicsSystem& graphics, const RenderCamera& camera, float aspect,
              const CompassPose& pose) const;

private:
    /// Vertices of a body with as many normals. Model: +y north, +x east, +z up.
    template <std::size_t N>
    struct Part {
        std::array<Vec3f, N> vertices, normals;
    };
    static constexpr std::size_t kHead = 18;    // vertices of a head of six triangles
    static constexpr std::size_t kHubRow = 42;  // of a row of the hub's strip
    static constexpr int kUpperRows = 6, kRows = 10;

    void BuildCardinals();
    void BuildIntermediates();
    void BuildHub();

    Part<kHead> north_;
    Part<kHead * 3> cardinal_;  // south, east, west
    Part<kHead * 4> intermediate_;
    Part<kHubRow * kUpperRows> upperHub_;
    Part<kHubRow*(kRows - kUpperRows)> lowerHub_;
};

}  // namespace tarnvale

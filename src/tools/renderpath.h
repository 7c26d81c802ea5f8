#pragma once

#include <string>
#include <vector>

#include "base/types.h"
#include "base/vec3f.h"

namespace tarnvale {

class Simulator;

/// Where the viewer is in a frame and what it looks at: map coordinates, heights in metres.
struct CameraPose {
    Vec3d eye, lookAt;
};

/// Reads a camera path. @param problem  one clause with file and line; set where the answer is
/// false
[[nodiscard]] bool ReadCameraPath(const FILEPATH& path, std::vector<CameraPose>& poses,
                                  std::string& problem);
[[nodiscard]] bool ParseCameraPath(std::string_view text, std::vector<CameraPose>& poses,
                                   std::string& problem);
[[nodiscard]] bool WriteCameraPath(const FILEPATH& path, const std::vector<CameraPose>& poses);

/// A figure of eight over the open landscape, about 30 m a frame, above the highest ground ahead,
/// looking along the path and a little down. The same for the same landscape and number of frames.
[[nodiscard]] std::vector<CameraPose> MakeCameraPath(const Simulator& simulator, int frames);

}  // namespace tarnvale

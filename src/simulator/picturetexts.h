#pragma once

#include <string>

#include "base/types.h"
#include "geom/transgen.h"
#include "graphics/picturefile.h"
#include "simulator/simulatr.h"

namespace tarnvale {

/// A point of the map as pictures tell it: x, y and elevation with blanks between.
[[nodiscard]] std::string PointText(const Vec3d& map);
/// "EPSG:n" where the system has a number, else its WKT.
[[nodiscard]] std::string SystemText(const COORDREFSYS& system);

/// What the text chunks of a picture say: program, landscape, from where and towards what it was
/// seen, and the system of these coordinates.
/// @param landscape  only its name is told
[[nodiscard]] PictureTexts TextsOfPicture(const std::string& program, const FILEPATH& landscape,
                                          const Vec3d& position, const Vec3d& lookAt,
                                          const std::string& system);
/// The same of a view as it was last drawn; without a landscape, the program alone.
[[nodiscard]] PictureTexts TextsOfView(const Simulator& simulator, int view,
                                       const std::string& program, const FILEPATH& landscape);

}  // namespace tarnvale

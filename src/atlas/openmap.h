#pragma once

#include <memory>

#include "atlas/mapsource.h"
#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

/// Opens an object of a project file as the kind of map that it is.
/// @param object  its path
/// @param map  out: a MapPicture or a VectorLayer; set only on success
/// @return the file's error; ObjectNotFound; BadState for an object that is no map
Status OpenMap(const FILEPATH& file, const QNSTRING& object, std::shared_ptr<MapSource>& map);

}  // namespace tarnvale

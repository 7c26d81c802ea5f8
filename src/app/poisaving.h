#pragma once

#include "base/types.h"

class QWidget;

namespace tarnvale {

class Simulator;

/// Asks for a file and writes all points of interest there, whole or not at all. Tells the user
/// where that fails. Thread: the user interface's.
/// @param landscape  the open one: its folder and name are proposed for the first file
/// @return false if the user cancelled or nothing was written
bool SavePois(Simulator& simulator, const FILEPATH& landscape, QWidget* parent);

/// Asks what shall become of points that were changed since they were saved, if there are any.
/// @return false if the user cancelled, or wanted to save and couldn't: nothing may get lost then
[[nodiscard]] bool MayLosePois(Simulator& simulator, const FILEPATH& landscape, QWidget* parent);

}  // namespace tarnvale

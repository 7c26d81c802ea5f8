#pragma once

#include "base/types.h"

class QWidget;

namespace tarnvale {

/// Asks for an atlas file. Keeps the last one, and begins in its folder.
/// @param folder  to begin in where none is kept; may be empty
/// @return empty if the user cancels
[[nodiscard]] FILEPATH AskForAtlasFile(QWidget* parent, const FILEPATH& folder);

}  // namespace tarnvale

#pragma once

#include "base/types.h"

namespace tarnvale {

/// @return the user's home folder; empty if there is none
[[nodiscard]] FILEPATH HomeFolder();

/// @return the folder that the running program's file lies in; empty if it can't be told
[[nodiscard]] FILEPATH ProgramFolder();

}  // namespace tarnvale

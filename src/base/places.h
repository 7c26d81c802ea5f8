#pragma once

#include <string>

#include "base/types.h"

namespace tarnvale {

/// @return the user's home folder; empty if there is none
[[nodiscard]] FILEPATH HomeFolder();

/// @return the folder that the running program's file lies in; empty if it can't be told
[[nodiscard]] FILEPATH ProgramFolder();

/// Finds a program that belongs to this one: beside the running program's own file first, then in
/// the folders of PATH.
/// @param name  a file name, without a folder
/// @return its path; empty if there is none that may be run, or `name` isn't a plain file name
[[nodiscard]] FILEPATH FindProgram(const std::string& name);

}  // namespace tarnvale

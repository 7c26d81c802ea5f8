#pragma once

#include <string>

#include "base/types.h"

namespace tarnvale::ZPF {

/// Makes an empty file in the folder of `target`, its name starting with the target's name.
/// @param temporary  out: its path; untouched on failure
/// @return "" or why it can't be made, as the system says it
[[nodiscard]] std::string MakeFileBeside(const FILEPATH& target, FILEPATH& temporary);

/// Brings a closed file to the disc and gives it the name `target`, replacing an old file whole.
/// @return "" or why it can't be, as the system says it; the file then still has its old name
[[nodiscard]] std::string FlushAndRename(const FILEPATH& temporary, const FILEPATH& target);

}  // namespace tarnvale::ZPF

#pragma once

#include <span>
#include <string>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

/// Starts a program as a process of its own that outlives this one, and doesn't wait for it. The
/// arguments reach it as they are: no shell reads them. It reads no input, has a session of its
/// own, and leaves no zombie.
/// @param program    path of an executable file
/// @param arguments  without the program's own name
/// @return BadState, with the reason, if it can't be started. Thread: any
Status StartDetached(const FILEPATH& program, std::span<const std::string> arguments);

}  // namespace tarnvale

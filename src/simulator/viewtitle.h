#pragma once

#include <string>

#include "base/status.h"

namespace tarnvale {

/// The key word of a side view, 0 to 15, whatever the language; empty for others. All views of
/// points of interest have the same.
[[nodiscard]] const char* ViewWord(int view);

/// The name of a side view for the user: the text of its word and, for the view of a point of
/// interest, a blank and a digit from 1 to 8.
/// @return BadState, `text` untouched, for no side view
Status GetViewTitle(int view, std::string& text);

}  // namespace tarnvale

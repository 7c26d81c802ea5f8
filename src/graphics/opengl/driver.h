#pragma once

#include <GL/gl.h>

#include <string_view>

namespace tarnvale {

class TextureBudget;

// What the current context's driver says of itself, in either kind of context.

/// Empty if the driver says nothing.
[[nodiscard]] std::string_view DriverText(GLenum which);
[[nodiscard]] bool HasDriverExtension(std::string_view name);
/// @return true if no card draws
[[nodiscard]] bool DrawsOnProcessor();
/// Sets the budget by what the driver tells of its memory, unless textures use some of it already.
void EstimateTextureBudget(TextureBudget& budget);
/// Forgets the errors so far, which would else be taken for those of the next call. @return whether
/// there were any
bool DrainDriverErrors();

}  // namespace tarnvale

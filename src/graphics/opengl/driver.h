#pragma once

#include <string>
#include <string_view>

#include <GL/gl.h>

namespace tarnvale {

/// What the current context's driver says of itself; empty if it says nothing.
[[nodiscard]] inline std::string_view DriverText(GLenum which) {
    const GLubyte* text = glGetString(which);
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

[[nodiscard]] inline bool HasDriverExtension(std::string_view name) {
    const std::string all = " " + std::string(DriverText(GL_EXTENSIONS)) + " ";
    return all.find(" " + std::string(name) + " ") != std::string::npos;
}

}  // namespace tarnvale

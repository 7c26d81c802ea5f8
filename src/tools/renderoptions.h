#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/types.h"

namespace tarnvale {

/// What the command line of tarnvale-render asks for.
struct RenderOptions {
    FILEPATH landscape;
    FILEPATH camera;       ///< a path to fly; empty where `fly` makes one
    int fly = 0;           ///< frames of a flight of the program's own; 0 for none
    FILEPATH writeCamera;  ///< where the path is kept; empty for nowhere
    int width = 1280, height = 720;
    FILEPATH out;  ///< folder of the pictures; empty for none
    int every = 1;
    FILEPATH stats, trace;
    bool traceVertices = false;
    std::vector<std::pair<std::string, std::string>> settings;  ///< key, value
    std::string sky;  ///< name or number of the sky to show; empty for the first
    std::string graphics = "opengl";
    bool complete = false;

    /// Whether frames must be drawn, or only the path is wanted.
    [[nodiscard]] bool Draws() const {
        return !out.empty() || !stats.empty() || !trace.empty() || writeCamera.empty();
    }
};

/// Reads the command line. May throw what the command-line library throws.
/// @param options  out
/// @return -1 to go on; otherwise the exit code of a program that has said all (help, version,
/// errors)
[[nodiscard]] int ReadRenderOptions(int count, char** arguments, RenderOptions& options);

}  // namespace tarnvale

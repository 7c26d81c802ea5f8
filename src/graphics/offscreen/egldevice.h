#pragma once

#include <EGL/egl.h>

namespace tarnvale {

/// A connection to a drawing device that needs no display, and how to draw on it.
struct EglDevice {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
};

/// Opens the connection on the first call: to a card, unless the environment asks for drawing on
/// the processor, else to the processor. It lasts as long as the process: EGL has one for each
/// device, and ending it would unload the driver under whoever else uses it.
/// @return null if nothing here draws desktop OpenGL
[[nodiscard]] const EglDevice* OffscreenDevice();

}  // namespace tarnvale

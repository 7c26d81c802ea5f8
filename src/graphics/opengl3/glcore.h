#pragma once

// OpenGL 3.3 and the few later functions that are called only where the driver has them. The
// system's OpenGL library exports them all and hands each to the driver of the current context, so
// nothing has to be loaded by name; the target's definition asks the headers for them.
#include <GL/gl.h>
#include <GL/glext.h>  // IWYU pragma: export

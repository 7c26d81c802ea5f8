#include "graphics/opengl/framefence.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "graphics/opengl/driver.h"

namespace tarnvale {

namespace {
constexpr GLuint64 kPatience =
    1'000'000'000;  // nanoseconds; a hung driver must not hang the program
}

void FrameFence::Open() {
    previous_ = nullptr;
    const std::string version(DriverText(GL_VERSION));
    supported_ = std::strtod(version.c_str(), nullptr) >= 3.2 || HasDriverExtension("GL_ARB_sync");
}

bool FrameFence::NextFrame() {
    if (!supported_) {
        glFinish();
        return true;
    }
    const GLsync sent = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    glFlush();
    if (const auto before = static_cast<GLsync>(std::exchange(previous_, sent))) {
        const GLenum answer = glClientWaitSync(before, 0, kPatience);
        glDeleteSync(before);
        return answer == GL_ALREADY_SIGNALED || answer == GL_CONDITION_SATISFIED;
    }
    return true;
}

void FrameFence::Finish() {
    glFinish();
    Close();
}

void FrameFence::Close() {
    if (const auto before = static_cast<GLsync>(std::exchange(previous_, nullptr))) {
        glDeleteSync(before);
    }
}

}  // namespace tarnvale

#include "graphics/opengl/driver.h"

#include <GL/glext.h>

#include <algorithm>
#include <array>
#include <string>

#include "graphics/platform.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

namespace {
// Memory reports of the two makers of cards that have one, in kilobytes.
constexpr GLenum kFreeVideoMemoryNvx = 0x9049, kTextureFreeMemoryAti = 0x87FC;

std::string_view View(const GLubyte* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}
}  // namespace

std::string_view DriverText(GLenum which) {
    return View(glGetString(which));
}

bool HasDriverExtension(std::string_view name) {
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; ++i) {
        if (View(glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i))) == name) return true;
    }
    if (count > 0) return false;
    DrainDriverErrors();  // drivers before OpenGL 3.0 have one text of all names instead
    const std::string all = " " + std::string(DriverText(GL_EXTENSIONS)) + " ";
    return all.find(" " + std::string(name) + " ") != std::string::npos;
}

bool DrawsOnProcessor() {
    const std::string_view renderer = DriverText(GL_RENDERER);
    constexpr std::array<std::string_view, 4> kKnown{"llvmpipe", "softpipe", "swrast", "SWR"};
    return std::ranges::any_of(kKnown, [&](std::string_view known) {
        return renderer.find(known) != std::string_view::npos;
    });
}

void EstimateTextureBudget(TextureBudget& budget) {
    if (budget.Used() > 0) return;  // what is free now is less by our own textures
    if (DrawsOnProcessor()) {
        budget.SetAutomatic(TextureBudget::SoftwareShare(PhysicalMemory()));
        return;
    }
    std::array<GLint, 4> kilobytes{};
    if (HasDriverExtension("GL_NVX_gpu_memory_info")) {
        glGetIntegerv(kFreeVideoMemoryNvx, kilobytes.data());
    } else if (HasDriverExtension("GL_ATI_meminfo")) {
        glGetIntegerv(kTextureFreeMemoryAti, kilobytes.data());
    }
    budget.SetAutomatic(kilobytes[0] > 0 ? TextureBudget::ReportedCardShare(
                                               static_cast<std::uint64_t>(kilobytes[0]) << 10)
                                         : TextureBudget::UnknownCardShare(PhysicalMemory()));
}

bool DrainDriverErrors() {
    // A lost context can answer errors for ever, so the drain has an end.
    bool any = false;
    for (int i = 0; i < 64 && glGetError() != GL_NO_ERROR; ++i) any = true;
    return any;
}

}  // namespace tarnvale

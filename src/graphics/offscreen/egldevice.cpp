#include "graphics/offscreen/egldevice.h"

#include <EGL/eglext.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

namespace tarnvale {

namespace {

template <typename Function>
Function Load(const char* name) {
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

bool Lists(const char* extensions, std::string_view name) {
    if (extensions == nullptr) return false;
    const std::string all = " " + std::string(extensions) + " ";
    return all.find(" " + std::string(name) + " ") != std::string::npos;
}

bool ProcessorWanted() {
    const char* wanted = std::getenv("LIBGL_ALWAYS_SOFTWARE");  // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr &&
           (std::string_view(wanted) == "1" || std::string_view(wanted) == "true");
}

/// The devices of this machine: cards, and the processor's own where the library counts it in.
struct Devices {
    std::array<EGLDeviceEXT, 32> all{};
    EGLint count = 0;
    PFNEGLQUERYDEVICESTRINGEXTPROC queryString = nullptr;

    Devices() {
        if (!Lists(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), "EGL_EXT_platform_device"))
            return;
        const auto query = Load<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
        queryString = Load<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
        if (query == nullptr || queryString == nullptr ||
            query(static_cast<EGLint>(all.size()), all.data(), &count) == EGL_FALSE) {
            count = 0;
        }
    }
    [[nodiscard]] bool DrawsOnProcessor(EGLint index) const {
        return Lists(queryString(all[static_cast<std::size_t>(index)], EGL_EXTENSIONS),
                     "EGL_MESA_device_software");
    }
};

bool ContextWorks(EGLDisplay display, EGLConfig config) {
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT) return false;
    eglDestroyContext(display, context);
    return true;
}

/// @return a device without display if this one can't draw what is needed
EglDevice TryOpen(EGLDisplay display) {
    if (display == EGL_NO_DISPLAY || eglInitialize(display, nullptr, nullptr) == EGL_FALSE)
        return {};
    constexpr std::array<EGLint, 15> kWanted{EGL_SURFACE_TYPE,
                                             EGL_PBUFFER_BIT,
                                             EGL_RENDERABLE_TYPE,
                                             EGL_OPENGL_BIT,
                                             EGL_RED_SIZE,
                                             8,
                                             EGL_GREEN_SIZE,
                                             8,
                                             EGL_BLUE_SIZE,
                                             8,
                                             EGL_ALPHA_SIZE,
                                             8,
                                             EGL_DEPTH_SIZE,
                                             24,
                                             EGL_NONE};
    EGLConfig config = nullptr;
    EGLint found = 0;
    if (eglBindAPI(EGL_OPENGL_API) == EGL_FALSE ||
        eglChooseConfig(display, kWanted.data(), &config, 1, &found) == EGL_FALSE || found < 1 ||
        !ContextWorks(display, config)) {
        eglTerminate(display);
        return {};
    }
    return {display, config};
}

EglDevice Open() {
    // Where a driver lacks a part, Mesa prints a line for each place that it looked at; what counts
    // is whether a device remains, and that is told in one.
    (void)setenv("EGL_LOG_LEVEL", "fatal", 0);  // NOLINT(concurrency-mt-unsafe)
    const auto getDisplay = Load<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
    if (getDisplay == nullptr) return {};
    const Devices devices;
    EglDevice opened;
    const auto tryDevices = [&](bool processor) {
        for (EGLint i = 0; i < devices.count && opened.display == EGL_NO_DISPLAY; ++i) {
            if (devices.DrawsOnProcessor(i) != processor) continue;
            opened = TryOpen(getDisplay(EGL_PLATFORM_DEVICE_EXT,
                                        devices.all[static_cast<std::size_t>(i)], nullptr));
        }
    };
    if (!ProcessorWanted()) tryDevices(false);
    if (opened.display == EGL_NO_DISPLAY &&
        Lists(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), "EGL_MESA_platform_surfaceless")) {
        opened = TryOpen(getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr));
    }
    if (opened.display == EGL_NO_DISPLAY) tryDevices(true);
    return opened;
}

}  // namespace

const EglDevice* OffscreenDevice() {
    static const EglDevice device = Open();
    return device.display != EGL_NO_DISPLAY ? &device : nullptr;
}

}  // namespace tarnvale

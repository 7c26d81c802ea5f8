#include "graphics/offscreen/offscreenwindow.h"

#include <EGL/egl.h>
#include <GL/gl.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "graphics/offscreen/egldevice.h"

namespace tarnvale {

namespace {
EGLSurface MakeSurface(const EglDevice& device, int width, int height) {
    const std::array<EGLint, 5> size{EGL_WIDTH, width, EGL_HEIGHT, height, EGL_NONE};
    return eglCreatePbufferSurface(device.display, device.config, size.data());
}

EGLContext MakeContext(const EglDevice& device, ContextKind kind) {
    if (kind == ContextKind::Compatibility)
        return eglCreateContext(device.display, device.config, EGL_NO_CONTEXT, nullptr);
    // Ends at an attribute that not every driver knows: notice of resets.
    constexpr std::array<EGLint, 9> kCore{EGL_CONTEXT_MAJOR_VERSION,
                                          3,
                                          EGL_CONTEXT_MINOR_VERSION,
                                          3,
                                          EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                          EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                          EGL_CONTEXT_OPENGL_RESET_NOTIFICATION_STRATEGY,
                                          EGL_LOSE_CONTEXT_ON_RESET,
                                          EGL_NONE};
    EGLContext made = eglCreateContext(device.display, device.config, EGL_NO_CONTEXT, kCore.data());
    if (made != EGL_NO_CONTEXT) return made;
    auto plain = kCore;
    plain[6] = EGL_NONE;
    return eglCreateContext(device.display, device.config, EGL_NO_CONTEXT, plain.data());
}
}  // namespace

struct OffscreenWindow::Native {
    const EglDevice* device;
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;

    explicit Native(const EglDevice* on) : device(on) {}
    ~Native() {
        if (surface != EGL_NO_SURFACE) eglDestroySurface(device->display, surface);
        if (context != EGL_NO_CONTEXT) eglDestroyContext(device->display, context);
    }
    Native(const Native&) = delete;
    Native& operator=(const Native&) = delete;
};

OffscreenWindow::OffscreenWindow(int width, int height, double pixelPitch)
    : width_(width), height_(height), pixelPitch_(pixelPitch) {}

OffscreenWindow::~OffscreenWindow() {
    OffscreenWindow::DestroyContext();
}

bool OffscreenWindow::CreateContext(const char*& why) {
    if (native_ != nullptr) return true;
    const EglDevice* device = OffscreenDevice();
    if (device == nullptr) {
        why = "no driver draws OpenGL without a display; install Mesa's EGL (libegl-mesa0)";
        return false;
    }
    auto native = std::make_unique<Native>(device);
    eglBindAPI(EGL_OPENGL_API);
    native->context = MakeContext(*device, WantedContext());
    if (native->context == EGL_NO_CONTEXT && WantedContext() == ContextKind::Core33) {
        why = "the driver has no OpenGL 3.3";
        return false;
    }
    native->surface = MakeSurface(*native->device, width_, height_);
    if (native->context == EGL_NO_CONTEXT || native->surface == EGL_NO_SURFACE) {
        why = "the driver has no picture of that size; ask for a smaller one";
        return false;
    }
    native_ = std::move(native);
    return true;
}

void OffscreenWindow::DestroyContext() {
    if (native_ == nullptr) return;
    ReleaseCurrent();
    native_.reset();
}

bool OffscreenWindow::MakeCurrent() {
    if (native_ == nullptr) return false;
    eglBindAPI(EGL_OPENGL_API);
    return eglMakeCurrent(native_->device->display, native_->surface, native_->surface,
                          native_->context) == EGL_TRUE;
}

void OffscreenWindow::DoneCurrent() {
    if (native_ == nullptr) return;
    eglMakeCurrent(native_->device->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

bool OffscreenWindow::SwapBuffers() {
    return native_ != nullptr &&
           eglSwapBuffers(native_->device->display, native_->surface) == EGL_TRUE;
}

Status OffscreenWindow::Resize(int width, int height) {
    if (width < 1 || height < 1) {
        return _SetErrPosn(StatusCode::DeviceFailed, "a picture needs at least one pixel each way");
    }
    if (native_ != nullptr) {
        const EGLSurface surface = MakeSurface(*native_->device, width, height);
        if (surface == EGL_NO_SURFACE) {
            return _SetErrPosn(StatusCode::DeviceFailed,
                               "the driver has no picture of that size; ask for a smaller one");
        }
        ReleaseCurrent();
        eglDestroySurface(native_->device->display, std::exchange(native_->surface, surface));
    }
    width_ = width;
    height_ = height;
    return StatusCode::Ok;
}

Status OffscreenWindow::ReadPicture(std::vector<std::byte>& rgba) try {
    if (native_ == nullptr || !EnsureCurrent()) {
        return _SetErrPosn(StatusCode::BadState, "nothing draws on the offscreen window");
    }
    const std::size_t row = static_cast<std::size_t>(width_) * 4;
    rgba.resize(row * static_cast<std::size_t>(height_));
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    // The driver gives the bottom row first, and as alpha whatever drawing left there.
    for (std::size_t low = 0, high = rgba.size() - row; low < high; low += row, high -= row) {
        std::swap_ranges(rgba.data() + low, rgba.data() + low + row, rgba.data() + high);
    }
    for (std::size_t i = 3; i < rgba.size(); i += 4) rgba[i] = std::byte{255};
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory, "the picture doesn't fit in memory");
}

std::string OffscreenWindow::RendererName() {
    if (native_ == nullptr || !EnsureCurrent()) return {};
    const GLubyte* name = glGetString(GL_RENDERER);
    return name != nullptr ? reinterpret_cast<const char*>(name) : "";
}

}  // namespace tarnvale

#include "graphics/opengl3/picturetarget.h"

#include <algorithm>
#include <utility>

#include "graphics/opengl/driver.h"

namespace tarnvale {

void PictureTarget::Open() {
    drawn_ = {};
    resolved_ = {};
    width_ = height_ = 0;
    samples_ = 1;
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    const bool clipControl =
        std::pair(major, minor) >= std::pair(4, 5) || HasDriverExtension("GL_ARB_clip_control");
    depth_ = clipControl ? DepthRange::Reversed : DepthRange::Usual;
    if (clipControl) glClipControl(GL_LOWER_LEFT, GL_ZERO_TO_ONE);
    glClearDepth(clipControl ? 0.0 : 1.0);
    glDepthFunc(clipControl ? GL_GEQUAL : GL_LEQUAL);
    GLint most = 1;
    glGetIntegerv(GL_MAX_SAMPLES, &most);
    mostSamples_ = most;
}

void PictureTarget::Abandon() noexcept {
    for (Surface* surface : {&drawn_, &resolved_}) {
        surface->frame.Abandon();
        surface->colour.Abandon();
        surface->depth.Abandon();
    }
}

int PictureTarget::SamplesFor(bool antialias) const {
    constexpr int kWanted = 4;
    return antialias ? std::clamp(mostSamples_, 1, kWanted) : 1;
}

bool PictureTarget::Make(Surface& surface, int samples, bool withDepth) const {
    const auto store = [&](GLenum format) {
        if (samples > 1) {
            glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, width_, height_);
        } else {
            glRenderbufferStorage(GL_RENDERBUFFER, format, width_, height_);
        }
    };
    surface = {};
    DrainDriverErrors();
    surface.frame = GlFramebuffer::Make();
    glBindFramebuffer(GL_FRAMEBUFFER, surface.frame.Name());
    surface.colour = GlRenderbuffer::Make();
    glBindRenderbuffer(GL_RENDERBUFFER, surface.colour.Name());
    store(GL_RGBA8);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER,
                              surface.colour.Name());
    if (withDepth) {
        surface.depth = GlRenderbuffer::Make();
        glBindRenderbuffer(GL_RENDERBUFFER, surface.depth.Name());
        store(GL_DEPTH_COMPONENT32F);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER,
                                  surface.depth.Name());
    }
    return glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE &&
           !DrainDriverErrors();
}

bool PictureTarget::Begin(int width, int height, bool antialias) {
    if (width != width_ || height != height_ || antialias != antialias_) {
        width_ = width;
        height_ = height;
        antialias_ = antialias;
        resolved_ = {};
        samples_ = SamplesFor(antialias);
        // A driver may have fewer samples for a float's depth than it says for the rest.
        while (samples_ > 1 && !(Make(resolved_, 1, false) && Make(drawn_, samples_, true)))
            --samples_;
        if (samples_ == 1) resolved_ = {};
        if (samples_ == 1 && !Make(drawn_, 1, true)) {
            drawn_ = {};
            width_ = height_ = 0;
            return false;
        }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, drawn_.frame.Name());
    return true;
}

void PictureTarget::Resolve() {
    if (samples_ == 1) return;
    glBindFramebuffer(GL_READ_FRAMEBUFFER, drawn_.frame.Name());
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, resolved_.frame.Name());
    glBlitFramebuffer(0, 0, width_, height_, 0, 0, width_, height_, GL_COLOR_BUFFER_BIT,
                      GL_NEAREST);
}

void PictureTarget::Read(std::span<std::byte> rgba) const {
    glBindFramebuffer(GL_READ_FRAMEBUFFER,
                      samples_ > 1 ? resolved_.frame.Name() : drawn_.frame.Name());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
}

void PictureTarget::Show() const {
    glBindFramebuffer(GL_READ_FRAMEBUFFER,
                      samples_ > 1 ? resolved_.frame.Name() : drawn_.frame.Name());
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    glBlitFramebuffer(0, 0, width_, height_, 0, 0, width_, height_, GL_COLOR_BUFFER_BIT,
                      GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

}  // namespace tarnvale

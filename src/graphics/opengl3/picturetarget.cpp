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
    // Window systems keep their rows from the top down. With the same order here the copy into the
    // window is a plain one, many times faster where the processor makes it.
    if (clipControl) glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
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
        surface->samples.Abandon();
        surface->depth.Abandon();
    }
}

int PictureTarget::SamplesFor(bool antialias) const {
    constexpr int kWanted = 4;
    return antialias ? std::clamp(mostSamples_, 1, kWanted) : 1;
}

bool PictureTarget::Make(Surface& surface, int samples, bool withDepth) const {
    const auto attach = [&](GlRenderbuffer& buffer, GLenum format, GLenum place) {
        buffer = GlRenderbuffer::Make();
        glBindRenderbuffer(GL_RENDERBUFFER, buffer.Name());
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples > 1 ? samples : 0, format, width_,
                                         height_);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, place, GL_RENDERBUFFER, buffer.Name());
    };
    surface = {};
    DrainDriverErrors();
    surface.frame = GlFramebuffer::Make();
    glBindFramebuffer(GL_FRAMEBUFFER, surface.frame.Name());
    if (samples > 1) {
        attach(surface.samples, GL_RGBA8, GL_COLOR_ATTACHMENT0);
    } else {
        // A texture of no stated size, because drivers then take the order of channels that the
        // pixels would come in: that of windows.
        surface.colour = GlTexture::Make();
        glBindTexture(GL_TEXTURE_2D, surface.colour.Name());
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width_, height_, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                               surface.colour.Name(), 0);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    if (withDepth) attach(surface.depth, GL_DEPTH_COMPONENT32F, GL_DEPTH_ATTACHMENT);
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

void PictureTarget::Copy(unsigned target, bool upsideDown) const {
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, target);
    glBlitFramebuffer(0, 0, width_, height_, 0, upsideDown ? height_ : 0, width_,
                      upsideDown ? 0 : height_, GL_COLOR_BUFFER_BIT, GL_NEAREST);
}

void PictureTarget::Resolve() {
    if (samples_ == 1) return;
    glBindFramebuffer(GL_READ_FRAMEBUFFER, drawn_.frame.Name());
    Copy(resolved_.frame.Name(), false);
}

RowOrder PictureTarget::Read(std::span<std::byte> rgba) const {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, Finished());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    return depth_ == DepthRange::Reversed ? RowOrder::TopFirst : RowOrder::BottomFirst;
}

void PictureTarget::Show() const {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, Finished());
    Copy(0, depth_ == DepthRange::Reversed);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

}  // namespace tarnvale

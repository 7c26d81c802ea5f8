#pragma once

#include <utility>

#include "graphics/opengl3/glcore.h"

namespace tarnvale {

/// Owns one name of the driver's. Made and ended with its context current; Abandon it where that
/// context is gone, since the name may be another's by then.
template <typename Kind>
class GlObject {
public:
    GlObject() = default;
    ~GlObject() { Reset(); }
    GlObject(GlObject&& other) noexcept : name_(std::exchange(other.name_, 0)) {}
    GlObject& operator=(GlObject&& other) noexcept {
        if (this != &other) {
            Reset();
            name_ = std::exchange(other.name_, 0);
        }
        return *this;
    }
    GlObject(const GlObject&) = delete;
    GlObject& operator=(const GlObject&) = delete;

    [[nodiscard]] static GlObject Make() {
        GlObject made;
        Kind::Make(&made.name_);
        return made;
    }
    /// Takes over a name. 0 is none.
    [[nodiscard]] static GlObject Own(GLuint name) {
        GlObject made;
        made.name_ = name;
        return made;
    }
    [[nodiscard]] GLuint Name() const noexcept { return name_; }
    void Abandon() noexcept { name_ = 0; }
    void Reset() {
        if (name_ != 0) Kind::End(std::exchange(name_, 0));
    }

private:
    GLuint name_ = 0;
};

struct GlBufferKind {
    static void Make(GLuint* name) { glGenBuffers(1, name); }
    static void End(GLuint name) { glDeleteBuffers(1, &name); }
};
struct GlVertexArrayKind {
    static void Make(GLuint* name) { glGenVertexArrays(1, name); }
    static void End(GLuint name) { glDeleteVertexArrays(1, &name); }
};
struct GlFramebufferKind {
    static void Make(GLuint* name) { glGenFramebuffers(1, name); }
    static void End(GLuint name) { glDeleteFramebuffers(1, &name); }
};
struct GlRenderbufferKind {
    static void Make(GLuint* name) { glGenRenderbuffers(1, name); }
    static void End(GLuint name) { glDeleteRenderbuffers(1, &name); }
};
struct GlSamplerKind {
    static void Make(GLuint* name) { glGenSamplers(1, name); }
    static void End(GLuint name) { glDeleteSamplers(1, &name); }
};
struct GlTextureKind {
    static void Make(GLuint* name) { glGenTextures(1, name); }
    static void End(GLuint name) { glDeleteTextures(1, &name); }
};
struct GlProgramKind {
    static void End(GLuint name) { glDeleteProgram(name); }
};
struct GlShaderKind {
    static void End(GLuint name) { glDeleteShader(name); }
};

using GlBuffer = GlObject<GlBufferKind>;
using GlVertexArray = GlObject<GlVertexArrayKind>;
using GlFramebuffer = GlObject<GlFramebufferKind>;
using GlRenderbuffer = GlObject<GlRenderbufferKind>;
using GlSampler = GlObject<GlSamplerKind>;
using GlTexture = GlObject<GlTextureKind>;
using GlProgram = GlObject<GlProgramKind>;
using GlShader = GlObject<GlShaderKind>;

}  // namespace tarnvale

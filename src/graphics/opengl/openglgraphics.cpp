#include "graphics/opengl/openglgraphics.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/settings.h"
#include "graphics/opengl/driver.h"

namespace tarnvale {

namespace {

constexpr int kDescription = 72510;
constexpr int kPreferredTextureSize = 512;
constexpr GLenum kSunLight = GL_LIGHT7;
constexpr int kSunIndex = 7, kLights = 8;
constexpr std::array<double, 16> kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

constexpr std::array<GLenum, 8> kAlphaFunctions{GL_NEVER, GL_ALWAYS, GL_EQUAL,   GL_NOTEQUAL,
                                                GL_LESS,  GL_LEQUAL, GL_GREATER, GL_GEQUAL};

void Switch(GLenum what, bool on) {
    if (on) {
        glEnable(what);
    } else {
        glDisable(what);
    }
}

void SwitchArray(GLenum what, bool on) {
    if (on) {
        glEnableClientState(what);
    } else {
        glDisableClientState(what);
    }
}

}  // namespace

/// Deletes its texture name at its end, so its context must be current then.
class OpenGLTexture final : public TextureHandle {
public:
    OpenGLTexture(GraphicsSystem* owner, GLuint name) : TextureHandle(owner, name), name_(name) {}
    ~OpenGLTexture() override { glDeleteTextures(1, &name_); }
    OpenGLTexture(const OpenGLTexture&) = delete;
    OpenGLTexture& operator=(const OpenGLTexture&) = delete;

    /// Its context is gone, and the name with it.
    void Abandon() noexcept { name_ = 0; }

    GatherPlace place;
    std::uint64_t bytes = 0;
    bool hasAlpha = true;

private:
    GLuint name_;
};

OpenGLGraphicsSystem::OpenGLGraphicsSystem(std::shared_ptr<TextureBudget> budget)
    : GraphicsSystem("opengl", kDescription, "libGLU.so.1:libGL.so.1"),
      budget_(std::move(budget)),
      internalFormat_(GL_RGB5_A1),
      model_(kIdentity) {}

OpenGLGraphicsSystem::~OpenGLGraphicsSystem() {
    (void)OpenGLGraphicsSystem::Shutdown();
}

std::unique_ptr<GraphicsSystem> OpenGLGraphicsSystem::CreateInstance() const {
    return std::make_unique<OpenGLGraphicsSystem>(budget_);
}

bool OpenGLGraphicsSystem::Current() const {
    return window_ != nullptr && window_->EnsureCurrent();
}

Status OpenGLGraphicsSystem::OpenDevice() {
    const char* why = "the graphics driver gives no context";
    window_->SetContextKind(ContextKind::Compatibility);
    if (!window_->CreateContext(why) || !window_->ForceCurrent()) {
        window_->DestroyContext();
        return _SetErrPosn(StatusCode::NotBuilt, why);
    }
    sent_ = {};
    state_ = {};
    counters_ = {};
    model_ = kIdentity;
    const COLOR background = settings::BackgroundColor.Get();
    glClearColor(background.Red(), background.Green(), background.Blue(), 0.0F);
    glClearDepth(1.0);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glViewport(0, 0, GetClientWidth(), GetClientHeight());
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glHint(GL_POINT_SMOOTH_HINT, GL_NICEST);
    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    glFlush();
    (void)window_->SwapBuffers();

    constexpr std::array<float, 4> kWhite{1, 1, 1, 1};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, kWhite.data());
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
    glNormal3f(0, 0, 1);
    glEnableClientState(GL_VERTEX_ARRAY);
    // The camera lies under a working copy on the stack; the first frame takes a copy off.
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    ProbeTextureFormat();
    EstimateTextureBudget(*budget_);
    counted_.emplace(budget_);
    fence_.Open();
    DrainDriverErrors();
    return StatusCode::Ok;
}

void OpenGLGraphicsSystem::ProbeTextureFormat() {
    internalFormat_ = GL_RGB5_A1;
    // A driver answers a width of 0 for a size that it can't do; then a smaller one may do.
    GLint width = 0;
    for (int size = kPreferredTextureSize; size >= 64 && width == 0; size /= 2) {
        glTexImage2D(GL_PROXY_TEXTURE_2D, 0, GL_RGB5_A1, size, size, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     nullptr);
        glGetTexLevelParameteriv(GL_PROXY_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    }
    textureSize_ = width > 0 ? width : kPreferredTextureSize;
    GLint format = 0;
    glGetTexLevelParameteriv(GL_PROXY_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &format);
    if (width > 0 && format > 0) internalFormat_ = format;
    GLint bits = 0;
    for (const GLenum channel : {GL_TEXTURE_RED_SIZE, GL_TEXTURE_GREEN_SIZE, GL_TEXTURE_BLUE_SIZE,
                                 GL_TEXTURE_ALPHA_SIZE}) {
        GLint channelBits = 0;
        glGetTexLevelParameteriv(GL_PROXY_TEXTURE_2D, 0, channel, &channelBits);
        bits += channelBits;
    }
    bytesPerTexel_ = bits > 0 ? static_cast<std::uint64_t>(bits + 7) / 8 : 4;
    pixelFormat_ = TexturePixelFormat::Bgra;
}

Status OpenGLGraphicsSystem::Shutdown() {
    if (window_ == nullptr) return StatusCode::Ok;
    // Where the context can't be made current any more, another one's textures must not be hit.
    const bool current = Current();
    for (Textures* textures : {&live_, &recycled_}) {
        for (const auto& [name, texture] : *textures) {
            budget_->Release(texture->bytes);
            if (!current) texture->Abandon();
        }
        textures->clear();
    }
    if (current) fence_.Close();
    counted_.reset();
    gather_.Free();
    captured_ = {};
    capture_ = Capture::None;
    window_->ReleaseCurrent();
    window_->DestroyContext();
    window_ = nullptr;
    return StatusCode::Ok;
}

// ---- textures

OpenGLGraphicsSystem::Textures::iterator OpenGLGraphicsSystem::TakeOrMake(std::uint64_t bytes) {
    if (!recycled_.empty()) {
        const auto first = recycled_.begin();
        const std::uint64_t had = first->second->bytes;
        if (bytes > had &&
            !budget_->Reserve(bytes - had, static_cast<std::uint32_t>(live_.size()))) {
            return live_.end();
        }
        if (bytes < had) budget_->Release(had - bytes);
        first->second->bytes = bytes;
        return live_.insert(recycled_.extract(first)).position;
    }
    if (!budget_->Reserve(bytes, static_cast<std::uint32_t>(live_.size()))) return live_.end();
    GLuint name = 0;
    try {
        glGenTextures(1, &name);
        auto texture = std::make_unique<OpenGLTexture>(this, name);
        texture->bytes = bytes;
        return live_.emplace(name, std::move(texture)).first;
    } catch (const std::bad_alloc&) {
        glDeleteTextures(1, &name);
        budget_->Release(bytes);
        return live_.end();
    }
}

bool OpenGLGraphicsSystem::Fill(const OpenGLTexture& texture, std::span<const std::byte> pixels,
                                TextureUse use) {
    DrainDriverErrors();
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(texture.Native()));
    sent_.texture = texture.Native();
    if (DrainDriverErrors()) return false;
    // A sky goes around more than once; across, zenith and nadir are ends.
    const bool sky = use == TextureUse::Sky;
    const GLint around = skyMirrored_ ? GL_MIRRORED_REPEAT : GL_REPEAT;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, sky ? GL_CLAMP_TO_EDGE : GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, sky ? around : GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_PRIORITY, 1.0F);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    DrainDriverErrors();
    if (sky) {
        glTexImage2D(GL_TEXTURE_2D, 0, 3, skyWidth_, skyHeight_, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     pixels.data());
    } else {
        glTexImage2D(GL_TEXTURE_2D, 0, internalFormat_, textureSize_, textureSize_, 0, GL_BGRA,
                     GL_UNSIGNED_BYTE, pixels.data());
    }
    return !DrainDriverErrors();
}

TextureHandle* OpenGLGraphicsSystem::CreateTexture(std::span<const std::byte> pixels,
                                                   TextureUse use) {
    const bool sky = use == TextureUse::Sky;
    const auto width = static_cast<std::uint64_t>(std::max(sky ? skyWidth_ : textureSize_, 0));
    const auto height = static_cast<std::uint64_t>(std::max(sky ? skyHeight_ : textureSize_, 0));
    if (width * height == 0 || pixels.size() < width * height * 4) return nullptr;
    if (!Current()) return nullptr;
    const auto made = TakeOrMake(sky ? 0 : width * height * bytesPerTexel_);
    if (made == live_.end()) return nullptr;
    OpenGLTexture& texture = *made->second;
    texture.hasAlpha = !sky;
    if (!Fill(texture, pixels, use)) {
        budget_->Release(texture.bytes);
        sent_.texture = 0;
        live_.erase(made);
        return nullptr;
    }
    texture.SetOpaque(sky || AllOpaque(pixels));
    texture.SetLoaded(true);
    ++counters_.uploads;
    return &texture;
}

OpenGLGraphicsSystem::Textures::iterator OpenGLGraphicsSystem::FindLive(
    const TextureHandle* handle) {
    if (handle == nullptr || handle->Owner() != this || !Current()) return live_.end();
    const auto found = live_.find(handle->Native());
    // What waits must be drawn with the texture as it is now.
    if (found != live_.end() && gather_.Holds(found->second->place)) Flush();
    return found;
}

void OpenGLGraphicsSystem::DestroyTexture(TextureHandle* handle) {
    const auto found = FindLive(handle);
    if (found == live_.end()) return;
    budget_->Release(found->second->bytes);
    captured_.Forget(found->first);
    if (sent_.texture == found->first) sent_.texture = 0;
    live_.erase(found);
}

void OpenGLGraphicsSystem::RecycleTexture(TextureHandle* handle) {
    const auto found = FindLive(handle);
    if (found == live_.end()) return;
    handle->SetLoaded(false);
    captured_.Forget(found->first);
    recycled_.insert(live_.extract(found));
}

// ---- state

void OpenGLGraphicsSystem::SetDepthWrite(bool enable) {
    if (state_.depthWrite == enable || !Current()) return;
    Flush();
    state_.depthWrite = enable;
    ApplyState(state_);
}

void OpenGLGraphicsSystem::SetAlphaTest(bool enable) {
    if (state_.alphaTest == enable || !Current()) return;
    Flush();
    state_.alphaTest = enable;
    ApplyState(state_);
}

void OpenGLGraphicsSystem::SetAlphaFunction(AlphaFunction function, float reference) {
    if (static_cast<std::size_t>(function) >= kAlphaFunctions.size() || !Current()) return;
    if (state_.alphaFunction == function && state_.alphaReference == reference) return;
    Flush();
    state_.alphaFunction = function;
    state_.alphaReference = reference;
    ApplyState(state_);
}

void OpenGLGraphicsSystem::ApplyState(const PassState& state) {
    PassState& sent = sent_.state;
    if (sent == state) return;
    if (sent.depthWrite != state.depthWrite) glDepthMask(state.depthWrite ? GL_TRUE : GL_FALSE);
    if (sent.alphaTest != state.alphaTest) Switch(GL_ALPHA_TEST, state.alphaTest);
    if (sent.alphaFunction != state.alphaFunction || sent.alphaReference != state.alphaReference) {
        glAlphaFunc(kAlphaFunctions[static_cast<std::size_t>(state.alphaFunction)],
                    state.alphaReference);
    }
    sent = state;
}

void OpenGLGraphicsSystem::EnableLight(int index, bool enable) {
    if (index < 0 || index >= kLights || !Current()) return;
    Flush();
    Switch(GL_LIGHT0 + static_cast<GLenum>(index), enable);
    if (index == kSunIndex) sent_.sun = enable;
}

void OpenGLGraphicsSystem::SetLight(int index, const Vec3f& position, const Vec3f& direction,
                                    COLOR colour) {
    if (index < 0 || index >= kLights || !Current()) return;
    Flush();
    const GLenum light = GL_LIGHT0 + static_cast<GLenum>(index);
    const std::array<float, 4> place{position.x, position.y, position.z, 1.0F};
    const std::array<float, 3> towards{direction.x, direction.y, direction.z};
    const std::array<float, 4> diffuse{colour.Red(), colour.Green(), colour.Blue(), 1.0F};
    glLightfv(light, GL_POSITION, place.data());
    glLightfv(light, GL_SPOT_DIRECTION, towards.data());
    glLightfv(light, GL_DIFFUSE, diffuse.data());
}

void OpenGLGraphicsSystem::SetAmbient(COLOR colour) {
    if (!Current()) return;
    Flush();
    const std::array<float, 4> ambient{colour.Red(), colour.Green(), colour.Blue(), 1.0F};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, ambient.data());
}

void OpenGLGraphicsSystem::SetSun(bool on) {
    if (sent_.sun == on || !Current()) return;
    Flush();
    Switch(kSunLight, on);
    sent_.sun = on;
}

void OpenGLGraphicsSystem::SetModelMatrix(std::span<const double, 16> matrix) {
    if (std::ranges::equal(matrix, model_) || !Current()) return;
    Flush();
    std::ranges::copy(matrix, model_.begin());
    ApplyModelMatrix(model_);
}

void OpenGLGraphicsSystem::ApplyModelMatrix(const std::array<double, 16>& matrix) {
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPushMatrix();
    glMultMatrixd(matrix.data());
}

// ---- frames

void OpenGLGraphicsSystem::Clear(unsigned buffers) {
    // A depth buffer that may not be written isn't cleared either.
    if (!sent_.state.depthWrite) glDepthMask(GL_TRUE);
    glClear(buffers);
    if (!sent_.state.depthWrite) glDepthMask(GL_FALSE);
}

void OpenGLGraphicsSystem::SetProjection(const RenderCamera& camera, int width, int height) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    const double aspect = static_cast<double>(std::max(width, 1)) / std::max(height, 1);
    gluPerspective(camera.fieldOfView, aspect, camera.nearPlane, camera.farPlane);
}

void OpenGLGraphicsSystem::SetFog(const RenderCamera& camera) {
    const bool on = camera.overrideFog ? camera.fogOn : settings::Fog.Get();
    Switch(GL_FOG, on);
    if (!on) return;
    const COLOR colour = settings::FogColor.Get();
    const std::array<float, 4> rgba{colour.Red(), colour.Green(), colour.Blue(), 1.0F};
    glFogfv(GL_FOG_COLOR, rgba.data());
    constexpr std::array<GLint, 3> kModes{GL_LINEAR, GL_EXP, GL_EXP2};
    const std::int32_t type = settings::FogType.Get();
    if (type >= 0 && type < 3) glFogi(GL_FOG_MODE, kModes[static_cast<std::size_t>(type)]);
}

void OpenGLGraphicsSystem::BeginScene(const RenderCamera& camera, int width, int height) {
    SetProjection(camera, width, height);
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glLoadIdentity();
    gluLookAt(camera.eye.x, camera.eye.y, camera.eye.z, camera.lookAt.x, camera.lookAt.y,
              camera.lookAt.z, camera.up.x, camera.up.y, camera.up.z);
    glPushMatrix();
    // Under the camera of this frame, so that the sun stands still in the scene while the viewer
    // turns.
    const Vec3f sun = -SunVector();
    const std::array<float, 4> towardsSun{sun.x, sun.y, sun.z, 0.0F};
    constexpr std::array<float, 4> kSunshine{0.75F, 0.75F, 0.75F, 1.0F};
    glLightfv(kSunLight, GL_POSITION, towardsSun.data());
    glLightfv(kSunLight, GL_DIFFUSE, kSunshine.data());
    glViewport(0, 0, width, height);
    const COLOR background = settings::BackgroundColor.Get();
    glClearColor(background.Red(), background.Green(), background.Blue(), 0.0F);
    SetFog(camera);
    depth_.BeginPicture();
    ApplyDepth(false);
    Clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

void OpenGLGraphicsSystem::BeginFrame(const RenderCamera& camera, int width, int height,
                                      FramePass pass) {
    if (pass == FramePass::Overlay) {
        if (!Current()) return;
        Flush();
        if (capture_ == Capture::Running) capture_ = Capture::None;
        SetProjection(camera, width, height);
        if (depth_.BeginOverlay()) Clear(GL_DEPTH_BUFFER_BIT);
        ApplyDepth(false);
        return;
    }
    // Once a frame the context is asked for in any case: a window system's own drawing may have
    // come in.
    gather_.Clear();  // of a frame that was never ended
    if (window_ == nullptr || !window_->ForceCurrent()) return;
    counters_ = {};
    model_ = kIdentity;
    BeginScene(camera, width, height);
    if (capture_ == Capture::Wanted) {
        captured_.Begin(camera, width, height);
        capture_ = Capture::Running;
    }
}

Status OpenGLGraphicsSystem::EndFrame() {
    if (!Current())
        return _SetErrPosn(StatusCode::BadState, "there is no window to show a frame on");
    Flush();
    if (capture_ == Capture::Running) capture_ = Capture::None;
    if (ScreenShotWanted()) TakeScreenShot();
    if (finishFrames_) {
        fence_.Finish();
    } else {
        (void)fence_.NextFrame();
    }
    if (!window_->SwapBuffers()) {
        return _SetErrPosn(StatusCode::DeviceFailed, "the window system doesn't show the frame");
    }
    return StatusCode::Ok;
}

void OpenGLGraphicsSystem::TakeScreenShot() try {
    std::array<GLint, 4> viewport{};
    glGetIntegerv(GL_VIEWPORT, viewport.data());
    const int width = std::max(viewport[2], 0);
    const int height = std::max(viewport[3], 0);
    std::vector<std::byte> pixels(static_cast<std::size_t>(width) *
                                  static_cast<std::size_t>(height) * 4);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    SaveScreenShot({pixels, width, height, RowOrder::BottomFirst});
} catch (const std::bad_alloc&) {
    SaveScreenShot({});  // it doesn't fit in memory
}

// ---- drawing

void OpenGLGraphicsSystem::DrawMeshes(const RenderMeshBatch& batch) try {
    if (window_ == nullptr) return;
    SetSun(lightingWanted_ && settings::UseSun.Get());
    for (const RenderMesh* mesh : batch) {
        if (mesh->vertices.Count() < 3) return;
        Gather(*mesh);
        if (!gathering_) Flush();
    }
} catch (const std::bad_alloc&) {
    Flush();  // what found room is drawn; the rest is missing from this frame alone
}

void OpenGLGraphicsSystem::Gather(const RenderMesh& mesh) {
    const std::uint32_t count = mesh.vertices.Count();
    Material material;
    GatherPlace* place = nullptr;
    auto order = MeshGather::Order::Strict;
    if (mesh.wireframe) {
        material.wireframe = true;
        material.colour = settings::WireframeColor.Get();
        material.colour.word = 0;  // opaque
    } else if (mesh.texture != nullptr && mesh.texture->Owner() == this &&
               mesh.texcoords.Count() >= count) {
        auto& texture = static_cast<OpenGLTexture&>(*mesh.texture);
        material.texture = texture.Native();
        place = &texture.place;
        // Colour and alpha come from the texture; one without alpha takes the mesh's. What leaves
        // no depth behind is drawn over by whatever comes next, so there the order is all that
        // counts.
        if (!texture.hasAlpha) {
            material.colour = mesh.colour;
            material.backdrop = true;
        } else if (state_.depthWrite) {
            order = MeshGather::Order::Free;
        }
    } else {
        material.colour = mesh.colour;
        material.lit = mesh.normals.Count() >= count;
    }
    counters_.triangles += gather_.Append(material, place, mesh, order);
}

void OpenGLGraphicsSystem::Flush() {
    if (gather_.Empty()) return;
    if (!Current()) {
        gather_.Clear();  // while the context is lost, what waits must not pile up
        return;
    }
    for (const MeshGather::Bucket& bucket : gather_.Waiting()) {
        for (const MeshGather::Chunk* chunk = bucket.first; chunk != nullptr; chunk = chunk->next) {
            const float* const extras =
                bucket.material.texture != 0 ? chunk->texcoords.data() : chunk->normals.data();
            SendArrays(bucket.material, chunk->positions.data(), extras,
                       static_cast<int>(chunk->count));
        }
    }
    if (capture_ == Capture::Running) {
        try {
            for (const auto& bucket : gather_.Waiting()) captured_.Add(bucket, sent_.state, model_);
        } catch (const std::bad_alloc&) {
            capture_ = Capture::None;
            captured_ = {};
        }
    }
    gather_.Clear();
}

void OpenGLGraphicsSystem::SendArrays(const Material& material, const float* positions,
                                      const float* extras, int count) {
    if (count == 0) return;
    ApplyMaterial(material);
    glVertexPointer(3, GL_FLOAT, 0, positions);
    if (material.texture != 0) {
        glTexCoordPointer(2, GL_FLOAT, 0, extras);
    } else if (material.lit) {
        glNormalPointer(GL_FLOAT, 0, extras);
    }
    glDrawArrays(GL_TRIANGLES, 0, count);
    ++counters_.drawCalls;
    if (material.lit) glNormal3f(0, 0, 1);  // arrays leave the normal of unlit meshes undefined
}

void OpenGLGraphicsSystem::ApplyMaterial(const Material& material) {
    const bool textured = material.texture != 0;
    if (sent_.texturing != textured) {
        Switch(GL_TEXTURE_2D, textured);
        sent_.texturing = textured;
    }
    // A texture replaces the lit colour, so lighting a textured mesh changes nothing but the time.
    if (sent_.lighting == textured) {
        Switch(GL_LIGHTING, !textured);
        sent_.lighting = !textured;
    }
    if (sent_.wireframe != material.wireframe) {
        glPolygonMode(GL_FRONT_AND_BACK, material.wireframe ? GL_LINE : GL_FILL);
        sent_.wireframe = material.wireframe;
    }
    ApplyDepth(material.backdrop);
    if (sent_.texcoordArray != textured) {
        SwitchArray(GL_TEXTURE_COORD_ARRAY, textured);
        sent_.texcoordArray = textured;
    }
    if (sent_.normalArray != material.lit) {
        SwitchArray(GL_NORMAL_ARRAY, material.lit);
        sent_.normalArray = material.lit;
    }
    if (!textured) {
        ApplyColour(material.colour, material.colour.Alpha());
        return;
    }
    if (sent_.texture != material.texture) {
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(material.texture));
        sent_.texture = material.texture;
    }
    if (sent_.plainAlpha != material.colour.Alpha()) {
        sent_.plainAlpha = material.colour.Alpha();
        glColor4f(1, 1, 1, sent_.plainAlpha);
    }
}

void OpenGLGraphicsSystem::ApplyDepth(bool backdrop) {
    const DepthSlice wanted = depth_.Of(backdrop);
    if (sent_.depth == wanted) return;
    glDepthRange(wanted.nearest, wanted.farthest);
    sent_.depth = wanted;
}

void OpenGLGraphicsSystem::ApplyColour(COLOR colour, float alpha) {
    const std::array<float, 4> rgba{colour.Red(), colour.Green(), colour.Blue(), alpha};
    if (sent_.material == rgba) return;
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE, rgba.data());
    sent_.material = rgba;
}

void OpenGLGraphicsSystem::DrawPlain(unsigned mode, std::span<const Vec3f> vertices, COLOR colour) {
    Material material;
    material.colour = colour;
    ApplyMaterial(material);
    glVertexPointer(3, GL_FLOAT, 0, vertices.data());
    glDrawArrays(mode, 0, static_cast<GLsizei>(vertices.size()));
    ++counters_.drawCalls;
}

void OpenGLGraphicsSystem::DrawLines(std::span<const Vec3f> vertices, COLOR colour, LineMode mode) {
    if (vertices.size() < 2 || !Current()) return;
    if (mode != LineMode::Segments && mode != LineMode::Strip) return;
    Flush();
    DrawPlain(mode == LineMode::Segments ? GL_LINES : GL_LINE_STRIP, vertices, colour);
}

void OpenGLGraphicsSystem::DrawPoints(std::span<const Vec3f> vertices, COLOR colour) {
    if (vertices.empty() || !Current()) return;
    Flush();
    DrawPlain(GL_POINTS, vertices, colour);
}

void OpenGLGraphicsSystem::DrawSubterrainVeil() {
    if (!settings::Subterrain.Get() || !Current()) return;
    Flush();
    std::array<GLint, 4> viewport{};
    glGetIntegerv(GL_VIEWPORT, viewport.data());
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, viewport[2], 0, viewport[3], -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();

    ApplyMaterial(Material{});
    // The high bytes of the channels, as the colour's dialog shows them.
    const COLOR colour = settings::SubterrainColor.Get();
    constexpr float kByte = 0.00392156862745098F;
    const std::array<float, 4> rgba{
        static_cast<float>(colour.red >> 8) * kByte, static_cast<float>(colour.green >> 8) * kByte,
        static_cast<float>(colour.blue >> 8) * kByte, settings::SubterrainOpacity.Get() * 0.01F};
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE, rgba.data());
    sent_.material = rgba;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE);
    glDisable(GL_DEPTH_TEST);
    glRecti(0, 0, viewport[2], viewport[3]);
    ++counters_.drawCalls;
    glDisable(GL_BLEND);
    glEnable(GL_DEPTH_TEST);

    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}

// ---- measuring

void OpenGLGraphicsSystem::CaptureNextFrame() {
    capture_ = Capture::Wanted;
}

double OpenGLGraphicsSystem::ReplayCaptured(int times) {
    if (times <= 0 || captured_.parts.empty() || !Current()) return 0.0;
    Flush();
    const DrawCounters counters = counters_;
    using Clock = std::chrono::steady_clock;
    Clock::time_point start;
    for (int i = -1; i < times; ++i) {  // the first one is not timed: it brings everything in
        if (i == 0) start = Clock::now();
        BeginScene(captured_.camera, captured_.width, captured_.height);
        const std::array<double, 16>* model = &kIdentity;
        for (const StaticFrame::Part& part : captured_.parts) {
            ApplyState(part.state);
            if (part.model != *model) {
                ApplyModelMatrix(part.model);
                model = &part.model;
            }
            SendArrays(part.material, part.positions.data(), part.extras.data(),
                       static_cast<int>(part.positions.size() / 3));
        }
        glFinish();
    }
    const std::chrono::duration<double> taken = Clock::now() - start;
    ApplyState(state_);
    ApplyModelMatrix(model_);
    counters_ = counters;
    return taken.count() / times;
}

}  // namespace tarnvale

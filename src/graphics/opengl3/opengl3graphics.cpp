#include "graphics/opengl3/opengl3graphics.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "base/optionpanel.h"
#include "base/settings.h"
#include "graphics/depthslices.h"
#include "graphics/opengl/driver.h"
#include "graphics/opengl3/picturetarget.h"
#include "graphics/opengl3/programs.h"
#include "graphics/opengl3/tiletextures.h"
#include "graphics/opengl3/vertexstream.h"

namespace tarnvale {

namespace {

constexpr int kDescription = 72520;
constexpr std::uint32_t kHalvingsAFrame = 8;  // tiles that get smaller copies, so that a switch
                                              // to smooth textures doesn't halt the flight
constexpr float kMostAnisotropy = 8.0F;
// Of extensions that the headers' core part doesn't name.
constexpr GLenum kTextureMaxAnisotropy = 0x84FE, kMaxTextureMaxAnisotropy = 0x84FF;
constexpr GLenum kTextureSrgbDecode = 0x8A48, kSkipDecode = 0x8A4A;

void Switch(GLenum what, bool on) {
    if (on) {
        glEnable(what);
    } else {
        glDisable(what);
    }
}

void SwitchArray(GLuint what, bool on) {
    if (on) {
        glEnableVertexAttribArray(what);
    } else {
        glDisableVertexAttribArray(what);
    }
}

/// The high bytes of the channels, as colour dialogs show them.
std::array<float, 3> HighBytes(COLOR colour) {
    const auto part = [](std::uint16_t channel) {
        return static_cast<float>(channel >> 8) / 255.0F;
    };
    return {part(colour.red), part(colour.green), part(colour.blue)};
}

std::array<float, 4> Floats(COLOR colour) {
    return {colour.Red(), colour.Green(), colour.Blue(), colour.Alpha()};
}

void Point(GLuint array, int components, std::size_t offset) {
    // A place in a buffer, which the call takes as a pointer.
    glVertexAttribPointer(
        array, components, GL_FLOAT, GL_FALSE, 0,
        reinterpret_cast<const void*>(offset));  // NOLINT(performance-no-int-to-ptr)
}

std::size_t FloatsPerVertex(const Material& material) {
    return std::size_t{3} + (material.texture != 0 ? 2U : 0U) + (material.lit ? 3U : 0U);
}

std::size_t VerticesOf(const MeshGather::Bucket& bucket) {
    std::size_t count = 0;
    for (const auto* chunk = bucket.first; chunk != nullptr; chunk = chunk->next)
        count += chunk->count;
    return count;
}

std::byte* Copy(std::byte* to, const float* from, std::size_t floats) {
    std::memcpy(to, from, floats * sizeof(float));
    return to + floats * sizeof(float);
}

}  // namespace

struct OpenGL3GraphicsSystem::Device {
    /// What the context was told last, so that nothing is told twice.
    struct Sent {
        bool wireframe = false, blending = false, depthWrite = true;
        bool texcoordArray = false, normalArray = false;
        DepthSlice depth;
        std::uint64_t texture = 0;
        GLuint sampler = 0;
        int skyFilter = 0;
    };
    explicit Device(std::shared_ptr<TextureBudget> budget) : textures(std::move(budget)) {}
    /// @param current  false: the context is gone, and all names with it
    void Close(bool current);

    TileTextures textures;
    PictureTarget target;
    Programs programs;
    VertexStream stream;
    GlVertexArray arrays;
    GlSampler nearest, filtered, skyAround, skyMirrored;
    bool tellsResets = false;     // the driver does
    bool nearestDecodes = false;  // the driver can't leave texels as they are
    DepthSlices depth;
    Sent sent;
};

void OpenGL3GraphicsSystem::Device::Close(bool current) {
    textures.Close(current);
    if (current) return;
    programs.Abandon();
    stream.Abandon();
    target.Abandon();
    arrays.Abandon();
    nearest.Abandon();
    filtered.Abandon();
    skyAround.Abandon();
    skyMirrored.Abandon();
}

OpenGL3GraphicsSystem::OpenGL3GraphicsSystem(Probe probe)
    : OpenGL3GraphicsSystem(std::move(probe), std::make_shared<TextureBudget>()) {}

OpenGL3GraphicsSystem::OpenGL3GraphicsSystem(Probe probe, std::shared_ptr<TextureBudget> budget)
    : GraphicsSystem("opengl3", kDescription, "libOpenGL.so.0"),
      probe_(std::move(probe)),
      budget_(std::move(budget)) {}

OpenGL3GraphicsSystem::~OpenGL3GraphicsSystem() {
    (void)OpenGL3GraphicsSystem::Shutdown();
}

std::unique_ptr<GraphicsSystem> OpenGL3GraphicsSystem::CreateInstance() const {
    return std::unique_ptr<GraphicsSystem>(
        new OpenGL3GraphicsSystem(probe_, budget_));  // NOLINT: private
}

int OpenGL3GraphicsSystem::CheckAvailable() const {
    if (!probe_.makeWindow) return 2;
    if (available_) return *available_;
    std::string why;
    const std::unique_ptr<RenderWindow> window = probe_.makeWindow();
    OpenGL3GraphicsSystem trial;
    trial.proving_ = true;
    ClearErrPosn();
    const Status opened = trial.Open(window.get());
    if (!opened.Good()) why = GetErrPosn().detail;
    (void)trial.Shutdown();
    available_ = opened.Good() ? 0 : 1;
    if (!opened.Good() && probe_.tell) probe_.tell(why);
    return *available_;
}

bool OpenGL3GraphicsSystem::Current() const {
    return window_ != nullptr && window_->EnsureCurrent();
}

// ---- opening and closing

Status OpenGL3GraphicsSystem::OpenDevice() {
    const char* why = "the graphics driver gives no context";
    window_->SetContextKind(ContextKind::Core33);
    if (!window_->CreateContext(why) || !window_->ForceCurrent()) {
        window_->DestroyContext();
        return _SetErrPosn(StatusCode::NotBuilt, why);
    }
    std::string fault;
    try {
        device_ = std::make_unique<Device>(budget_);
        fault = Build();
    } catch (const std::bad_alloc&) {
        fault = "there isn't enough memory";
    }
    if (!fault.empty()) {
        (void)Shutdown();
        return _SetErrPosn(StatusCode::NotBuilt, fault);
    }
    return StatusCode::Ok;
}

std::string OpenGL3GraphicsSystem::Build() {
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    if (std::pair(major, minor) < std::pair(3, 3)) return "the driver has no OpenGL 3.3";
    std::string why;
    if (!device_->programs.Build(proving_, why))
        return "the driver refuses a shader" + (why.empty() ? why : ": " + why);
    counters_ = {};
    model_ = kIdentity4;
    const std::array<float, 3> ambient = inputs_.ambient;
    inputs_ = {};
    if (lost_) inputs_.ambient = ambient;  // opened afresh, it is white
    inputs_.model = inputs_.light = inputs_.alpha = inputs_.fogging = ++serial_;
    device_->arrays = GlVertexArray::Make();
    glBindVertexArray(device_->arrays.Name());
    glEnableVertexAttribArray(Programs::kPosition);
    device_->stream.Open();
    device_->textures.Open();
    device_->target.Open();
    glEnable(GL_DEPTH_TEST);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    BuildSamplers();
    pixelFormat_ = TexturePixelFormat::Bgra;
    EstimateTextureBudget(*budget_);
    counted_.emplace(budget_);
    fence_.Open();
    device_->tellsResets =
        std::pair(major, minor) >= std::pair(4, 5) || HasDriverExtension("GL_KHR_robustness");
    // A first picture, so that the window shows no rubbish until the first frame.
    const auto background = HighBytes(settings::BackgroundColor.Get());
    glClearColor(background[0], background[1], background[2], 0.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    glFlush();
    (void)window_->SwapBuffers();
    DrainDriverErrors();
    return {};
}

void OpenGL3GraphicsSystem::BuildSamplers() {
    device_->nearest = GlSampler::Make();
    device_->filtered = GlSampler::Make();
    for (const GlSampler* sampler : {&device_->nearest, &device_->filtered}) {
        // A tile ends with its last texel: beyond lies the neighbour's, in another texture.
        glSamplerParameteri(sampler->Name(), GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glSamplerParameteri(sampler->Name(), GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }
    glSamplerParameteri(device_->nearest.Name(), GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glSamplerParameteri(device_->nearest.Name(), GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glSamplerParameteri(device_->filtered.Name(), GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glSamplerParameteri(device_->filtered.Name(), GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    if (HasDriverExtension("GL_EXT_texture_filter_anisotropic") ||
        HasDriverExtension("GL_ARB_texture_filter_anisotropic")) {
        float most = 1.0F;
        glGetFloatv(kMaxTextureMaxAnisotropy, &most);
        glSamplerParameterf(device_->filtered.Name(), kTextureMaxAnisotropy,
                            std::min(most, kMostAnisotropy));
    }
    // A sky goes around more than once; across, zenith and nadir are ends.
    device_->skyAround = GlSampler::Make();
    device_->skyMirrored = GlSampler::Make();
    for (const GlSampler* sampler : {&device_->skyAround, &device_->skyMirrored}) {
        glSamplerParameteri(sampler->Name(), GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    }
    glSamplerParameteri(device_->skyAround.Name(), GL_TEXTURE_WRAP_T, GL_REPEAT);
    glSamplerParameteri(device_->skyMirrored.Name(), GL_TEXTURE_WRAP_T, GL_MIRRORED_REPEAT);
    device_->nearestDecodes = !HasDriverExtension("GL_EXT_texture_sRGB_decode");
    if (!device_->nearestDecodes) {
        for (const GlSampler* sampler :
             {&device_->nearest, &device_->skyAround, &device_->skyMirrored}) {
            glSamplerParameteri(sampler->Name(), kTextureSrgbDecode, kSkipDecode);
        }
    }
}

void OpenGL3GraphicsSystem::FilterSkies(int filter) {
    if (device_->sent.skyFilter == filter) return;
    for (const GlSampler* sampler : {&device_->skyAround, &device_->skyMirrored}) {
        glSamplerParameteri(sampler->Name(), GL_TEXTURE_MIN_FILTER, filter);
        glSamplerParameteri(sampler->Name(), GL_TEXTURE_MAG_FILTER, filter);
    }
    device_->sent.skyFilter = filter;
}

Status OpenGL3GraphicsSystem::Shutdown() {
    if (window_ == nullptr) return StatusCode::Ok;
    // Where the context can't be made current any more, another one's names must not be hit.
    const bool current = Current();
    if (current) fence_.Close();
    if (device_ != nullptr) device_->Close(current);
    device_.reset();
    counted_.reset();
    gather_.Free();
    drawing_ = false;
    window_->ReleaseCurrent();
    window_->DestroyContext();
    window_ = nullptr;
    return StatusCode::Ok;
}

void OpenGL3GraphicsSystem::SetPixelBuffers(bool use) {
    if (device_ != nullptr) device_->textures.SetPixelBuffers(use);
}

int OpenGL3GraphicsSystem::Samples() const noexcept {
    return device_ != nullptr ? device_->target.Samples() : 1;
}

DepthRange OpenGL3GraphicsSystem::Depth() const noexcept {
    return device_ != nullptr ? device_->target.Depth() : DepthRange::Usual;
}

void OpenGL3GraphicsSystem::ShowOptionControls(OptionPanel& panel, bool show) {
    panel.Show("antialias", show);
    panel.Show("smooth_texture", show);
}

// ---- textures

TextureHandle* OpenGL3GraphicsSystem::CreateTexture(std::span<const std::byte> pixels,
                                                    TextureUse use) {
    const bool sky = use == TextureUse::Sky;
    const int width = std::max(sky ? skyWidth_ : kTextureSize, 0);
    const int height = std::max(sky ? skyHeight_ : kTextureSize, 0);
    const auto texels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (texels == 0 || pixels.size() < texels * 4 || !Current()) return nullptr;
    device_->sent.texture = 0;
    OpenGL3Texture* const made =
        device_->textures.Create(this, pixels, {width, height, use, smooth_});
    if (made == nullptr) return nullptr;
    made->mirrored = sky && skyMirrored_;
    ++counters_.uploads;
    return made;
}

void OpenGL3GraphicsSystem::DestroyTexture(TextureHandle* handle) {
    OpenGL3Texture* const texture = Current() ? device_->textures.Find(this, handle) : nullptr;
    if (texture == nullptr) return;
    // What waits must be drawn with the texture as it is now.
    if (gather_.Holds(texture->place)) Flush();
    if (device_->sent.texture == texture->Native()) device_->sent.texture = 0;
    device_->textures.Destroy(*texture);
}

void OpenGL3GraphicsSystem::RecycleTexture(TextureHandle* handle) {
    OpenGL3Texture* const texture = Current() ? device_->textures.Find(this, handle) : nullptr;
    if (texture == nullptr) return;
    if (gather_.Holds(texture->place)) Flush();
    device_->textures.Recycle(*texture);
}

// ---- state

void OpenGL3GraphicsSystem::SetDepthWrite(bool enable) {
    if (state_.depthWrite == enable) return;
    Flush();
    state_.depthWrite = enable;
}

void OpenGL3GraphicsSystem::SetAlphaTest(bool enable) {
    if (state_.alphaTest == enable) return;
    Flush();
    state_.alphaTest = enable;
}

void OpenGL3GraphicsSystem::SetAlphaFunction(AlphaFunction function, float reference) {
    if (function > AlphaFunction::GreaterEqual) return;
    if (state_.alphaFunction == function && state_.alphaReference == reference) return;
    Flush();
    state_.alphaFunction = function;
    state_.alphaReference = reference;
    alphaRange_ = RangeOf(function, reference);
}

void OpenGL3GraphicsSystem::EnableLight(int index, bool enable) {
    if (index < 0 || index >= kLights) return;
    Light& light = lights_[static_cast<std::size_t>(index)];
    if (light.on == enable) return;
    Flush();
    light.on = enable;
    UpdateLights();
}

void OpenGL3GraphicsSystem::SetLight(int index, const Vec3f& /*position*/, const Vec3f& direction,
                                     COLOR colour) {
    if (index < 0 || index >= kLights) return;
    Light& light = lights_[static_cast<std::size_t>(index)];
    if (light.direction == direction && light.colour == colour) return;
    Flush();
    light.direction = direction;
    light.colour = colour;
    UpdateLights();
}

void OpenGL3GraphicsSystem::SetAmbient(COLOR colour) {
    if (window_ == nullptr) return;
    const std::array<float, 3> ambient = HighBytes(colour);
    if (ambient == inputs_.ambient) return;
    Flush();
    inputs_.ambient = ambient;
    inputs_.light = ++serial_;
}

void OpenGL3GraphicsSystem::SetSun(bool on) {
    if (sunOn_ == on) return;
    Flush();
    sunOn_ = on;
    UpdateLights();
}

void OpenGL3GraphicsSystem::UpdateLights() {
    inputs_.lights = 0;
    const auto add = [this](const Vec3f& direction, const std::array<float, 3>& colour) {
        const auto at = static_cast<std::size_t>(inputs_.lights++) * 3;
        const Vec3f towards = TowardsLight(direction, model_);
        inputs_.lightDirections[at] = towards.x;
        inputs_.lightDirections[at + 1] = towards.y;
        inputs_.lightDirections[at + 2] = towards.z;
        std::ranges::copy(colour, &inputs_.lightColours[at]);
    };
    for (const Light& light : lights_) {
        if (!light.on) continue;
        add(light.direction, {light.colour.Red(), light.colour.Green(), light.colour.Blue()});
    }
    if (sunOn_) add(sun_, {0.75F, 0.75F, 0.75F});
    inputs_.light = ++serial_;
}

void OpenGL3GraphicsSystem::SetModelMatrix(std::span<const double, 16> matrix) {
    if (window_ == nullptr || std::ranges::equal(matrix, model_)) return;
    Flush();
    std::ranges::copy(matrix, model_.begin());
    UpdateClip();
    UpdateLights();
}

void OpenGL3GraphicsSystem::UpdateClip() {
    inputs_.clip = ToFloats(Multiply(Multiply(model_, view_), projection_));
    inputs_.model = ++serial_;
}

// ---- frames

void OpenGL3GraphicsSystem::SetProjection(const RenderCamera& camera, int width, int height) {
    const double aspect = static_cast<double>(std::max(width, 1)) / std::max(height, 1);
    projection_ = Perspective(camera.fieldOfView, aspect, camera.nearPlane, camera.farPlane,
                              device_->target.Depth());
    UpdateClip();
}

void OpenGL3GraphicsSystem::SetFog(const RenderCamera& camera) {
    fog_ = camera.overrideFog ? camera.fogOn : settings::Fog.Get();
    if (!fog_) return;
    std::array<float, 3> fog{};
    const std::int32_t type = settings::FogType.Get();
    if (type == 1 || type == 2) {
        fog = {settings::FogDensity.Get(), 0.0F, static_cast<float>(type)};
    } else {
        const float end = settings::FogEnd.Get(), start = settings::FogStart.Get();
        constexpr float kLeast = 0.001F;  // a wall of fog, where both are the same
        const float depth = std::abs(end - start) < kLeast ? kLeast : end - start;
        fog = {end / depth, 1.0F / depth, 0.0F};
    }
    const std::array<float, 3> colour = HighBytes(settings::FogColor.Get());
    if (fog == inputs_.fog && colour == inputs_.fogColour) return;
    inputs_.fog = fog;
    inputs_.fogColour = colour;
    inputs_.fogging = ++serial_;
}

void OpenGL3GraphicsSystem::SetCamera(const RenderCamera& camera, int width, int height) {
    view_ = LookAt(camera.eye, camera.lookAt, camera.up);
    model_ = kIdentity4;
    sun_ = SunVector();
    SetProjection(camera, width, height);
    UpdateLights();
    SetFog(camera);
}

void OpenGL3GraphicsSystem::LookForReset() {
    if (device_->tellsResets && glGetGraphicsResetStatus() != GL_NO_ERROR) lost_ = true;
}

void OpenGL3GraphicsSystem::ClearTarget(unsigned what) {
    if (!device_->sent.depthWrite) glDepthMask(GL_TRUE);
    device_->sent.depthWrite = true;
    glClear(what);
}

void OpenGL3GraphicsSystem::BeginFrame(const RenderCamera& camera, int width, int height,
                                       FramePass pass) {
    if (pass == FramePass::Overlay) {
        if (!drawing_ || !Current()) return;
        Flush();
        SetProjection(camera, width, height);
        if (device_->depth.BeginOverlay()) ClearTarget(GL_DEPTH_BUFFER_BIT);
        ApplyDepth(false);
        return;
    }
    // Once a frame the context is asked for in any case: a window system's own drawing may have
    // come in.
    gather_.Clear();  // of a frame that was never ended
    drawing_ = window_ != nullptr && window_->ForceCurrent();
    if (drawing_) LookForReset();
    drawing_ =
        drawing_ && !lost_ &&
        device_->target.Begin(std::max(width, 1), std::max(height, 1), settings::Antialias.Get());
    if (!drawing_) return;
    device_->sent.texture = 0;  // a target of another size is made by way of the same place
    counters_ = {};
    halvings_ = 0;
    smooth_ = settings::SmoothTexture.Get();
    FilterSkies(smooth_ ? GL_LINEAR : GL_NEAREST);
    SetCamera(camera, width, height);
    glViewport(0, 0, device_->target.Width(), device_->target.Height());
    const auto background = HighBytes(settings::BackgroundColor.Get());
    glClearColor(background[0], background[1], background[2], 0.0F);
    device_->depth.BeginPicture();
    ApplyDepth(false);
    ClearTarget(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

void OpenGL3GraphicsSystem::ApplyDepth(bool backdrop) {
    const DepthSlice wanted = device_->depth.Of(backdrop);
    if (device_->sent.depth == wanted) return;
    if (device_->target.Depth() == DepthRange::Reversed) {
        glDepthRange(1 - wanted.farthest, 1 - wanted.nearest);
    } else {
        glDepthRange(wanted.nearest, wanted.farthest);
    }
    device_->sent.depth = wanted;
}

Status OpenGL3GraphicsSystem::EndFrame() {
    if (!Current())
        return _SetErrPosn(StatusCode::BadState, "there is no window to show a frame on");
    if (lost_) return _SetErrPosn(StatusCode::DeviceFailed, "the driver reset the card");
    if (!drawing_)
        return _SetErrPosn(StatusCode::DeviceFailed, "the driver has no memory for the picture");
    Flush();
    drawing_ = false;
    device_->target.Resolve();
    if (ScreenShotWanted()) TakeScreenShot();
    device_->target.Show();
    bool drawn = true;  // the frame before this one
    if (finishFrames_) {
        fence_.Finish();
    } else {
        drawn = fence_.NextFrame();
    }
    device_->stream.NextFrame(drawn);
    if (!window_->SwapBuffers()) {
        return _SetErrPosn(StatusCode::DeviceFailed, "the window system doesn't show the frame");
    }
    return StatusCode::Ok;
}

void OpenGL3GraphicsSystem::TakeScreenShot() try {
    std::vector<std::byte> pixels(static_cast<std::size_t>(device_->target.Width()) *
                                  static_cast<std::size_t>(device_->target.Height()) * 4);
    const RowOrder order = device_->target.Read(pixels);
    SaveScreenShot({pixels, device_->target.Width(), device_->target.Height(), order});
} catch (const std::bad_alloc&) {
    SaveScreenShot({});  // it doesn't fit in memory
}

// ---- drawing

void OpenGL3GraphicsSystem::DrawMeshes(const RenderMeshBatch& batch) try {
    if (!drawing_) return;
    SetSun(lightingWanted_ && settings::UseSun.Get());
    for (const RenderMesh* mesh : batch) {
        if (mesh->vertices.Count() < 3) continue;
        Gather(*mesh);
        if (!gathering_) Flush();
    }
} catch (const std::bad_alloc&) {
    Flush();  // what found room is drawn; the rest is missing from this frame alone
}

bool OpenGL3GraphicsSystem::Judge(Material& material, float alpha, bool solid) const {
    bool opaque = solid && alpha >= 1.0F;
    if (state_.alphaTest && solid && !alphaRange_.Passes(alpha)) return false;
    if (state_.alphaTest && !solid) {
        material.tested = !alphaRange_.PassesAll();
        if (alphaRange_.PassesOpaqueOnly()) opaque = true;
    }
    material.blended = !opaque;
    return true;
}

void OpenGL3GraphicsSystem::Gather(const RenderMesh& mesh) {
    const std::uint32_t count = mesh.vertices.Count();
    Material material;
    GatherPlace* place = nullptr;
    bool solid = true;
    float alpha = mesh.colour.Alpha();
    material.colour = mesh.colour;
    if (mesh.wireframe) {
        material.wireframe = true;
        material.colour = settings::WireframeColor.Get();
        alpha = material.colour.Alpha();
    } else {
        material.lit = mesh.normals.Count() >= count;
        if (mesh.texture != nullptr && mesh.texture->Owner() == this &&
            mesh.texcoords.Count() >= count) {
            auto& texture = static_cast<OpenGL3Texture&>(*mesh.texture);
            material.texture = texture.Native();
            solid = texture.Opaque();
            alpha = 1.0F;  // a texture brings its own
            material.backdrop = texture.use == TextureUse::Sky;
            place = &texture.place;
        }
    }
    if (!Judge(material, alpha, solid)) return;
    // Where depth alone decides what is seen, the order among textures doesn't matter; a place is
    // no help to a mesh of another material than the last one with its texture.
    const bool free = place != nullptr && !material.lit && !material.blended && state_.depthWrite;
    counters_.triangles += gather_.Append(
        material, place, mesh, free ? MeshGather::Order::Free : MeshGather::Order::Strict);
}

void OpenGL3GraphicsSystem::Flush() {
    if (gather_.Empty()) return;
    if (drawing_ && Current()) SendWaiting();
    gather_.Clear();  // while there is nothing to draw on, what waits must not pile up
}

void OpenGL3GraphicsSystem::SendWaiting() {
    std::size_t bytes = 0;
    for (const MeshGather::Bucket& bucket : gather_.Waiting())
        bytes += VerticesOf(bucket) * FloatsPerVertex(bucket.material) * sizeof(float);
    std::size_t start = 0;
    if (!device_->stream.Reserve(bytes, start)) return;
    std::byte* to = device_->stream.Room();
    for (const MeshGather::Bucket& bucket : gather_.Waiting()) {
        for (const auto* chunk = bucket.first; chunk != nullptr; chunk = chunk->next)
            to = Copy(to, chunk->positions.data(), std::size_t{chunk->count} * 3);
        for (const auto* chunk = bucket.first; bucket.material.texture != 0 && chunk != nullptr;
             chunk = chunk->next)
            to = Copy(to, chunk->texcoords.data(), std::size_t{chunk->count} * 2);
        for (const auto* chunk = bucket.first; bucket.material.lit && chunk != nullptr;
             chunk = chunk->next)
            to = Copy(to, chunk->normals.data(), std::size_t{chunk->count} * 3);
    }
    if (!device_->stream.Close()) return;
    for (const MeshGather::Bucket& bucket : gather_.Waiting()) {
        const std::size_t count = VerticesOf(bucket);
        if (count == 0) continue;
        ApplyMaterial(bucket.material, Floats(bucket.material.colour));
        Point(Programs::kPosition, 3, start);
        start += count * 3 * sizeof(float);
        if (bucket.material.texture != 0) {
            Point(Programs::kTexcoord, 2, start);
            start += count * 2 * sizeof(float);
        }
        if (bucket.material.lit) {
            Point(Programs::kNormal, 3, start);
            start += count * 3 * sizeof(float);
        }
        glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(count));
        ++counters_.drawCalls;
    }
}

void OpenGL3GraphicsSystem::ApplyMaterial(const Material& material,
                                          const std::array<float, 4>& rgba) {
    const bool textured = material.texture != 0;
    if (device_->sent.wireframe != material.wireframe) {
        glPolygonMode(GL_FRONT_AND_BACK, material.wireframe ? GL_LINE : GL_FILL);
        device_->sent.wireframe = material.wireframe;
    }
    if (device_->sent.blending != material.blended) {
        Switch(GL_BLEND, material.blended);
        device_->sent.blending = material.blended;
    }
    if (device_->sent.depthWrite != state_.depthWrite) {
        glDepthMask(state_.depthWrite ? GL_TRUE : GL_FALSE);
        device_->sent.depthWrite = state_.depthWrite;
    }
    ApplyDepth(material.backdrop);
    if (device_->sent.texcoordArray != textured) {
        SwitchArray(Programs::kTexcoord, textured);
        device_->sent.texcoordArray = textured;
    }
    if (device_->sent.normalArray != material.lit) {
        SwitchArray(Programs::kNormal, material.lit);
        device_->sent.normalArray = material.lit;
    }
    if (material.tested) {
        const std::array<float, 3> range{static_cast<float>(alphaRange_.low),
                                         static_cast<float>(alphaRange_.high),
                                         alphaRange_.outside ? 1.0F : 0.0F};
        if (range != inputs_.alphaRange) {
            inputs_.alphaRange = range;
            inputs_.alpha = ++serial_;
        }
    }
    OpenGL3Texture* const texture = textured ? device_->textures.Named(material.texture) : nullptr;
    const bool sky = texture != nullptr && texture->use == TextureUse::Sky;
    if (textured) ApplyTexture(material.texture, texture);
    device_->programs.Use({.shade = material.lit ? Shade::Lit : Shade::Whole,
                           .textured = textured,
                           .alphaTest = material.tested,
                           .fog = fog_,
                           .decoded = textured && ((smooth_ && !sky) || device_->nearestDecodes)},
                          inputs_, rgba);
}

void OpenGL3GraphicsSystem::ApplyTexture(std::uint64_t name, OpenGL3Texture* texture) {
    const bool sky = texture != nullptr && texture->use == TextureUse::Sky;
    const GlSampler& wanted = sky && texture->mirrored ? device_->skyMirrored
                              : sky                    ? device_->skyAround
                              : smooth_                ? device_->filtered
                                                       : device_->nearest;
    const GLuint sampler = wanted.Name();
    if (device_->sent.sampler != sampler) {
        glBindSampler(0, sampler);
        device_->sent.sampler = sampler;
    }
    if (device_->sent.texture != name) {
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(name));
        device_->sent.texture = name;
    }
    if (!smooth_ || halvings_ >= kHalvingsAFrame) return;
    if (texture == nullptr || texture->halved || sky) return;
    device_->textures.Halve(*texture);
    ++halvings_;
}

void OpenGL3GraphicsSystem::DrawPlain(unsigned mode, std::span<const Vec3f> vertices,
                                      COLOR colour) {
    Flush();
    Material material;
    material.colour = colour;
    if (!Judge(material, colour.Alpha(), true)) return;
    std::size_t start = 0;
    if (!device_->stream.Reserve(vertices.size_bytes(), start)) return;
    std::memcpy(device_->stream.Room(), vertices.data(), vertices.size_bytes());
    if (!device_->stream.Close()) return;
    ApplyMaterial(material, Floats(colour));
    Point(Programs::kPosition, 3, start);
    glDrawArrays(mode, 0, static_cast<GLsizei>(vertices.size()));
    ++counters_.drawCalls;
}

void OpenGL3GraphicsSystem::DrawLines(std::span<const Vec3f> vertices, COLOR colour,
                                      LineMode mode) {
    if (vertices.size() < 2 || !drawing_ || !Current()) return;
    if (mode == LineMode::Segments) DrawPlain(GL_LINES, vertices, colour);
    if (mode == LineMode::Strip) DrawPlain(GL_LINE_STRIP, vertices, colour);
}

void OpenGL3GraphicsSystem::DrawPoints(std::span<const Vec3f> vertices, COLOR colour) {
    if (vertices.empty() || !drawing_ || !Current()) return;
    DrawPlain(GL_POINTS, vertices, colour);
}

void OpenGL3GraphicsSystem::DrawSubterrainVeil() {
    if (!settings::Subterrain.Get() || !drawing_ || !Current()) return;
    Flush();
    // Over the whole picture, whatever fog and alpha test are. It glows in its colour and is lit by
    // the ambient light besides.
    constexpr std::array<Vec3f, 4> kCorners{Vec3f{-1, -1, 0}, {1, -1, 0}, {-1, 1, 0}, {1, 1, 0}};
    std::size_t start = 0;
    if (!device_->stream.Reserve(sizeof(kCorners), start)) return;
    std::memcpy(device_->stream.Room(), kCorners.data(), sizeof(kCorners));
    if (!device_->stream.Close()) return;
    const auto colour = HighBytes(settings::SubterrainColor.Get());
    const ProgramInputs inputs = inputs_;
    const bool fog = std::exchange(fog_, false);
    inputs_.clip = ToFloats(kIdentity4);
    for (float& part : inputs_.ambient) part += 1;
    inputs_.model = inputs_.light = ++serial_;
    Material material;
    material.blended = true;
    ApplyMaterial(material,
                  {colour[0], colour[1], colour[2], settings::SubterrainOpacity.Get() * 0.01F});
    glDisable(GL_DEPTH_TEST);
    Point(Programs::kPosition, 3, start);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    ++counters_.drawCalls;
    glEnable(GL_DEPTH_TEST);
    inputs_ = inputs;
    fog_ = fog;
}

}  // namespace tarnvale

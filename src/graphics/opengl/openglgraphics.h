#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>

#include "graphics/depthslices.h"
#include "graphics/graphicssystem.h"
#include "graphics/opengl/framefence.h"
#include "graphics/opengl/meshgather.h"
#include "graphics/opengl/staticframe.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

class OpenGLTexture;

/// Draws with OpenGL 1.1 and GLU through a compatibility context of the window. Textures replace
/// the colour of a mesh, so the sun shades untextured meshes alone; nothing is ever blended but the
/// veil.
///
/// Meshes are gathered and reach the driver when something changes that they depend on, at the
/// latest in EndFrame. Arrays in client memory serve as well here as buffer objects do: drivers
/// that draw on the processor read them in place, others copy them once, as they would the contents
/// of a buffer.
class OpenGLGraphicsSystem final : public GraphicsSystem {
public:
    OpenGLGraphicsSystem() : OpenGLGraphicsSystem(std::make_shared<TextureBudget>()) {}
    /// @param budget  shared with the systems that CreateInstance makes
    explicit OpenGLGraphicsSystem(std::shared_ptr<TextureBudget> budget);
    ~OpenGLGraphicsSystem() override;

    [[nodiscard]] int GetTextureSize() const override { return textureSize_; }
    [[nodiscard]] TextureHandle* CreateTexture(std::span<const std::byte> pixels,
                                               TextureUse use) override;
    void DestroyTexture(TextureHandle* handle) override;
    void RecycleTexture(TextureHandle* handle) override;
    Status Shutdown() override;
    [[nodiscard]] int CheckAvailable() const override { return 2; }
    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override;
    void SetDepthWrite(bool enable) override;
    void SetAlphaTest(bool enable) override;
    void SetAlphaFunction(AlphaFunction function, float reference) override;
    void EnableLight(int index, bool enable) override;
    void SetLight(int index, const Vec3f& position, const Vec3f& direction, COLOR colour) override;
    void SetAmbient(COLOR colour) override;
    Status EndFrame() override;
    void DrawLines(std::span<const Vec3f> vertices, COLOR colour, LineMode mode) override;
    void DrawPoints(std::span<const Vec3f> vertices, COLOR colour) override;
    void DrawSubterrainVeil() override;
    /// Stops at the first mesh of fewer than 3 vertices. A texture of another system isn't bound.
    void DrawMeshes(const RenderMeshBatch& batch) override;
    void SetModelMatrix(std::span<const double, 16> matrix) override;
    /// Everything that changes how or over what gathered meshes are drawn calls this first.
    void Flush() override;
    void BeginFrame(const RenderCamera& camera, int width, int height, FramePass pass) override;
    [[nodiscard]] DrawCounters Counters() const override { return counters_; }

    [[nodiscard]] const TextureBudget& Budget() const noexcept { return *budget_; }

    /// For tests: off, each mesh is sent by itself.
    void SetGathering(bool gather) noexcept { gathering_ = gather; }
    /// Keeps the triangles of the next full pass, from its BeginFrame to its EndFrame.
    void CaptureNextFrame();
    /// Draws the kept triangles from static arrays, one call for each texture, with clearing and
    /// camera, waiting for the end of each picture. The back buffer is overwritten and not shown.
    /// @return seconds a picture; 0 if nothing was kept
    [[nodiscard]] double ReplayCaptured(int times);

private:
    using Textures = std::map<std::uint64_t, std::unique_ptr<OpenGLTexture>>;
    /// What the context was told last, so that nothing is told twice.
    struct Sent {
        bool lighting = false, texturing = false, wireframe = false;
        bool texcoordArray = false, normalArray = false, sun = false;
        DepthSlice depth;
        std::uint64_t texture = 0;
        std::array<float, 4> material{-1, -1, -1, -1};
        float plainAlpha = -1.0F;
        PassState state;
    };
    enum class Capture : std::uint8_t { None, Wanted, Running };

    Status OpenDevice() override;
    void ProbeTextureFormat();
    [[nodiscard]] bool Current() const;
    [[nodiscard]] Textures::iterator FindLive(const TextureHandle* handle);
    [[nodiscard]] Textures::iterator TakeOrMake(std::uint64_t bytes);
    [[nodiscard]] bool Fill(const OpenGLTexture& texture, std::span<const std::byte> pixels,
                            TextureUse use);

    void Gather(const RenderMesh& mesh);
    void SendArrays(const Material& material, const float* positions, const float* extras,
                    int count);
    void ApplyMaterial(const Material& material);
    void ApplyColour(COLOR colour, float alpha);
    void ApplyDepth(bool backdrop);
    void ApplyState(const PassState& state);
    void ApplyModelMatrix(const std::array<double, 16>& matrix);
    void DrawPlain(unsigned mode, std::span<const Vec3f> vertices, COLOR colour);
    void SetSun(bool on);
    void SetFog(const RenderCamera& camera);
    void SetProjection(const RenderCamera& camera, int width, int height);
    void BeginScene(const RenderCamera& camera, int width, int height);
    void Clear(unsigned buffers);
    void TakeScreenShot();

    DepthSlices depth_;
    std::shared_ptr<TextureBudget> budget_;
    std::optional<TextureBudget::View> counted_;  // while open
    Textures live_, recycled_;                    // by native name
    int textureSize_ = 512;
    int internalFormat_ = 0;
    std::uint64_t bytesPerTexel_ = 4;
    MeshGather gather_;
    FrameFence fence_;
    Sent sent_;
    PassState state_;  // as callers want it; the context has it after ApplyState
    std::array<double, 16> model_{};
    DrawCounters counters_;
    bool gathering_ = true;
    Capture capture_ = Capture::None;
    StaticFrame captured_;
};

}  // namespace tarnvale

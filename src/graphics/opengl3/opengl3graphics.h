#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "graphics/graphicssystem.h"
#include "graphics/opengl/framefence.h"
#include "graphics/opengl/meshgather.h"
#include "graphics/opengl3/alpharange.h"
#include "graphics/opengl3/cameramatrix.h"
#include "graphics/opengl3/programinputs.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

class OpenGL3Texture;

/// Draws with OpenGL 3.3 through a core context of the window: textures are shaded by the lit
/// material, what is translucent is blended, fog has distances, `SmoothTexture` and `Antialias` act
/// from the next frame on.
///
/// Colours are display values from end to end, as in the landscapes' images: light, fog and
/// blending work on them as they are. Only where texels are averaged, between each other and into
/// smaller copies, they are taken as the light that they stand for, so that a tile is as bright
/// from afar as from near.
///
/// Meshes are gathered and reach the driver when something changes that they depend on, at the
/// latest in EndFrame. States set while closed hold from Open on.
class OpenGL3GraphicsSystem final : public GraphicsSystem {
public:
    /// How CheckAvailable finds out. Both may be empty.
    struct Probe {
        /// A window that nobody sees; used once.
        std::function<std::unique_ptr<RenderWindow>()> makeWindow;
        /// Hears why the system can't be used here.
        std::function<void(const std::string& why)> tell;
    };
    OpenGL3GraphicsSystem() : OpenGL3GraphicsSystem(Probe{}) {}
    explicit OpenGL3GraphicsSystem(Probe probe);
    ~OpenGL3GraphicsSystem() override;

    [[nodiscard]] int GetTextureSize() const override { return kTextureSize; }
    [[nodiscard]] TextureHandle* CreateTexture(std::span<const std::byte> pixels,
                                               TextureUse use) override;
    void DestroyTexture(TextureHandle* handle) override;
    void RecycleTexture(TextureHandle* handle) override;
    Status Shutdown() override;
    /// Makes a context on a window of the probe's, the first time that it is asked.
    [[nodiscard]] int CheckAvailable() const override;
    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override;
    void SetDepthWrite(bool enable) override;
    void SetAlphaTest(bool enable) override;
    void SetAlphaFunction(AlphaFunction function, float reference) override;
    /// Eight lights, 0 to 7; others are ignored.
    void EnableLight(int index, bool enable) override;
    /// Lights are directional, so the position means nothing.
    void SetLight(int index, const Vec3f& position, const Vec3f& direction, COLOR colour) override;
    void SetAmbient(COLOR colour) override;
    Status EndFrame() override;
    void DrawLines(std::span<const Vec3f> vertices, COLOR colour, LineMode mode) override;
    void DrawPoints(std::span<const Vec3f> vertices, COLOR colour) override;
    void DrawSubterrainVeil() override;
    /// Leaves out meshes of fewer than 3 vertices. A texture of another system isn't bound.
    void DrawMeshes(const RenderMeshBatch& batch) override;
    void SetModelMatrix(std::span<const double, 16> matrix) override;
    /// Everything that changes how or over what gathered meshes are drawn calls this first.
    void Flush() override;
    void BeginFrame(const RenderCamera& camera, int width, int height, FramePass pass) override;
    [[nodiscard]] DrawCounters Counters() const override { return counters_; }
    void ShowOptionControls(OptionPanel& panel, bool show) override;

    [[nodiscard]] const TextureBudget& Budget() const noexcept { return *budget_; }
    /// Samples of a pixel of the last frame; 1 without antialiasing.
    [[nodiscard]] int Samples() const noexcept;
    [[nodiscard]] DepthRange Depth() const noexcept;
    /// For tests: off, each mesh is sent by itself.
    void SetGathering(bool gather) noexcept { gathering_ = gather; }
    /// For tests: as if the driver told of a reset.
    void Lose() noexcept { lost_ = true; }
    /// For tests: off, tiles go to the card straight from the caller's memory, as they do where the
    /// processor draws; on, by way of a buffer.
    void SetPixelBuffers(bool use);

private:
    static constexpr int kTextureSize = 512;
    static constexpr int kLights = 8;

    struct Device;  // what lives in the context

    struct Light {
        bool on = false;
        Vec3f direction{0, 0, 1};
        COLOR colour{0xFFFF, 0xFFFF, 0xFFFF, 0};
    };
    /// As callers want it.
    struct State {
        bool depthWrite = true;
        bool alphaTest = false;
        AlphaFunction alphaFunction = AlphaFunction::Always;
        float alphaReference = 0.0F;
    };
    OpenGL3GraphicsSystem(Probe probe, std::shared_ptr<TextureBudget> budget);
    Status OpenDevice() override;
    [[nodiscard]] std::string Build();
    void BuildSamplers();
    void FilterSkies(int filter);
    [[nodiscard]] bool Current() const;
    void LookForReset();

    void SetFog(const RenderCamera& camera);
    void SetCamera(const RenderCamera& camera, int width, int height);
    void SetProjection(const RenderCamera& camera, int width, int height);
    void SetSun(bool on);
    void UpdateClip();
    void UpdateLights();
    void ClearTarget(unsigned what);
    void TakeScreenShot();

    void Gather(const RenderMesh& mesh);
    /// @return false if nothing of it passes the alpha test
    [[nodiscard]] bool Judge(Material& material, float alpha, bool solid) const;
    void SendWaiting();
    void ApplyDepth(bool backdrop);
    void ApplyMaterial(const Material& material, const std::array<float, 4>& rgba);
    /// @param texture  null where the name is no more
    void ApplyTexture(std::uint64_t name, OpenGL3Texture* texture);
    void DrawPlain(unsigned mode, std::span<const Vec3f> vertices, COLOR colour);

    Probe probe_;
    mutable std::optional<int> available_;
    bool proving_ = false;  // on trial: the driver must take every program
    std::shared_ptr<TextureBudget> budget_;
    std::optional<TextureBudget::View> counted_;  // while open
    std::unique_ptr<Device> device_;              // null while closed
    MeshGather gather_;
    FrameFence fence_;

    State state_;
    AlphaRange alphaRange_;
    std::array<Light, kLights> lights_;
    Vec3f sun_{0, 0, -1};
    bool sunOn_ = false;
    Matrix4 view_ = kIdentity4, projection_ = kIdentity4, model_ = kIdentity4;
    bool fog_ = false, smooth_ = false;
    bool drawing_ = false;  // between a full BeginFrame that found its target and EndFrame
    std::uint32_t halvings_ = 0;
    ProgramInputs inputs_;
    std::uint64_t serial_ = 1;  // of states in inputs_
    DrawCounters counters_;
    bool gathering_ = true;
};

}  // namespace tarnvale

#pragma once

#include <map>
#include <memory>
#include <span>

#include "graphics/graphicssystem.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

/// Runs everything but the drawing: textures are counted against the budget but hold nothing,
/// meshes are counted and dropped. Measures the engine alone, and needs no driver, only a window's
/// size.
class NullGraphicsSystem : public GraphicsSystem {
public:
    NullGraphicsSystem() : NullGraphicsSystem(std::make_shared<TextureBudget>()) {}
    explicit NullGraphicsSystem(std::shared_ptr<TextureBudget> budget);
    ~NullGraphicsSystem() override;

    [[nodiscard]] int GetTextureSize() const override { return kTextureSize; }
    [[nodiscard]] TextureHandle* CreateTexture(std::span<const std::byte> pixels,
                                               TextureUse use) override;
    void DestroyTexture(TextureHandle* handle) override;
    void RecycleTexture(TextureHandle* handle) override;
    Status Shutdown() override;
    [[nodiscard]] int CheckAvailable() const override { return 0; }
    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override;
    void SetDepthWrite(bool /*enable*/) override {}
    void SetAlphaTest(bool /*enable*/) override {}
    void SetAlphaFunction(AlphaFunction /*function*/, float /*reference*/) override {}
    void EnableLight(int /*index*/, bool /*enable*/) override {}
    void SetLight(int /*index*/, const Vec3f& /*position*/, const Vec3f& /*direction*/,
                  COLOR /*colour*/) override {}
    void SetAmbient(COLOR /*colour*/) override {}
    Status EndFrame() override;
    void DrawLines(std::span<const Vec3f> /*vertices*/, COLOR /*colour*/,
                   LineMode /*mode*/) override {}
    void DrawPoints(std::span<const Vec3f> /*vertices*/, COLOR /*colour*/) override {}
    void DrawSubterrainVeil() override {}
    void DrawMeshes(const RenderMeshBatch& batch) override;
    void SetModelMatrix(std::span<const double, 16> /*matrix*/) override {}
    void BeginFrame(const RenderCamera& camera, int width, int height, FramePass pass) override;
    [[nodiscard]] DrawCounters Counters() const override { return counters_; }

private:
    static constexpr int kTextureSize = 512;
    static constexpr std::uint64_t kBytesPerTexel = 2;  // as a driver holds a 5-5-5-1 texture
    using Handles = std::map<std::uint64_t, std::unique_ptr<TextureHandle>>;

    Status OpenDevice() override;
    [[nodiscard]] Handles::iterator FindLive(const TextureHandle* handle);

    std::shared_ptr<TextureBudget> budget_;
    Handles live_, recycled_;
    std::uint64_t nextNative_ = 1;
    DrawCounters counters_;
};

}  // namespace tarnvale

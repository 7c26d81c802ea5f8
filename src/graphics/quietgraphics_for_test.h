#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>

#include "graphics/graphicssystem.h"

namespace tarnvale {

/// A graphics system that is there and does nothing. Tests override what they look at.
class QuietGraphics : public GraphicsSystem {
public:
    explicit QuietGraphics(std::string name, int description = 0, std::string libraries = "")
        : GraphicsSystem(std::move(name), description, std::move(libraries)) {}
    [[nodiscard]] int GetTextureSize() const override { return 512; }
    [[nodiscard]] TextureHandle* CreateTexture(std::span<const std::byte> /*pixels*/,
                                               TextureUse /*use*/) override {
        return nullptr;
    }
    void DestroyTexture(TextureHandle* /*handle*/) override {}
    void RecycleTexture(TextureHandle* /*handle*/) override {}
    Status Shutdown() override {
        window_ = nullptr;
        return StatusCode::Ok;
    }
    [[nodiscard]] int CheckAvailable() const override { return 0; }
    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override {
        return nullptr;
    }
    void SetDepthWrite(bool /*enable*/) override {}
    void SetAlphaTest(bool /*enable*/) override {}
    void SetAlphaFunction(AlphaFunction /*function*/, float /*reference*/) override {}
    void EnableLight(int /*index*/, bool /*enable*/) override {}
    void SetLight(int /*index*/, const Vec3f& /*position*/, const Vec3f& /*direction*/,
                  COLOR /*colour*/) override {}
    void SetAmbient(COLOR /*colour*/) override {}
    Status EndFrame() override { return StatusCode::Ok; }
    void DrawLines(std::span<const Vec3f> /*vertices*/, COLOR /*colour*/,
                   LineMode /*mode*/) override {}
    void DrawPoints(std::span<const Vec3f> /*vertices*/, COLOR /*colour*/) override {}
    void DrawSubterrainVeil() override {}
    void DrawMeshes(const RenderMeshBatch& /*batch*/) override {}
    void SetModelMatrix(std::span<const double, 16> /*matrix*/) override {}
    void BeginFrame(const RenderCamera& /*camera*/, int /*width*/, int /*height*/,
                    FramePass /*pass*/) override {}
    [[nodiscard]] DrawCounters Counters() const override { return {}; }

private:
    Status OpenDevice() override { return StatusCode::Ok; }
};

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>

#include "graphics/graphicssystem.h"
#include "graphics/opengl/meshgather.h"
#include "graphics/opengl3/globject.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

/// A texture on the card. Eight bits a channel, as display values.
class OpenGL3Texture final : public TextureHandle {
public:
    OpenGL3Texture(GraphicsSystem* owner, GlTexture texture)
        : TextureHandle(owner, texture.Name()), texture_(std::move(texture)) {}
    void Abandon() noexcept { texture_.Abandon(); }

    GatherPlace place;
    std::uint64_t bytes = 0;  ///< as counted against the budget
    int width = 0, height = 0;
    TextureUse use = TextureUse::Terrain;
    bool halved = false;      ///< has its smaller copies
    bool copiesPaid = false;  ///< these are counted in `bytes`: a third more
    bool mirrored = false;    ///< a sky that goes around there and back

private:
    GlTexture texture_;
};

/// The textures of one context: those in use and those that wait to be used again, counted against
/// the budget that all views share. Smaller copies of a tile, for filtering, are made on the card
/// from that tile alone: no neighbour's texels come in. Thread: that of the context, which must be
/// current.
class TileTextures {
public:
    using Map = std::map<std::uint64_t, std::unique_ptr<OpenGL3Texture>>;

    explicit TileTextures(std::shared_ptr<TextureBudget> budget) : budget_(std::move(budget)) {}
    void Open();
    void SetPixelBuffers(bool use) noexcept { buffered_ = use; }
    /// @param current  false: the context is gone, and the textures with it
    void Close(bool current);

    struct Wanted {
        int width, height;
        TextureUse use;
        bool copies;  ///< smaller ones, if not now, then soon
    };
    /// @param pixels  width x height pixels in blue, green, red, alpha (Sky: spare), bottom row
    ///                first
    /// @return null when memory or the budget is out; changes nothing then
    [[nodiscard]] OpenGL3Texture* Create(GraphicsSystem* owner, std::span<const std::byte> pixels,
                                         const Wanted& wanted);
    [[nodiscard]] OpenGL3Texture* Find(const GraphicsSystem* owner, const TextureHandle* handle);
    void Destroy(OpenGL3Texture& texture);
    void Recycle(OpenGL3Texture& texture);
    /// Makes the smaller copies of the texture bound.
    void Halve(OpenGL3Texture& texture);

    /// @return a texture in use by its native name, or null
    [[nodiscard]] OpenGL3Texture* Named(std::uint64_t name);

private:
    [[nodiscard]] Map::iterator TakeOrMake(GraphicsSystem* owner, std::uint64_t bytes);
    [[nodiscard]] bool Fill(OpenGL3Texture& texture, std::span<const std::byte> pixels, int width,
                            int height, TextureUse use);
    [[nodiscard]] bool SendPixels(std::span<const std::byte> pixels, int width, int height);

    std::shared_ptr<TextureBudget> budget_;
    Map live_, recycled_;
    GlBuffer pixels_;  // what is on its way to the card
    bool buffered_ = true;
};

}  // namespace tarnvale

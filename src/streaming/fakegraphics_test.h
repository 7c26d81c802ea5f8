#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "graphics/quietgraphics_for_test.h"
#include "streaming/bandwidthlimitedtexture.h"
#include "streaming/tilesource.h"
#include "terrain/quietterrain_for_test.h"

namespace tarnvale::fake {

/// What a tagged tile carries in each of its pixels.
inline std::uint32_t TagOf(int level, int entry) {
    return static_cast<std::uint32_t>(level + 1) << 24 | static_cast<std::uint32_t>(entry);
}
inline constexpr std::uint32_t kMixedTag = 0xFFFFFFFF;

/// The tag that all pixels of a buffer carry; kMixedTag where they differ.
inline std::uint32_t TagIn(std::span<const std::byte> pixels) {
    std::uint32_t tag = 0;
    std::memcpy(&tag, pixels.data(), sizeof tag);
    for (std::size_t i = 0; i < pixels.size(); i += sizeof tag) {
        std::uint32_t other = 0;
        std::memcpy(&other, pixels.data() + i, sizeof other);
        if (other != tag) return kMixedTag;
    }
    return tag;
}

class TaggedTexture final : public TextureHandle {
public:
    TaggedTexture(GraphicsSystem* owner, std::uint64_t native, std::uint32_t tag)
        : TextureHandle(owner, native), tag_(tag) {}
    [[nodiscard]] std::uint32_t Tag() const noexcept { return tag_; }

private:
    std::uint32_t tag_;
};

/// Keeps the tag of every texture, and refuses more textures than it is allowed.
class FakeGraphics final : public QuietGraphics {
public:
    explicit FakeGraphics(int side, std::size_t most = ~std::size_t{0})
        : QuietGraphics("fake"), side_(side), most_(most) {
        pixelFormat_ = TexturePixelFormat::Bgra;
    }
    [[nodiscard]] int GetTextureSize() const override { return side_; }
    [[nodiscard]] TextureHandle* CreateTexture(std::span<const std::byte> pixels,
                                               TextureUse) override {
        if (live_.size() >= most_) return nullptr;
        auto texture = std::make_unique<TaggedTexture>(this, next_++, TagIn(pixels));
        TextureHandle* handle = texture.get();
        live_[handle] = std::move(texture);
        peak = std::max(peak, live_.size());
        made.push_back(Tag(handle));
        return handle;
    }
    void DestroyTexture(TextureHandle* handle) override { destroyed += live_.erase(handle); }
    void RecycleTexture(TextureHandle* handle) override { recycled += live_.erase(handle); }
    void Allow(std::size_t most) { most_ = most; }
    [[nodiscard]] std::size_t Live() const { return live_.size(); }
    [[nodiscard]] static std::uint32_t Tag(const TextureHandle* handle) {
        return static_cast<const TaggedTexture*>(handle)->Tag();
    }
    std::size_t destroyed = 0, recycled = 0, peak = 0;
    std::vector<std::uint32_t> made;  ///< tags, in the order of arrival

    [[nodiscard]] std::unique_ptr<GraphicsSystem> CreateInstance() const override {
        return std::make_unique<FakeGraphics>(side_, most_);
    }

private:
    int side_;
    std::size_t most_;
    std::uint64_t next_ = 1;
    std::map<TextureHandle*, std::unique_ptr<TaggedTexture>> live_;
};

/// A flat square of cells one unit wide.
class FakeTerrain final : public QuietTerrain {
public:
    explicit FakeTerrain(int samples) : QuietTerrain("fake", samples, samples) { open_ = true; }
    FakeTerrain(int samples, const GeoTransform& grid, const COORDREFSYS& system)
        : FakeTerrain(samples) {
        placed_ = TransGenInit(transform_, grid, system).Good();
    }
    [[nodiscard]] bool Placed() const { return placed_; }

private:
    bool placed_ = false;
};

/// Tiles of which every pixel carries the tile's tag.
class TaggedTiles : public TileSource {
public:
    /// @param finestLevel  finer tiles fail
    explicit TaggedTiles(const TextureDomain& domain, int finestLevel = 0)
        : domain_(domain), finestLevel_(finestLevel) {}
    [[nodiscard]] const TextureDomain& Domain() const override { return domain_; }
    [[nodiscard]] bool HasPixels(const TileEntry& tile) const override {
        const auto span = static_cast<int>(tile.Level().Span());
        const int x = static_cast<int>(tile.Column()) * span;
        const int y = static_cast<int>(tile.Row()) * span;
        return x < domain_.xOffset + domain_.rasterColumns && x + span > domain_.xOffset &&
               y < domain_.yOffset + domain_.rasterRows && y + span > domain_.yOffset;
    }
    [[nodiscard]] TileRead Read(const TileEntry& tile, std::span<std::byte> pixels) override {
        if (!HasPixels(tile) || tile.Level().Index() < finestLevel_) return TileRead::Nothing;
        const std::uint32_t tag = TagOf(tile.Level().Index(), tile.Index());
        for (std::size_t i = 0; i < pixels.size(); i += sizeof tag) {
            std::memcpy(pixels.data() + i, &tag, sizeof tag);
        }
        ++reads;
        return TileRead::Whole;
    }
    std::atomic<int> reads{0};

private:
    TextureDomain domain_;
    int finestLevel_;
};

inline TextureDomain WholeDomain(int side) {
    return {.width = side,
            .height = side,
            .rasterColumns = side,
            .rasterRows = side,
            .x1 = side,
            .y1 = side};
}

inline TileSourceFactory Tagged(const TextureDomain& domain, int finestLevel = 0) {
    return [domain, finestLevel](const ZPFObjectItem&, const TerrainModel&, int, TexturePixelFormat,
                                 std::unique_ptr<TileSource>& source) {
        source = std::make_unique<TaggedTiles>(domain, finestLevel);
        return Status(StatusCode::Ok);
    };
}

inline ZPFObjectItem AnyItem() {
    ZPFObjectItem item;
    item.header.number = 1;
    return item;
}

inline RenderCamera CameraAt(const Vec3f& eye, float fieldOfView) {
    RenderCamera camera;
    camera.eye = eye;
    camera.fieldOfView = fieldOfView;
    return camera;
}

/// One strip of `pairs` cells of side `step` from a corner on, eastward; rows go south, y down.
inline TerrainPrimitive Strip(float x, float row, float step, int pairs) {
    TerrainPrimitive strip{.kind = PrimitiveKind::Strip, .vertices = {}};
    for (int i = 0; i <= pairs; ++i) {
        const float column = x + static_cast<float>(i) * step;
        strip.vertices.Append(Vec3f{column, -row, 0});
        strip.vertices.Append(Vec3f{column, -(row + step), 0});
    }
    return strip;
}

}  // namespace tarnvale::fake

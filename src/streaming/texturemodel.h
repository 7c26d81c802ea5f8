#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "graphics/graphicssystem.h"
#include "graphics/rendermesh.h"
#include "terrain/terrainmodel.h"
#include "zpf/zpffile.h"

namespace tarnvale {

/// Figures of one texture for traces, statistics and tests.
struct TextureFigures {
    std::uint32_t resident = 0, limit = 0, inFlight = 0;
    std::uint32_t uploads = 0;  ///< in the last Service
    std::uint64_t uploadsEver = 0;
    std::uint32_t wishes = 0;        ///< made in the last frame, several for one tile counted apart
    std::uint64_t damagedTiles = 0;  ///< tiles that couldn't be decoded and stay blank
};

/// Which tile a mesh of a batch wears: level index (0 finest) and entry index; level -1 for none.
struct TileName {
    std::int32_t level = -1, entry = -1;
};

/// Lays an image on the terrain: one instance for each texture layer and view.
/// Thread: the frame cycle's; nothing here waits except Open and Close.
class TextureModel {
public:
    virtual ~TextureModel() = default;
    TextureModel(const TextureModel&) = delete;
    TextureModel& operator=(const TextureModel&) = delete;

    [[nodiscard]] virtual std::unique_ptr<TextureModel> CreateInstance() const = 0;
    /// @param terrain, graphics  on loan until Close
    /// @return BadState for null graphics; 0 otherwise, also when the texture can't be used: the
    /// model
    ///         then stays closed and the layer is plain
    virtual Status Open(const ZPFObjectItem& item, const TerrainModel& terrain,
                        GraphicsSystem* graphics) = 0;
    virtual void Close() = 0;
    virtual void SetView(const RenderCamera& camera, int width, int height) = 0;
    /// Cuts a primitive into lists of triangles by tile. The batch is valid until the next call.
    [[nodiscard]] virtual const RenderMeshBatch& Prepare(const TerrainPrimitive& primitive) = 0;
    /// Once after the terrain's Draw: takes at most what the loader has ready, asks for more,
    /// evicts.
    virtual void Service() = 0;

    [[nodiscard]] virtual TextureFigures Figures() const = 0;
    /// Which tile a mesh's texture is; for traces.
    [[nodiscard]] virtual TileName NameOf(const TextureHandle* texture) const = 0;
    /// True when no tile is on its way and the last frame wished for none.
    [[nodiscard]] virtual bool Settled() const = 0;

    [[nodiscard]] bool IsOpen() const noexcept { return open_; }
    [[nodiscard]] const std::string& Name() const noexcept { return name_; }
    /// World x, y of the raster's first corner and of its opposite corner.
    [[nodiscard]] const std::array<double, 4>& Extent() const noexcept { return extent_; }
    void SetProgress(Progress* progress) noexcept { progress_ = progress; }

protected:
    explicit TextureModel(std::string name);
    void ResetExtent();

    Progress* progress_ = nullptr;
    bool open_ = false;
    std::array<double, 4> extent_{};

private:
    std::string name_;
};

/// The kinds of texture model, by index; "bandwidth_limited_resource" at 0. A value, filled at
/// start.
class TextureModelRegistry {
public:
    TextureModelRegistry();
    [[nodiscard]] std::string Name(int index) const;
    [[nodiscard]] std::unique_ptr<TextureModel> CreateInstance(int index) const;

private:
    std::vector<std::unique_ptr<TextureModel>> prototypes_;
};

}  // namespace tarnvale

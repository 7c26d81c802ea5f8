#pragma once

#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "base/types.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "landscape/simfile.h"
#include "simulator/box.h"
#include "simulator/layerplacement.h"
#include "simulator/viewer.h"
#include "streaming/texturemodel.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Makes the models of a scene: a program's registries, or fakes in tests.
class SceneModels {
public:
    virtual ~SceneModels() = default;
    /// @return a closed model, or null where there is no such kind
    [[nodiscard]] virtual std::unique_ptr<TerrainModel> MakeTerrain(int index) const = 0;
    [[nodiscard]] virtual std::unique_ptr<TextureModel> MakeTexture(int index) const = 0;
    /// @return the kind's name, empty where there is none
    [[nodiscard]] virtual std::string TerrainName(int index) const = 0;
    [[nodiscard]] virtual std::string TextureName(int index) const = 0;
};

class RegisteredModels final : public SceneModels {
public:
    [[nodiscard]] std::unique_ptr<TerrainModel> MakeTerrain(int index) const override;
    [[nodiscard]] std::unique_ptr<TextureModel> MakeTexture(int index) const override;
    [[nodiscard]] std::string TerrainName(int index) const override;
    [[nodiscard]] std::string TextureName(int index) const override;

private:
    TerrainModelRegistry terrains_;
    TextureModelRegistry textures_;
};

/// The graphics system of each view, on loan; null marks a view that isn't open.
using ViewSystems = std::array<GraphicsSystem*, View::kCount>;

/// One texture of a layer. A model for each view, since textures belong to a graphics system; a
/// model is open while the texture is visible in its view.
struct TextureLayer {
    ZPFObjectItem item;
    std::array<bool, View::kCount> visible{};
    float verticalOffset = 0;  ///< elevation units
    IntRect bounds;            ///< grid cells that it covers, last column and row included
    std::array<std::unique_ptr<TextureModel>, View::kCount> models;
};

/// One terrain of the landscape with its textures. The models hold loans of the terrain, so the
/// textures stand behind it and go first.
struct TerrainLayer {
    ZPFObjectItem item;
    std::unique_ptr<TerrainModel> terrain;
    std::vector<TextureLayer> textures;
    Box box;  ///< reference scene; elevations without exaggeration
    LayerPlacement placement;
    std::array<std::vector<IntRect>, View::kCount>
        extents;  ///< bounds of what is visible, for culling
};

/// What can be raised or lowered against its terrain, with the names that the file gives.
struct LayerOffset {
    std::string layer, name;
    float offset = 0;  ///< elevation units
};

/// Lowest and highest offset; the wrong way round where there is none.
struct OffsetRange {
    float minimum = std::numeric_limits<float>::max();
    float maximum = std::numeric_limits<float>::lowest();
};

/// The layers of an open landscape. The first is the reference layer: positions, north and
/// exaggeration refer to it, and the others are placed in its scene. Opens whole or not at all.
/// Thread: the frame cycle's.
class Scene final : public GroundHeights {
public:
    /// @param models, systems  on loan
    Scene(const SceneModels& models, const ViewSystems& systems, Progress* progress);
    ~Scene() override;
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Makes the layers and loads their terrains. Takes nothing from the graphics systems, so that
    /// another scene may still live in them. Once, on an empty scene.
    /// @return NoLandscape without a terrain; the terrain's error, and the scene is of no use
    Status OpenTerrains(const QNLIST<SimTerrainEntry>& terrains, int terrainIndex,
                        int textureIndex);
    /// Makes the first texture of each layer visible everywhere. Can't fail: what can't be used
    /// leaves its layer plain. Once, after OpenTerrains and after another scene of the same
    /// graphics systems has gone, whose textures would take the room of these.
    void OpenTextures() noexcept;

    /// Replaces the models of all layers. On failure the old ones stay.
    /// @return BadState for no such kind; the terrain's error
    Status SetTerrainModel(int index);
    Status SetTextureModel(int index);

    /// The view's system changed: drops the view's texture models, then makes new ones if there is
    /// one.
    void AttachView(int view);
    /// Drops the view's texture models while the old system still lives.
    void DetachView(int view);

    /// @return BadState for an index out of range
    Status SetTextureVisible(int layer, int texture, int view, bool on);

    /// The vertical offsets of all textures, layer by layer, as SetOffsets takes them.
    [[nodiscard]] std::vector<LayerOffset> Offsets() const;
    /// Gives each texture its offset and each terrain the list of its textures' offsets, so that
    /// culling sees every height at which the terrain is drawn. Models set later get the list too.
    /// @param offsets  elevation units, as many as Offsets answers and in that order
    /// @return BadState, and nothing is changed, for another count or a number that isn't finite
    Status SetOffsets(std::span<const float> offsets);
    /// Of the textures, as SetOffsets set them last.
    [[nodiscard]] const OffsetRange& TextureOffsets() const noexcept { return offsetRange_; }

    [[nodiscard]] bool Ready(ReadyLevel level) const;
    [[nodiscard]] const std::vector<std::unique_ptr<TerrainLayer>>& Layers() const {
        return layers_;
    }
    [[nodiscard]] const TerrainModel& Reference() const { return *layers_.front()->terrain; }
    [[nodiscard]] bool Empty() const noexcept { return layers_.empty(); }
    /// All layers together; elevations without exaggeration.
    [[nodiscard]] const Box& WholeBox() const noexcept { return box_; }
    /// What a view shows, vertical offsets included; elevations without exaggeration. Empty if
    /// nothing.
    [[nodiscard]] Box VisibleBox(int view) const;
    /// The longer side of the layer loaded last, scene units.
    [[nodiscard]] float LongerSide() const;

    [[nodiscard]] float FirstLayer(float x, float y) const override;
    [[nodiscard]] float LastLayer(float x, float y) const override;

    /// Degrees from grid north to true north at a scene point.
    [[nodiscard]] float NorthDegrees(float x, float y) const;
    /// Map coordinates of the reference layer and elevation to the scene, and back.
    Status MapToScene(const Vec3d& map, float exaggeration, Vec3f& scene) const;
    Status SceneToMap(const Vec3f& scene, float exaggeration, Vec3d& map) const;

    void SetFieldOfView(float degrees);
    /// True when every open texture model of a view that is drawn has all tiles that it wished for.
    [[nodiscard]] bool Settled() const;

private:
    Status OpenTerrain(const ZPFObjectItem& dem, int index,
                       std::unique_ptr<TerrainModel>& terrain) const;
    void Place(TerrainLayer& layer);
    void PlaceAll();
    void OpenModels(TerrainLayer& layer, int view) noexcept;
    void OpenModel(TextureLayer& texture, const TerrainModel& terrain, int view);
    void CloseModels(int view);
    static void RebuildExtents(TerrainLayer& layer) noexcept;
    static IntRect BoundsOf(const TextureModel& model, const TerrainModel& terrain);

    const SceneModels& models_;
    const ViewSystems& systems_;
    Progress* progress_;
    int textureIndex_ = 0;
    std::vector<std::unique_ptr<TerrainLayer>> layers_;
    Box box_;
    OffsetRange offsetRange_;
    bool offsetsSet_ = false;  // until then each terrain has its one offset of 0
};

}  // namespace tarnvale

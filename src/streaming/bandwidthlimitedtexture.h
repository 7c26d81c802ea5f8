#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "streaming/blrtcach.h"
#include "streaming/meshpool.h"
#include "streaming/texturemapping.h"
#include "streaming/texturemodel.h"
#include "streaming/tilehandoff.h"
#include "streaming/tileloader.h"
#include "streaming/tilepyramid.h"
#include "streaming/trianglechooser.h"
#include "streaming/wishlist.h"

namespace tarnvale {

/// Opens where the tiles of a texture come from.
/// @param side    of a tile in pixels; @param format  of the pixels wanted
/// @param source  out, set only on success
using TileSourceFactory =
    std::function<Status(const ZPFObjectItem& item, const TerrainModel& terrain, int side,
                         TexturePixelFormat format, std::unique_ptr<TileSource>& source)>;

/// The texture model of a landscape whose imagery is far larger than texture memory: a pyramid of
/// square tiles, of which those in view are read by a thread, one at a time, from coarse to fine.
/// Each triangle gets the tile that fits its size on the screen, or the nearest coarser one that is
/// there; what isn't there yet is asked for. A triangle that no tile fits is plain.
class BandwidthLimitedTexture final : public TextureModel {
public:
    /// @param factory  none: rasters of landscape files
    explicit BandwidthLimitedTexture(TileSourceFactory factory = {});
    ~BandwidthLimitedTexture() override;

    [[nodiscard]] std::unique_ptr<TextureModel> CreateInstance() const override;
    Status Open(const ZPFObjectItem& item, const TerrainModel& terrain,
                GraphicsSystem* graphics) override;
    void Close() override;
    void SetView(const RenderCamera& camera, int width, int height) override;
    [[nodiscard]] const RenderMeshBatch& Prepare(const TerrainPrimitive& primitive) override;
    void Service() override;

    /// `wishes` counts the different tiles wished for.
    [[nodiscard]] TextureFigures Figures() const override;
    [[nodiscard]] TileName NameOf(const TextureHandle* texture) const override;
    [[nodiscard]] bool Settled() const override;

private:
    /// Where the triangles of one texture go, within one Prepare.
    struct MeshSlot {
        std::uint64_t batch = 0;  // the Prepare that it belongs to
        RenderMesh* mesh = nullptr;
    };

    Status OpenParts(const ZPFObjectItem& item, const TerrainModel& terrain);
    void MarkEmptyTiles();
    void Free();

    void Cut(const TerrainPrimitive& primitive);
    /// Slot of the tile that a triangle of the run gets, marked as used; 0 for none.
    [[nodiscard]] std::uint32_t ChooseTile(std::uint32_t i);
    /// Walks up from a tile that isn't resident, wishing on the way.
    [[nodiscard]] std::uint32_t NearestResident(TileEntry& wanted, float density);
    [[nodiscard]] RenderMesh& MeshOf(std::uint32_t slot);

    void TakeFinishedTiles();
    void TakeFailedTiles();
    void RequestTiles();
    void EndFlight(TileEntry& tile);

    TileSourceFactory factory_;
    GraphicsSystem* graphics_ = nullptr;  // on loan while open
    RenderMeshBatch batch_;
    std::uint64_t batchNumber_ = 0;
    MeshPool pool_;
    std::vector<MeshSlot> meshes_;  // by slot of the cache; 0 for plain triangles

    TilePyramid pyramid_;
    TriangleChooser chooser_;
    TriangleView view_;
    ResidentTileCache cache_;
    WishList wishes_;
    FailedTiles failed_;
    TileHandoff handoff_;
    TileLoader loader_;  // uses failed_ and handoff_ until closed

    std::vector<TileEntry*> flights_;  // tiles in flight, refused ones with them
    std::uint32_t openWishes_ = 0;     // of the last frame, for tiles that can be had
    std::uint32_t wishesMade_ = 0;
    std::uint32_t uploads_ = 0;
    std::uint64_t uploadsEver_ = 0;
};

}  // namespace tarnvale

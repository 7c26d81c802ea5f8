#include "streaming/bandwidthlimitedtexture.h"

#include <algorithm>
#include <new>
#include <numbers>
#include <span>
#include <utility>

#include "streaming/rastertilesource.h"

namespace tarnvale {

namespace {

constexpr const char* kName = "bandwidth_limited_resource";

Status OpenRaster(const ZPFObjectItem& item, const TerrainModel& terrain, int side,
                  TexturePixelFormat format, std::unique_ptr<TileSource>& source) {
    auto raster = std::make_unique<RasterTileSource>();
    const Status opened = raster->Open(item, terrain, side, format);
    if (opened.Good()) source = std::move(raster);
    return opened;
}

}  // namespace

BandwidthLimitedTexture::BandwidthLimitedTexture(TileSourceFactory factory)
    : TextureModel(kName), factory_(factory ? std::move(factory) : OpenRaster) {}

BandwidthLimitedTexture::~BandwidthLimitedTexture() {
    Free();
}

std::unique_ptr<TextureModel> BandwidthLimitedTexture::CreateInstance() const {
    return std::make_unique<BandwidthLimitedTexture>(factory_);
}

Status BandwidthLimitedTexture::Open(const ZPFObjectItem& item, const TerrainModel& terrain,
                                     GraphicsSystem* graphics) try {
    Free();
    if (graphics == nullptr) return _SetErrPosn(StatusCode::BadState);
    graphics_ = graphics;
    // A layer without a texture, or with one that can't be used, is plain; that is no failure.
    if (item.header.number < 0 || !OpenParts(item, terrain).Good()) {
        Free();
        return StatusCode::Ok;
    }
    open_ = true;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    Free();
    return StatusCode::Ok;
}

Status BandwidthLimitedTexture::OpenParts(const ZPFObjectItem& item, const TerrainModel& terrain) {
    const int side = graphics_->GetTextureSize();
    const TexturePixelFormat format = graphics_->PixelFormat();
    if (side <= 0) return _SetErrPosn(StatusCode::BadState);
    std::unique_ptr<TileSource> source;
    if (const Status made = factory_(item, terrain, side, format, source); !made.Good()) {
        return made;
    }
    const TextureDomain domain = source->Domain();
    const auto pixels = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
    const std::size_t bytes = pixels * static_cast<std::size_t>(BytesPerPixel(format));
    if (const Status started = loader_.Open(std::move(source), bytes, failed_); !started.Good()) {
        return started;
    }
    const int log2Side = IntegerLog2(static_cast<std::uint32_t>(side), LogRounding::Up);
    if (const Status built = pyramid_.BuildPyramid(domain.width, domain.height, log2Side);
        !built.Good()) {
        return built;
    }
    TerrainTextureMapping mapping;
    if (const Status fits =
            mapping.Make(terrain.GetColumns(), terrain.GetRows(), terrain.CellWidth(),
                         terrain.CellHeight(), domain.width, domain.height);
        !fits.Good()) {
        return fits;
    }
    extent_ = {mapping.ToWorldX(static_cast<float>(domain.xOffset)),
               mapping.ToWorldY(static_cast<float>(domain.yOffset)),
               mapping.ToWorldX(static_cast<float>(domain.xOffset + domain.rasterColumns)),
               mapping.ToWorldY(static_cast<float>(domain.yOffset + domain.rasterRows))};
    chooser_.SetDomain(mapping, domain.width, domain.height,
                       static_cast<int>(pyramid_.Levels().size()));
    cache_.Reset(pyramid_);
    wishes_.Reset(pyramid_.Entries().size());
    MarkEmptyTiles();
    loader_.SetHandoff(&handoff_);

    TileEntry& root = pyramid_.Root();
    const std::span<const std::byte> rootPixels = loader_.LoadNow(&root);
    TextureHandle* texture =
        rootPixels.empty() ? nullptr : graphics_->CreateTexture(rootPixels, TextureUse::Terrain);
    if (texture == nullptr) {
        return _SetErrPosn(StatusCode::BadState,
                           "the texture's coarsest tile can't be loaded; free some memory");
    }
    try {
        meshes_.resize(2);
        flights_.reserve(16);
        cache_.Insert(root, texture);
    } catch (const std::bad_alloc&) {
        graphics_->DestroyTexture(texture);
        return _SetErrPosn(StatusCode::NoMemory);
    }
    ++uploadsEver_;
    return StatusCode::Ok;
}

void BandwidthLimitedTexture::MarkEmptyTiles() {
    const TileSource& source = *loader_.Source();
    for (TileEntry& tile : pyramid_.Entries()) tile.empty = !source.HasPixels(tile);
}

void BandwidthLimitedTexture::Close() {
    Free();
}

void BandwidthLimitedTexture::Free() {
    open_ = false;
    loader_.Close();
    if (graphics_ != nullptr) cache_.Clear(*graphics_);
    while (failed_.Take() != nullptr) {
    }
    handoff_.Reset();
    wishes_.Reset(0);
    pyramid_.Clear();
    batch_.clear();
    graphics_ = nullptr;
    flights_.clear();
    openWishes_ = wishesMade_ = uploads_ = 0;
    uploadsEver_ = 0;
    ResetExtent();
}

void BandwidthLimitedTexture::SetView(const RenderCamera& camera, int /*width*/, int height) {
    const auto field =
        static_cast<float>(static_cast<double>(camera.fieldOfView) * (std::numbers::pi / 180.0));
    const float pixelsPerRadian = field > 0 ? static_cast<float>(height) / field : 0.0F;
    if (view_.eye != camera.eye || view_.pixelsPerRadian != pixelsPerRadian) {
        cache_.ViewChanged();
    }
    view_ = {camera.eye, pixelsPerRadian};
}

const RenderMeshBatch& BandwidthLimitedTexture::Prepare(const TerrainPrimitive& primitive) try {
    batch_.clear();
    if (!open_) return batch_;
    pool_.ReleaseAll();
    ++batchNumber_;
    Cut(primitive);
    return batch_;
} catch (const std::bad_alloc&) {
    batch_.clear();  // these triangles are lost for a frame
    return batch_;
}

void BandwidthLimitedTexture::Cut(const TerrainPrimitive& primitive) {
    const std::span<const Vec3f> vertices = primitive.vertices.Span();
    const std::uint32_t total = TriangleChooser::Count(primitive.kind, primitive.vertices.Count());
    constexpr std::uint32_t kNoSlot = ~0U;
    std::uint32_t current = kNoSlot;
    RenderMesh* mesh = nullptr;
    const ResidentTile* tile = nullptr;
    // Room for all triangles still to come is claimed at each change of tile and given back at the
    // next, so that writing a triangle needs no check.
    Vec3f* corner = nullptr;
    Vec2f* coordinate = nullptr;
    const auto giveBack = [&] {
        if (mesh == nullptr) return;
        mesh->vertices.Truncate(static_cast<std::uint32_t>(corner - mesh->vertices.Data()));
        if (tile == nullptr) return;
        mesh->texcoords.Truncate(static_cast<std::uint32_t>(coordinate - mesh->texcoords.Data()));
    };
    for (std::uint32_t first = 0; first < total; first += TriangleChooser::kRun) {
        const std::uint32_t count = std::min(TriangleChooser::kRun, total - first);
        chooser_.Choose(view_, primitive.kind, vertices, first, count);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t slot = ChooseTile(i);
            if (slot != current) {
                giveBack();
                mesh = &MeshOf(slot);
                current = slot;
                const std::uint32_t room = 3 * (total - first - i);
                corner = mesh->vertices.Extend(room);
                tile = slot == 0 ? nullptr : &cache_.At(slot);
                coordinate = tile == nullptr ? nullptr : mesh->texcoords.Extend(room);
            }
            const auto indices = TriangleChooser::Corners(primitive.kind, first + i);
            for (std::size_t k = 0; k < 3; ++k) *corner++ = vertices[indices[k]];
            if (tile == nullptr) continue;
            for (std::size_t k = 0; k < 3; ++k) {
                const Vec2f pixel = chooser_.Pixel(i, k);
                *coordinate++ = {pixel.x * tile->inverseSpan - tile->column,
                                 tile->rowBelow - pixel.y * tile->inverseSpan};
            }
        }
    }
    giveBack();
}

std::uint32_t BandwidthLimitedTexture::ChooseTile(std::uint32_t i) {
    const std::int32_t index = chooser_.Level(i);
    if (index < 0) return 0;
    const TileLevel& level = pyramid_.Levels()[static_cast<std::size_t>(index)];
    const std::uint32_t column = static_cast<std::uint32_t>(chooser_.X(i)) >> level.Log2Span();
    const std::uint32_t row = static_cast<std::uint32_t>(chooser_.Y(i)) >> level.Log2Span();
    const std::uint32_t number = level.FirstNumber() + (row << level.Log2Across()) + column;
    const std::uint32_t slot = cache_.SlotOf(number);
    if (slot == 0) return NearestResident(pyramid_.At(number), chooser_.Density(i));
    cache_.MarkUsed(slot);
    return slot;
}

std::uint32_t BandwidthLimitedTexture::NearestResident(TileEntry& wanted, float density) {
    TileEntry* tile = &wanted;
    for (;;) {
        TileEntry* parent = pyramid_.Parent(*tile);
        if (parent == nullptr) return 0;
        const std::uint32_t slot = cache_.SlotOf(pyramid_.NumberOf(*parent));
        if (slot != 0) cache_.MarkUsed(slot);
        // From the top down: a tile is asked for only once its parent is there or coming.
        if (!tile->inFlight && !tile->empty && (slot != 0 || parent->inFlight)) {
            wishes_.Add(-density, pyramid_.NumberOf(*tile));
        }
        if (slot != 0) return slot;
        tile = parent;
        density *= 2;
    }
}

RenderMesh& BandwidthLimitedTexture::MeshOf(std::uint32_t slot) {
    MeshSlot& place = meshes_[slot];
    if (place.batch == batchNumber_) return *place.mesh;
    batch_.reserve(batch_.size() + 1);
    RenderMesh& mesh = pool_.Take();
    mesh.kind = PrimitiveKind::List;
    mesh.texture = slot == 0 ? nullptr : cache_.At(slot).texture;
    mesh.colour = COLOR::Plain();
    mesh.wireframe = false;
    batch_.push_back(&mesh);
    place = {batchNumber_, &mesh};
    return mesh;
}

void BandwidthLimitedTexture::EndFlight(TileEntry& tile) {
    tile.inFlight = false;
    std::erase(flights_, &tile);
}

void BandwidthLimitedTexture::Service() try {
    if (!open_) return;
    TakeFinishedTiles();
    TakeFailedTiles();
    RequestTiles();
    cache_.AgeAndEvict(*graphics_);
} catch (const std::bad_alloc&) {
    // A tile that there is no room to note stays in flight, as one that was refused.
}

void BandwidthLimitedTexture::TakeFinishedTiles() {
    uploads_ = 0;
    while (handoff_.IsMyTurn(HandoffParty::Model)) {
        TileEntry* tile = nullptr;
        std::span<const std::byte> pixels;
        TextureHandle* texture = nullptr;
        if (handoff_.Get(tile, pixels)) {
            texture = graphics_->CreateTexture(pixels, TextureUse::Terrain);
        }
        handoff_.PassTurn(HandoffParty::Model);
        if (tile == nullptr) return;
        if (texture == nullptr) {
            cache_.Shrink(*graphics_);
            // It stays in flight, so that it isn't asked for again while this texture is open.
            tile->hopeless = true;
            return;
        }
        try {
            meshes_.resize(cache_.Size() + std::size_t{2});
            cache_.Insert(*tile, texture);
        } catch (const std::bad_alloc&) {
            graphics_->DestroyTexture(texture);
            tile->hopeless = true;
            throw;
        }
        tile->hopeless = false;
        EndFlight(*tile);
        ++uploads_;
        ++uploadsEver_;
    }
}

void BandwidthLimitedTexture::TakeFailedTiles() {
    while (TileEntry* tile = failed_.Take()) {
        EndFlight(*tile);
        tile->hopeless = true;
    }
}

void BandwidthLimitedTexture::RequestTiles() {
    wishesMade_ = wishes_.Made();
    openWishes_ = static_cast<std::uint32_t>(std::ranges::count_if(
        wishes_.Wishes(), [this](const Wish& wish) { return !pyramid_.At(wish.tile).hopeless; }));
    wishes_.Grant([this](std::uint32_t number) {
        TileEntry& tile = pyramid_.At(number);
        if (tile.inFlight) return true;
        if (flights_.size() == flights_.capacity()) flights_.reserve(2 * flights_.size());
        if (!loader_.TryQueue(&tile)) return false;
        flights_.push_back(&tile);
        tile.inFlight = true;
        return true;
    });
}

TextureFigures BandwidthLimitedTexture::Figures() const {
    return {.resident = cache_.Size(),
            .limit = cache_.Limit(),
            .inFlight = static_cast<std::uint32_t>(flights_.size()),
            .uploads = uploads_,
            .uploadsEver = uploadsEver_,
            .wishes = wishesMade_,
            .damagedTiles = loader_.DamagedTiles()};
}

TileName BandwidthLimitedTexture::NameOf(const TextureHandle* texture) const {
    if (texture == nullptr) return {};
    const auto residents = cache_.Residents();
    const auto found = std::ranges::find(residents, texture, &ResidentTile::texture);
    if (found == residents.end()) return {};
    return {found->tile->Level().Index(), found->tile->Index()};
}

bool BandwidthLimitedTexture::Settled() const {
    // A tile that just came is first seen in the next frame.
    const bool coming = uploads_ > 0 || std::ranges::any_of(flights_, [](const TileEntry* tile) {
                            return !tile->hopeless;
                        });
    return cache_.Saturated() || (!coming && openWishes_ == 0);
}

}  // namespace tarnvale

#include "simulator/scene.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace tarnvale {

namespace {

constexpr double kRoundingBias = 1e-10;
constexpr double kFarCell = 1e9;  // beyond every grid, and still an integer

int Cell(double value) {
    return std::isfinite(value) ? static_cast<int>(std::clamp(value, -kFarCell, kFarCell)) : 0;
}

float HeightOf(const TerrainLayer& layer, float x, float y) {
    const Vec3f own = layer.placement.ToLayer({x, y, 0});
    return layer.terrain->NearestElevation(own.x, own.y);
}

std::vector<float> OffsetsOf(const TerrainLayer& layer) {
    std::vector<float> offsets;
    offsets.reserve(layer.textures.size());
    for (const TextureLayer& texture : layer.textures) offsets.push_back(texture.verticalOffset);
    return offsets;
}

}  // namespace

std::unique_ptr<TerrainModel> RegisteredModels::MakeTerrain(int index) const {
    return terrains_.CreateInstance(index);
}
std::unique_ptr<TextureModel> RegisteredModels::MakeTexture(int index) const {
    return textures_.CreateInstance(index);
}
std::string RegisteredModels::TerrainName(int index) const {
    return terrains_.Name(index);
}
std::string RegisteredModels::TextureName(int index) const {
    return textures_.Name(index);
}

Scene::Scene(const SceneModels& models, const ViewSystems& systems, Progress* progress)
    : models_(models), systems_(systems), progress_(progress) {}

Scene::~Scene() = default;

Status Scene::OpenTerrains(const QNLIST<SimTerrainEntry>& terrains, int terrainIndex,
                           int textureIndex) try {
    if (terrains.empty()) return _SetErrPosn(StatusCode::NoLandscape);
    if (models_.MakeTexture(textureIndex) == nullptr) return _SetErrPosn(StatusCode::BadState);
    textureIndex_ = textureIndex;
    for (const SimTerrainEntry& entry : terrains) {
        auto layer = std::make_unique<TerrainLayer>();
        layer->item = entry.dem;
        for (const ZPFObjectItem& texture : entry.textures) {
            layer->textures.emplace_back();
            layer->textures.back().item = texture;
        }
        for (std::vector<IntRect>& extents : layer->extents)
            extents.reserve(layer->textures.size());
        const Status opened = OpenTerrain(entry.dem, terrainIndex, layer->terrain);
        if (!opened.Good()) return opened;
        layers_.push_back(std::move(layer));
    }
    PlaceAll();
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void Scene::OpenTextures() noexcept {
    for (const auto& layer : layers_) {
        // Every texture is opened once in the main view, which tells what it covers; the first
        // stays.
        for (TextureLayer& texture : layer->textures) texture.visible[View::kMain] = true;
        OpenModels(*layer, View::kMain);
        for (TextureLayer& texture : layer->textures) texture.visible[View::kMain] = false;
        if (!layer->textures.empty()) layer->textures.front().visible.fill(true);
        OpenModels(*layer, View::kMain);
    }
    for (int view = 0; view < View::kCount; ++view) {
        for (const auto& layer : layers_) OpenModels(*layer, view);
    }
    for (const auto& layer : layers_) RebuildExtents(*layer);
}

Status Scene::OpenTerrain(const ZPFObjectItem& dem, int index,
                          std::unique_ptr<TerrainModel>& terrain) const {
    std::unique_ptr<TerrainModel> model = models_.MakeTerrain(index);
    if (model == nullptr) return _SetErrPosn(StatusCode::BadState);
    model->SetProgress(progress_);
    const Status opened = model->Open(dem);
    if (opened.Good()) terrain = std::move(model);
    return opened;
}

void Scene::Place(TerrainLayer& layer) {
    const TerrainModel& terrain = *layer.terrain;
    layer.placement =
        &layer == layers_.front().get() ? LayerPlacement{} : LayerPlacement{terrain, Reference()};
    const float width = static_cast<float>(terrain.GetColumns()) * terrain.CellWidth();
    const float height = static_cast<float>(terrain.GetRows()) * terrain.CellHeight();
    layer.box = {};
    for (const Vec3f corner :
         {Vec3f{0, 0, 0}, {width, 0, 0}, {0, -height, 0}, {width, -height, 0}}) {
        const Vec3f placed = layer.placement.ToScene(corner);
        layer.box.AddPoint(placed.x, placed.y);
    }
    layer.box.zMin = terrain.MinimumElevation();
    layer.box.zMax = terrain.MaximumElevation();
    for (TextureLayer& texture : layer.textures)
        texture.bounds = {0, 0, terrain.GetColumns(), terrain.GetRows()};
}

void Scene::PlaceAll() {
    box_ = {};
    for (const auto& layer : layers_) {
        Place(*layer);
        box_.Add(layer->box);
    }
}

Status Scene::SetTerrainModel(int index) try {
    std::vector<std::unique_ptr<TerrainModel>> models(layers_.size());
    for (std::size_t i = 0; i < layers_.size(); ++i) {
        const Status opened = OpenTerrain(layers_[i]->item, index, models[i]);
        if (!opened.Good()) return opened;
    }
    if (offsetsSet_) {
        for (std::size_t i = 0; i < layers_.size(); ++i) {
            models[i]->SetElevationOffsets(OffsetsOf(*layers_[i]));
        }
    }
    for (int view = 0; view < View::kCount; ++view) CloseModels(view);
    for (std::size_t i = 0; i < layers_.size(); ++i) layers_[i]->terrain = std::move(models[i]);
    PlaceAll();
    for (int view = 0; view < View::kCount; ++view) AttachView(view);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status Scene::SetTextureModel(int index) {
    if (models_.MakeTexture(index) == nullptr) return _SetErrPosn(StatusCode::BadState);
    textureIndex_ = index;
    for (int view = 0; view < View::kCount; ++view) AttachView(view);
    return StatusCode::Ok;
}

void Scene::AttachView(int view) {
    CloseModels(view);
    for (const auto& layer : layers_) {
        OpenModels(*layer, view);
        RebuildExtents(*layer);
    }
}

void Scene::DetachView(int view) {
    CloseModels(view);
}

void Scene::CloseModels(int view) {
    for (const auto& layer : layers_) {
        for (TextureLayer& texture : layer->textures) texture.models[view].reset();
    }
}

// Opens what is visible and not there yet, drops what isn't visible any more.
void Scene::OpenModels(TerrainLayer& layer, int view) noexcept {
    if (systems_[view] == nullptr) return;
    for (TextureLayer& texture : layer.textures) {
        if (!texture.visible[view]) {
            texture.models[view].reset();
        } else if (texture.models[view] == nullptr) {
            OpenModel(texture, *layer.terrain, view);
        }
    }
}

// A texture that can't be used, for want of memory too, leaves no open model and the layer plain.
// What it covers then stays as it was: another view may show it.
void Scene::OpenModel(TextureLayer& texture, const TerrainModel& terrain, int view) try {
    std::unique_ptr<TextureModel> model = models_.MakeTexture(textureIndex_);
    if (model == nullptr) return;
    model->SetProgress(progress_);
    if (!model->Open(texture.item, terrain, systems_[view]).Good()) return;
    if (model->IsOpen()) texture.bounds = BoundsOf(*model, terrain);
    texture.models[view] = std::move(model);
} catch (const std::bad_alloc&) {
    (void)_SetErrPosn(StatusCode::NoMemory);
}

IntRect Scene::BoundsOf(const TextureModel& model, const TerrainModel& terrain) {
    const auto& [x0, y0, x1, y1] = model.Extent();
    const double width = terrain.CellWidth(), height = -static_cast<double>(terrain.CellHeight());
    return {
        Cell(std::floor(x0 / width + kRoundingBias)), Cell(std::floor(y0 / height + kRoundingBias)),
        Cell(std::ceil(x1 / width + kRoundingBias)), Cell(std::ceil(y1 / height + kRoundingBias))};
}

// There is room for all textures from the start.
void Scene::RebuildExtents(TerrainLayer& layer) noexcept {
    for (int view = 0; view < View::kCount; ++view) {
        layer.extents[view].clear();
        for (const TextureLayer& texture : layer.textures) {
            if (texture.visible[view]) layer.extents[view].push_back(texture.bounds);
        }
    }
}

Status Scene::SetTextureVisible(int layer, int texture, int view, bool on) {
    if (layer < 0 || layer >= static_cast<int>(layers_.size()) || !View::Exists(view) ||
        texture < 0 || texture >= static_cast<int>(layers_[layer]->textures.size())) {
        return _SetErrPosn(StatusCode::BadState);
    }
    layers_[layer]->textures[texture].visible[view] = on;
    OpenModels(*layers_[layer], view);
    RebuildExtents(*layers_[layer]);
    return StatusCode::Ok;
}

std::vector<LayerOffset> Scene::Offsets() const {
    std::vector<LayerOffset> offsets;
    for (const auto& layer : layers_) {
        for (const TextureLayer& texture : layer->textures) {
            offsets.push_back(
                {layer->item.header.name, texture.item.header.name, texture.verticalOffset});
        }
    }
    return offsets;
}

Status Scene::SetOffsets(std::span<const float> offsets) try {
    std::size_t count = 0;
    for (const auto& layer : layers_) count += layer->textures.size();
    if (offsets.size() != count ||
        !std::ranges::all_of(offsets, [](float offset) { return std::isfinite(offset); })) {
        return _SetErrPosn(StatusCode::BadState);
    }
    std::vector<std::vector<float>> lists;
    std::size_t from = 0;
    for (const auto& layer : layers_) {
        const auto own = offsets.subspan(from, layer->textures.size());
        lists.emplace_back(own.begin(), own.end());
        from += own.size();
    }

    offsetRange_ = {};
    offsetsSet_ = true;
    for (std::size_t i = 0; i < layers_.size(); ++i) {
        for (std::size_t j = 0; j < lists[i].size(); ++j) {
            layers_[i]->textures[j].verticalOffset = lists[i][j];
            offsetRange_.minimum = std::min(offsetRange_.minimum, lists[i][j]);
            offsetRange_.maximum = std::max(offsetRange_.maximum, lists[i][j]);
        }
        layers_[i]->terrain->SetElevationOffsets(std::move(lists[i]));
    }
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

bool Scene::Ready(ReadyLevel level) const {
    if (layers_.empty() || !layers_.front()->terrain->IsOpen()) return false;
    if (level == ReadyLevel::Terrain) return true;
    const auto& textures = layers_.front()->textures;
    if (textures.empty()) return false;
    const auto& model = textures.front().models[View::kMain];
    return model != nullptr && model->IsOpen();
}

Box Scene::VisibleBox(int view) const {
    Box box;
    for (const auto& layer : layers_) {
        for (const TextureLayer& texture : layer->textures) {
            if (!texture.visible[view]) continue;
            Box raised = layer->box;
            raised.zMin += texture.verticalOffset;
            raised.zMax += texture.verticalOffset;
            box.Add(raised);
        }
    }
    return box;
}

float Scene::LongerSide() const {
    if (layers_.empty()) return 0;
    const TerrainModel& terrain = *layers_.back()->terrain;
    return std::max(static_cast<float>(terrain.GetColumns()) * terrain.CellWidth(),
                    static_cast<float>(terrain.GetRows()) * terrain.CellHeight());
}

float Scene::FirstLayer(float x, float y) const {
    return layers_.empty() ? 0.0F : HeightOf(*layers_.front(), x, y);
}

float Scene::LastLayer(float x, float y) const {
    return layers_.empty() ? 0.0F : HeightOf(*layers_.back(), x, y);
}

float Scene::NorthDegrees(float x, float y) const {
    if (layers_.empty()) return 0;
    Vec3f grid{x, y, 0};
    Reference().WorldToGrid(grid);
    return static_cast<float>(Reference().GetNorthAngle(grid.x, grid.y) * 57.29577951308232);
}

Status Scene::MapToScene(const Vec3d& map, float exaggeration, Vec3f& scene) const {
    if (layers_.empty()) return _SetErrPosn(StatusCode::BadState);
    double column = map.x, row = map.y;
    const Status converted = TransGenConvPointInv(Reference().Transform(), column, row);
    if (!converted.Good()) return converted;
    scene = {static_cast<float>(column * Reference().CellWidth()),
             static_cast<float>(-row * Reference().CellHeight()),
             static_cast<float>(map.z * exaggeration)};
    return StatusCode::Ok;
}

Status Scene::SceneToMap(const Vec3f& scene, float exaggeration, Vec3d& map) const {
    if (layers_.empty()) return _SetErrPosn(StatusCode::BadState);
    double x = static_cast<double>(scene.x) / Reference().CellWidth();
    double y = -static_cast<double>(scene.y) / Reference().CellHeight();
    const Status converted = TransGenConvPointFwd(Reference().Transform(), x, y);
    if (!converted.Good()) return converted;
    map = {x, y, static_cast<double>(scene.z) / exaggeration};
    return StatusCode::Ok;
}

void Scene::SetFieldOfView(float degrees) {
    for (const auto& layer : layers_) layer->terrain->SetFieldOfView(degrees);
}

bool Scene::Settled() const {
    for (const auto& layer : layers_) {
        for (const TextureLayer& texture : layer->textures) {
            for (int view = 0; view < View::kCount; ++view) {
                const auto& model = texture.models[view];
                if (model == nullptr || !model->IsOpen()) continue;
                // What nobody sees isn't drawn, and its wishes wait until it is.
                if (systems_[view]->IsVisible() && !model->Settled()) return false;
            }
        }
    }
    return true;
}

}  // namespace tarnvale

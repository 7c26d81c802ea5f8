#include "terrain/qtmorphs.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "terrain/errortables.h"
#include "terrain/qtterrain.h"

namespace tarnvale {
namespace {

bool Touch(const NodePlan& node, const IntRect& rectangle) {
    const int side = 1 << node.level;
    return node.x0 + side >= rectangle.x0 && node.x0 <= rectangle.x1 &&
           node.y0 + side >= rectangle.y0 && node.y0 <= rectangle.y1;
}

}  // namespace

QuadtreeMorphTerrain::QuadtreeMorphTerrain() : TerrainModel("quadtree_morph", "quadtree_morph") {}

QuadtreeMorphTerrain::~QuadtreeMorphTerrain() = default;

std::unique_ptr<TerrainModel> QuadtreeMorphTerrain::CreateInstance() const {
    return std::make_unique<QuadtreeMorphTerrain>();
}

Status QuadtreeMorphTerrain::Open(const ZPFObjectItem& dem) {
    Close();
    ElevationGrid elevations;
    if (const Status loaded = elevations.Load(dem, progress_); !loaded.Good()) return loaded;
    return OpenGrid(std::move(elevations));
}

Status QuadtreeMorphTerrain::OpenGrid(ElevationGrid elevations) try {
    Close();
    auto terrain = std::make_unique<Terrain>();
    terrain->elevations = std::move(elevations);
    const ElevationGrid& grid = terrain->elevations;
    if (const Status built = terrain->hierarchy.Build(grid.Columns(), grid.Rows()); !built.Good()) {
        return built;
    }
    terrain->mesher.Create(grid, terrain->hierarchy.Shape());
    const QuadtreeLevel& finest = terrain->hierarchy.Levels().front();
    terrain->levels.Create(finest.Columns(), finest.Rows());
    if (const Status filled = FillErrorTables(grid, terrain->hierarchy, progress_);
        !filled.Good()) {
        return filled;
    }
    terrain->lowest = grid.Minimum();
    terrain->highest = grid.Maximum();
    const QuadtreeLevel& coarsest = terrain->hierarchy.Coarsest();
    for (std::uint32_t node = 0; node < coarsest.NodeCount(); ++node) {
        terrain->lowest = std::min(terrain->lowest, coarsest.Minimum()[node]);
        terrain->highest = std::max(terrain->highest, coarsest.Maximum()[node]);
    }
    cellWidth_ = grid.CellWidth();
    cellHeight_ = grid.CellHeight();
    transform_ = grid.ToMap();
    minimumElevation_ = grid.Minimum();
    maximumElevation_ = grid.Maximum();
    terrain_ = std::move(terrain);
    open_ = true;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory, "no memory for the terrain");
}

void QuadtreeMorphTerrain::Close() {
    terrain_.reset();
    morphed_ = false;
    open_ = false;
}

Status QuadtreeMorphTerrain::Update(const RenderCamera& camera, const ViewPyramid& pyramid,
                                    int width, int height, std::span<const IntRect> regions) try {
    if (!open_) return _SetErrPosn(StatusCode::BadState, "no terrain is open");
    pixelTolerance_ = static_cast<float>((1.0 - Quality() * 0.01) * 20.0 + 1.0);
    eye_ = camera.eye;
    lookAt_ = camera.lookAt;
    up_ = camera.up;
    pyramid_ = pyramid;
    SetFieldOfView(camera.fieldOfView);
    if (!(fieldOfViewRadians_ > 0.0F)) {
        return _SetErrPosn(StatusCode::BadState, "the field of view isn't above 0");
    }
    if (width <= 0 || height <= 0) return _SetErrPosn(StatusCode::BadState, "the view has no size");
    width_ = width;
    height_ = height;
    regions_.assign(regions.begin(), regions.end());
    verticalScale_ = VerticalScale();
    morphed_ = false;

    const SelectionView view = {.eye = eye_,
                                .fieldOfView = fieldOfViewRadians_,
                                .viewportHeight = static_cast<float>(height_),
                                .pixelTolerance = pixelTolerance_,
                                .verticalScale = verticalScale_,
                                .cellWidth = cellWidth_,
                                .cellHeight = cellHeight_,
                                .regions = regions_,
                                .offsets = offsets_};
    terrain_->selector.Select(terrain_->hierarchy, view, pyramid_, terrain_->levels);
    const std::span<const NodePlan> plans = terrain_->selector.Plans();
    terrain_->mesher.Reserve(plans);
    terrain_->mesher.ResetBorders(plans);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    terrain_->selector.Clear();
    return _SetErrPosn(StatusCode::NoMemory, "no memory for the selection of the terrain");
}

Status QuadtreeMorphTerrain::Draw(TerrainSink& sink, const IntRect& rectangle) try {
    if (!open_) return StatusCode::Ok;
    for (const NodePlan& node : terrain_->selector.Plans()) {
        // A node that isn't sent still serves its neighbours, once in each view.
        const bool wanted = Touch(node, rectangle);
        if (wanted || !morphed_) terrain_->mesher.Morph(node);
        if (wanted) terrain_->mesher.Emit(node, verticalScale_, sink);
    }
    morphed_ = true;
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return StatusCode::Ok;
}

void QuadtreeMorphTerrain::MorphAll() {
    if (morphed_) return;
    for (const NodePlan& node : terrain_->selector.Plans()) terrain_->mesher.Morph(node);
    morphed_ = true;
}

int QuadtreeMorphTerrain::GetRows() const {
    return open_ ? terrain_->elevations.Rows() : 0;
}

int QuadtreeMorphTerrain::GetColumns() const {
    return open_ ? terrain_->elevations.Columns() : 0;
}

float QuadtreeMorphTerrain::GetElevation(int x, int y) const {
    return open_ ? terrain_->elevations.Elevation(x, y) : 0.0F;
}

float QuadtreeMorphTerrain::GetDisplayHeight(float worldX, float worldY) {
    if (!open_) return 0.0F;
    MorphAll();
    const double x = static_cast<double>(worldX / cellWidth_);
    const double y = static_cast<double>(-worldY / cellHeight_);
    return terrain_->elevations.ElevationNear(x, y);
}

float QuadtreeMorphTerrain::GetNorthAngle(float x, float y) const {
    const TransGen* toReference = open_ ? terrain_->elevations.ToReference() : nullptr;
    if (toReference == nullptr) return 0.0F;
    constexpr double step = 10.5;    // metres
    constexpr double nothing = 0.2;  // metres that say nothing of a direction
    double northX = static_cast<double>(x);
    double northY = static_cast<double>(y);
    if (!TransGenConvPointFwd(*toReference, northX, northY).Good()) return 0.0F;
    northY += step;
    if (!TransGenConvPointInv(*toReference, northX, northY).Good()) return 0.0F;
    const double dx = (northX - static_cast<double>(x)) * static_cast<double>(cellWidth_);
    const double dy = (northY - static_cast<double>(y)) * static_cast<double>(cellHeight_);
    if (std::abs(dx) < nothing && std::abs(dy) < nothing) return 0.0F;
    return static_cast<float>(-std::atan2(dx, -dy));
}

std::span<const SelectedNode> QuadtreeMorphTerrain::Selection() const noexcept {
    if (!open_) return {};
    return terrain_->selector.Selection();
}

}  // namespace tarnvale

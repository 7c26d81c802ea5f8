#include "tools/demo.h"

#include <cassert>
#include <cstddef>

#include "tools/demo_cover.h"
#include "tools/demo_ground.h"
#include "tools/demo_paint.h"
#include "tools/demo_relief.h"
#include "tools/demo_water.h"

namespace tarnvale {

struct DemoLandscape::Parts {
    demo::Waters waters;
    demo::Terrain terrain;
    demo::Cover cover;
    std::unique_ptr<const demo::Painter> painter;
};

DemoLandscape::DemoLandscape(const DemoOptions& options, Progress* progress)
    : parts_(std::make_unique<Parts>()) {
    assert(options.size >= 65 && options.reliefSize >= 129);
    assert(options.textureSize % (options.size - 1) == 0);
    const demo::Workers workers(options.threads);
    const demo::Step step = [progress] {
        if (progress == nullptr) return true;
        progress->Pulse();
        return !progress->Cancelled();
    };
    if (progress != nullptr) {
        progress->Begin(
            "Making a landscape",
            demo::kReliefSteps + demo::kWaterSteps + demo::kTerrainSteps + demo::kCoverSteps, 1.0);
    }
    const bool whole = [&] {
        demo::Grid<float> relief =
            demo::MakeRelief(options.seed, options.reliefSize, workers, step);
        if (relief.Empty()) return false;
        parts_->waters = demo::MakeWaters(options.seed, std::move(relief), workers, step);
        if (parts_->waters.bed.Empty()) return false;
        parts_->terrain =
            demo::MakeTerrain(options.seed, options.size, parts_->waters, workers, step);
        if (parts_->terrain.heights.Empty()) return false;
        parts_->cover = demo::MakeCover(options.seed, parts_->waters, workers, step);
        return !parts_->cover.Empty();
    }();
    if (!whole) {
        parts_->waters = {};
        parts_->waters.levels.assign(1, 0.0F);
        parts_->terrain.bed = demo::Grid<float>(options.size, -50.0F);
        parts_->terrain.lake = demo::Grid<std::uint8_t>(options.size);
        parts_->terrain.heights = demo::Grid<std::int16_t>(options.size);
        parts_->cover = demo::Cover(2);
    }
    parts_->painter = std::make_unique<const demo::Painter>(
        options.seed, options.textureSize, parts_->terrain, parts_->waters, parts_->cover);
    if (progress != nullptr) progress->End();
}

DemoLandscape::~DemoLandscape() = default;

int DemoLandscape::Size() const {
    return parts_->terrain.heights.Side();
}

double DemoLandscape::CellSize() const {
    return static_cast<double>(demo::kExtent) / (Size() - 1);
}

std::span<const std::int16_t> DemoLandscape::Heights() const {
    return parts_->terrain.heights.Cells();
}

void DemoLandscape::RenderTextureTile(int x, int y, int width, int height,
                                      std::span<std::uint8_t> rgb) const {
    assert(rgb.size() >= static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    parts_->painter->Paint(x, y, width, height, rgb);
}

}  // namespace tarnvale

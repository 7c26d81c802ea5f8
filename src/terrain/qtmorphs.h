#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "terrain/elevgrid.h"
#include "terrain/qtselect.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Terrain as a quadtree over one elevation grid whose levels morph into each other: detail follows
/// the viewer without popping, and no crack opens between neighbours of different levels. Built
/// anew for each view of each frame: Update selects, Draw morphs and sends. Thread: the frame
/// cycle's only.
class QuadtreeMorphTerrain final : public TerrainModel, public TerrainIntersector {
public:
    QuadtreeMorphTerrain();
    ~QuadtreeMorphTerrain() override;

    [[nodiscard]] std::unique_ptr<TerrainModel> CreateInstance() const override;
    Status Open(const ZPFObjectItem& dem) override;
    /// The same from elevations in memory. @return NotBuilt for fewer than 9 x 9 samples, NoMemory,
    /// Cancelled; the model is then closed
    Status OpenGrid(ElevationGrid elevations);
    /// Always Ok; what can't get memory isn't sent.
    Status Draw(TerrainSink& sink, const IntRect& rectangle) override;
    void Close() override;
    /// Also NoMemory, nothing then being selected.
    Status Update(const RenderCamera& camera, const ViewPyramid& pyramid, int width, int height,
                  std::span<const IntRect> regions) override;
    [[nodiscard]] int GetRows() const override;
    [[nodiscard]] int GetColumns() const override;
    [[nodiscard]] float GetElevation(int x, int y) const override;
    [[nodiscard]] float GetDisplayHeight(float worldX, float worldY) override;
    [[nodiscard]] float GetNorthAngle(float x, float y) const override;
    [[nodiscard]] const TerrainIntersector* GetIntersector() const override { return this; }
    [[nodiscard]] bool HasFeature(TerrainFeature feature) const override {
        return feature == TerrainFeature::ElevationQueries ||
               feature == TerrainFeature::Intersection;
    }
    [[nodiscard]] bool Intersect(const Vec3d& a, const Vec3d& b, const COORDREFSYS& system,
                                 Vec3d& hit) const override;

    /// What the last Update selected, in drawing order; empty while closed. Valid until the next
    /// Update.
    [[nodiscard]] std::span<const SelectedNode> Selection() const noexcept;
    /// Greatest vertical error in force, pixels.
    [[nodiscard]] float PixelTolerance() const noexcept { return pixelTolerance_; }

private:
    struct Terrain;  // what exists while open
    void MorphAll();

    std::unique_ptr<Terrain> terrain_;
    float pixelTolerance_ = 4.0F;
    Vec3f eye_, lookAt_, up_;
    ViewPyramid pyramid_;
    int width_ = 0, height_ = 0;  // of the view, pixels
    std::vector<IntRect> regions_;
    float verticalScale_ = 1.0F;  // as at the last Update
    bool morphed_ = false;        // all of the selection, since the last Update
};

}  // namespace tarnvale

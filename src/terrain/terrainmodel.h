#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/progress.h"
#include "base/status.h"
#include "base/types.h"
#include "base/vec3f.h"
#include "geom/transgen.h"
#include "graphics/rendermesh.h"
#include "terrain/viewpyramid.h"
#include "zpf/zpffile.h"

namespace tarnvale {

/// Takes the terrain's primitives as they are made.
class TerrainSink {
public:
    virtual ~TerrainSink() = default;
    /// @param primitive  scene coordinates; valid until the call returns, may be changed in place
    virtual void DrawTerrainMesh(TerrainPrimitive& primitive) = 0;
};

/// Meets a ray with the ground.
class TerrainIntersector {
public:
    virtual ~TerrainIntersector() = default;
    /// @param a, b    two points of the ray in `system`; z in scene heights (elevation x vertical
    /// scale)
    /// @param hit     out: first meeting point from `a` on; x, y in `system`, z an elevation (no
    /// scale)
    /// @return false where the ray never meets the ground
    [[nodiscard]] virtual bool Intersect(const Vec3d& a, const Vec3d& b, const COORDREFSYS& system,
                                         Vec3d& hit) const = 0;
};

/// Features that HasFeature knows.
enum class TerrainFeature : std::int32_t { ElevationQueries = 1, Intersection = 2 };

/// A terrain whatever draws it: its place in the world, its elevation range, queries, and the
/// process-wide values that drive level of detail. Grid: x column, y row downward, sample (x, y) at
/// (x + 0.5, y + 0.5). World (the scene's): x = grid x * cell width, y = -(grid y * cell height),
/// z = elevation * VerticalScale(). Map: coordinates of the raster's georeference, 64-bit.
/// Thread: the frame cycle's only.
class TerrainModel {
public:
    virtual ~TerrainModel() = default;
    TerrainModel(const TerrainModel&) = delete;
    TerrainModel& operator=(const TerrainModel&) = delete;

    /// @return a closed model of the same kind
    [[nodiscard]] virtual std::unique_ptr<TerrainModel> CreateInstance() const = 0;
    /// Closes, then loads the elevation raster. @return the store's error, BadState, NoMemory,
    /// NotBuilt, Cancelled; the model is then closed
    virtual Status Open(const ZPFObjectItem& dem) = 0;
    /// Sends the primitives of the nodes that the last Update selected and that touch `rectangle`.
    /// @param rectangle  grid cells, touching counts
    virtual Status Draw(TerrainSink& sink, const IntRect& rectangle) = 0;
    virtual void Close() = 0;
    /// Selects the nodes for a view. @param regions  grid cells that take part, from the view's
    /// textures
    /// @return BadState on a closed model, a field of view not above 0, or a size of 0: the last
    ///         selection then stays
    virtual Status Update(const RenderCamera& camera, const ViewPyramid& pyramid, int width,
                          int height, std::span<const IntRect> regions) = 0;
    [[nodiscard]] virtual int GetRows() const = 0;
    [[nodiscard]] virtual int GetColumns() const = 0;
    /// Elevation of a sample, held into the grid; the minimum elevation where it is null. Open
    /// only.
    [[nodiscard]] virtual float GetElevation(int x, int y) const = 0;
    /// Elevation of the sample nearest to a world point, held into the grid. Open only.
    [[nodiscard]] float NearestElevation(float worldX, float worldY) const;
    /// Elevation of the nearest sample, after the walk that morphs all selected nodes.
    [[nodiscard]] virtual float GetDisplayHeight(float worldX, float worldY) = 0;
    /// @param x, y  grid. @return radians between grid north and true north, 0 where unknown
    [[nodiscard]] virtual float GetNorthAngle(float x, float y) const = 0;
    [[nodiscard]] virtual const TerrainIntersector* GetIntersector() const { return nullptr; }
    [[nodiscard]] virtual bool HasFeature(TerrainFeature) const { return false; }
    virtual void SettingsChanged() {}

    void SetFieldOfView(float degrees) noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return open_; }
    [[nodiscard]] float FieldOfViewDegrees() const noexcept { return fieldOfView_; }
    [[nodiscard]] float FieldOfViewRadians() const noexcept { return fieldOfViewRadians_; }
    [[nodiscard]] float CellWidth() const noexcept { return cellWidth_; }  ///< world units (metres)
    [[nodiscard]] float CellHeight() const noexcept { return cellHeight_; }
    [[nodiscard]] float MinimumElevation() const noexcept { return minimumElevation_; }
    [[nodiscard]] float MaximumElevation() const noexcept { return maximumElevation_; }
    [[nodiscard]] const TransGen& Transform() const noexcept {
        return transform_;
    }  ///< grid to map
    [[nodiscard]] const std::string& Name() const noexcept { return name_; }
    [[nodiscard]] const std::string& SecondText() const noexcept { return secondText_; }
    void GridToWorld(Vec3f& point) const noexcept;
    void WorldToGrid(Vec3f& point) const noexcept;
    /// Ground under a line of sight. @param a, b  world. @param toPlane  see the implementation
    /// @param result  out: map x, y, and an elevation
    [[nodiscard]] bool PickPoint(const Vec3f& a, const Vec3f& b, Vec3d& result, bool toPlane) const;
    /// Heights at which this terrain is drawn beside 0, elevation units; for culling.
    void SetElevationOffsets(std::vector<float> offsets) { offsets_ = std::move(offsets); }
    [[nodiscard]] std::span<const float> ElevationOffsets() const noexcept { return offsets_; }
    void SetProgress(Progress* progress) noexcept {
        progress_ = progress;
    }  ///< on loan, may be null

    // Process-wide level-of-detail values.
    static void SetQuality(double percent, bool save);
    [[nodiscard]] static double Quality();      ///< in force, 0 to 100
    [[nodiscard]] static double UserQuality();  ///< last set by hand
    static void SetFrameRate(double framesPerSecond, bool save);
    [[nodiscard]] static double FrameRate();
    static void SetQualityStep(double step);
    static void StepQualityUp();
    static void StepQualityDown();
    /// Ignored outside 0.01 to 100.
    static void SetVerticalScale(float scale);
    [[nodiscard]] static float VerticalScale();
    /// Moves the quality towards the wanted frame rate; only where `TerrainChoice` is 2.
    static void RegulateFrameRate(double measured);

protected:
    TerrainModel(std::string name, std::string secondText);

    Progress* progress_ = nullptr;
    std::vector<float> offsets_{0.0F};
    bool open_ = false;
    float fieldOfView_ = 90.0F, fieldOfViewRadians_ = 1.5707964F;
    float cellWidth_ = 1.0F, cellHeight_ = 1.0F;
    TransGen transform_;
    float minimumElevation_ = 0, maximumElevation_ = 0;

private:
    std::string name_, secondText_;
};

/// The kinds of terrain that a program knows, by index; a value, filled at start.
class TerrainModelRegistry {
public:
    /// Holds the kind "quadtree_morph" at index 0.
    TerrainModelRegistry();
    [[nodiscard]] std::string Name(int index) const;
    [[nodiscard]] std::string SecondText(int index) const;
    [[nodiscard]] std::unique_ptr<TerrainModel> CreateInstance(int index) const;

private:
    std::vector<std::unique_ptr<TerrainModel>> prototypes_;
};

}  // namespace tarnvale

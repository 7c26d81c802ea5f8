#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/clock.h"
#include "base/settings.h"
#include "graphics/fixedwindow_for_test.h"
#include "graphics/quietgraphics_for_test.h"
#include "simulator/scene.h"
#include "simulator/simulatorhost.h"
#include "simulator/simulatr.h"

// Stand-ins that write down who was called, in one log, so that tests can read the order of a
// frame.
namespace tarnvale::fakes {

using Log = std::vector<std::string>;

/// A program that nothing reaches.
class QuietHost : public SimulatorHost {
public:
    void RunFrame() override {}
    bool ChangeGraphicsSystem(GraphicsSystem*) override { return false; }
    void FocusMainWindow() override {}
    bool ChangeInputSystem(InputSystem*) override { return false; }
    void SetViewTitle(int, const std::string&) override {}
    void ShowView(int, bool) override {}
    void RebuildMenus() override {}
    void OnViewClicked(bool, bool) override {}
    bool MayReplaceLandscape() override { return true; }
};

class RecordingGraphics final : public QuietGraphics {
public:
    RecordingGraphics(Log& log, std::string name)
        : QuietGraphics(name), log_(log), name_(std::move(name)) {}
    void SetDepthWrite(bool) override { Note("depth write"); }
    void SetAlphaTest(bool enable) override { Note(enable ? "alpha on" : "alpha off"); }
    void SetAlphaFunction(AlphaFunction function, float reference) override {
        Note("alpha function " + std::to_string(static_cast<int>(function)) + " " +
             std::to_string(reference));
    }
    void EnableLight(int, bool) override { Note("light"); }
    void SetLight(int, const Vec3f&, const Vec3f&, COLOR) override { Note("light"); }
    void SetAmbient(COLOR) override { Note("ambient"); }
    Status EndFrame() override {
        Note("end");
        return endStatus;
    }
    void DrawLines(std::span<const Vec3f>, COLOR, LineMode) override { Note("lines"); }
    void DrawPoints(std::span<const Vec3f>, COLOR) override { Note("points"); }
    void DrawSubterrainVeil() override { Note("veil"); }
    void DrawMeshes(const RenderMeshBatch& batch) override {
        Note(batch.front()->wireframe ? "wire meshes" : "meshes");
        meshes.insert(meshes.end(), batch.front()->vertices.begin(), batch.front()->vertices.end());
    }
    void SetModelMatrix(std::span<const double, 16>) override { Note("matrix"); }
    void Flush() override { Note("flush"); }
    void BeginFrame(const RenderCamera& given, int, int, FramePass pass) override {
        camera = given;
        Note(pass == FramePass::Full ? "begin" : "begin overlay");
    }

    RenderCamera camera;
    std::vector<Vec3f> meshes;
    Status endStatus = StatusCode::Ok;

private:
    void Note(const std::string& what) { log_.push_back(name_ + " " + what); }
    Log& log_;
    std::string name_;
};

/// A flat grid at a height, one strip a Draw.
struct FakeTerrainSpec {
    int columns = 65, rows = 65;
    float cell = 10, height = 100, top = 300, bottom = 0;
    GeoTransform grid{0, 1, 0, 0, 0, -1};
    std::string system;  // as COORDREFSYS::FromText reads it; empty for none
    StatusCode open = StatusCode::Ok, update = StatusCode::Ok, draw = StatusCode::Ok;
    float northRadians = 0;
    bool pickable = true;  // rays meet the plane at its height, also beyond its edges
};

class FakeTerrain final : public TerrainModel, private TerrainIntersector {
public:
    FakeTerrain(Log& log, const std::map<std::string, FakeTerrainSpec>& specs)
        : TerrainModel("fake", ""), log_(log), specs_(specs) {}
    [[nodiscard]] std::unique_ptr<TerrainModel> CreateInstance() const override { return nullptr; }
    Status Open(const ZPFObjectItem& dem) override {
        name_ = dem.header.name;
        spec_ = specs_.at(name_);
        if (spec_.open != StatusCode::Ok) return _SetErrPosn(spec_.open, "no such terrain");
        cellWidth_ = cellHeight_ = spec_.cell;
        minimumElevation_ = spec_.bottom;
        maximumElevation_ = spec_.top;
        COORDREFSYS system;
        if (!spec_.system.empty()) {
            if (const Status made = COORDREFSYS::FromText(spec_.system, system); !made.Good())
                return made;
        }
        if (const Status made = TransGenInit(transform_, spec_.grid, system); !made.Good())
            return made;
        open_ = true;
        return StatusCode::Ok;
    }
    Status Draw(TerrainSink& sink, const IntRect&) override {
        log_.push_back(name_ + " draw");
        strip_.kind = PrimitiveKind::Strip;
        strip_.vertices.Clear();
        for (const Vec3f corner :
             {Vec3f{0, 0, 1}, Vec3f{0, -1, 2}, Vec3f{1, 0, 3}, Vec3f{1, -1, 4}}) {
            strip_.vertices.Append(corner);
        }
        sink.DrawTerrainMesh(strip_);
        strip_.vertices.Truncate(2);
        sink.DrawTerrainMesh(strip_);  // too short to be drawn
        return spec_.draw == StatusCode::Ok ? StatusCode::Ok : _SetErrPosn(spec_.draw);
    }
    void Close() override { open_ = false; }
    Status Update(const RenderCamera&, const ViewPyramid&, int, int,
                  std::span<const IntRect> regions) override {
        log_.push_back(name_ + " update " + std::to_string(regions.size()));
        return spec_.update == StatusCode::Ok ? StatusCode::Ok : _SetErrPosn(spec_.update);
    }
    [[nodiscard]] int GetRows() const override { return spec_.rows; }
    [[nodiscard]] int GetColumns() const override { return spec_.columns; }
    [[nodiscard]] float GetElevation(int, int) const override { return spec_.height; }
    [[nodiscard]] float GetDisplayHeight(float, float) override { return spec_.height; }
    [[nodiscard]] float GetNorthAngle(float, float) const override { return spec_.northRadians; }
    [[nodiscard]] const TerrainIntersector* GetIntersector() const override {
        return spec_.pickable ? this : nullptr;
    }
    /// A level plane without end.
    [[nodiscard]] bool Intersect(const Vec3d& a, const Vec3d& b, const COORDREFSYS&,
                                 Vec3d& hit) const override {
        const double above = a.z - spec_.height * VerticalScale();
        if (!((a.z - b.z) * above > 0)) return false;
        const double share = above / (a.z - b.z);
        hit = {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share,
               static_cast<double>(spec_.height)};
        return true;
    }

private:
    Log& log_;
    const std::map<std::string, FakeTerrainSpec>& specs_;
    std::string name_;
    FakeTerrainSpec spec_;
    TerrainPrimitive strip_;
};

class FakeTexture final : public TextureModel {
public:
    FakeTexture(Log& log, int& alive, const int& room)
        : TextureModel("fake"), log_(log), alive_(alive), room_(room) {
        ++alive_;
    }
    ~FakeTexture() override { --alive_; }
    [[nodiscard]] std::unique_ptr<TextureModel> CreateInstance() const override { return nullptr; }
    Status Open(const ZPFObjectItem& item, const TerrainModel&, GraphicsSystem*) override {
        name_ = item.header.name;
        // below 0: a texture that can't be used; and there is room for so many only
        open_ = item.header.number >= 0 && alive_ <= room_;
        extent_ = {0, 0, 650, -650};
        return StatusCode::Ok;
    }
    void Close() override { open_ = false; }
    void SetView(const RenderCamera&, int, int) override { log_.push_back(name_ + " view"); }
    [[nodiscard]] const RenderMeshBatch& Prepare(const TerrainPrimitive& primitive) override {
        log_.push_back(name_ + " prepare");
        mesh_.Clear();
        mesh_.vertices.Append(primitive.vertices.Span());
        return batch_;
    }
    void Service() override { log_.push_back(name_ + " service"); }
    [[nodiscard]] TextureFigures Figures() const override { return {}; }
    [[nodiscard]] TileName NameOf(const TextureHandle*) const override { return {}; }
    [[nodiscard]] bool Settled() const override { return true; }

private:
    Log& log_;
    int& alive_;
    const int& room_;
    std::string name_;
    RenderMesh mesh_;
    RenderMeshBatch batch_{&mesh_};
};

class FakeModels final : public SceneModels {
public:
    explicit FakeModels(Log& log, const std::map<std::string, FakeTerrainSpec>& specs,
                        int& aliveTextures, const int& textureRoom)
        : log_(log), specs_(specs), alive_(aliveTextures), room_(textureRoom) {}
    [[nodiscard]] std::unique_ptr<TerrainModel> MakeTerrain(int index) const override {
        return index == 0 ? std::make_unique<FakeTerrain>(log_, specs_) : nullptr;
    }
    [[nodiscard]] std::unique_ptr<TextureModel> MakeTexture(int index) const override {
        return index == 0 ? std::make_unique<FakeTexture>(log_, alive_, room_) : nullptr;
    }
    [[nodiscard]] std::string TerrainName(int index) const override {
        return index == 0 ? "fake" : "";
    }
    [[nodiscard]] std::string TextureName(int index) const override {
        return index == 0 ? "fake" : "";
    }

private:
    Log& log_;
    const std::map<std::string, FakeTerrainSpec>& specs_;
    int& alive_;
    const int& room_;
};

class ManualClock final : public Clock {
public:
    [[nodiscard]] std::uint32_t GetTickCount() const override { return milliseconds; }
    [[nodiscard]] std::uint32_t GetTicksPerSecond() const override { return 1000; }
    std::uint32_t milliseconds = 1000;
};

/// A layer with textures as a landscape file lists them; a name that begins with '-' can't be used.
inline SimTerrainEntry Entry(const std::string& dem, const std::vector<std::string>& textures) {
    SimTerrainEntry entry;
    entry.dem.header.name = dem;
    for (const std::string& name : textures) {
        ZPFObjectItem item;
        item.header.name = name;
        item.header.number = name.front() == '-' ? kNoObject : 1;
        entry.textures.push_back(item);
    }
    return entry;
}

/// A simulator over these stand-ins, seen in windows of 200 x 100 pixels. The landscape "land" is
/// 650 x 650 units of level ground at 100.
class World {
public:
    World() {
        Reset();
        EXPECT_TRUE(simulator.Initialize(nullptr).Good());
    }
    ~World() {
        simulator.Unload();
        EXPECT_EQ(aliveTextures, 0);
        Reset();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// Opens a graphics system on a view, named after it.
    RecordingGraphics& Attach(int view, RenderWindow* on = nullptr) {
        graphics.push_back(std::make_unique<RecordingGraphics>(log, std::to_string(view)));
        EXPECT_TRUE(graphics.back()->Open(on != nullptr ? on : &surface).Good());
        EXPECT_TRUE(simulator.AttachGraphicsSystem(graphics.back().get(), view).Good());
        return *graphics.back();
    }
    /// Opens a landscape of these layers.
    void Build(const QNLIST<SimTerrainEntry>& layers = {Entry("land", {"a"})}) {
        ASSERT_TRUE(simulator.BuildScene(layers).Good());
    }
    /// Draws after so long. @return what was called
    const Log& Frame(std::uint32_t milliseconds = 0) {
        clock.milliseconds += milliseconds;
        log.clear();
        EXPECT_TRUE(simulator.DrawFrame(true).Good());
        return log;
    }

    Log log;
    std::map<std::string, FakeTerrainSpec> specs{{"land", {}}};
    int aliveTextures = 0, textureRoom = 100;
    ManualClock clock;
    FixedWindow surface{200, 100};
    std::vector<std::unique_ptr<RecordingGraphics>> graphics;
    Simulator simulator{std::make_unique<FakeModels>(log, specs, aliveTextures, textureRoom),
                        &clock};

private:
    static void Reset() {
        settings::VerticalExaggeration.SetUnsaved(1);
        settings::MapExtents = 100;
        TerrainModel::SetVerticalScale(1);
    }
};

}  // namespace tarnvale::fakes

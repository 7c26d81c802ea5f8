#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "base/settings.h"
#include "graphics/nullgraphics.h"
#include "graphics/offscreen/offscreenwindow.h"
#include "simulator/simulatr.h"
#include "toolrun.h"
#include "tools/renderpath.h"
#include "tools/renderstats.h"
#include "tools/rendertrace.h"
#include "zpf/sample_for_test.h"

// tarnvale-render as a whole, on landscapes made here.
namespace tarnvale {
namespace {

using nlohmann::json;
using ZPF::Dice;
using ZPF::Good;
using ZPF::ScratchFolder;

struct Outcome {
    int code = -1;
    std::string said;  // stdout and stderr together
};

/// @param arguments  parted by single spaces: no path here has any
Outcome RunRender(const std::string& arguments) {
    std::vector<std::string> parts;
    std::istringstream stream(arguments);
    for (std::string part; stream >> part;) parts.push_back(part);
    const test::Outcome outcome = test::RunTool("tarnvale-render", parts);
    return {outcome.exitStatus, outcome.out + outcome.err};
}

std::vector<json> ReadLines(const FILEPATH& path) {
    std::ifstream file(path);
    std::vector<json> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(json::parse(line));
    return lines;
}

std::size_t PlaceOf(int x, int y, int across) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(across) +
           static_cast<std::size_t>(x);
}

struct Picture {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    [[nodiscard]] bool Background(int x, int y) const {
        const std::uint8_t* p = &rgb[PlaceOf(x, y, width) * 3];
        return p[0] == 255 && p[1] == 0 && p[2] == 255;
    }
};

Picture ReadPicture(const FILEPATH& path) {
    Picture picture;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return picture;
    image.format = PNG_FORMAT_RGB;
    picture.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) == 0) return picture;
    picture.width = static_cast<int>(image.width);
    picture.height = static_cast<int>(image.height);
    return picture;
}

constexpr const char* kLoud = "--set BackgroundColor=65535,0,65535,0 ";

// A rugged grid of 257 x 257 samples, 30 m apart, with holes; its texture is grey.
class RandomLandscape {
public:
    static constexpr int kSide = 257;
    static constexpr double kCell = 30, kWest = 400000, kNorth = 5600000;

    explicit RandomLandscape(std::uint64_t seed) : heights_(kSide * kSide) {
        Dice dice(seed);
        for (int step = 64; step >= 1; step /= 4) AddNoise(dice, step);
        for (int hole = 0; hole < 20; ++hole) {
            const int x = dice.Below(kSide - 6), y = dice.Below(kSide - 6);
            for (int i = 0; i < 25; ++i) heights_[Index(x + i % 5, y + i / 5)] = kNull;
        }
    }

    Status Write(const FILEPATH& path) const {
        ZPF::RasterSpec dem =
            ZPF::Placed(ZPF::Spec("Height", ZPF::RasterType::Signed16, kSide, kSide),
                        {kWest, kCell, 0, kNorth, 0, -kCell});
        dem.hasNull = true;
        dem.nullValue = kNull;
        ZPF::RasterSpec texture =
            ZPF::Placed(ZPF::Spec("Grey", ZPF::RasterType::Composite24B, 1024, 1024),
                        {kWest + kCell / 2, kCell / 4, 0, kNorth - kCell / 2, 0, -kCell / 4});
        texture.levels = 2;
        const auto squares = [](std::size_t side) {
            std::vector<std::byte> cells(side * side * 3);
            for (std::size_t i = 0; i < cells.size(); ++i) {
                cells[i] =
                    static_cast<std::byte>(60 + (i / 3 % side / 16 + i / 3 / side / 16) % 2 * 90);
            }
            return cells;
        };
        ZPF::PROJECTWRITER writer;
        Status status = writer.Create(path);
        if (status.Good())
            status = ZPF::AddCells(writer, dem, {std::as_bytes(std::span(heights_))});
        if (status.Good()) status = ZPF::AddCells(writer, texture, {squares(1024), squares(512)});
        return status.Good() ? writer.Commit() : status;
    }

    /// The highest ground within some cells of a place, in cells from the north-west corner.
    [[nodiscard]] double Highest(double column, double row, int reach) const {
        int highest = kNull;
        for (int y = static_cast<int>(row) - reach; y <= static_cast<int>(row) + reach; ++y) {
            for (int x = static_cast<int>(column) - reach; x <= static_cast<int>(column) + reach;
                 ++x) {
                const int height =
                    heights_[Index(std::clamp(x, 0, kSide - 1), std::clamp(y, 0, kSide - 1))];
                highest = std::max(highest, height);
            }
        }
        return highest;
    }

private:
    static constexpr std::int16_t kNull = -9999;

    static std::size_t Index(int x, int y) { return PlaceOf(x, y, kSide); }

    // Smooth hills `step` cells apart, 3 m high for each cell.
    void AddNoise(Dice& dice, int step) {
        const int across = kSide / step + 2;
        std::vector<double> knots(PlaceOf(0, across, across));
        for (double& knot : knots) knot = dice.Below(1000) * 0.003 * step;
        for (int y = 0; y < kSide; ++y) {
            for (int x = 0; x < kSide; ++x) {
                const double fx = static_cast<double>(x % step) / step,
                             fy = static_cast<double>(y % step) / step;
                const auto knot = [&](int i, int j) {
                    return knots[PlaceOf(x / step + i, y / step + j, across)];
                };
                const double height = (knot(0, 0) * (1 - fx) + knot(1, 0) * fx) * (1 - fy) +
                                      (knot(0, 1) * (1 - fx) + knot(1, 1) * fx) * fy;
                heights_[Index(x, y)] = static_cast<std::int16_t>(heights_[Index(x, y)] + height);
            }
        }
    }

    std::vector<std::int16_t> heights_;
};

class Render : public testing::Test {
protected:
    static RandomLandscape Land(std::uint64_t seed, const FILEPATH& file) {
        RandomLandscape landscape(seed);
        EXPECT_TRUE(Good(landscape.Write(file)));
        return landscape;
    }
    [[nodiscard]] Outcome Run(const std::string& arguments) const {
        return RunRender(land + " " + arguments);
    }

    ScratchFolder folder;
    std::string place = (folder / "").string(), land = place + "random.sim";
};
using CameraPath = Render;

// Level views have vertical planes for columns, so below the first ground of a column there is only
// ground. In views down on the middle there is nothing but ground. Nodes are culled by the sphere
// about their cells, while their samples stand half a cell farther on: what that half cell can
// cover at the upper and lower edge of the picture, seen from 350 m and more, isn't looked at.
TEST_F(Render, NoBackgroundShowsThroughTheTerrain) {
    constexpr int kLevelViews = 10, kViews = 24, kEdge = 24;
    constexpr double kDegree = 3.14159265358979 / 180;
    for (const std::uint64_t seed : {1U, 2U, 3U}) {
        const RandomLandscape landscape = Land(seed, land);
        Dice dice(seed + 100);
        std::vector<CameraPose> poses;
        for (int view = 0; view < kViews; ++view) {
            const bool level = view < kLevelViews;
            // Level ones look across the landscape from its rim, the others down from over its
            // middle.
            const double side = dice.Below(360) * kDegree;
            const double away = level ? 60 + dice.Below(60) : dice.Below(20);
            const double column = 128 - away * std::sin(side), row = 128 + away * std::cos(side);
            const double heading = side + (dice.Below(50) - 25) * kDegree;
            const double z = landscape.Highest(column, row, 8) + 350 + dice.Below(200);
            const double x = RandomLandscape::kWest + column * RandomLandscape::kCell;
            const double y = RandomLandscape::kNorth - row * RandomLandscape::kCell;
            const double down = level ? 0 : 1.2 + dice.Below(100) * 0.02;
            poses.push_back(
                {{x, y, z},
                 {x + std::sin(heading) * 1000, y + std::cos(heading) * 1000, z - down * 1000}});
        }
        ASSERT_TRUE(WriteCameraPath(folder / "path.csv", poses));
        for (const char* quality : {"0", "85", "100"}) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", quality " << quality);
            const Outcome outcome = Run("--camera " + place + "path.csv --size 512x288 --out " +
                                        place + "out " + kLoud + "--set TerrainQuality=" + quality);
            ASSERT_EQ(outcome.code, 0) << outcome.said;
            for (int view = 0; view < kViews; ++view) {
                char name[32];
                (void)std::snprintf(name, sizeof name, "out/frame_%05d.png", view);
                const Picture picture = ReadPicture(folder / name);
                ASSERT_EQ(picture.width, 512) << name;
                ASSERT_EQ(picture.height, 288) << name;
                int holes = 0, sky = 0;
                for (int x = 0; x < picture.width; ++x) {
                    bool ground = view >= kLevelViews;
                    for (int y = 0; y < picture.height; ++y) {
                        const bool background = picture.Background(x, y);
                        const bool counts = y >= kEdge && y < picture.height - kEdge;
                        holes += background && ground && counts ? 1 : 0;
                        sky += background ? 1 : 0;
                        ground = ground || !background;
                    }
                    EXPECT_TRUE(ground)
                        << "no ground at all in a column: the test looks the wrong way";
                }
                EXPECT_EQ(holes, 0) << name;
                if (view < kLevelViews) {
                    EXPECT_GT(sky, 0) << name << ": no background to be seen at all";
                }
            }
        }
        // Under a sky there is none, though the sky isn't drawn where the ground hides it.
        ::setenv("TARNVALE_SKY_FILE", TARNVALE_BIN "/Tarnvale.sky", 1);
        const Outcome outcome = Run("--camera " + place + "path.csv --size 512x288 --out " + place +
                                    "out " + kLoud + "--sky 1 --set SkyCentered=false");
        ::setenv("TARNVALE_SKY_FILE", "none", 1);
        ASSERT_EQ(outcome.code, 0) << outcome.said;
        for (int view = 0; view < kViews; ++view) {
            char name[32];
            (void)std::snprintf(name, sizeof name, "out/frame_%05d.png", view);
            const Picture picture = ReadPicture(folder / name);
            int holes = 0;
            for (int y = kEdge; y < picture.height - kEdge; ++y) {
                for (int x = 0; x < picture.width; ++x) holes += picture.Background(x, y) ? 1 : 0;
            }
            EXPECT_EQ(holes, 0) << name;
        }
    }
}

TEST_F(Render, ASkyStandsUprightOverTheTerrainAndCanBeLeftOut) {
    Land(5, land);
    ZPF::RasterSpec spec = ZPF::Spec("flag", ZPF::RasterType::Composite24B, 64, 32);
    spec.encoding = ZPF::TileEncoding::Lossless;
    std::vector<std::byte> cells;  // red down to 34 degrees above the horizon, then green
    for (int i = 0; i < 64 * 32; ++i) {
        const bool high = i < 64 * 20;
        cells.insert(cells.end(), {std::byte(high ? 250 : 0), std::byte(high ? 0 : 250), {}});
    }
    ASSERT_TRUE(Good(ZPF::WriteRaster(folder / "two.sky", spec, {cells})));
    // From the middle, so high that the dome meets the line of sight 23 degrees up, seen from its
    // own centre.
    ASSERT_TRUE(
        WriteCameraPath(folder / "path.csv", {{{403840, 5596160, 1500}, {403840, 5597160, 1500}}}));
    const std::string arguments =
        "--camera " + place + "path.csv --size 200x200 --out " + place + "out " + kLoud;
    ::setenv("TARNVALE_SKY_FILE", (folder / "two.sky").c_str(), 1);
    const Outcome with = Run(arguments + "--sky flag");
    const Picture sky = ReadPicture(folder / "out/frame_00000.png");
    const Outcome none = Run(arguments + "--sky gale");
    const Outcome without = Run(arguments + "--set Sky=false");
    const Picture bare = ReadPicture(folder / "out/frame_00000.png");
    ::setenv("TARNVALE_SKY_FILE", "none", 1);
    ASSERT_EQ(with.code, 0) << with.said;
    ASSERT_EQ(without.code, 0) << without.said;
    EXPECT_EQ(none.code, 1);
    EXPECT_NE(none.said.find("flag"), std::string::npos) << none.said;
    ASSERT_EQ(sky.width, 200);
    ASSERT_EQ(bare.width, 200);
    for (int x = 0; x < 200; ++x) {
        const auto at = [&](int y, std::size_t channel) {
            return static_cast<int>(sky.rgb[PlaceOf(x, y, 200) * 3 + channel]);
        };
        EXPECT_GT(at(5, 0), 240) << x;
        EXPECT_GT(at(96, 1), 240) << x;
        EXPECT_LT(at(96, 0), 10) << x;
        EXPECT_TRUE(bare.Background(x, 5)) << x;
    }
}

std::size_t TrianglesIn(const json& primitive) {
    const std::size_t vertices = primitive["vertices"].size() / 3;
    if (vertices < 3) return 0;
    return primitive["kind"] == 0 ? vertices / 3 : vertices - 2;
}

TEST_F(Render, TraceTellsTheSameStoryInAllItsParts) {
    Land(7, land);
    const FILEPATH trace = folder / "trace.jsonl";
    const Outcome outcome =
        Run("--fly 6 --size 320x200 --trace-vertices --trace " + trace.string());
    ASSERT_EQ(outcome.code, 0) << outcome.said;
    const std::vector<json> lines = ReadLines(trace);
    ASSERT_EQ(lines.size(), 6U);
    for (std::size_t frame = 0; frame < lines.size(); ++frame) {
        const json& line = lines[frame];
        json wanted = json::parse(R"({"view": 16, "layer": 0, "fov": 45, "width": 320,
            "height": 200, "quality": 85, "pixel_tolerance": 4, "vertical_scale": 1,
            "offsets": [0], "regions": [[0, 0, 257, 257]]})");
        wanted["frame"] = frame;
        for (const auto& [key, value] : wanted.items()) EXPECT_EQ(line[key], value) << key;
        for (const char* key : {"eye", "look", "up"}) EXPECT_EQ(line[key].size(), 3U);
        ASSERT_EQ(line["tiles"].size(), 1U);
        for (const char* key : {"resident", "limit", "in_flight", "uploads", "wishes"}) {
            EXPECT_TRUE(line["tiles"][0][key].is_number_integer()) << key;
        }
        EXPECT_GE(line["tiles"][0]["resident"], 1);
        EXPECT_GT(line["draw_calls"], 0);

        const json& nodes = line["nodes"];
        ASSERT_GT(nodes.size(), 4U);
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            EXPECT_GE(nodes[i]["key"], nodes[i + 1]["key"]) << "coarse nodes come first";
        }
        for (const json& node : nodes) EXPECT_GE(node["level"], 3);

        const json &primitives = line["primitives"], &batches = line["batches"];
        ASSERT_EQ(primitives.size(), batches.size());
        std::size_t triangles = 0;
        for (std::size_t i = 0; i < primitives.size(); ++i) {
            const std::size_t sent = TrianglesIn(primitives[i]);
            std::size_t cut = 0;
            for (const json& mesh : batches[i]) {
                const std::size_t vertices = mesh["vertices"].size() / 3;
                EXPECT_EQ(vertices % 3, 0U) << "a batch is lists of triangles";
                EXPECT_EQ(mesh["uv"].size(), mesh["tile"].is_null() ? 0 : vertices * 2);
                cut += vertices / 3;
                // Nothing was moved: every vertex is one of the primitive's.
                for (std::size_t v = 0; v < 3; ++v) {
                    EXPECT_NE(std::ranges::find(primitives[i]["vertices"], mesh["vertices"][v]),
                              primitives[i]["vertices"].end());
                }
            }
            EXPECT_EQ(cut, sent) << "primitive " << i;
            triangles += cut;
        }
        EXPECT_EQ(line["triangles"], triangles);
    }
}

// From under the ground, a triangle without extent and a veil over the whole picture are drawn
// after the last layer.
TEST_F(Render, TraceCountsTheCallsOfTheLayerAlone) {
    Land(12, land);
    const double x = RandomLandscape::kWest + 3000, y = RandomLandscape::kNorth - 3000;
    ASSERT_TRUE(WriteCameraPath(folder / "path.csv", {{{x, y, -200}, {x + 1000, y, 0}}}));
    const Outcome outcome =
        Run("--camera " + place + "path.csv --size 320x200 --set Subterrain=true --trace " + place +
            "trace.jsonl --stats " + place + "stats.json");
    ASSERT_EQ(outcome.code, 0) << outcome.said;
    const std::vector<json> lines = ReadLines(folder / "trace.jsonl");
    ASSERT_EQ(lines.size(), 1U);
    const json stats = json::parse(std::ifstream(folder / "stats.json"));
    EXPECT_GT(lines[0]["draw_calls"], 0);
    EXPECT_EQ(stats["draw_calls"], lines[0]["draw_calls"].get<int>() + 2);
}

TEST_F(Render, TraceTellsNothingOldOfATextureThatIsNotDrawn) {
    Land(13, land);
    SimulatorFile file;
    ASSERT_TRUE(Good(file.Read(folder / "random.sim")));
    OffscreenWindow window(320, 200);  // only its size is asked for
    NullGraphicsSystem graphics;
    ASSERT_TRUE(Good(graphics.Open(&window)));
    Simulator simulator;
    ASSERT_TRUE(Good(simulator.Initialize(nullptr)));
    ASSERT_TRUE(Good(simulator.AttachGraphicsSystem(&graphics, View::kMain)));
    ASSERT_TRUE(Good(simulator.BuildScene(file)));
    TraceWriter trace(simulator, false);
    ASSERT_TRUE(trace.Open(folder / "trace.jsonl"));
    simulator.SetFrameObserver(&trace);
    const auto draw = [&simulator] {
        return simulator.PlaceByLookAt({3000, -3000, 900}, {4000, -3000, 300}, true);
    };
    const TextureModel& model =
        *simulator.GetScene()->Layers().front()->textures.front().models[View::kMain];
    for (int pass = 0; pass < 5000 && model.Figures().uploads == 0; ++pass) {
        ASSERT_TRUE(Good(draw()));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    settings::Wireframe.SetUnsaved(true);
    EXPECT_TRUE(Good(draw()));
    settings::Wireframe.SetUnsaved(false);
    ASSERT_TRUE(trace.Close());
    const std::vector<json> lines = ReadLines(folder / "trace.jsonl");
    ASSERT_GE(lines.size(), 2U);
    const json &drawn = lines[lines.size() - 2]["tiles"][0], &rests = lines.back()["tiles"][0];
    EXPECT_GT(drawn["uploads"], 0);
    EXPECT_EQ(rests["uploads"], 0);
    EXPECT_EQ(rests["wishes"], 0);
    EXPECT_EQ(rests["resident"], drawn["resident"]) << "what it holds it still holds";
    simulator.SetFrameObserver(nullptr);
    simulator.Unload();
    EXPECT_TRUE(Good(simulator.AttachGraphicsSystem(nullptr, View::kMain)));
}

TEST_F(Render, FiguresAreAllThere) {
    Land(8, land);
    for (const char* graphics : {"opengl", "null"}) {
        SCOPED_TRACE(graphics);
        const FILEPATH file = folder / "stats.json";
        const Outcome outcome =
            Run("--fly 40 --size 320x200 --stats " + file.string() + " --graphics " + graphics);
        ASSERT_EQ(outcome.code, 0) << outcome.said;
        const json stats = json::parse(std::ifstream(file));
        for (const char* key :
             {"frame_ms", "select_ms", "mesh_ms", "prepare_ms", "draw_ms", "service_ms"}) {
            EXPECT_GE(stats[key]["median"], 0) << key;
            EXPECT_GE(stats[key]["p95"], stats[key]["median"]) << key;
            EXPECT_GE(stats[key]["max"], stats[key]["p95"]) << key;
        }
        EXPECT_GT(stats["frame_ms"]["median"], 0);
        EXPECT_GT(stats["mesh_ms"]["median"], 0) << "parts are measured in some frames";
        EXPECT_GT(stats["clock_ns"], 0);
        EXPECT_GT(stats["open_s"], 0);
        EXPECT_GT(stats["first_frame_s"], stats["open_s"]);
        EXPECT_GT(stats["complete_s"], stats["first_frame_s"]);
        EXPECT_GT(stats["triangles"], 100);
        EXPECT_GE(stats["tiles_uploaded"], stats["tiles_resident"]);
        EXPECT_GT(stats["tiles_resident"], 0);
        EXPECT_GT(stats["peak_memory_mb"], 1);
        const bool draws = std::string(graphics) == "opengl";
        EXPECT_EQ(stats["draw_calls"] > 0, draws);
        EXPECT_EQ(stats["floor_ratio"].is_number(), draws);
    }
}

TEST_F(Render, PicturesCarryTheirPose) {
    Land(9, land);
    ZPF::WriteFile(folder / "path.csv", std::string("x,y,z,look_x,look_y,look_z\r\n"
                                                    "403000,5597000,900.5,404000,5597000,700\r\n"
                                                    "403030,5597000,900.5,404030,5597000,700\r\n"
                                                    "403060,5597000,900.5,404060,5597000,700\r\n"));
    const Outcome outcome = Run("--camera " + place + "path.csv --size 64x48 --complete --every 2" +
                                " --out " + place + "deep/out");
    ASSERT_EQ(outcome.code, 0) << outcome.said;
    EXPECT_EQ(outcome.said, "");
    EXPECT_TRUE(std::filesystem::exists(folder / "deep/out/frame_00000.png"));
    EXPECT_FALSE(std::filesystem::exists(folder / "deep/out/frame_00001.png"));
    const std::vector<char> bytes = ZPF::ReadFile(folder / "deep/out/frame_00002.png");
    const std::string text(bytes.begin(), bytes.end());
    const std::pair<const char*, const char*> chunks[] = {{"Position", "403060 5597000 900.5"},
                                                          {"LookAt", "404060 5597000 700"},
                                                          {"CRS", "EPSG:32633"},
                                                          {"Software", "Tarnvale "}};
    for (const auto& [key, value] : chunks) {
        EXPECT_NE(text.find(std::string(key) + '\0' + value), std::string::npos) << key;
    }
}

TEST_F(Render, WhatIsWrongIsSaidInOneLine) {
    Land(10, land);
    const std::vector<char> whole = ZPF::ReadFile(folder / "random.sim");
    ZPF::WriteFile(folder / "cut.sim", std::span(whole).first(whole.size() / 2));
    ZPF::WriteFile(folder / "text.sim",
                   std::string("not a landscape at all, but long enough to be one"));
    ZPF::WriteFile(folder / "path.csv",
                   std::string("x,y,z,look_x,look_y,look_z\n1,2,3,4,5,6\n1,2,3,4,5\n"));
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"no such file", place + "none.sim --fly 3", "none.sim"},
        {"not a landscape", place + "text.sim --fly 3", "text.sim"},
        {"cut off", place + "cut.sim --fly 3", "cut.sim"},
        {"no path", land, "--camera"},
        {"no such path", land + " --camera " + place + "none.csv", "none.csv"},
        {"a bad path", land + " --camera " + place + "path.csv", "line 3"},
        {"no such preference", land + " --fly 3 --set Nothing=1", "Nothing"},
        {"no value for it", land + " --fly 3 --set Fog=maybe", "Fog"},
        {"no size", land + " --fly 3 --size 12", "12"},
        {"a huge size", land + " --fly 3 --size 100000x100000", "100000"},
        {"no such graphics system", land + " --fly 3 --graphics wire", "wire"},
        {"pictures of nothing", land + " --fly 3 --graphics null --out x", "null"},
        {"an unknown option", land + " --fly 3 --sideways", "sideways"},
        {"a folder that can't be", land + " --fly 3 --out /proc/none/here", "/proc/none/here"},
        {"figures that can't be", land + " --fly 3 --size 64x48 --stats /proc/none.json",
         "/proc/none.json"},
        {"a trace that can't be", land + " --fly 3 --trace /proc/none.jsonl", "/proc/none.jsonl"},
    };
    for (const auto& [what, arguments, named] : cases) {
        SCOPED_TRACE(what);
        const Outcome outcome = RunRender(arguments);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.said, testing::StartsWith("tarnvale-render: "));
        EXPECT_THAT(outcome.said, testing::HasSubstr(named));
        EXPECT_EQ(std::ranges::count(outcome.said, '\n'), 1) << outcome.said;
    }
}

// The library is there, and no driver: as on a machine where Mesa's own are missing.
TEST_F(Render, WithoutADriverItSaysSoInOneLine) {
    Land(10, land);
    ASSERT_EQ(setenv("LIBGL_DRIVERS_PATH", "/nonexistent", 1), 0);
    const Outcome outcome = Run("--fly 2 --size 64x48");
    ASSERT_EQ(unsetenv("LIBGL_DRIVERS_PATH"), 0);
    if (outcome.code == 0) GTEST_SKIP() << "this driver has all its parts in one";
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.said, testing::HasSubstr("no driver draws OpenGL"));
    EXPECT_EQ(std::ranges::count(outcome.said, '\n'), 1) << outcome.said;
}

TEST(CameraPathText, ReadsWhatPeopleWriteAndNamesTheLineOtherwise) {
    const std::string header = "x,y,z,look_x,look_y,look_z\n";
    const std::tuple<const char*, std::string, const char*> bad[] = {
        {"nothing", "", "missing"},
        {"no header", "1,2,3,4,5,6\n", "line 1"},
        {"no frame", header, "no frame"},
        {"five numbers", header + "1,2,3,4,5,6\n\n1,2,3,4,5\n", "line 4"},
        {"seven numbers", header + "1,2,3,4,5,6,7\n", "line 2"},
        {"no number", header + "1,2,x,4,5,6\n", "line 2"},
        {"half a number", header + "1,2,3m,4,5,6\n", "line 2"},
        {"not finite", header + "1,2,nan,4,5,6\n", "line 2"},
        {"too large", header + "1,2,1e999,4,5,6\n", "line 2"},
        {"looks at itself", header + "1,2,3,1,2,3\n", "line 2"},
    };
    std::vector<CameraPose> poses;
    for (const auto& [what, text, named] : bad) {
        std::string problem;
        EXPECT_FALSE(ParseCameraPath(text, poses, problem)) << what;
        EXPECT_THAT(problem, testing::HasSubstr(named)) << what;
    }
    std::string problem;
    ASSERT_TRUE(ParseCameraPath(
        "\xEF\xBB\xBFx, y, z, look_x, look_y, look_z\r\n\r\n 1.5,-2e3, 3,4,5,6.25 \r\n"
        "7,8,9,10,11,12",
        poses, problem))
        << problem;
    ASSERT_EQ(poses.size(), 2U);
    EXPECT_EQ(poses[0].eye, (Vec3d{1.5, -2000, 3}));
    EXPECT_EQ(poses[0].lookAt, (Vec3d{4, 5, 6.25}));
    EXPECT_EQ(poses[1].lookAt, (Vec3d{10, 11, 12}));
}

TEST_F(CameraPath, APathOfOurOwnStaysAboveTheGroundAndMovesEvenly) {
    const RandomLandscape landscape = Land(11, land);
    const FILEPATH path = folder / "path.csv";
    const Outcome outcome = Run("--fly 900 --graphics null --write-camera " + path.string());
    ASSERT_EQ(outcome.code, 0) << outcome.said;
    std::vector<CameraPose> poses;
    std::string problem;
    ASSERT_TRUE(ReadCameraPath(path, poses, problem)) << problem;
    ASSERT_EQ(poses.size(), 900U);
    for (std::size_t i = 0; i < poses.size(); ++i) {
        const double column = (poses[i].eye.x - RandomLandscape::kWest) / RandomLandscape::kCell;
        const double row = (RandomLandscape::kNorth - poses[i].eye.y) / RandomLandscape::kCell;
        EXPECT_GT(poses[i].eye.z, landscape.Highest(column, row, 1) + 10) << i;
        EXPECT_TRUE(column > 10 && column < 247 && row > 10 && row < 247) << i;
        if (i == 0) continue;
        const double moved =
            std::hypot(poses[i].eye.x - poses[i - 1].eye.x, poses[i].eye.y - poses[i - 1].eye.y);
        EXPECT_NEAR(moved, 30, 1.5) << i;
        EXPECT_LT(std::abs(poses[i].eye.z - poses[i - 1].eye.z), 20) << i;
    }
}

TEST(FrameTimes, LoseWhatReadingTheClockAdded) {
    FrameTimes times;
    times.select = 1;
    times.mesh = 7;
    times.prepare = 5;
    times.draw = 3;
    times.primitives = 2;
    const FrameTimes less = WithoutClock(times, 0.5);
    EXPECT_EQ(less.select, 1);
    EXPECT_EQ(less.mesh, 5) << "two readings of each primitive's four";
    EXPECT_EQ(less.prepare, 4);
    EXPECT_EQ(less.draw, 2);
    EXPECT_EQ(WithoutClock(times, 4).mesh, 0);
    EXPECT_EQ(WithoutClock(times, 4).prepare, 0);
    const double clock = MeasureClock();
    EXPECT_GT(clock, 1e-9);
    EXPECT_LT(clock, 1e-4);
}

TEST(Summary, RanksByHand) {
    const Summary odd = Summarize({5, 1, 3});
    EXPECT_EQ(odd.median, 3);
    EXPECT_EQ(odd.p95, 5);
    std::vector<double> hundred;
    for (int i = 100; i >= 1; --i) hundred.push_back(i);
    const Summary even = Summarize(hundred);
    EXPECT_EQ(even.median, 50.5);
    EXPECT_EQ(even.p95, 95);
    EXPECT_EQ(even.max, 100);
    EXPECT_EQ(Summarize({}).max, 0);
}

}  // namespace
}  // namespace tarnvale

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "landscapes.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;

TEST(Build, WhatIsWrongIsToldInOneLineAndNothingIsLeft) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::string dem = SmallDem().Even({10}).Save(folder / "dem.tif");
    Sketch bare = SmallDem();
    bare.system.clear();
    const std::string noSystem = bare.Even({10}).Save(folder / "bare.tif");
    Sketch globe(36, 18, {-180, 10, 0, 90, 0, -10});
    globe.system = "EPSG:4326";
    const std::string wide = globe.Even({10}).Save(folder / "globe.tif");
    Sketch away(64, 64, {900000, 5, 0, 6000000, 0, -5}, GDT_Byte);
    const std::string elsewhere = away.Even({10}).Save(folder / "away.tif");
    std::ofstream(folder / "text.tif") << "no raster at all";
    std::ofstream(folder / "old.sim") << "old";
    const std::string text = (folder / "text.tif").string(), out = (outputs / "out.sim").string();
    const struct {
        const char* what;
        std::vector<std::string> arguments;
        const char* told;
    } cases[] = {
        {"no such file", {"--dem", (folder / "none.tif").string(), out}, "no such file"},
        {"not a raster", {"--dem", text, out}, "text.tif"},
        {"a folder", {"--dem", folder.string(), out}, "folder"},
        {"no CRS", {"--dem", noSystem, out}, "-a_srs"},
        {"no CRS of the image", {"--dem", dem, "--texture", noSystem, out}, "-a_srs"},
        {"no overlap", {"--dem", dem, "--texture", elsewhere, out}, "overlap"},
        {"no such band", {"--dem", dem, "--texture", dem, "-b", "4", out}, "band 4"},
        {"two bands", {"--dem", dem, "--texture", dem, "-b", "1", "-b", "1", out}, "-b"},
        {"CRS unknown", {"-t_srs", "EPSG:1", "--dem", dem, out}, "EPSG:1"},
        {"CRS in degrees", {"-t_srs", "EPSG:4326", "--dem", dem, out}, "metres"},
        {"area elsewhere", {"-te", "0", "0", "1000", "1000", "--dem", dem, out}, "-te"},
        {"area turned round",
         {"-te", "601000", "5999500", "600000", "5999900", "--dem", dem, out},
         "-te"},
        {"too wide for a zone", {"--dem", wide, out}, "-t_srs"},
        {"texture first", {"--texture", dem, "--dem", dem, out}, "before"},
        {"nothing to do", {out}, "--dem"},
        {"no output", {"--dem", dem}, "OUT.sim"},
        {"bad quality", {"--quality", "101", "--dem", dem, out}, "--quality"},
        {"file exists", {"--dem", dem, (folder / "old.sim").string()}, "--overwrite"},
        {"no such folder", {"--dem", dem, (outputs / "none" / "out.sim").string()}, "none"},
        {"no folder but a file", {"--dem", dem, text + "/out.sim"}, "out.sim"},
        {"demo of a wrong size", {"--demo", "--size", "1000", out}, "1000"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Build(c.arguments);
        EXPECT_EQ(outcome.exitStatus, 1) << c.what;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << c.what << "\n"
                                                                               << outcome.err;
        EXPECT_EQ(outcome.err.rfind("tarnvale-build: ", 0), 0U) << c.what << "\n" << outcome.err;
        EXPECT_NE(outcome.err.find(c.told), std::string::npos) << c.what << "\n" << outcome.err;
        EXPECT_EQ(FilesIn(outputs), std::vector<std::string>{}) << c.what;
    }
    EXPECT_EQ(FilesIn(folder),
              (std::vector<std::string>{"away.tif", "bare.tif", "dem.tif", "globe.tif", "old.sim",
                                        "outputs", "text.tif"}));
    // What was missing is all that was wrong.
    BuildWell({"-q", "-a_srs", "EPSG:25832", "--dem", noSystem, out});
    EXPECT_EQ(ReadRaster(out, "bare").system.EpsgCode(), 25832);
}

/// A build whose painting takes as long as the texture is large.
std::vector<std::string> LongBuild(const fs::path& folder, const std::string& side,
                                   const std::string& out) {
    return {
        "-q",
        "--overwrite",
        "--size",
        "1025",
        "--texture-size",
        side,
        "--dem",
        SmallDem().Band([](double x, double) { return (x - 600000) / 7; }).Save(folder / "dem.tif"),
        out};
}

TEST(Build, AnInterruptLeavesTheOldFileAndNothingElse) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::string out = (outputs / "out.sim").string();
    const std::vector<std::string> arguments = LongBuild(folder, "32768", out);
    for (const bool hasOld : {false, true}) {
        if (hasOld) std::ofstream(out) << "old";
        RunOptions options;
        int polls = 0;  // 5 ms each, once the work has begun
        options.interruptWhen = [&] {
            const std::vector<std::string> files = FilesIn(outputs);
            polls += files.size() > (hasOld ? 1U : 0U) ? 1 : 0;
            return polls > 60;
        };
        const Outcome outcome = Build(arguments, options);
        EXPECT_EQ(outcome.exitStatus, 130);
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(FilesIn(outputs),
                  hasOld ? std::vector<std::string>{"out.sim"} : std::vector<std::string>{});
    }
    std::string old;
    std::ifstream(out) >> old;
    EXPECT_EQ(old, "old");
}

TEST(Build, AFullDiscIsToldAndLeavesNothing) {
    const fs::path folder = FreshFolder();
    const fs::path outputs = folder / "outputs";
    fs::create_directories(outputs);
    const std::vector<std::string> arguments =
        LongBuild(folder, "4096", (outputs / "out.sim").string());
    RunOptions options;
    options.largestFile = 400000;
    const Outcome outcome = Build(arguments, options);
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.err.rfind("tarnvale-build: ", 0), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(FilesIn(outputs), std::vector<std::string>{});
}

}  // namespace
}  // namespace tarnvale::test

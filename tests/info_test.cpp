#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "landscapes.h"
#include "zpf/sample_for_test.h"

namespace tarnvale::test {
namespace {

namespace fs = std::filesystem;

TEST(Info, TellsExtentTreeAndFits) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    BuildWell({"-q", "--texture-size", "1024", "--dem",
               SmallDem()
                   .Band([](double x, double) { return (x - 600000) / 10; })
                   .Save(folder / "dem.tif"),
               out});
    const nlohmann::json info = Info(out);
    ASSERT_TRUE(info.is_object());
    EXPECT_EQ(info["valid"], true);
    const nlohmann::json expected{{"xmin", 600000.0},  {"xmax", 601280.0}, {"ymin", 5999360.0},
                                  {"ymax", 6000000.0}, {"zmin", 0.0},      {"zmax", 128.0}};
    for (const auto& [key, value] : expected.items()) {
        EXPECT_NEAR(info["extent"][key].get<double>(), value.get<double>(), 1e-6) << key;
    }
    EXPECT_EQ(info["crs"]["epsg"], 25832);
    ASSERT_EQ(info["objects"].size(), 2U);
    EXPECT_EQ(info["objects"][1]["raster"]["columns"], 1024);
    EXPECT_EQ(info["objects"][1]["raster"]["pyramid"][0]["factor"], 2);
    ASSERT_EQ(info["fits"].size(), 1U);
    EXPECT_EQ(info["fits"][0]["fits"], true);

    const Outcome text = RunTool("tarnvale-info", {out});
    EXPECT_EQ(text.exitStatus, 0) << text.err;
    EXPECT_NE(text.out.find("\"dem_map\" is a texture of \"dem\""), std::string::npos) << text.out;
}

TEST(Info, RefusesWhatIsNoLandscapeInOneLine) {
    const fs::path folder = FreshFolder();
    const std::string out = (folder / "out.sim").string();
    const std::string dem = SmallDem().Even({10}).Save(folder / "dem.tif");
    BuildWell({"-q", "--dem", dem, out});
    std::ifstream in(out, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    std::ofstream(folder / "half.sim", std::ios::binary) << whole.substr(0, whole.size() / 2);
    std::ofstream(folder / "empty.sim", std::ios::binary) << "";
    std::string flipped = whole;
    for (std::size_t i = 100; i < flipped.size(); i += 97)
        flipped[i] = static_cast<char>(~flipped[i]);
    std::ofstream(folder / "flipped.sim", std::ios::binary) << flipped;
    for (const std::string name :
         {"none.sim", "half.sim", "empty.sim", "flipped.sim", "dem.tif", "."}) {
        const Outcome outcome = RunTool("tarnvale-info", {(folder / name).string()});
        EXPECT_EQ(outcome.exitStatus, 1) << name;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << name << "\n"
                                                                               << outcome.err;
        EXPECT_EQ(outcome.err.rfind("tarnvale-info: ", 0), 0U) << name << "\n" << outcome.err;
    }
}

// To describe a coordinate reference system takes milliseconds.
TEST(Info, TellsOfEndlessRastersInTheirOwnTime) {
    const fs::path folder = FreshFolder();
    const fs::path path = folder / "many.sim";
    ASSERT_TRUE(ZPF::Good(ZPF::WriteLandscape(path)));
    const std::string numbers =
        "WITH RECURSIVE n(i) AS (VALUES (10) UNION ALL SELECT i + 1 FROM n LIMIT 20000) ";
    ZPF::RunSql(path,
                numbers +
                    "INSERT INTO zpf_object SELECT i, iif(i = 10, 0, 10), iif(i = 10, 2, 3), "
                    "'r' || i, '', 0 FROM n;" +
                    numbers +
                    "INSERT INTO zpf_raster SELECT i, columns, rows, data_type, has_null, "
                    "null_value, value_scale, value_offset, minimum, maximum, factor, NULL, 0, "
                    "srs_id, x_origin, x_column, x_row, y_origin, y_column, y_row"
                    " FROM zpf_raster, n WHERE object = 1");
    const Outcome outcome = RunTool("tarnvale-info", {path.string()});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_LT(outcome.seconds, 10.0);
    EXPECT_NE(outcome.out.find("r20009"), std::string::npos);
}

}  // namespace
}  // namespace tarnvale::test

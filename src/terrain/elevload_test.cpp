#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "terrain/qtmorphs.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

class CountingProgress final : public Progress {
public:
    explicit CountingProgress(int most = std::numeric_limits<int>::max()) : most_(most) {}
    void Begin(std::string_view, double endValue, double) override {
        ++begun;
        ends.push_back(endValue);
        pulses.push_back(0);
    }
    void Pulse() override {
        ++pulses.back();
        ++all_;
    }
    void End() override { ++ended; }
    [[nodiscard]] bool Cancelled() const override { return all_ >= most_; }
    int begun = 0, ended = 0;
    std::vector<double> ends;
    std::vector<int> pulses;

private:
    int most_, all_ = 0;
};

/// Writes one raster to a file of its own. @return its item
template <typename T>
ZPFObjectItem WriteRaster(const std::string& name, const ZPF::RasterSpec& spec,
                          const std::vector<T>& cells) {
    ZPFObjectItem item;
    item.file = FILEPATH(TARNVALE_TEST_TEMP) / (name + ".sim");
    item.header.number = 1;
    const auto placed = ZPF::Placed(spec, {500000, 30, 0, 5000000, 0, -20});
    EXPECT_TRUE(ZPF::Good(ZPF::WriteRaster(item.file, placed, {std::as_bytes(std::span(cells))})));
    return item;
}

ZPF::RasterSpec Spec(ZPF::RasterType type, int columns, int rows) {
    return ZPF::Spec("DEM", type, columns, rows);
}

TEST(ElevationLoading, ReadsEverySampleOnAllCores) {
    constexpr int columns = 700;
    constexpr int rows = 1300;
    std::vector<std::int16_t> cells;
    cells.reserve(std::size_t{columns} * rows);
    for (int i = 0; i < columns * rows; ++i) {
        cells.push_back(static_cast<std::int16_t>((i * 2654435761U) >> 18));
    }
    const ZPFObjectItem item =
        WriteRaster("every", Spec(ZPF::RasterType::Signed16, columns, rows), cells);
    CountingProgress progress;
    QuadtreeMorphTerrain terrain;
    terrain.SetProgress(&progress);
    ASSERT_TRUE(terrain.Open(item).Good()) << GetErrPosn().detail;
    EXPECT_EQ(terrain.GetColumns(), columns);
    EXPECT_EQ(terrain.GetRows(), rows);
    EXPECT_EQ(terrain.CellWidth(), 30);
    EXPECT_EQ(terrain.CellHeight(), 20);
    for (int i = 0; i < columns * rows; ++i) {
        ASSERT_EQ(terrain.GetElevation(i % columns, i / columns),
                  cells[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(progress.begun, 2);
    EXPECT_EQ(progress.ended, 2);
    EXPECT_EQ(progress.ends[0], rows);
    for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(progress.pulses[i], progress.ends[i]);
}

TEST(ElevationLoading, StopsWhereTheUserWantsItTo) {
    const ZPFObjectItem item = WriteRaster("stopped", Spec(ZPF::RasterType::Signed16, 300, 1700),
                                           std::vector<std::int16_t>(300 * 1700, 5));
    for (const int most : {1, 1701}) {  // while reading, while preparing
        CountingProgress progress(most);
        QuadtreeMorphTerrain terrain;
        terrain.SetProgress(&progress);
        EXPECT_EQ(terrain.Open(item).Code(), StatusCode::Cancelled);
        EXPECT_FALSE(terrain.IsOpen());
        EXPECT_EQ(progress.begun, progress.ended);
    }
}

// -400 becomes -100, just what a null sample holds in the raster.
TEST(ElevationLoading, NullsAreKnownBeforeScaleAndOffset) {
    ZPF::RasterSpec spec = Spec(ZPF::RasterType::Signed16, 65, 65);
    spec.hasNull = true;
    spec.nullValue = -100;
    spec.scale = 0.5;
    spec.offset = 100;
    std::vector<std::int16_t> cells(65 * 65, 200);
    cells[1] = -400;
    cells[2] = -100;
    cells[3] = -1000;
    cells[4] = -405;  // -102.5: halves go away from zero, but for the smallest of nudges upward
    QuadtreeMorphTerrain terrain;
    ASSERT_TRUE(terrain.Open(WriteRaster("scaled", spec, cells)).Good());
    EXPECT_EQ(terrain.GetElevation(0, 0), 200);
    EXPECT_EQ(terrain.GetElevation(1, 0), -100);
    EXPECT_EQ(terrain.GetElevation(2, 0), -400) << "null: the minimum";
    EXPECT_EQ(terrain.GetElevation(3, 0), -400);
    EXPECT_EQ(terrain.GetElevation(4, 0), -102);
    EXPECT_EQ(terrain.MinimumElevation(), -400);
    EXPECT_EQ(terrain.MaximumElevation(), 200);
}

// Numbers beyond 16 bits are held at the ends of the range, where a null must not be mistaken for
// them.
TEST(ElevationLoading, NullsBeyondTheRangeStayApartFromElevations) {
    ZPF::RasterSpec spec = Spec(ZPF::RasterType::Float32, 65, 65);
    spec.hasNull = true;
    spec.nullValue = -99999;
    std::vector<float> cells(65 * 65, 12.9F);
    cells[1] = -99999;
    cells[2] = -40000;
    cells[3] = 40000;
    cells[4] = std::numeric_limits<float>::quiet_NaN();
    ElevationGrid grid;
    ASSERT_TRUE(grid.Load(WriteRaster("float", spec, cells), nullptr).Good());
    EXPECT_TRUE(grid.HasNull());
    EXPECT_EQ(grid.Elevation(0, 0), 12);
    EXPECT_EQ(grid.Elevation(1, 0), -40000) << "null: the minimum";
    EXPECT_EQ(grid.Elevation(2, 0), -32768);
    EXPECT_EQ(grid.Elevation(3, 0), 32767);
    EXPECT_EQ(grid.Elevation(4, 0), -40000) << "no number: the minimum";
}

TEST(ElevationLoading, SaysWhatIsWrong) {
    QuadtreeMorphTerrain terrain;
    ZPFObjectItem item;
    item.file = "/nowhere/at/all.sim";
    item.header.number = 1;
    EXPECT_EQ(terrain.Open(item).Code(), StatusCode::BadState);
    EXPECT_THAT(GetErrPosn().detail, ::testing::HasSubstr("all.sim"));

    item = WriteRaster("small", Spec(ZPF::RasterType::Signed16, 8, 8),
                       std::vector<std::int16_t>(64, 1));
    EXPECT_EQ(terrain.Open(item).Code(), StatusCode::NotBuilt);
    item.header.number += 1000;
    EXPECT_EQ(terrain.Open(item).Code(), StatusCode::BadState);
    EXPECT_FALSE(terrain.IsOpen());
}

}  // namespace
}  // namespace tarnvale

#include "tools/buildfill.h"

#include <cpl_error.h>
#include <cpl_string.h>
#include <fmt/format.h>
#include <gdal_alg.h>

#include <algorithm>
#include <limits>
#include <string>

#include "tools/buildinput.h"

namespace tarnvale {

namespace {

constexpr int kSmoothings = 2;

/// Samples without elevation that hang together with the border.
std::vector<std::size_t> OpenVoids(const TerrainHeights& heights) {
    const auto columns = static_cast<std::size_t>(heights.grid.columns);
    const auto rows = static_cast<std::size_t>(heights.grid.rows);
    std::vector<bool> seen(columns * rows);
    std::vector<std::size_t> found;
    const auto visit = [&](std::size_t column, std::size_t row) {
        const std::size_t at = row * columns + column;
        if (heights.heights[at] != kNullHeight || seen[at]) return;
        seen[at] = true;
        found.push_back(at);
    };
    for (std::size_t column = 0; column < columns; ++column) {
        visit(column, 0);
        visit(column, rows - 1);
    }
    for (std::size_t row = 0; row < rows; ++row) {
        visit(0, row);
        visit(columns - 1, row);
    }
    for (std::size_t next = 0; next < found.size(); ++next) {
        const std::size_t column = found[next] % columns, row = found[next] / columns;
        if (column > 0) visit(column - 1, row);
        if (column + 1 < columns) visit(column + 1, row);
        if (row > 0) visit(column, row - 1);
        if (row + 1 < rows) visit(column, row + 1);
    }
    return found;
}

}  // namespace

Status FillHoles(TerrainHeights& heights) {
    if (heights.nulls == 0) return StatusCode::Ok;
    const std::vector<std::size_t> open = OpenVoids(heights);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("MEM");
    const DatasetPtr grid(
        driver == nullptr
            ? nullptr
            : driver->Create("", heights.grid.columns, heights.grid.rows, 0, GDT_Int16, nullptr));
    const std::string pointer = fmt::format("{}", fmt::ptr(heights.heights.data()));
    CPLStringList options;
    options.SetNameValue("DATAPOINTER", pointer.c_str());
    CPLErrorReset();
    const bool filled = grid && grid->AddBand(GDT_Int16, options.List()) == CE_None &&
                        grid->GetRasterBand(1)->SetNoDataValue(kNullHeight) == CE_None &&
                        GDALFillNodata(GDALRasterBand::ToHandle(grid->GetRasterBand(1)), nullptr,
                                       std::max(heights.grid.columns, heights.grid.rows), 0,
                                       kSmoothings, nullptr, nullptr, nullptr) == CE_None;
    if (!filled) {
        return _SetErrPosn(StatusCode::ReadFailed,
                           "the holes in the elevations can't be filled: " + GdalMessage());
    }
    grid->FlushCache();
    for (const std::size_t at : open) heights.heights[at] = kNullHeight;
    Summarise(heights);
    return StatusCode::Ok;
}

}  // namespace tarnvale

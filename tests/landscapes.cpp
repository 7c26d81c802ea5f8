#include "landscapes.h"

#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace tarnvale::test {

namespace {

namespace fs = std::filesystem;

std::vector<std::byte> ReadCells(ZPF::RASTERHANDLE& raster) {
    const ZPF::RasterHeader& header = raster.Header();
    std::vector<std::byte> cells(static_cast<std::size_t>(header.columns) *
                                 static_cast<std::size_t>(header.rows) *
                                 static_cast<std::size_t>(ZPF::BytesOf(header.type)));
    const Status read =
        raster.ReadBlock(0, 0, header.columns, header.rows, cells, ZPF::LineForm::Raw);
    EXPECT_TRUE(read.Good()) << GetErrString(read);
    return cells;
}

}  // namespace

std::string Sketch::Save(const fs::path& path) const {
    GDALAllRegister();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    CPLStringList options;
    if (bits > 0) options.SetNameValue("NBITS", std::to_string(bits).c_str());
    std::unique_ptr<GDALDataset, decltype(&GDALClose)> file(
        driver->Create(path.c_str(), columns, rows, static_cast<int>(bands.size()), type,
                       options.List()),
        GDALClose);
    GDALDataset* dataset = file.get();
    std::array<double, 6> six = place;
    EXPECT_EQ(dataset->SetGeoTransform(six.data()), CE_None);
    if (!system.empty()) {
        OGRSpatialReference crs;
        EXPECT_EQ(crs.SetFromUserInput(system.c_str()), OGRERR_NONE);
        dataset->SetSpatialRef(&crs);
    }
    for (std::size_t i = 0; i < bands.size(); ++i) {
        GDALRasterBand* band = dataset->GetRasterBand(static_cast<int>(i) + 1);
        if (noData) band->SetNoDataValue(*noData);
        if (!unit.empty()) band->SetUnitType(unit.c_str());
        if (lastIsAlpha && i + 1 == bands.size()) band->SetColorInterpretation(GCI_AlphaBand);
        std::vector<double> values = bands[i];
        EXPECT_EQ(band->RasterIO(GF_Write, 0, 0, columns, rows, values.data(), columns, rows,
                                 GDT_Float64, 0, 0, nullptr),
                  CE_None);
    }
    return path.string();
}

Stored ReadRaster(const fs::path& path, const std::string& name, int level) {
    Stored stored;
    ZPF::FILEHANDLE file;
    const Status opened = file.Open(path, ZPF::OpenMode::Read);
    EXPECT_TRUE(opened.Good()) << GetErrString(opened);
    int number = file.FindObject(kRootObject, ObjectType::Raster, name);
    ZPF::RASTERHANDLE raster;
    EXPECT_TRUE(raster.Open(file, number).Good()) << name;
    if (!raster.IsOpen()) return stored;
    EXPECT_TRUE(raster.GetPyramidList(stored.levels).Good());
    if (level > 0) {
        number = stored.levels.at(static_cast<std::size_t>(level) - 1).object;
        EXPECT_TRUE(raster.Open(file, number).Good());
    }
    stored.header = raster.Header();
    EXPECT_TRUE(raster.GetGeoreference(stored.place, stored.system).Good() || level > 0);
    stored.bytes = ReadCells(raster);
    if (const int maskNumber = raster.FindMask(); maskNumber != kNoObject) {
        ZPF::RASTERHANDLE mask;
        EXPECT_TRUE(mask.Open(file, maskNumber).Good());
        stored.mask = ReadCells(mask);
    }
    return stored;
}

Outcome Build(const std::vector<std::string>& arguments, const RunOptions& options) {
    return RunTool("tarnvale-build", arguments, options);
}

void BuildWell(const std::vector<std::string>& arguments) {
    const Outcome outcome = Build(arguments);
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.err << outcome.out;
    ASSERT_EQ(outcome.err, "");
}

nlohmann::json Info(const std::string& path) {
    const Outcome outcome = RunTool("tarnvale-info", {"--json", path});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    return nlohmann::json::parse(outcome.out, nullptr, false);
}
double RampX(double x, double y) {
    return 20 + (x - 600000) * 0.08 + (6000000 - y) * 0.02;
}
double RampY(double x, double y) {
    return 230 - (6000000 - y) * 0.09 + (x - 600000) * 0.01;
}

std::unique_ptr<OGRCoordinateTransformation> Conversion(const std::string& from,
                                                        const std::string& to) {
    OGRSpatialReference source, target;
    EXPECT_EQ(source.SetFromUserInput(from.c_str()), OGRERR_NONE);
    EXPECT_EQ(target.SetFromUserInput(to.c_str()), OGRERR_NONE);
    source.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    target.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return std::unique_ptr<OGRCoordinateTransformation>(
        OGRCreateCoordinateTransformation(&source, &target));
}

Sketch SmallDem() {
    return Sketch(65, 33, {600000 - 10, 20, 0, 6000000 + 10, 0, -20});
}

}  // namespace tarnvale::test

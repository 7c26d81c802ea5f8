#include "tools/buildoptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <string_view>

namespace tarnvale {

namespace {

constexpr int kMostSkies = 1024;  // that a file of skies is read with, and its own name

constexpr const char* kDescription =
    "Makes a landscape to fly over from elevation and imagery of any format that GDAL reads.";

constexpr const char* kFooter = R"(
Examples:
  tarnvale-build --dem heights.tif --texture orthophoto.tif valley.sim
  tarnvale-build --dem N46W122.hgt rainier.sim
  tarnvale-build --dem heights.tif --sky morning.jpg --sky evening.jpg valley.sim
  tarnvale-build --sky-file Tarnvale.sky morning.jpg evening.jpg
  tarnvale-build --dem a.tif --texture a_rgb.tif --dem b.tif -b 4 -b 3 -b 2 --texture b_sat.tif two.sim

How the grid is chosen:
  The landscape lies in the DEM's own CRS if that is projected in metres, else in the UTM zone of
  the DEM's centre. Each side has a power of two of cells. Without -te, -tr and --size the terrain
  covers all of the DEM that is free of the ragged border which a new projection gives, with the
  smallest grid whose cells are at most a tenth coarser than the DEM's own, and at most 8193 samples
  a side. Cells may be up to 1.4 times longer than wide, so that nothing need be cut off; -tr gives
  square ones and trims the area evenly. A DEM that fits already (2^a + 1 by 2^b + 1 samples, north
  up, in metres) is stored sample for sample. Areas reach from the first to the last sample's centre.

Elevations are stored as whole metres, from -32767 to 32767. Feet are recognised by the DEM's own
declaration of its unit. Where the DEM has no data the terrain lies at its lowest elevation, unless
--fill-voids closes the hole; voids at the border stay.

A texture gets the power of two of pixels for each cell that is nearest to its own resolution.
Where it has no data, or doesn't reach, it is masked. Imagery of more than 8 bits is stretched
between its 2nd and 98th percentile. A DEM without a texture is painted by height, with shading.

A sky's upper edge is the zenith, its lower edge the horizon; its width goes half around, from north
by east to south, and is mirrored for the other half. Inside a landscape it has at most 2048 columns;
wider ones are scaled down.)";

/// GDAL's spelling of long options, which the parser would take for a heap of short ones.
constexpr std::array<std::string_view, 4> kOneDash{"-t_srs", "-a_srs", "-te", "-tr"};

bool IsNumber(std::string_view text) {
    double value = 0;
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

/// The arguments after the program's name with double dashes, and `-tr X` as `--tr X X`.
std::vector<std::string> Normalise(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const bool oneDash = std::ranges::find(kOneDash, argument) != kOneDash.end();
        arguments.push_back(oneDash ? "-" + std::string(argument) : std::string(argument));
        if (arguments.back() != "--tr" || i + 1 >= argc) continue;
        const char* first = argv[++i];
        arguments.emplace_back(first);
        // The last argument is the output, even if its name is a number.
        if (i + 2 < argc && IsNumber(argv[i + 1])) {
            arguments.emplace_back(argv[++i]);
        } else {
            arguments.emplace_back(first);
        }
    }
    return arguments;
}

int Fail(const std::string& message) {
    std::cerr << "tarnvale-build: " << message << std::endl;
    return 1;
}

std::string OneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

/// Binds what stands on the command line to the last --dem before it. @return what is wrong, or
/// nothing
std::string Bind(const CLI::App& parser, const CLI::Option* dem, const CLI::Option* texture,
                 const CLI::Option* band, BuildOptions& options) {
    std::size_t dems = 0, textures = 0, bands = 0;
    std::vector<int> common;
    for (const CLI::Option* option : parser.parse_order()) {
        if (option == dem) {
            options.dems.push_back({dem->results().at(dems++), {}});
        } else if (option == texture) {
            const std::string& path = texture->results().at(textures++);
            if (options.dems.empty()) return "--texture " + path + " stands before any --dem";
            options.dems.back().textures.push_back({path, {}});
        } else if (option == band) {
            const int number = std::stoi(band->results().at(bands++));
            const bool bound = !options.dems.empty() && !options.dems.back().textures.empty();
            (bound ? options.dems.back().textures.back().bands : common).push_back(number);
        }
    }
    for (DemRequest& request : options.dems) {
        for (TextureRequest& image : request.textures) {
            if (image.bands.empty()) image.bands = common;
            if (!image.bands.empty() && image.bands.size() != 1 && image.bands.size() != 3) {
                return "give -b once, for grey, or three times, for red, green and blue";
            }
        }
    }
    return {};
}

std::string CheckOptions(const BuildOptions& options) {
    if (options.demo && !options.dems.empty()) return "give either --demo or --dem";
    if (!options.demo && options.dems.empty()) return "give --dem FILE, or --demo";
    if (options.area &&
        ((*options.area)[0] >= (*options.area)[2] || (*options.area)[1] >= (*options.area)[3])) {
        return "-te takes xmin ymin xmax ymax, the first two below the last two";
    }
    if (options.atlas && options.output.extension() == ".atl") {
        return "name the landscape OUT.sim; --atlas puts the atlas beside it";
    }
    if (options.cell && ((*options.cell)[0] <= 0 || (*options.cell)[1] <= 0)) {
        return "-tr takes a cell size above 0, in metres";
    }
    if (options.demo && (options.area || options.cell || !options.targetSystem.empty())) {
        return "-te, -tr and -t_srs don't go with --demo";
    }
    return {};
}

}  // namespace

std::optional<int> ParseBuildOptions(int argc, const char* const* argv, BuildOptions& options) {
    CLI::App parser(kDescription, "tarnvale-build");
    parser.footer(kFooter);
    parser.set_version_flag("--version", TARNVALE_VERSION);
    parser.get_formatter()->column_width(36);

    std::vector<std::string> demPaths, texturePaths;
    std::vector<int> bands;
    std::vector<double> area, cell;
    std::string quality, unit;
    const CLI::Option* dem =
        parser.add_option("--dem", demPaths, "elevation raster; may be repeated")
            ->type_name("DEM")
            ->allow_extra_args(false);
    const CLI::Option* texture = parser
                                     .add_option("--texture", texturePaths,
                                                 "imagery for the --dem before it; may be repeated")
                                     ->type_name("IMG")
                                     ->allow_extra_args(false);
    const CLI::Option* band =
        parser
            .add_option(
                "-b", bands,
                "band for the --texture before it, or for all if none stands before it; once "
                "or three times")
            ->type_name("BAND")
            ->allow_extra_args(false)
            ->check(CLI::Range(1, 65535));
    parser
        .add_option("--t_srs", options.targetSystem,
                    "CRS of the landscape, projected in metres (also -t_srs)")
        ->type_name("CRS");
    parser
        .add_option("--a_srs", options.assignedSystem,
                    "CRS of inputs that declare none (also -a_srs)")
        ->type_name("CRS");
    parser.add_option("--te", area, "area in the landscape's CRS, first to last sample (also -te)")
        ->type_name("XMIN YMIN XMAX YMAX")
        ->expected(4)
        ->allow_extra_args(false);  // the next word is OUT.sim
    parser.add_option("--tr", cell, "cell size in metres, one or two numbers (also -tr)")
        ->type_name("RES")
        ->expected(2)
        ->allow_extra_args(false);
    parser
        .add_option("--size", options.size,
                    "samples of the longer side, a power of two plus one, up to 16385")
        ->type_name("N")
        ->check(CLI::Range(9, 16385));
    parser
        .add_option("--texture-size", options.textureSize,
                    "texture pixels of the longer side, a power of two")
        ->type_name("N")
        ->check(CLI::Range(4, 1 << 18));
    parser.add_option("--quality", quality, "1 to 100 for JPEG, or lossless; default 85")
        ->type_name("Q");
    parser
        .add_option("--vertical-unit", unit,
                    "unit of the elevations: m, ft or us-ft, instead of what the DEM declares")
        ->type_name("UNIT")
        ->check(CLI::IsMember({"m", "ft", "us-ft"}));
    parser.add_flag("--fill-voids", options.fillVoids,
                    "close holes in the DEM from what lies around them");
    std::vector<std::string> skyFile;
    parser
        .add_option("--sky", options.skies,
                    "picture of a sky for the landscape, any format; may be repeated")
        ->type_name("IMG")
        ->allow_extra_args(false);
    parser
        .add_option("--sky-file", skyFile,
                    "make a file of skies, for every landscape, instead of a landscape")
        ->type_name("OUT.sky IMG...")
        ->expected(2, kMostSkies);
    std::string standardSkies;
    parser
        .add_option("--standard-skies", standardSkies,
                    "make the file of skies that comes with the program")
        ->type_name("OUT.sky");
    parser.add_flag("--demo", options.demo, "make a landscape of the program's own invention");
    parser.add_option("--seed", options.seed, "which demo; default 1")->type_name("N");
    parser.add_flag("--atlas", options.atlas,
                    "write OUT.atl too, with which the atlas tool shows places on a map");
    parser.add_flag("--overwrite", options.overwrite, "replace OUT.sim, and OUT.atl, if it exists");
    parser.add_flag("-q,--quiet", options.quiet, "say nothing but errors and warnings");
    std::string output;
    parser.add_option("OUT.sim", output, "landscape file to make");

    std::vector<std::string> arguments = Normalise(argc, argv);
    std::ranges::reverse(arguments);  // as the parser wants them
    try {
        parser.parse(arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return parser.exit(error);
        return Fail(OneLine(error.what()) + "; see tarnvale-build --help");
    }
    options.output = output;
    options.standardSkies = !standardSkies.empty();
    options.makesSkyFile = options.standardSkies || !skyFile.empty();
    if (options.makesSkyFile) {
        if (!output.empty() || !demPaths.empty() || options.demo || !options.skies.empty() ||
            (options.standardSkies && !skyFile.empty())) {
            return Fail("a file of skies is made alone: --sky-file OUT.sky IMG...");
        }
        options.output = options.standardSkies ? standardSkies : skyFile.front();
        if (!skyFile.empty()) options.skies.assign(skyFile.begin() + 1, skyFile.end());
    } else if (output.empty()) {
        return Fail("OUT.sim is required; see tarnvale-build --help");
    }
    if (area.size() == 4) options.area = {area[0], area[1], area[2], area[3]};
    if (cell.size() == 2) options.cell = {cell[0], cell[1]};
    if (unit == "m") options.verticalUnit = VerticalUnit::Metre;
    if (unit == "ft") options.verticalUnit = VerticalUnit::Foot;
    if (unit == "us-ft") options.verticalUnit = VerticalUnit::UsSurveyFoot;
    options.lossless = quality == "lossless";
    if (!quality.empty() && !options.lossless) {
        const char* end = quality.data() + quality.size();
        const auto [stop, error] = std::from_chars(quality.data(), end, options.quality);
        if (error != std::errc() || stop != end || options.quality < 1 || options.quality > 100) {
            return Fail("--quality takes 1 to 100, or lossless");
        }
        options.skyEncoding.quality = options.quality;
    }
    options.skyEncoding.lossless = options.lossless;
    if (options.makesSkyFile) return std::nullopt;
    if (const std::string wrong = Bind(parser, dem, texture, band, options); !wrong.empty()) {
        return Fail(wrong);
    }
    if (const std::string wrong = CheckOptions(options); !wrong.empty()) return Fail(wrong);
    return std::nullopt;
}

}  // namespace tarnvale

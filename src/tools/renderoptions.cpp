#include "tools/renderoptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>

namespace tarnvale {

namespace {

constexpr int kLargestSide = 16384;

constexpr const char* kFooter =
    "A camera path is CSV with the header x,y,z,look_x,look_y,look_z and a line for each frame: "
    "where the\n"
    "viewer is and what it looks at, in map coordinates of the landscape, heights in metres.\n\n"
    "--stats measures in wall time. open_s: reading the file and building the scene; "
    "first_frame_s: until\n"
    "the first frame of the flight is drawn; complete_s: until that frame has every tile it wants "
    "(the\n"
    "viewer waits there, 60 seconds at most; null if that wasn't enough). Then the flight: "
    "frame_ms is the\n"
    "time of a frame from placing the viewer to the finished picture, without reading or writing "
    "pictures.\n"
    "Every eighth frame is measured in parts (select, mesh, prepare, draw, service) and is left "
    "out of\n"
    "frame_ms, since the clock is read four times for each primitive. What these readings take, "
    "clock_ns\n"
    "nanoseconds each as measured before the flight, is taken off mesh, prepare and draw. With "
    "OpenGL, 20\n"
    "frames spread over the flight are drawn again from static arrays with one call for each "
    "texture:\n"
    "floor_ratio is the median of frame_ms over the median of those. triangles and draw_calls are "
    "medians\n"
    "of a frame.";

// "1280x720"
std::string ReadSize(const std::string& text, RenderOptions& options) {
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, options.width);
    if (width.ec == std::errc{} && width.ptr != end && *width.ptr == 'x') {
        const auto height = std::from_chars(width.ptr + 1, end, options.height);
        if (height.ec == std::errc{} && height.ptr == end && options.width > 0 &&
            options.height > 0 && options.width <= kLargestSide && options.height <= kLargestSide) {
            return {};
        }
    }
    return "'" + text + "' is no size: give WIDTHxHEIGHT in pixels, at most 16384 each";
}

std::string ReadSetting(const std::string& text, RenderOptions& options) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) return "'" + text + "' is no KEY=VALUE";
    options.settings.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    return {};
}

}  // namespace

int ReadRenderOptions(int count, char** arguments, RenderOptions& options) {
    CLI::App app(
        "Flies a camera path over a landscape without a display: pictures, figures, traces.");
    app.name("tarnvale-render");
    app.footer(kFooter);
    app.set_version_flag("--version", "tarnvale-render " TARNVALE_VERSION);
    std::string size;
    std::vector<std::string> set;
    app.add_option("landscape", options.landscape, "landscape file (.sim)")
        ->required()
        ->type_name("FILE.sim");
    auto* camera =
        app.add_option("--camera", options.camera, "camera path to fly")->type_name("PATH.csv");
    app.add_option("--fly", options.fly,
                   "fly N frames of a path of the program's own, about 30 m a frame")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000))
        ->excludes(camera);
    app.add_option("--write-camera", options.writeCamera, "keep the path that is flown")
        ->type_name("PATH.csv");
    app.add_option("--size", size, "pixels of the picture, 1280x720")->type_name("WxH");
    app.add_option("--out", options.out, "folder for pictures frame_00000.png and on")
        ->type_name("DIR");
    app.add_option("--every", options.every, "write only every N-th frame")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000));
    app.add_option("--stats", options.stats, "write figures as JSON")->type_name("FILE.json");
    auto* trace = app.add_option("--trace", options.trace,
                                 "write what each frame is made of, a JSON line each")
                      ->type_name("FILE.jsonl");
    app.add_flag("--trace-vertices", options.traceVertices, "with every triangle and its tile")
        ->needs(trace);
    app.add_option("--set", set, "set a preference for this run; may be repeated")
        ->type_name("KEY=VALUE");
    app.add_option("--sky", options.sky,
                   "sky to show: its name, or its number counted from 1; the first if not given. "
                   "--set Sky=false shows none")
        ->type_name("NAME|N");
    app.add_option("--graphics", options.graphics,
                   "graphics system: opengl3, opengl, or null for all but the drawing")
        ->type_name("NAME");
    app.add_flag("--complete", options.complete,
                 "wait in each frame until it has every tile it wants");

    std::string problem;
    try {
        app.parse(count, arguments);
        if (!size.empty()) problem = ReadSize(size, options);
        for (const std::string& text : set) {
            if (problem.empty()) problem = ReadSetting(text, options);
        }
        if (problem.empty() && options.camera.empty() && options.fly == 0) {
            problem = "no path to fly: give --camera PATH.csv or --fly N";
        }
        if (problem.empty() && !options.out.empty() && options.graphics == "null") {
            problem =
                "the null graphics system draws no pictures: leave out --out or --graphics null";
        }
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        problem = error.what();
    }
    if (problem.empty()) return -1;
    (void)std::fprintf(stderr, "tarnvale-render: %s\n", problem.c_str());
    return 1;
}

}  // namespace tarnvale

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <new>
#include <string>

#include "tools/infofile.h"
#include "tools/infotext.h"

namespace tarnvale {

namespace {

int Fail(std::string message) {
    std::ranges::replace(message, '\n', ' ');
    std::cout.flush();
    std::cerr << "tarnvale-info: " << message << std::endl;
    return 1;
}

/// The whole reason where it is told for the user; else the text for the code.
std::string Reason(Status status) {
    const ErrPosn& last = GetErrPosn();
    return last.code == status.Code() && !last.detail.empty() ? last.detail : GetErrString(status);
}

int Main(int argc, const char* const* argv) {
    CLI::App parser("Tells what a landscape file holds, and what of it can be flown over.",
                    "tarnvale-info");
    parser.set_version_flag("--version", TARNVALE_VERSION);
    bool asJson = false;
    std::string path;
    parser.add_flag("--json", asJson, "for programs: one JSON object");
    parser.add_option("FILE.sim", path, "landscape file")->required();
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return parser.exit(error);
        return Fail(std::string(error.what()) + "; see tarnvale-info --help");
    }
    nlohmann::ordered_json description;
    if (const Status read = DescribeFile(path, description); !read.Good())
        return Fail(Reason(read));
    if (asJson) {
        // Names come from strangers: what isn't UTF-8 is replaced.
        std::cout << description.dump(2, ' ', false,
                                      nlohmann::ordered_json::error_handler_t::replace)
                  << '\n';
    } else {
        std::cout << TextOf(description);
    }
    if (description.value("valid", false)) return 0;
    return Fail(path +
                " is no landscape: no elevation raster at its root has a texture that fits it");
}

}  // namespace

}  // namespace tarnvale

int main(int argc, char** argv) {
    try {
        return tarnvale::Main(argc, argv);
    } catch (const std::bad_alloc&) {
        return tarnvale::Fail("not enough memory");
    } catch (const nlohmann::json::exception&) {
        return tarnvale::Fail("the description can't be written");
    }
}

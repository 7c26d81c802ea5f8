#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "tools/renderflight.h"
#include "tools/renderoptions.h"

namespace {

int Main(int count, char** arguments) {
    tarnvale::RenderOptions options;
    if (const int code = tarnvale::ReadRenderOptions(count, arguments, options); code >= 0)
        return code;
    std::string problem;
    tarnvale::RenderFlight flight(options);
    if (flight.Run(problem)) return 0;
    std::ranges::replace(problem, '\n', ' ');
    (void)std::fprintf(stderr, "tarnvale-render: %s\n", problem.c_str());
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return Main(count, arguments);
    } catch (const std::bad_alloc&) {
        (void)std::fputs("tarnvale-render: there isn't enough memory\n", stderr);
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "tarnvale-render: %s\n", error.what());
    }
    return 1;
}

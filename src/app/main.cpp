#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "app/commandline.h"
#include "app/tarnvale.h"
#include "base/textres.h"

int main(int argc, char** argv) {
    using namespace tarnvale;
#ifdef SIGXFSZ
    std::signal(SIGXFSZ,
                SIG_IGN);  // a write past a limit fails and is told of, and nothing is lost
#endif
    // What needs no window is answered where there may be none.
    std::vector<std::string_view> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    const ProgramFlags flags = TakeFlags(arguments);
    if (flags.help || flags.version) {
        const std::string text =
            flags.version ? "Tarnvale " TARNVALE_VERSION : TEXTRES::Text("usage");
        return std::puts(text.c_str()) < 0 ? 1 : 0;
    }

    CTarnvaleApp app(argc, argv);
    const bool started = app.InitInstance();
    const int code = started ? app.Run() : 1;
    app.ExitInstance();
    return code;
}

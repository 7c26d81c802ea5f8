// sedgelinestart: becomes a program of this package, so that whoever wants one needn't know where
// it is installed.

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/places.h"

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    const tarnvale::FILEPATH program = tarnvale::FindProgram(name);
    if (program.empty()) {
        (void)std::fprintf(
            stderr,
            "sedgelinestart: %s\nusage: sedgelinestart PROGRAM [ARGUMENT]...\n"
            "PROGRAM is the name, without a folder, of a program beside this one "
            "or in PATH.\n",
            name.empty() ? "no program is named" : ("there is no program " + name).c_str());
        return 2;
    }
    std::string path = program.string();
    std::vector<char*> arguments(argv + 1, argv + argc);
    arguments.front() = path.data();
    arguments.push_back(nullptr);
    ::execv(path.c_str(), arguments.data());
    std::perror(path.c_str());
    return 126;
}

#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tarnvale::test {

struct Outcome {
    int exitStatus = -1;  ///< -1 where a signal ended the program
    std::string out, err;
    double seconds = 0;
};

struct RunOptions {
    std::uint64_t largestFile = 0;  ///< bytes that the program may write to one file, 0 for any
    std::function<bool()> interruptWhen;  ///< asked again and again; SIGINT is sent once it is true
};

/// Runs one of the programs beside the tests and waits for its end.
Outcome RunTool(const std::string& name, const std::vector<std::string>& arguments,
                const RunOptions& options = {});

/// An empty folder of this test's own.
std::filesystem::path FreshFolder();

std::vector<std::string> FilesIn(const std::filesystem::path& folder);

}  // namespace tarnvale::test

#include "toolrun.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <thread>

namespace tarnvale::test {

namespace {

namespace fs = std::filesystem;

std::string Slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

[[noreturn]] void Become(const std::string& program, std::vector<char*>& arguments,
                         const fs::path& out, const fs::path& err, const RunOptions& options) {
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(outFile, STDOUT_FILENO);
    dup2(errFile, STDERR_FILENO);
    std::signal(SIGINT, SIG_DFL);  // a shell may have let us inherit that it is ignored
    if (options.largestFile != 0) {
        const rlimit limit{options.largestFile, options.largestFile};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    execv(program.c_str(), arguments.data());
    _exit(127);
}

}  // namespace

Outcome RunTool(const std::string& name, const std::vector<std::string>& arguments,
                const RunOptions& options) {
    const fs::path logs = fs::path(TARNVALE_TEST_TEMP) / ("log-" + std::to_string(getpid()));
    fs::create_directories(logs);
    const std::string program = std::string(TARNVALE_BIN) + "/" + name;
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);

    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) Become(program, pointers, logs / "out", logs / "err", options);
    int state = 0;
    if (options.interruptWhen) {
        bool sent = false;
        while (waitpid(child, &state, WNOHANG) == 0) {
            if (!sent && options.interruptWhen()) sent = kill(child, SIGINT) == 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    } else {
        waitpid(child, &state, 0);
    }
    Outcome outcome;
    outcome.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (WIFEXITED(state)) outcome.exitStatus = WEXITSTATUS(state);
    outcome.out = Slurp(logs / "out");
    outcome.err = Slurp(logs / "err");
    fs::remove_all(logs);
    return outcome;
}

std::filesystem::path FreshFolder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    fs::path folder =
        fs::path(TARNVALE_TEST_TEMP) / (std::string(test->test_suite_name()) + "." + test->name());
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

std::vector<std::string> FilesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

}  // namespace tarnvale::test

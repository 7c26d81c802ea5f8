#include "base/processes.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "base/places.h"

namespace tarnvale {
namespace {

namespace fs = std::filesystem;

class ProcessesTest : public testing::Test {
protected:
    ProcessesTest()
        : folder(FILEPATH(TARNVALE_TEST_TEMP) / ("processes-" + std::to_string(::getpid()))) {
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    ~ProcessesTest() override { fs::remove_all(folder); }

    FILEPATH Script(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name) << "#!/bin/sh\n" << text;
        fs::permissions(folder / name, fs::perms::owner_all);
        return folder / name;
    }
    // Waits until the script has renamed what it wrote.
    std::string Told(const std::string& name) const {
        for (int i = 0; i < 1000 && !fs::exists(folder / name); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::ifstream stream(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    FILEPATH folder;
};

TEST_F(ProcessesTest, ArgumentsArriveAsTheyAreAndNoChildIsLeft) {
    const FILEPATH script = Script(
        "tell",
        "out=$1; shift; for word in \"$@\"; do printf '<%s>' \"$word\"; done > \"$out.part\"\n"
        "mv \"$out.part\" \"$out\"\n");
    const std::vector<std::string> words{(folder / "told").string(),
                                         "a blank",
                                         "it's \"quoted\"",
                                         "$(touch oops); `x` && y",
                                         "-dash",
                                         "",
                                         "two\nlines",
                                         "*"};
    ASSERT_TRUE(StartDetached(script, words).Good());
    std::string wanted;
    for (std::size_t i = 1; i < words.size(); ++i) wanted += '<' + words[i] + '>';
    EXPECT_EQ(Told("told"), wanted);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left to wait for";
}

TEST_F(ProcessesTest, ItDoesNotWaitForTheProgram) {
    const FILEPATH gate = folder / "gate";
    const FILEPATH script =
        Script("slow", "while [ ! -e \"$1\" ]; do sleep 0.05; done\ntouch \"$2\"\n");
    const std::vector<std::string> words{gate.string(), (folder / "done").string()};
    ASSERT_TRUE(StartDetached(script, words).Good());
    EXPECT_FALSE(fs::exists(folder / "done"));
    std::ofstream(gate) << "open";
    (void)Told("done");
    EXPECT_TRUE(fs::exists(folder / "done"));
}

TEST_F(ProcessesTest, WhatCanNotBeStartedIsSaid) {
    std::ofstream(folder / "plain") << "no program";
    for (const char* name : {"missing", "plain", "."}) {
        const Status status = StartDetached(folder / name, {});
        EXPECT_EQ(status.Code(), StatusCode::BadState) << name;
        EXPECT_NE(GetErrString(status).find((folder / name).string()), std::string::npos) << name;
    }
}

TEST_F(ProcessesTest, ProgramsAreFoundByPlainNamesAlone) {
    (void)Script("helper", "");
    std::ofstream(folder / "notrunnable") << "x";
    const char* const old = std::getenv("PATH");
    const std::string kept = old != nullptr ? old : "";
    ::setenv("PATH", (".:/nowhere:" + folder.string()).c_str(), 1);
    EXPECT_EQ(FindProgram("helper"), folder / "helper");
    EXPECT_EQ(FindProgram("base_test"), ProgramFolder() / "base_test") << "beside this program";
    for (const char* name : {"notrunnable", "", ".", "..", "./helper", "sub/helper", "absent"}) {
        EXPECT_EQ(FindProgram(name), FILEPATH()) << name;
    }
    ::setenv("PATH", kept.c_str(), 1);
}

}  // namespace
}  // namespace tarnvale

#include "app/commandline.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace tarnvale {
namespace {

std::tuple<CommandLineView, std::string> Parse(std::vector<std::string_view> arguments) {
    FILEPATH file;
    const CommandLineView view = ParseCommandLine(JoinCommandLine(arguments), file);
    return {view, file.string()};
}

TEST(CommandLine, AShellsArgumentsNameTheFileWhateverItIsCalled) {
    struct Case {
        std::vector<std::string_view> arguments;
        const char* wanted;
    };
    const Case cases[] = {
        {{"a.sim"}, "a.sim"},
        {{"/data/My Land/b 2.sim"}, "/data/My Land/b 2.sim"},
        {{"Type=1", "POI=1,2,3", "two words.sim"}, "two words.sim"},
        {{"Rate=2", "x=y POI=7.sim"}, "x=y POI=7.sim"},
        {{}, ""},
        {{""}, ""},
        {{"first.sim", "Type=1", "POI=1,2,3"}, "first.sim"},
    };
    for (const auto& [arguments, wanted] : cases) EXPECT_EQ(std::get<1>(Parse(arguments)), wanted);
}

TEST(CommandLine, FlagsOfTheStartAreNoFile) {
    std::vector<std::string_view> arguments{"--no-splash", "Type=1", "--version", "-v.sim"};
    const ProgramFlags flags = TakeFlags(arguments);
    EXPECT_FALSE(flags.splash);
    EXPECT_TRUE(flags.version);
    EXPECT_FALSE(flags.help);
    EXPECT_EQ(arguments, (std::vector<std::string_view>{"Type=1", "-v.sim"}));
}

TEST(CommandLine, TheViewNeedsPointAndDirectionAndForAnOrbitAField) {
    const std::tuple<const char*, std::vector<std::string_view>, bool> cases[] = {
        {"complete orbit", {"Type=0", "POI=1,2,3", "DOV=90,-20", "FOV=500", "f"}, true},
        {"no point", {"DOV=90,-20", "FOV=500", "f"}, false},
        {"no direction", {"POI=1,2,3", "FOV=500", "f"}, false},
        {"orbit without field", {"POI=1,2,3", "DOV=90,-20", "f"}, false},
        {"turn without field", {"Type=1", "POI=1,2,3", "DOV=90,-20", "f"}, true},
        {"keys inside the file's name don't count", {"Type=1", "POI=1,2,3", "a DOV=1,2"}, false},
    };
    for (const auto& [what, arguments, active] : cases) {
        EXPECT_EQ(std::get<0>(Parse(arguments)).active, active) << what;
    }
}

TEST(CommandLine, NumbersReachTheirFields) {
    const auto [view, file] = Parse(
        {"Type=1", "POI=288776.25,9120760.75,-12", "DOV=270,-45.5", "FOV=2500", "Rate=-3.5", "f"});
    EXPECT_EQ(view.type, 1);
    EXPECT_EQ(view.point, (std::array{288776.25, 9120760.75, -12.0}));
    EXPECT_EQ(view.azimuth, 270);
    EXPECT_EQ(view.elevation, -45.5);
    EXPECT_EQ(view.field, 2500);
    EXPECT_EQ(view.rate, -3.5);
}

TEST(CommandLine, WhatIsNoFiniteNumberStaysZero) {
    const auto [view, file] = Parse({"Type=1e30", "POI=nan,inf,+3", "DOV=x, 5", "FOV=-inf", "f"});
    EXPECT_EQ(view.type, 1);
    EXPECT_EQ(view.point, (std::array{0.0, 0.0, 3.0}));
    EXPECT_EQ(view.azimuth, 0);
    EXPECT_EQ(view.field, 0);
}

}  // namespace
}  // namespace tarnvale

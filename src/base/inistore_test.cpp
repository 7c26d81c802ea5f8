#include "base/inistore.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "base/settings.h"

namespace tarnvale {
namespace {

// Each test has a store of its own, missing at first.
class IniStore : public testing::Test {
protected:
    IniStore()
        : folder_(FILEPATH(TARNVALE_TEST_TEMP) /
                  testing::UnitTest::GetInstance()->current_test_info()->name()),
          path_(folder_ / "deep" / "tarnvale.ini") {
        // A death test runs this again in a process of its own, for which the store has been laid
        // out.
        if (OrEmpty("TARNVALE_INI") != path_) std::filesystem::remove_all(folder_);
        ::setenv("TARNVALE_INI", path_.c_str(), 1);
    }
    void WriteFile(const std::string& bytes) const {
        std::filesystem::create_directories(path_.parent_path());
        std::ofstream(path_, std::ios::binary) << bytes;
    }
    [[nodiscard]] std::string Bytes() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    template <typename T>
    static T ReadOr(const char* key, T value, const char* section = nullptr) {
        static_cast<void>(_iniRead(key, value, section));
        return value;
    }
    static std::string OrEmpty(const char* variable) {
        const char* value = std::getenv(variable);
        return value != nullptr ? value : "";
    }

    FILEPATH folder_, path_;
};

TEST_F(IniStore, EveryTypeSurvivesBitForBit) {
    using Doubles = std::numeric_limits<double>;
    for (const double value : {0.1, -1.0 / 3, Doubles::max(), Doubles::denorm_min(), -0.0, 1e22}) {
        _iniWrite("Double", value);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(ReadOr("Double", 7.5)),
                  std::bit_cast<std::uint64_t>(value));
    }
    for (const float value : {0.1F, 0.0001F, std::numeric_limits<float>::max(), 16777217.0F}) {
        _iniWrite("Float", value);
        EXPECT_EQ(ReadOr("Float", 7.5F), value);
    }
    _iniWrite("Least", std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(ReadOr("Least", std::int32_t{7}), std::numeric_limits<std::int32_t>::min());
    _iniWrite("Colour", COLOR{65535, 1, 30000, 0xFF88});
    EXPECT_EQ(ReadOr("Colour", COLOR{}), (COLOR{65535, 1, 30000, 0xFF88}));
    _iniWrite("Yes", true);
    EXPECT_TRUE(ReadOr("Yes", false));
}

TEST_F(IniStore, AnyBytesSurviveInKeysValuesAndSections) {
    const std::vector<std::string> texts = {"plain",
                                            " blanks at both ends  ",
                                            "a=b",
                                            "",
                                            "two\nlines\r\n",
                                            "[section]",
                                            "# no comment",
                                            "; nor this",
                                            "back\\slash\\",
                                            "\\x41\\n",
                                            "tab\tinside",
                                            "\t",
                                            "M\xC3\xBCnchen",
                                            "no utf-8 \xFF\xC3",
                                            std::string("nul\0in", 6)};
    for (const std::string& section : texts) {
        for (const std::string& key : texts) {
            if (key.find('\0') == std::string::npos && section.find('\0') == std::string::npos) {
                _iniWrite(key.c_str(), key + section, section.c_str());
            }
        }
    }
    for (const std::string& text : texts) _iniWrite("value", text, text.c_str());
    for (const std::string& section : texts) {
        if (section.find('\0') != std::string::npos) continue;
        EXPECT_EQ(ReadOr("value", std::string("?"), section.c_str()), section);
        for (const std::string& key : texts) {
            if (key.find('\0') != std::string::npos) continue;
            EXPECT_EQ(ReadOr(key.c_str(), std::string("?"), section.c_str()), key + section);
        }
    }
}

TEST_F(IniStore, ABrokenLineCostsThatKeyAlone) {
    const std::string before =
        "; kept by hand\n"
        "First = 1\r\n"
        "no equals sign\n"
        "BadText=\xC3\x28\n"
        "Wrong=twelve\n"
        "TooBig=99999999999\n"
        "Trailing=1.5x\n"
        "Infinite=inf\n"
        "Colour=1,2,3\n"
        "BadEscape=a\\x4\n"
        "[open head\n"
        "\x01\x02=3\n";
    const std::string after = "\n[other]\nFirst=3\n";
    WriteFile(before + "Last=2\n" + after);
    const auto check = [] {
        EXPECT_EQ(ReadOr("First", std::int32_t{0}), 1);
        EXPECT_EQ(ReadOr("First", std::int32_t{0}, "other"), 3);
        for (const char* key : {"Wrong", "TooBig", "Missing", "BadText"}) {
            EXPECT_EQ(ReadOr(key, std::int32_t{-7}), -7) << key;
        }
        EXPECT_EQ(ReadOr("Trailing", -7.0F), -7.0F);
        EXPECT_EQ(ReadOr("Infinite", -7.0), -7.0);
        EXPECT_EQ(ReadOr("Colour", COLOR{9, 9, 9, 9}), (COLOR{9, 9, 9, 9}));
        EXPECT_EQ(ReadOr("BadEscape", std::string("?")), "?");
        EXPECT_EQ(ReadOr("BadText", std::string("?")), "?");
    };
    check();
    EXPECT_EQ(ReadOr("Last", std::int32_t{0}), 2);
    _iniWrite("Last", std::int32_t{5});
    EXPECT_EQ(Bytes(), before + "Last=5\n" + after) << "all else stays as it is";
    check();
    _iniWrite("New", true);
    EXPECT_EQ(Bytes(), before + "Last=5\nNew=true\n" + after);
    _iniWrite("BadText", std::string("mended"));
    EXPECT_EQ(ReadOr("BadText", std::string("?")), "mended");
    EXPECT_EQ(Bytes().find("\xC3\x28"), std::string::npos) << "in its old place";
}

TEST_F(IniStore, AMissingStoreStaysMissingUntilSomethingChanges) {
    Setting<float> speed{"Speed", 45.0F};
    EXPECT_EQ(speed.Get(), 45.0F);
    speed.SetUnsaved(50.0F);
    EXPECT_TRUE(speed.SetFromText("55"));
    EXPECT_FALSE(std::filesystem::exists(path_));
    speed.Set(60.0F);
    EXPECT_EQ(Setting<float>("Speed", 45.0F).Get(), 60.0F);
}

TEST_F(IniStore, AWriteThatCantWorkIsIgnoredAndSpoilsNothing) {
    std::filesystem::create_directories(path_);  // a folder where the store should be
    _iniWrite("Key", std::int32_t{1});
    EXPECT_EQ(ReadOr("Key", std::int32_t{7}), 7);
    std::filesystem::remove_all(path_);
    WriteFile("Key=3\n");
    std::filesystem::resize_file(path_, 3'000'000'000);  // no store of ours: left alone
    _iniWrite("Key", std::int32_t{1});
    EXPECT_EQ(std::filesystem::file_size(path_), 3'000'000'000);
    EXPECT_EQ(ReadOr("Key", std::int32_t{7}), 7);
    std::filesystem::remove(path_);
    WriteFile("");
    std::filesystem::rename(path_, folder_ / "real.ini");
    std::filesystem::create_symlink(folder_ / "real.ini", path_);
    _iniWrite("Key", std::int32_t{2});
    EXPECT_TRUE(std::filesystem::is_symlink(path_));
    EXPECT_EQ(ReadOr("Key", std::int32_t{7}), 2);
    ::setenv("TARNVALE_INI", "/dev/null/tarnvale.ini", 1);
    _iniWrite("Key", std::int32_t{1});
    EXPECT_EQ(ReadOr("Key", std::int32_t{7}), 7);
}

pid_t Start(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    work();
    ::_exit(0);
}

TEST_F(IniStore, ProcessesAndThreadsWritingAtOnceLoseNoKey) {
    constexpr int kWriters = 3, kKeys = 40;
    const auto key = [](int writer, int i) {
        return "Key" + std::to_string(writer) + "_" + std::to_string(i);
    };
    const auto writeAll = [&key](int writer) {
        for (int i = 0; i < kKeys; ++i) _iniWrite(key(writer, i).c_str(), std::int32_t{i});
    };
    std::vector<pid_t> children;
    for (int writer = 0; writer + 1 < kWriters; ++writer) {
        children.push_back(Start([&] { writeAll(writer); }));
    }
    std::jthread thread([&] { writeAll(kWriters - 1); });
    // A reader never sees a store that holds a later key but not the one written before it.
    for (int i = 0; i + 1 < kKeys; ++i) {
        const bool later = ReadOr(key(0, i + 1).c_str(), std::int32_t{-1}) >= 0;
        EXPECT_TRUE(!later || ReadOr(key(0, i).c_str(), std::int32_t{-1}) == i) << i;
    }
    thread.join();
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int i = 0; i < kKeys; ++i) {
            EXPECT_EQ(ReadOr(key(writer, i).c_str(), std::int32_t{-1}), i) << key(writer, i);
        }
    }
}

TEST_F(IniStore, AWriterKilledAnywhereLeavesAWholeFile) {
    constexpr std::size_t kLength = 1'000'000;
    _iniWrite("Other", std::int32_t{42});
    _iniWrite("Long", std::string(kLength, 'a'));
    for (int round = 0; round < 12; ++round) {
        const pid_t child = Start([] {
            for (char c = 'b';; c = c == 'z' ? 'b' : static_cast<char>(c + 1)) {
                _iniWrite("Long", std::string(kLength, c));
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(3 + 7 * round));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        const std::string read = ReadOr("Long", std::string());
        ASSERT_EQ(read.size(), kLength);
        EXPECT_EQ(read.find_first_not_of(read.front()), std::string::npos);
        EXPECT_EQ(ReadOr("Other", std::int32_t{0}), 42);
    }
    _iniWrite("Other", std::int32_t{43});  // neither lock nor remains are in the way
    EXPECT_EQ(ReadOr("Other", std::int32_t{0}), 43);
}

TEST(IniPath, FollowsTheEnvironment) {
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"/a/own.ini", "/xdg", "/home/u", "/a/own.ini"},
        {"", "/xdg", "/home/u", "/xdg/tarnvale/tarnvale.ini"},
        {"", "relative", "/home/u", "/home/u/.config/tarnvale/tarnvale.ini"},
        {"", "", "/home/u", "/home/u/.config/tarnvale/tarnvale.ini"},
    };
    const char* const before = std::getenv("HOME");
    const std::string home = before != nullptr ? before : "/";
    for (const auto& [own, xdg, user, path] : cases) {
        ::setenv("TARNVALE_INI", own, 1);
        ::setenv("XDG_CONFIG_HOME", xdg, 1);
        ::setenv("HOME", user, 1);
        EXPECT_EQ(IniPath(), FILEPATH(path));
    }
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("HOME", home.c_str(), 1);
}

// The program's own settings, read in a new process before its main.
using SettingsDeathTest = IniStore;

TEST_F(SettingsDeathTest, StartHoldsOrIgnoresWhatIsOutsideTheRange) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    WriteFile(
        "TerrainQuality=250\nFrameRate=0.25\nTerrainChoice=7\nPitchSpeed=nan\nMinimumHeight=1e30\n"
        "VerticalExaggeration=0\nFogType=-1\nStyleQuality=512\nTextureMemory=-5\n"
        "CompassNorthColor=1,2,3,4\nWireframe=perhaps\nSkyCentered=0\nFormat=177\n");
    const std::string before = Bytes();
    const auto allRight = [] {
        return settings::TerrainQuality.Get() == 100 && settings::FrameRate.Get() == 20 &&
               settings::TerrainChoice.Get() == 1 && settings::PitchSpeed.Get() == 45 &&
               settings::MinimumHeight.Get() < 1e7F && settings::VerticalExaggeration.Get() == 1 &&
               settings::FogType.Get() == 0 && settings::StyleQuality.Get() == 512 &&
               settings::TextureMemory.Get() == 0 &&
               settings::CompassNorthColor.Get() == COLOR{1, 2, 3, 4} &&
               !settings::Wireframe.Get() && !settings::SkyCentered.Get() &&
               settings::Format.Get() == 144;  // the first split that is named
    };
    EXPECT_EXIT(std::exit(allRight() ? 0 : 1), testing::ExitedWithCode(0), "");
    EXPECT_EQ(Bytes(), before) << "starting writes nothing";
}

TEST(Settings, TextSetsWhatIsInRangeAndNothingElse) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"TerrainQuality", "92.5", true},  {"TerrainQuality", "100.5", false},
        {"TerrainQuality", "nan", false},  {"TerrainQuality", "", false},
        {"terrainquality", "50", false},   {"TerrainChoice", "2", true},
        {"TerrainChoice", "3", false},     {"TerrainChoice", "2.0", false},
        {"Wireframe", "true", true},       {"Wireframe", "yes", false},
        {"SunElevationAngle", "-9", true}, {"FogColor", "1,2,3,0", true},
        {"FogColor", "1,2,70000,0", false}};
    for (const auto& [key, text, good] : cases) {
        EXPECT_EQ(settings::SetFromText(key, text), good) << key << '=' << text;
    }
    EXPECT_EQ(settings::TerrainQuality.Get(), 92.5);
    EXPECT_EQ(settings::TerrainChoice.Get(), 2);
    EXPECT_EQ(settings::FogColor.Get(), (COLOR{1, 2, 3, 0}));
}

}  // namespace
}  // namespace tarnvale

#include "base/textres.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {
namespace {

// A resource folder of the test's own for as long as it lives.
class TextFolder {
public:
    explicit TextFolder(const char* name) : folder_(FILEPATH(TARNVALE_TEST_TEMP) / name) {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_ / "texts");
        ::setenv("TARNVALE_RESOURCES", folder_.c_str(), 1);
        ::unsetenv("LC_ALL");
        ::unsetenv("LC_MESSAGES");
        ::setenv("LANG", "C", 1);
        TEXTRES::Terminate();
    }
    ~TextFolder() {
        ::unsetenv("TARNVALE_RESOURCES");
        TEXTRES::Terminate();
    }
    TextFolder(const TextFolder&) = delete;
    TextFolder& operator=(const TextFolder&) = delete;
    void Write(const char* file, const std::string& text) const {
        std::ofstream(folder_ / "texts" / file, std::ios::binary) << text;
    }

private:
    FILEPATH folder_;
};

TEST(TextRes, ReadsLinesAndSkipsWhatIsBroken) {
    const TextFolder folder("textres_lines");
    folder.Write("en.txt",
                 "\xEF\xBB\xBF# heading\r\nopen_ = Open...\r\n\nno text here\nbad = \xC3\x28\n"
                 "equation = a = b\n  padded   =   words   \nlines = one\\ntwo\nempty =\n"
                 "last = L\xC3\xA4ngengrad");
    EXPECT_EQ(TEXTRES::Text("open_"), "Open...");
    EXPECT_EQ(TEXTRES::Text("bad"), "bad");
    EXPECT_EQ(TEXTRES::Text("equation"), "a = b");
    EXPECT_EQ(TEXTRES::Text("padded"), "words");
    EXPECT_EQ(TEXTRES::Text("lines"), "one\ntwo");
    EXPECT_EQ(TEXTRES::Text("empty"), "");
    EXPECT_EQ(TEXTRES::Text("last"), "L\xC3\xA4ngengrad");
    EXPECT_EQ(TEXTRES::Text("no text here"), "no text here");
}

TEST(TextRes, TranslationsLieOverEnglish) {
    const TextFolder folder("textres_languages");
    folder.Write("en.txt", "up = Up\ndown = Down\nleft = Left\n");
    folder.Write("de.txt", "up = Oben\ndown = Unten\n");
    folder.Write("de_CH.txt", "down = Abe\n");
    ::setenv("LANG", "de_CH.UTF-8", 1);
    EXPECT_EQ(TEXTRES::Text("up"), "Oben");
    EXPECT_EQ(TEXTRES::Text("down"), "Abe");
    EXPECT_EQ(TEXTRES::Text("left"), "Left");
    ::setenv("LC_ALL", "../texts/de", 1);  // no way out of the folder
    TEXTRES::Terminate();
    EXPECT_EQ(TEXTRES::Text("up"), "Up");
}

TEST(TextRes, LooksUpWhileAnotherThreadFreesTheTexts) {
    const TextFolder folder("textres_threads");
    folder.Write("en.txt", "up = Up\n");
    std::atomic<int> wrong = 0;
    const auto read = [&wrong] {
        for (int k = 0; k < 2000; ++k) wrong += TEXTRES::Text("up") == "Up" ? 0 : 1;
    };
    std::thread first(read), second(read);
    for (int k = 0; k < 200; ++k) TEXTRES::Terminate();
    first.join();
    second.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Status, DetailsAreInTheUsersLanguageToo) {
    ::setenv("TARNVALE_RESOURCES", TARNVALE_SOURCE_DIR "/resources", 1);
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    TEXTRES::Terminate();
    (void)_SetErrPosn(StatusCode::FileNotFound, "/weg.sim: no such file; check the name");
    EXPECT_EQ(GetErrString(StatusCode::FileNotFound),
              "Die Datei wurde nicht gefunden: /weg.sim: es gibt sie nicht; bitte den "
              "Namen prüfen");
    ::unsetenv("LC_ALL");
    ::unsetenv("TARNVALE_RESOURCES");
    TEXTRES::Terminate();
}

// A detail belongs to the code that it was noted with, and outlives layers that only pass the code
// on.
TEST(Status, DetailStaysWithItsCode) {
    EXPECT_FALSE(_SetErrPosn(StatusCode::ReadFailed, "row 7\nof dem").Good());
    EXPECT_FALSE(_SetErrPosn(StatusCode::ReadFailed).Good());
    EXPECT_THAT(GetErrString(StatusCode::ReadFailed), testing::EndsWith(": row 7 of dem"));
    EXPECT_FALSE(_SetErrPosn(StatusCode::BadState).Good());
    EXPECT_THAT(GetErrString(StatusCode::BadState), testing::Not(testing::HasSubstr("row 7")));
    EXPECT_THAT(GetErrString(StatusCode::ReadFailed), testing::Not(testing::HasSubstr("row 7")));
}

}  // namespace
}  // namespace tarnvale

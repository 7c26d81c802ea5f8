#include "app/atlastool.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <filesystem>
#include <fstream>

#include "app/widgets_for_test.h"
#include "simulator/atlashandover.h"

namespace tarnvale {
namespace {

using widgets::Get;

class AtlasToolTest : public testing::Test {
protected:
    AtlasToolTest() {
        widgets::NewStore();
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    ~AtlasToolTest() override { std::filesystem::remove_all(folder); }
    FILEPATH Put(const char* name, const char* text) const {
        std::ofstream(folder / name) << text;
        return folder / name;
    }
    static QString Text(const AtlasTool& tool, const char* name) {
        return Get<QRadioButton>(tool, name).text();
    }

    FILEPATH folder = FILEPATH(TARNVALE_TEST_TEMP) / ("atlastool-" + std::to_string(::getpid()));
    std::vector<std::int32_t> shown;
    FILEPATH answer;
    AtlasHandover handover{[this](Status status) { shown.push_back(status.Value()); }};
    std::function<FILEPATH(QWidget*)> ask = [this](QWidget*) { return answer; };
};

TEST_F(AtlasToolTest, AButtonForEachAtlasAndTheFirstIsChosen) {
    const FILEPATH lakes = Put("a.atl", "[Sedgelineatlas]\nTitle=Lakes & tarns\n");
    const FILEPATH plain = Put("plain name.atl", "");
    handover.SetList({lakes, plain});
    AtlasTool tool(handover, ask, nullptr);
    tool.OpenTool();
    EXPECT_EQ(Text(tool, "atlas0"), "Lakes && tarns");
    EXPECT_EQ(Text(tool, "atlas1"), "plain name");
    EXPECT_TRUE(Get<QRadioButton>(tool, "atlas0").isChecked());
    EXPECT_EQ(handover.Chosen(), lakes);
    QTest::mouseClick(&Get<QRadioButton>(tool, "atlas1"), Qt::LeftButton, {},
                      {5, Get<QRadioButton>(tool, "atlas1").height() / 2});
    EXPECT_EQ(handover.Chosen(), plain);
}

TEST_F(AtlasToolTest, AnAtlasThatHasGoneIsSaidAndTheChoiceStays) {
    const FILEPATH a = Put("a.atl", ""), b = Put("b.atl", "");
    handover.SetList({a, b});
    AtlasTool tool(handover, ask, nullptr);
    tool.OpenTool();
    std::filesystem::remove(b);
    Get<QRadioButton>(tool, "atlas1").click();
    EXPECT_EQ(shown, std::vector<std::int32_t>{-1563});
    EXPECT_EQ(handover.Chosen(), a);
    EXPECT_TRUE(Get<QRadioButton>(tool, "atlas0").isChecked());

    // Where the first is missing too, none is chosen.
    std::filesystem::remove(a);
    handover.SetList({a});
    AtlasTool other(handover, ask, nullptr);
    EXPECT_EQ(shown.size(), 2U);
    EXPECT_FALSE(Get<QRadioButton>(other, "atlas0").isChecked());
    EXPECT_TRUE(handover.Chosen().empty());
}

TEST_F(AtlasToolTest, AnAddedAtlasGetsAButtonAndTheFirstOneIsChosen) {
    AtlasTool tool(handover, ask, nullptr);
    tool.OpenTool();
    auto& add = Get<QPushButton>(tool, "add_atlas_");
    add.click();
    EXPECT_TRUE(handover.List().empty()) << "cancelled";
    answer = Put("new.atl", "");
    add.click();
    EXPECT_EQ(handover.Chosen(), answer);
    EXPECT_TRUE(Get<QRadioButton>(tool, "atlas0").isChecked());
    answer = Put("second.atl", "");
    add.click();
    add.click();
    EXPECT_EQ(tool.findChildren<QRadioButton*>().size(), 2);
    EXPECT_EQ(handover.Chosen().filename(), "new.atl");
}

}  // namespace
}  // namespace tarnvale

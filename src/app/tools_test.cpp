#include "app/tools.h"

#include <gtest/gtest.h>

#include <QPointer>
#include <QSignalSpy>

#include "app/tooldialog.h"
#include "app/widgets_for_test.h"
#include "simulator/simulatr.h"

namespace tarnvale {
namespace {

class ToolsTest : public testing::Test {
protected:
    ToolsTest() {
        widgets::NewStore();
        EXPECT_TRUE(simulator.Initialize(nullptr).Good());
        tools.Add(ToolMode::PointOfInterest, {.makeWindow = MakerOf("tools", poi)});
        tools.Add(ToolMode::Atlas, {.prepare = [this] { return prepared; },
                                    .hasWindow = [this] { return hasWindow; },
                                    .makeWindow = MakerOf("theme", atlas)});
    }
    static std::function<std::unique_ptr<ToolDialog>()> MakerOf(const char* title,
                                                                QPointer<ToolDialog>& made) {
        return [title, &made] {
            auto window = std::make_unique<ToolDialog>(title, nullptr);
            made = window.get();
            return window;
        };
    }

    Simulator simulator;
    QPointer<ToolDialog> poi, atlas;
    bool prepared = true, hasWindow = true;
    Tools tools{simulator, nullptr};
    QSignalSpy changes{&tools, &Tools::ModeChanged};
};

TEST_F(ToolsTest, OneWindowAtMostIsOpen) {
    EXPECT_FALSE(tools.Select(ToolMode::PointOverlay)) << "isn't offered";
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Viewpoint);
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    EXPECT_TRUE(poi->isVisible());
    EXPECT_TRUE(tools.Select(ToolMode::Atlas));
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Atlas);
    EXPECT_FALSE(poi->isVisible());
    EXPECT_TRUE(atlas->isVisible());
    EXPECT_TRUE(tools.Select(ToolMode::Atlas));
    EXPECT_EQ(changes.count(), 2);
    EXPECT_TRUE(tools.Select(ToolMode::Viewpoint));
    EXPECT_FALSE(atlas->isVisible());
}

TEST_F(ToolsTest, AClosedWindowGivesTheMouseBackToTheViewer) {
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    poi->close();
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Viewpoint);
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    EXPECT_TRUE(poi->isVisible());
    QTest::keyClick(poi, Qt::Key_Escape);
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Viewpoint);
    EXPECT_EQ(changes.count(), 4);
}

TEST_F(ToolsTest, WhatAToolCanNotDoWithoutLeadsBackToTheViewer) {
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    prepared = false;
    EXPECT_FALSE(tools.Select(ToolMode::Atlas));
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Viewpoint);
    EXPECT_FALSE(poi->isVisible());
    prepared = true;
    hasWindow = false;
    EXPECT_TRUE(tools.Select(ToolMode::Atlas));
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Atlas);
    EXPECT_TRUE(atlas.isNull());
}

TEST_F(ToolsTest, ADroppedWindowIsMadeAnew) {
    EXPECT_TRUE(tools.Select(ToolMode::Atlas));
    tools.DropWindow(ToolMode::Atlas);
    EXPECT_TRUE(atlas.isNull());
    EXPECT_EQ(simulator.GetToolMode(), ToolMode::Atlas) << "the user didn't close it";
    EXPECT_TRUE(tools.Select(ToolMode::Atlas));
    EXPECT_TRUE(atlas != nullptr && atlas->isVisible());
}

TEST_F(ToolsTest, AWindowComesBackToItsPlace) {
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    poi->setGeometry(123, 145, 310, 220);
    EXPECT_TRUE(tools.Select(ToolMode::Viewpoint));
    tools.DropWindow(ToolMode::PointOfInterest);
    std::string kept;
    EXPECT_TRUE(_iniRead("ToolsToolDialogPosition", kept));
    EXPECT_TRUE(tools.Select(ToolMode::PointOfInterest));
    EXPECT_EQ(poi->geometry(), QRect(123, 145, 310, 220));
}

}  // namespace
}  // namespace tarnvale

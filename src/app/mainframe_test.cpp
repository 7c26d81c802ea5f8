#include "app/mainframe.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QStatusBar>
#include <QUrl>
#include <vector>

#include "app/mainmenu.h"
#include "app/tarnvaleview.h"
#include "app/widgets_for_test.h"

namespace tarnvale {
namespace {

class MainFrame : public ::testing::Test {
protected:
    /// @return the files that a drop of these places asks to open
    QStringList Drop(const std::vector<QUrl>& places) {
        QStringList opened;
        const auto connection =
            QObject::connect(&frame_, &CMainFrame::OpenWanted,
                             [&opened](const QString& file) { opened.append(file); });
        QMimeData data;
        data.setUrls(QList<QUrl>(places.begin(), places.end()));
        QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&frame_, &enter);
        if (enter.isAccepted()) {
            QDropEvent drop({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&frame_, &drop);
        }
        QObject::disconnect(connection);
        return opened;
    }

    CMainFrame frame_{new CTarnvaleView};  // the frame takes it over
};

TEST_F(MainFrame, OneFileDroppedOpens) {
    const QUrl land = QUrl::fromLocalFile("/data/my land & sea.sim");
    EXPECT_EQ(Drop({land}), QStringList("/data/my land & sea.sim"));
    EXPECT_TRUE(Drop({land, land}).empty()) << "which of both?";
    EXPECT_TRUE(Drop({QUrl("sftp://elsewhere/land.sim")}).empty());
    EXPECT_TRUE(Drop({}).empty());
    frame_.EnableCommands(false);
    EXPECT_TRUE(Drop({land}).empty()) << "a file is opening already";
}

TEST_F(MainFrame, WhileAFileOpensNoCommandWorksAndThenThoseThatDidBefore) {
    MainMenu& menu = frame_.Menu();
    frame_.EnableLandscapeCommands(true);
    menu.Enable(Command::FileChooseAtlas, false);
    int opened = 0;
    QObject::connect(&menu, &MainMenu::Chosen, [&opened](Command, bool) { ++opened; });
    frame_.EnableCommands(false);
    menu.Enable(Command::ViewRecenter, true);  // what happens meanwhile doesn't unlock it
    for (const Command command : {Command::FileOpen, Command::ViewRecenter}) {
        menu.Action(command)->trigger();
    }
    EXPECT_EQ(opened, 0);
    frame_.EnableCommands(true);
    menu.Action(Command::FileOpen)->trigger();
    menu.Action(Command::FileChooseAtlas)->trigger();
    EXPECT_EQ(opened, 1);
    EXPECT_TRUE(menu.Action(Command::ViewRecenter)->isEnabled());
}

TEST_F(MainFrame, ANoticeIsSeenWithTheStatusBarOffToo) {
    widgets::NewStore();
    const QStatusBar& bar = *frame_.statusBar();
    const auto seen = [&] { return bar.isVisibleTo(&frame_); };
    for (const bool on : {false, true}) {
        frame_.ShowStatusBar(on);
        frame_.ShowNotice("first");
        frame_.ShowNotice("second");
        EXPECT_TRUE(seen() && bar.currentMessage() == "second");
        EXPECT_EQ(frame_.StatusBarShown(), on) << "what the menu says";
        frame_.statusBar()->clearMessage();  // as its time is over
        EXPECT_EQ(seen(), on);
        bool stored = !on;
        EXPECT_TRUE(widgets::Stored("ShowStatusBar", stored) && stored == on);
    }
}

TEST_F(MainFrame, LayersOfALandscapeStandInItsMenuAndGoWithIt) {
    MainMenu& menu = frame_.Menu();
    std::vector<std::pair<int, int>> toggled;
    QObject::connect(&menu, &MainMenu::TextureToggled,
                     [&toggled](int layer, int texture) { toggled.emplace_back(layer, texture); });
    menu.RebuildLayers({{"one", {{"a & b", true}}}, {"two", {{"c", true}, {"d", false}}}});
    const auto find = [this](int number) {
        return frame_.findChild<QAction*>(QStringLiteral("LayerTexture%1").arg(number));
    };
    ASSERT_NE(find(2), nullptr);
    EXPECT_EQ(find(0)->text(), "a && b");
    EXPECT_TRUE(find(1)->isChecked());
    EXPECT_FALSE(find(2)->isChecked());
    find(2)->trigger();
    EXPECT_EQ(toggled, (std::vector<std::pair<int, int>>{{1, 1}}));
    EXPECT_TRUE(menu.Action(Command::LayerOffsets)->isEnabled());

    // More textures than there are numbers: the rest is left out.
    LayerEntry many{"many", {}};
    many.textures.resize(MainMenu::kTextureEntries + 5);
    menu.RebuildLayers({many});
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_NE(find(MainMenu::kTextureEntries - 1), nullptr);
    EXPECT_EQ(find(MainMenu::kTextureEntries), nullptr);
    menu.RebuildLayers({});
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(find(0), nullptr);
    EXPECT_FALSE(menu.Action(Command::LayerOffsets)->isEnabled());
}

}  // namespace
}  // namespace tarnvale

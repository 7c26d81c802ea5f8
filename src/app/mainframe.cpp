#include "app/mainframe.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QUrl>
#include <algorithm>
#include <string>
#include <vector>

#include "app/mainmenu.h"
#include "app/statusprogress.h"
#include "app/tarnvaleview.h"
#include "app/themeicon.h"
#include "base/inistore.h"
#include "qtbase/apptext.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "MainWinPlacement";
constexpr int kNotice = 8000;  // milliseconds that a notice stands in the status bar

std::string RecentKey(int i) {
    return "RecentFile" + std::to_string(i + 1);
}

std::vector<std::string> ReadRecentFiles() {
    std::vector<std::string> files;
    for (int i = 0; i < static_cast<int>(MainMenu::kRecentFiles); ++i) {
        std::string file;
        if (_iniRead(RecentKey(i).c_str(), file) && !file.empty()) files.push_back(std::move(file));
    }
    return files;
}

void WriteRecentFiles(const std::vector<std::string>& files) {
    for (std::size_t i = 0; i < MainMenu::kRecentFiles; ++i) {
        const std::string file = i < files.size() ? files[i] : std::string();
        std::string stored;
        const std::string key = RecentKey(static_cast<int>(i));
        if (_iniRead(key.c_str(), stored) ? stored != file : !file.empty())
            _iniWrite(key.c_str(), file);
    }
}

/// @return the one local file that a drag carries, or an empty text
QString DraggedFile(const QMimeData* data) {
    if (data == nullptr || !data->hasUrls() || data->urls().size() != 1) return {};
    return data->urls().front().toLocalFile();
}

}  // namespace

CMainFrame::CMainFrame(CTarnvaleView* view)
    : view_(view),
      viewContainer_(QWidget::createWindowContainer(view, this)),
      menu_(new MainMenu(this)),
      progress_(new StatusProgress(this)),
      look_(new QLabel(this)),
      lock_(new QLabel(TextOf("altitude_lock"), this)) {
    setWindowTitle(QStringLiteral("Tarnvale"));
    viewContainer_->setFocusPolicy(Qt::StrongFocus);
    viewContainer_->setMinimumSize(160, 120);
    viewContainer_->setAccessibleName(TextOf("main_view"));
    setCentralWidget(viewContainer_);
    setAcceptDrops(true);
    look_->setObjectName(QStringLiteral("LookDirection"));
    look_->setAccessibleName(TextOf("look_direction"));
    lock_->setObjectName(QStringLiteral("AltitudeLock"));
    statusBar()->addPermanentWidget(look_);
    statusBar()->addPermanentWidget(lock_);
    lock_->hide();
    ShowLookDirection(0);
    BuildTools();
    (void)_iniRead("ShowStatusBar", statusBarWanted_);
    statusBar()->setVisible(statusBarWanted_);
    connect(statusBar(), &QStatusBar::messageChanged, this, [this](const QString& shown) {
        if (notice_.isEmpty() || shown == notice_) return;
        notice_.clear();
        ShowBars();
    });
    EnableLandscapeCommands(false);
    ShowRecentFiles();
    Place();
}

void CMainFrame::BuildTools() {
    struct Tool {
        Command command;
        const char *name, *key, *icon;
        bool exists;
    };
    static constexpr std::array<Tool, kTools> kAll{{
        {Command::ToolViewpoint, "ToolViewpoint", "viewpoint_tool", "tool-viewpoint", true},
        {Command::ToolPointOverlay, "ToolPointOverlay", "point_overlay_tool", "tool-point-overlay",
         false},
        {Command::ToolPOI, "ToolPOI", "poi_tool", "tool-poi", true},
        {Command::ToolAtlas, "ToolAtlas", "atlas_tool", "tool-atlas", true},
    }};
    toolBar_ = addToolBar(TextOf("tools"));
    toolBar_->setObjectName(QStringLiteral("Tools"));
    toolBar_->setMovable(false);
    auto* const group = new QActionGroup(this);
    for (std::size_t i = 0; i < kAll.size(); ++i) {
        const Tool& tool = kAll[i];
        QAction* const action = toolBar_->addAction(TextOf(tool.key));
        action->setObjectName(QLatin1String(tool.name));
        action->setData(static_cast<int>(tool.command));
        action->setProperty("iconName", QLatin1String(tool.icon));
        action->setCheckable(true);
        action->setEnabled(tool.exists);
        action->setShortcut(QKeySequence(static_cast<Qt::Key>(Qt::Key_F6 + i)));
        action->setShortcutContext(Qt::ApplicationShortcut);
        group->addAction(action);
        connect(action, &QAction::triggered, this,
                [this, mode = static_cast<int>(i)] { emit ToolWanted(mode); });
        tools_[i] = action;
    }
    tools_[0]->setChecked(true);
    ColourIcons();

    auto* const escape = new QAction(this);
    escape->setObjectName(QStringLiteral("BackToViewpoint"));
    escape->setShortcut(Qt::Key_Escape);
    connect(escape, &QAction::triggered, this, [this] {
        if (isFullScreen())
            ShowFullScreen(false);
        else
            emit ToolWanted(0);
    });
    addAction(escape);
}

void CMainFrame::ColourIcons() {
    for (QAction* const action : tools_) {
        action->setIcon(ThemeIcon(action->property("iconName").toString(), QSize(24, 24), *this));
    }
}

void CMainFrame::ShowRecentFiles() {
    menu_->ShowRecentFiles(ReadRecentFiles());
}

void CMainFrame::AddRecentFile(const FILEPATH& file) {
    std::vector<std::string> files = ReadRecentFiles();
    std::erase(files, file.string());
    files.insert(files.begin(), file.string());
    if (files.size() > MainMenu::kRecentFiles) files.resize(MainMenu::kRecentFiles);
    WriteRecentFiles(files);
    ShowRecentFiles();
}

void CMainFrame::RemoveRecentFile(const FILEPATH& file) {
    std::vector<std::string> files = ReadRecentFiles();
    if (std::erase(files, file.string()) == 0) return;
    WriteRecentFiles(files);
    ShowRecentFiles();
}

void CMainFrame::ShowLandscapeName(const FILEPATH& file) {
    setWindowTitle(QString::fromStdString(file.stem().string()) + QStringLiteral(" - Tarnvale"));
}

void CMainFrame::FocusView() {
    viewContainer_->setFocus();
    view_->requestActivate();
}

void CMainFrame::ShowAltitudeLock(bool locked) {
    if (lock_->isHidden() == locked) lock_->setHidden(!locked);
}

void CMainFrame::ShowLookDirection(int arrow) {
    static constexpr std::array<const char*, 7> kKeys = {"forward", "rear", "left",    "right",
                                                         "up",      "down", "vertical"};
    if (arrow == arrow_ || arrow < 0 || arrow >= static_cast<int>(kKeys.size())) return;
    arrow_ = arrow;
    look_->setText(TextOf(kKeys[static_cast<std::size_t>(arrow)]));
}

void CMainFrame::ShowToolMode(int mode) {
    if (mode >= 0 && mode < kTools) tools_[static_cast<std::size_t>(mode)]->setChecked(true);
}

void CMainFrame::EnableLandscapeCommands(bool enable) {
    for (const Command command :
         {Command::FileChooseAtlas, Command::ViewRecenter, Command::ViewRestore,
          Command::FileScreenShot, Command::ViewPOIs}) {
        menu_->Enable(command, enable);
    }
}

void CMainFrame::EnableCommands(bool enable) {
    commandsOn_ = enable;
    menu_->Lock(!enable);
    toolBar_->setEnabled(enable);
    ShowBars();
    if (enable && closeWanted_)
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
}

void CMainFrame::ShowStatusBar(bool show) {
    statusBarWanted_ = show;
    ShowBars();
    _iniWrite("ShowStatusBar", show);
}

bool CMainFrame::StatusBarShown() const {
    return statusBarWanted_;
}

void CMainFrame::ShowNotice(const QString& text) {
    notice_ = text;
    statusBar()->showMessage(text, kNotice);
    ShowBars();
}

void CMainFrame::ShowBars() {
    menuBar()->setVisible(!isFullScreen());
    toolBar_->setVisible(!isFullScreen());
    // While commands are off the status bar shows how far the opening has come.
    statusBar()->setVisible(!commandsOn_ || !notice_.isEmpty() ||
                            (statusBarWanted_ && !isFullScreen()));
}

void CMainFrame::ShowFullScreen(bool on) {
    if (on == isFullScreen()) return;
    // If the program ends in full screen, the next start is in the window of before.
    if (on) SavePlacement(*this, kPlacement);
    setWindowState(windowState().setFlag(Qt::WindowFullScreen, on));
    ShowBars();
    FocusView();
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    if (!commandsOn_) {
        // A file is opening: stop that first, then close.
        progress_->Cancel();
        closeWanted_ = true;
        event->ignore();
        return;
    }
    if (closeQuestion_ && !closeQuestion_()) {
        event->ignore();
        return;
    }
    if (!isFullScreen()) SavePlacement(*this, kPlacement);
    event->accept();
    emit Closed();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
    if (commandsOn_ && !DraggedFile(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
    const QString file = DraggedFile(event->mimeData());
    if (!commandsOn_ || file.isEmpty()) return;
    event->acceptProposedAction();
    emit OpenWanted(file);
}

// A window manager may give the focus to the frame instead of the view inside it.
void CMainFrame::keyPressEvent(QKeyEvent* event) {
    if (!commandsOn_ || !view_->KeyPressed(*event)) QMainWindow::keyPressEvent(event);
}

void CMainFrame::keyReleaseEvent(QKeyEvent* event) {
    if (!view_->KeyReleased(*event)) QMainWindow::keyReleaseEvent(event);
}

void CMainFrame::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && !isActiveWindow()) view_->ReleaseKeys();
    // The window manager can end full screen too.
    if (event->type() == QEvent::WindowStateChange && toolBar_ != nullptr) ShowBars();
    if (event->type() == QEvent::PaletteChange && tools_.front() != nullptr) ColourIcons();
    QMainWindow::changeEvent(event);
}

void CMainFrame::Place() {
    if (RestorePlacement(*this, kPlacement)) return;
    const QSize room = QGuiApplication::primaryScreen()->availableSize();
    constexpr int kBorders = 40;  // and a title bar, whose sizes aren't known before it is shown
    resize(std::min(1280, room.width()), std::min(800, room.height() - kBorders));
}

}  // namespace tarnvale

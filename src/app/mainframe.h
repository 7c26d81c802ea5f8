#pragma once

#include <QMainWindow>
#include <array>
#include <functional>
#include <utility>

#include "app/commands.h"
#include "base/types.h"

class QActionGroup;
class QLabel;
class QToolBar;

namespace tarnvale {

class CTarnvaleView;
class MainMenu;
class StatusProgress;

/// The main window: menus, tool palette, status bar, and the view that fills it. Commands leave by
/// signals, of this and of its menu. Thread: the user interface's.
class CMainFrame final : public QMainWindow {
    Q_OBJECT

public:
    /// @param view  the main view; the frame takes it over inside a container widget
    explicit CMainFrame(CTarnvaleView* view);

    [[nodiscard]] MainMenu& Menu() { return *menu_; }
    [[nodiscard]] StatusProgress& Reporter() { return *progress_; }

    /// Puts the file first in the recent list, which is kept between runs.
    void AddRecentFile(const FILEPATH& file);
    void RemoveRecentFile(const FILEPATH& file);
    void ShowLandscapeName(const FILEPATH& file);
    void FocusView();
    void ShowAltitudeLock(bool locked);
    /// @param arrow  0 forward, 1 rear, 2 left, 3 right, 4 up, 5 down, 6 vertical
    void ShowLookDirection(int arrow);
    /// @param mode  0 viewpoint, 1 point overlay, 2 point of interest, 3 atlas
    void ShowToolMode(int mode);
    /// Commands that need a landscape.
    void EnableLandscapeCommands(bool enable);
    /// While off, neither menus nor keys nor drops do anything.
    void EnableCommands(bool enable);
    /// Kept between runs.
    void ShowStatusBar(bool show);
    [[nodiscard]] bool StatusBarShown() const;
    /// Tells something for some seconds. A status bar that is off shows for so long.
    void ShowNotice(const QString& text);
    /// Asked before the window closes; where it answers false the window stays.
    void SetCloseQuestion(std::function<bool()> question) { closeQuestion_ = std::move(question); }
    /// The view alone, over the whole screen. Escape ends it.
    void ShowFullScreen(bool on);

signals:
    void OpenWanted(const QString& file);
    void ToolWanted(int mode);
    void Closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    static constexpr int kTools = 4;

    void BuildTools();
    /// Menus, palette and status bar, as the window's state has them.
    void ShowBars();
    void ShowRecentFiles();
    void Place();
    void ColourIcons();

    CTarnvaleView* view_;
    QWidget* viewContainer_;
    MainMenu* menu_;
    StatusProgress* progress_;
    QLabel* look_;
    QLabel* lock_;
    QToolBar* toolBar_ = nullptr;
    std::array<QAction*, kTools> tools_{};
    std::function<bool()> closeQuestion_;
    int arrow_ = -1;
    bool commandsOn_ = true;
    bool closeWanted_ = false;  // asked for while commands were off
    bool statusBarWanted_ = true;
    QString notice_;  // empty while there is none
};

}  // namespace tarnvale

#pragma once

#include <QMainWindow>
#include <array>

#include "base/progress.h"
#include "base/types.h"

class QAction;
class QLabel;
class QProgressBar;
class QToolButton;

namespace tarnvale {

class CTarnvaleView;

/// Progress of an opening landscape, in the status bar with a button that cancels. Keeps the window
/// alive by handling its events about ten times a second; commands are off meanwhile.
class StatusProgress final : public QObject, public Progress {
    Q_OBJECT

public:
    explicit StatusProgress(QMainWindow* frame);
    void Begin(std::string_view text, double endValue, double step) override;
    void Pulse() override;
    void End() override;
    [[nodiscard]] bool Cancelled() const override { return cancelled_; }
    void Cancel() noexcept { cancelled_ = true; }
    void Reset() noexcept { cancelled_ = false; }

private:
    bool eventFilter(QObject* watched, QEvent* event) override;

    QMainWindow* frame_;
    QLabel* label_;
    QProgressBar* bar_;
    QToolButton* cancel_;
    double value_ = 0, end_ = 1, step_ = 1;
    qint64 lastEvents_ = 0;
    bool running_ = false, cancelled_ = false;
};

/// The main window: menus, status bar, and the view that fills it. Commands leave by signals.
class CMainFrame final : public QMainWindow {
    Q_OBJECT

public:
    static constexpr int kRecentFiles = 4;

    /// @param view  the main view; the frame takes it over inside a container widget
    explicit CMainFrame(CTarnvaleView* view);

    /// Puts the file first in the recent list, which is kept between runs.
    void AddRecentFile(const FILEPATH& file);
    void RemoveRecentFile(const FILEPATH& file);
    void ShowLandscapeName(const FILEPATH& file);
    void FocusView();
    void ShowAltitudeLock(bool locked);
    /// @param arrow  0 forward, 1 rear, 2 left, 3 right, 4 up, 5 down, 6 vertical
    void ShowLookDirection(int arrow);
    /// Commands that need a landscape.
    void EnableLandscapeCommands(bool enable);
    /// While off, neither menus nor keys nor drops do anything.
    void EnableCommands(bool enable);
    [[nodiscard]] StatusProgress& Reporter() { return *progress_; }

signals:
    void OpenWanted(const QString& file);
    void OpenDialogWanted();
    void RecenterWanted();
    void RestoreWanted();
    void Closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void BuildMenus();
    void ShowRecentFiles();
    void Place();

    CTarnvaleView* view_;
    QWidget* viewContainer_;
    StatusProgress* progress_;
    QLabel* look_;
    QLabel* lock_;
    int arrow_ = -1;
    std::array<QAction*, kRecentFiles> recent_{};
    QAction *recenter_ = nullptr, *restore_ = nullptr;
    bool commandsOn_ = true;
    bool closeWanted_ = false;  // asked for while commands were off
};

}  // namespace tarnvale

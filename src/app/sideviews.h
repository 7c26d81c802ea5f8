#pragma once

#include <QObject>
#include <QPointer>
#include <array>
#include <memory>
#include <string>

#include "graphics/graphicssystem.h"
#include "simulator/simulatr.h"

class QWidget;

namespace tarnvale {

class CTarnvaleView;
class ViewWindow;

/// The sixteen side views of a program; each window is made on first use. Thread: the user
/// interface's.
class SideViews final : public QObject {
    Q_OBJECT

public:
    /// @param mainView  its key sink gets the keys typed in side views
    /// Both on loan; this goes before the simulator.
    SideViews(Simulator& simulator, CTarnvaleView& mainView);
    ~SideViews() override;

    /// The kind of graphics system that the windows draw with. The first call with one makes the
    /// windows that were shown at the end of the last run. Before a change of kind, call it with
    /// null: the windows stay, without a picture.
    /// @param prototype   on loan until the next call
    /// @param mainWindow  the windows stay above it; on loan
    void Attach(const GraphicsSystem* prototype, QWidget* mainWindow);

    /// @param view  0 to 15; others are ignored. Hiding keeps the window and its textures.
    void ShowView(int view, bool show);
    void ToggleView(int view);
    [[nodiscard]] bool IsShown(int view) const;
    /// @param text  empty: the view's own name again
    void SetTitle(int view, const std::string& text);

    /// Views of points of interest belong to a landscape: closes them and forgets their points.
    void CloseLandscapeViews();
    /// After a landscape was opened or closed.
    void RebuildLayerLists();
    /// After a frame: views whose device is gone for good say so.
    void TellLosses();
    /// Off while a landscape is opening: the windows can't be closed, shown, hidden or used.
    void EnableCommands(bool enable);
    /// Frees all windows, keeping their places, and which of the views 0 to 7 were shown.
    void CloseWithProgram();

    /// The view whose window is active, or the main view.
    [[nodiscard]] int FocusedView() const;
    /// @return null while it isn't made
    [[nodiscard]] ViewWindow* Window(int view) const;
    /// Whether anybody can see one of the pictures.
    [[nodiscard]] bool AnyVisible() const;

signals:
    void ViewShown(int view, bool shown);
    // Of any of the windows' pictures:
    void ViewClicked(bool left, bool right);
    void WheelTurned(int delta);
    void RedrawNeeded();
    void ScreenShotWanted(int view);

private:
    void Make(int view);
    /// @param shown  what the next start goes by
    void Close(int view, bool shown);

    Simulator& simulator_;
    CTarnvaleView& mainView_;
    const GraphicsSystem* prototype_ = nullptr;
    QPointer<QWidget> mainWindow_;
    std::array<std::unique_ptr<ViewWindow>, View::kMain> windows_;
    std::array<QString, View::kMain> titles_;  // given ones; empty: the view's own name
    bool started_ = false;                     // the last run's windows are made
    bool commandsOn_ = true;
};

}  // namespace tarnvale

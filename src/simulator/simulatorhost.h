#pragma once

#include <string>

namespace tarnvale {

class GraphicsSystem;
class InputSystem;

/// How the simulator, view windows and dialogs reach the program. Thread: the frame cycle's.
class SimulatorHost {
public:
    virtual ~SimulatorHost() = default;
    /// One step of the flight: input, viewer, all views.
    virtual void RunFrame() = 0;
    /// Draws by another kind of system from now on, in the main view and all side views.
    /// @param system  a prototype on loan. @return false if that failed: the old one is in force
    [[nodiscard]] virtual bool ChangeGraphicsSystem(GraphicsSystem* system) = 0;
    virtual void FocusMainWindow() = 0;
    /// @param system  a prototype on loan. @return false if that failed: the old one is in force
    [[nodiscard]] virtual bool ChangeInputSystem(InputSystem* system) = 0;
    /// @param view  0 to 15. @param text  UTF-8; empty: the view's own name again
    virtual void SetViewTitle(int view, const std::string& text) = 0;
    /// @param view  0 to 15; others are ignored
    virtual void ShowView(int view, bool show) = 0;
    /// The landscape's textures, point sets or scripts changed.
    virtual void RebuildMenus() = 0;
    /// The mouse moved or a button of it changed in a view, after the simulator has heard of it.
    virtual void OnViewClicked(bool left, bool right) = 0;
    /// Asks about unsaved data. @return false if the user cancels
    virtual bool MayReplaceLandscape() = 0;
};

}  // namespace tarnvale

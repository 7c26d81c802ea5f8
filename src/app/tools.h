#pragma once

#include <QObject>
#include <array>
#include <functional>
#include <memory>

#include "base/views.h"

class QWidget;

namespace tarnvale {

class Simulator;
class ToolDialog;

/// What a tool mode other than viewpoint brings along. Each member may be empty.
struct Tool {
    /// Key of the instructions that are shown when the tool is chosen, and the name under which
    /// the user's wish not to see them again is kept. Cancelling them leaves the mode as it is.
    const char* instructions = nullptr;
    const char* instructionsName = nullptr;
    /// Asks for what the tool can't do without. @return false: the mode is viewpoint then
    std::function<bool()> prepare = {};
    /// Whether the tool's window opens now; empty: always.
    std::function<bool()> hasWindow = {};
    /// Makes the tool's window, when it is first wanted.
    std::function<std::unique_ptr<ToolDialog>()> makeWindow = {};
};

/// The tools of the palette: which one has the mouse, and their windows, of which one at most is
/// open. Viewpoint is always there and has no window. Thread: the user interface's.
class Tools final : public QObject {
    Q_OBJECT

public:
    /// @param simulator  on loan; outlives this
    /// @param parent     whom messages belong to; on loan; outlives this
    Tools(Simulator& simulator, QWidget* parent);
    ~Tools() override;

    /// Offers a tool. @param mode  not viewpoint
    void Add(ToolMode mode, Tool tool);
    /// Gives the mouse to a tool, if the user agrees, closes the windows of the others and opens
    /// its own. Choosing the tool in force brings its window back.
    /// @return whether the tool is the one in force now
    bool Select(ToolMode mode);
    /// Throws a tool's window away, open or not: it is made anew when it is next wanted.
    void DropWindow(ToolMode mode);
    /// @return null while it isn't made
    [[nodiscard]] ToolDialog* Window(ToolMode mode) const;
    /// Keeps the windows' places and throws them away.
    void CloseWithProgram();

signals:
    /// Another tool is in force. What was selected is not any more, and views have to be redrawn.
    void ModeChanged(tarnvale::ToolMode mode);

private:
    struct Entry {
        bool offered = false;
        Tool tool;
        std::unique_ptr<ToolDialog> window;
    };
    static constexpr std::size_t kModes = 4;

    [[nodiscard]] Entry& At(ToolMode mode) { return entries_[static_cast<std::size_t>(mode)]; }
    void SetMode(ToolMode mode);
    void OpenWindow(ToolMode mode);

    Simulator& simulator_;
    QWidget* parent_;
    std::array<Entry, kModes> entries_;
};

}  // namespace tarnvale

#pragma once

#include <QDialog>
#include <string>

namespace tarnvale {

/// Base of the tool windows: modeless, in front of the main window, and back in its old place each
/// time that it opens. The place is kept under "<title>ToolDialogPosition". Thread: the user
/// interface's.
class ToolDialog : public QDialog {
    Q_OBJECT

public:
    /// @param title  key of the title's text
    /// @param parent  the window that this one stays in front of
    ToolDialog(const char* title, QWidget* parent);

    /// Shows the window without taking the focus from the view. Nothing happens if it is open.
    void OpenTool();
    /// Hides the window and keeps its place; Dismissed isn't signalled. Nothing happens if it is
    /// closed. Call it before the parent goes.
    void CloseTool();

signals:
    /// The user closed the window, by its title bar or Escape. It is hidden by then.
    void Dismissed();

public slots:
    void reject() override;

protected:
    /// Before the window is shown.
    virtual void Opening() {}
    /// After the window was hidden.
    virtual void Closing() {}

private:
    [[nodiscard]] std::string PlacementKey() const;
};

}  // namespace tarnvale

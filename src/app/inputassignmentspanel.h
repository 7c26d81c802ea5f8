#pragma once

#include <QColor>
#include <QWidget>

class QTableWidget;

namespace tarnvale {

class InputSystem;

/// Red for rows of actions that nothing is bound to; on a dark background lightened until it can be
/// read (contrast 4.5 : 1).
[[nodiscard]] QColor UnboundColor(const QColor& background);

/// A floating window that shows for each action what it is bound to. Its place and whether it is
/// open are kept between runs. Thread: the user interface's.
class InputAssignmentsPanel final : public QWidget {
    Q_OBJECT

public:
    /// @param input  in use, on loan; null: there are no controls, and nothing is bound
    explicit InputAssignmentsPanel(const InputSystem* input, QWidget* parent = nullptr);

    /// Shows or hides it, and notes which.
    void Toggle();
    /// Shows it if it was open when the program ended.
    void ShowAtStart();
    /// Closes it for this run: it opens again with the next.
    void CloseWithProgram();
    /// Fills it anew, after the assignments have changed.
    void Refresh();

signals:
    /// For the check of its menu entry.
    void Shown(bool shown);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void Present();
    void ColourRows();
    void SaveOwnPlacement();

    const InputSystem* input_;
    QTableWidget* table_;
    bool placed_ = false;
};

}  // namespace tarnvale

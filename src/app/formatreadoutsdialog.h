#pragma once

#include <QDialog>
#include <array>

class QComboBox;
class QListWidget;

namespace tarnvale {

class ReadoutScale;

/// Asks how readouts write positions, and in which units they tell the rest. Accepting it writes
/// the five settings. Thread: the user interface's.
class FormatReadoutsDialog final : public QDialog {
    Q_OBJECT

public:
    /// @param scale  takes the units; has to outlive the dialog
    FormatReadoutsDialog(ReadoutScale& scale, QWidget* parent);

public slots:
    void accept() override;

private:
    ReadoutScale& scale_;
    QListWidget* formats_;
    std::array<QComboBox*, 4> units_{};
};

}  // namespace tarnvale

#pragma once

#include <QDialog>
#include <vector>

#include "simulator/simulatr.h"
#include "simulator/userunits.h"

namespace tarnvale {

class NumberField;

/// The vertical offsets of everything that stands on the layers, one row each, in the user's unit
/// of elevation. OK sets them all, Cancel none. Shown by open(): modal to the main window, so that
/// the landscape stays meanwhile, while the frames go on. Thread: the user interface's.
class LayerOffsetsDialog final : public QDialog {
    Q_OBJECT

public:
    /// @param simulator  on loan
    explicit LayerOffsetsDialog(Simulator& simulator, QWidget* parent = nullptr,
                                const UserUnit& unit = UserUnitFor(UnitUse::Elevation));

signals:
    /// The views must be drawn anew.
    void settingsChanged();

public slots:
    void accept() override;

private:
    Simulator& simulator_;
    std::vector<NumberField*> fields_;
};

}  // namespace tarnvale

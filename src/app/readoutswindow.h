#pragma once

#include <QDialog>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "simulator/readouts.h"

class QLabel;
class QPushButton;
class QTabWidget;

namespace tarnvale {

class CoordSystemList;
class Simulator;

/// The modeless window that shows the simulator's readouts: a tab for each page, and the buttons
/// that choose the coordinate system, the format and the units. Its contents are made when it is
/// first shown. Thread: the user interface's.
class ReadoutsWindow final : public QDialog, private ReadoutsDisplay {
    Q_OBJECT

public:
    /// @param simulator  has to outlive the window
    ReadoutsWindow(Simulator& simulator, QWidget* parent);
    ~ReadoutsWindow() override;

    /// Opens, or closes as the user does: then it stays closed at the next start.
    void Toggle();
    /// Opens if it was open when the program ended. Takes no focus.
    void ShowAtStart();
    /// Closes, but opens again at the next start. Call it before the parent goes.
    void CloseWithProgram();

signals:
    void ShownChanged(bool shown);

public slots:
    /// What the title bar's button and Escape do.
    void reject() override;

private:
    struct Row {
        QString label;  // without its colon
        std::array<QWidget*, 2> fields{};
    };

    void ShowReadout(const ReadoutField& field, std::string_view text) override;
    void ShowWindow();
    void HideWindow();
    void Build();
    [[nodiscard]] QWidget* BuildPage(const ReadoutPage& page, std::vector<Row>& rows);
    [[nodiscard]] QWidget* MakeField(const ReadoutPage& page, const ReadoutRow& row, int column,
                                     const QString& name);
    void CopyPage();
    void ChooseSystem();
    void ChooseFormat();

    Simulator& simulator_;
    QTabWidget* pages_ = nullptr;
    std::vector<std::vector<Row>> rows_;  // by page
    std::unique_ptr<CoordSystemList> systems_;
    bool withProgram_ = false;
};

}  // namespace tarnvale

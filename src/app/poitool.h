#pragma once

#include <QLocale>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "app/tooldialog.h"
#include "base/color.h"
#include "base/vec3f.h"

class QCheckBox;
class QLabel;
class QPushButton;

namespace tarnvale {

class POIList;
class Simulator;
class SimulatorHost;

/// What the tool knows of a point. Map coordinates in 64 bits, since in 32 a northing would be
/// known to half a metre only, and typing one coordinate would move the other.
struct POIROW {
    double x = 0, y = 0;
    std::int32_t view = 0;  ///< 8 to 15
    COLOR colour;
    bool shown = false;  ///< its view's window is open
    std::int32_t marker = 0;
};

/// The tool window that makes, changes and deletes points of interest. While it is open the mouse
/// places the selected one. Its list is filled from the points that there are when it opens, and
/// empty while it is closed. Thread: the user interface's.
class POITool final : public ToolDialog {
    Q_OBJECT

public:
    /// What the tool needs of the program around it.
    struct Surroundings {
        SimulatorHost& host;                        ///< outlives the tool
        std::function<bool(int view)> viewShown;    ///< whether a view's window is open
        std::function<bool(QWidget* parent)> save;  ///< writes all points to a file
    };

    /// @param simulator  outlives the tool
    POITool(Simulator& simulator, Surroundings around, QWidget* parent);

    /// The mouse may have moved the selected point.
    void ShowMoved();
    /// A view's window was opened or closed.
    void ShowViewState(int view, bool shown);
    /// Another landscape is open: its points.
    void Refill();

    [[nodiscard]] const std::vector<POIROW>& Rows() const noexcept { return rows_; }

public slots:
    /// At the ground under the viewer, in the lowest free view. With eight points nothing happens.
    void Create();
    /// The selected point.
    void Delete();

protected:
    void Opening() override;
    void Closing() override;

private:
    void Build();
    [[nodiscard]] POIROW* Row(int view);
    void AddRow(const POIROW& row, const QString& name);
    void Clear();
    void Select(int view);
    void ChooseCell(int row, int column);
    void TakeEdit(int row, int column, const QString& text);
    void TakeName(int row, const QString& text);
    void TakeNumber(int row, int column, const QString& text);
    void ToggleView(int view);
    void ChooseMarker(int view);
    void ChooseColour(int view);
    void ShowMenu(int row, const QPoint& place);
    void ShowPlace(int row, const POIROW& point);
    void ShowButtons();
    void Say(const QString& message);
    [[nodiscard]] QString NumberText(double value) const;

    Simulator& simulator_;
    Surroundings around_;
    POIList* list_;
    QPushButton *create_, *delete_, *save_;
    QCheckBox* openView_;
    QLabel* message_;
    std::vector<POIROW> rows_;  // in the order of making; the list is in the order of views
    QLocale locale_;
    int decimals_ = 2;
};

}  // namespace tarnvale

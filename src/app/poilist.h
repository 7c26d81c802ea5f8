#pragma once

#include <QColor>
#include <QIcon>
#include <QTableWidget>
#include <array>

namespace tarnvale {

/// The list of the points of interest: a row for each, told by the point's view number. What the
/// user does leaves by signals; it shows what it is told. Everything can be done by mouse and by
/// keyboard: Enter and Space are a click on the cell that the frame is on. Thread: the user
/// interface's.
class POIList final : public QTableWidget {
    Q_OBJECT

public:
    enum Column { kSelected, kShown, kName, kX, kY, kMarker, kColor, kColumns };

    explicit POIList(QWidget* parent);

    /// @param at  held to the rows that there are. @return the new row, with empty texts
    int InsertPoint(int at, int view);
    /// @return 0 for no such row
    [[nodiscard]] int ViewOf(int row) const;
    /// @return -1 where there is none
    [[nodiscard]] int RowOf(int view) const;
    void SetCellText(int row, Column column, const QString& text);
    [[nodiscard]] QString CellText(int row, Column column) const;
    void SetShown(int row, bool shown);
    void SetColour(int row, const QColor& colour);
    /// Marks one row as selected; -1: none.
    void MarkRow(int row);
    [[nodiscard]] int MarkedRow() const;

signals:
    /// A cell that isn't edited in place.
    void CellChosen(int row, int column);
    /// The user has typed another text into a name, x or y.
    void Edited(int row, int column, const QString& text);
    void DeleteWanted(int row);
    void MenuWanted(int row, const QPoint& place);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    class Cells;

    void MakeIcons();
    [[nodiscard]] static bool IsEdited(int column) {
        return column == kName || column == kX || column == kY;
    }

    std::array<QIcon, 2> selectedIcons_, shownIcons_;  // not, and is
    bool filling_ = false;                             // what changes isn't typed
};

}  // namespace tarnvale

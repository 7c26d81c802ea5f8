#include "app/poilist.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyledItemDelegate>
#include <algorithm>

#include "app/formrows.h"
#include "app/themeicon.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr int kViewRole = Qt::UserRole;        // of the first cell: the view number
constexpr int kStateRole = Qt::UserRole + 1;   // of a cell with an icon: which of both
constexpr int kColourRole = Qt::UserRole + 2;  // of the last cell
constexpr QSize kSelectedIcon(13, 13), kShownIcon(16, 16);
constexpr int kIconMargin = 6, kColourWidth = 56;  // pixels
constexpr int kSwatchMargin = 2;

}  // namespace

/// Draws what isn't text.
class POIList::Cells final : public QStyledItemDelegate {
public:
    explicit Cells(POIList* list) : QStyledItemDelegate(list), list_(*list) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyledItemDelegate::paint(painter, option, index);
        const int column = index.column();
        if (column == kColor) {
            const QRect swatch =
                option.rect.adjusted(kSwatchMargin, kSwatchMargin, -kSwatchMargin, -kSwatchMargin);
            painter->fillRect(swatch, index.data(kColourRole).value<QColor>());
            // A colour like the list's own would not be seen. This one lies between it and the
            // text's.
            painter->setPen(option.palette.color(QPalette::PlaceholderText));
            painter->drawRect(swatch.adjusted(0, 0, -1, -1));
            return;
        }
        if (column != kSelected && column != kShown) return;
        const auto& icons = column == kSelected ? list_.selectedIcons_ : list_.shownIcons_;
        const QSize size = column == kSelected ? kSelectedIcon : kShownIcon;
        QRect place(QPoint(), size);
        place.moveCenter(option.rect.center());
        painter->save();
        painter->setClipRect(option.rect);
        icons[index.data(kStateRole).toBool() ? 1 : 0].paint(
            painter, place, Qt::AlignCenter,
            option.state.testFlag(QStyle::State_Selected) ? QIcon::Selected : QIcon::Normal);
        painter->restore();
    }

private:
    const POIList& list_;
};

POIList::POIList(QWidget* parent) : QTableWidget(0, kColumns, parent) {
    setHorizontalHeaderLabels({QString(), Spoken(TextOf("view")), TextOf("name"), TextOf("x"),
                               TextOf("y"), TextOf("marker"), TextOf("color")});
    horizontalHeaderItem(kSelected)->setToolTip(TextOf("selected"));
    horizontalHeaderItem(kSelected)->setData(Qt::AccessibleTextRole, TextOf("selected"));
    verticalHeader()->hide();
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setMinimumSectionSize(kSelectedIcon.width() + kIconMargin);
    horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    horizontalHeader()->setSectionResizeMode(kSelected, QHeaderView::Fixed);
    horizontalHeader()->setSectionResizeMode(kName, QHeaderView::Stretch);
    horizontalHeader()->setSectionResizeMode(kColor, QHeaderView::Fixed);
    horizontalHeader()->resizeSection(kSelected, kShownIcon.width() + 2 * kIconMargin);
    horizontalHeader()->resizeSection(kColor, kColourWidth);
    // Which row is marked is no matter of where the frame is: a look round with the arrow keys
    // doesn't give another point to the mouse.
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    setTabKeyNavigation(false);
    setWordWrap(false);
    setItemDelegate(new Cells(this));
    MakeIcons();
    connect(this, &QTableWidget::cellClicked, this, [this](int row, int column) {
        if (!IsEdited(column)) emit CellChosen(row, column);
    });
    connect(this, &QTableWidget::itemChanged, this, [this](const QTableWidgetItem* item) {
        if (!filling_) emit Edited(item->row(), item->column(), item->text());
    });
}

void POIList::MakeIcons() {
    selectedIcons_ = {ThemeIcon(QStringLiteral("poi-unselected"), kSelectedIcon, *this),
                      ThemeIcon(QStringLiteral("poi-selected"), kSelectedIcon, *this)};
    shownIcons_ = {ThemeIcon(QStringLiteral("view-hidden"), kShownIcon, *this),
                   ThemeIcon(QStringLiteral("view-shown"), kShownIcon, *this)};
}

int POIList::InsertPoint(int at, int view) {
    const QScopedValueRollback filling(filling_, true);
    const int row = std::clamp(at, 0, rowCount());
    insertRow(row);
    for (int column = 0; column < kColumns; ++column) {
        auto* const item = new QTableWidgetItem;
        Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
        if (IsEdited(column)) flags |= Qt::ItemIsEditable;
        item->setFlags(flags);
        if (column == kX || column == kY) item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        setItem(row, column, item);
    }
    item(row, kSelected)->setData(kViewRole, view);
    item(row, kSelected)->setData(Qt::AccessibleTextRole, TextOf("not_selected"));
    return row;
}

int POIList::ViewOf(int row) const {
    const QTableWidgetItem* const first = item(row, kSelected);
    return first != nullptr ? first->data(kViewRole).toInt() : 0;
}

int POIList::RowOf(int view) const {
    for (int row = 0; row < rowCount(); ++row) {
        if (ViewOf(row) == view) return row;
    }
    return -1;
}

void POIList::SetCellText(int row, Column column, const QString& text) {
    const QScopedValueRollback filling(filling_, true);
    if (item(row, column)->text() != text) item(row, column)->setText(text);
}

QString POIList::CellText(int row, Column column) const {
    return item(row, column)->text();
}

void POIList::SetShown(int row, bool shown) {
    const QScopedValueRollback filling(filling_, true);
    item(row, kShown)->setData(kStateRole, shown);
    const QString text = TextOf(shown ? "view_open" : "view_closed");
    item(row, kShown)->setData(Qt::AccessibleTextRole, text);
    item(row, kShown)->setToolTip(text);
}

void POIList::SetColour(int row, const QColor& colour) {
    const QScopedValueRollback filling(filling_, true);
    item(row, kColor)->setData(kColourRole, colour);
    item(row, kColor)->setData(Qt::AccessibleTextRole, colour.name());
    item(row, kColor)->setToolTip(colour.name());
}

void POIList::MarkRow(int row) {
    const QScopedValueRollback filling(filling_, true);
    for (int other = 0; other < rowCount(); ++other) {
        item(other, kSelected)->setData(kStateRole, other == row);
        item(other, kSelected)
            ->setData(Qt::AccessibleTextRole, TextOf(other == row ? "selected" : "not_selected"));
    }
    if (row >= 0) {
        selectionModel()->select(model()->index(row, 0),
                                 QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    } else {
        selectionModel()->clearSelection();
    }
}

int POIList::MarkedRow() const {
    for (int row = 0; row < rowCount(); ++row) {
        if (item(row, kSelected)->data(kStateRole).toBool()) return row;
    }
    return -1;
}

void POIList::keyPressEvent(QKeyEvent* event) {
    const int row = currentRow(), column = currentColumn();
    const bool plain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (row < 0 || !plain || state() == EditingState) {
        QTableWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            if (IsEdited(column)) {
                editItem(item(row, column));
            } else {
                emit CellChosen(row, column);
            }
            break;
        case Qt::Key_Delete:
            emit DeleteWanted(row);
            break;
        default:
            QTableWidget::keyPressEvent(event);
    }
}

void POIList::contextMenuEvent(QContextMenuEvent* event) {
    const bool byMouse = event->reason() == QContextMenuEvent::Mouse;
    const int row =
        byMouse ? rowAt(viewport()->mapFromGlobal(event->globalPos()).y()) : currentRow();
    if (row < 0) return;
    const QPoint place = byMouse ? event->globalPos()
                                 : viewport()->mapToGlobal(visualRect(currentIndex()).bottomLeft());
    emit MenuWanted(row, place);
}

void POIList::changeEvent(QEvent* event) {
    QTableWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) MakeIcons();
}

}  // namespace tarnvale

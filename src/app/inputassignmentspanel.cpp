#include "app/inputassignmentspanel.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QScreen>
#include <QScrollBar>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <cmath>

#include "app/colourbutton.h"
#include "base/inistore.h"
#include "input/inputsystem.h"
#include "qtbase/apptext.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "InputAssignmentsPanelWindow";
constexpr const char* kShow = "ShowInputAssignments";
constexpr int kActions = static_cast<int>(Action::Count);
struct Column {
    const char* titleKey;
    int width;  // pixels at least, however little it holds
};
constexpr std::array<Column, 4> kColumns{
    {{"action", 110}, {"keyboard", 60}, {"joystick", 70}, {"mouse", 60}}};
constexpr COLOR kUnbound{0xFF00, 0, 0, 0};

// Relative luminance and contrast as accessibility guidelines define them.
double Luminance(const QColor& color) {
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double Contrast(const QColor& a, const QColor& b) {
    const auto [darker, lighter] = std::minmax({Luminance(a), Luminance(b)});
    return (lighter + 0.05) / (darker + 0.05);
}

}  // namespace

QColor UnboundColor(const QColor& background) {
    constexpr double kReadable = 4.5, kDark = 0.18;
    QColor color = ToQColor(kUnbound);
    if (Luminance(background) > kDark) return color;
    while (Contrast(color, background) < kReadable && color.green() < 250) {
        color = QColor(color.red(), color.green() + 5, color.blue() + 5);
    }
    return color;
}

InputAssignmentsPanel::InputAssignmentsPanel(const InputSystem* input, QWidget* parent)
    : QWidget(parent, Qt::Tool), input_(input), table_(new QTableWidget(kActions, 4, this)) {
    setObjectName(QStringLiteral("InputAssignmentsPanel"));
    setWindowTitle(TextOf("input_assignments"));
    setAttribute(Qt::WA_ShowWithoutActivating);  // the keys still fly
    table_->setObjectName(QStringLiteral("input_assignments"));
    table_->setAccessibleName(windowTitle());
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    table_->verticalHeader()->hide();
    QStringList titles;
    for (const Column& column : kColumns) titles << TextOf(column.titleKey);
    table_->setHorizontalHeaderLabels(titles);
    for (int row = 0; row < kActions; ++row) {
        for (int column = 0; column < 4; ++column) {
            table_->setItem(row, column, new QTableWidgetItem);
        }
    }
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(table_);
    Refresh();
}

void InputAssignmentsPanel::Refresh() {
    for (int row = 0; row < kActions; ++row) {
        const auto action = static_cast<Action>(row);
        std::array<QNSTRING, 3> bound;
        if (input_ != nullptr) {
            bound = {input_->GetKeyboardLabel(action), input_->GetJoystickLabel(action),
                     input_->GetMouseLabel(action)};
        }
        const bool none = std::ranges::all_of(bound, &QNSTRING::empty);
        QTableWidgetItem* const label = table_->item(row, 0);
        label->setText(TextOf(ActionName(action)));
        // Colour alone tells nothing to whoever doesn't see it.
        const QString hint = none ? TextOf("not_assigned") : QString();
        label->setData(Qt::AccessibleDescriptionRole, hint);
        for (int column = 0; column < 4; ++column) {
            QTableWidgetItem* const item = table_->item(row, column);
            item->setToolTip(hint);
            item->setData(Qt::UserRole, none);
            if (column > 0) {
                item->setText(QString::fromStdString(bound[static_cast<std::size_t>(column - 1)]));
            }
        }
    }
    ColourRows();
    table_->resizeColumnsToContents();
    for (int column = 0; column < 4; ++column) {
        const int least = kColumns[static_cast<std::size_t>(column)].width;
        table_->setColumnWidth(column, std::max(table_->columnWidth(column), least));
    }
    table_->resizeRowsToContents();
}

void InputAssignmentsPanel::ColourRows() {
    const QPalette& palette = table_->palette();
    const QColor unbound = UnboundColor(palette.color(QPalette::Base));
    for (int row = 0; row < kActions; ++row) {
        for (int column = 0; column < 4; ++column) {
            QTableWidgetItem* const item = table_->item(row, column);
            item->setForeground(item->data(Qt::UserRole).toBool() ? QBrush(unbound)
                                                                  : palette.brush(QPalette::Text));
        }
    }
}

void InputAssignmentsPanel::Present() {
    if (!placed_ && !RestorePlacement(*this, kPlacement)) {
        const int frame =
            2 * table_->frameWidth() + table_->verticalScrollBar()->sizeHint().width();
        const int height = table_->horizontalHeader()->sizeHint().height() +
                           table_->verticalHeader()->length() + 2 * table_->frameWidth();
        resize(QSize(table_->horizontalHeader()->length() + frame, height)
                   .boundedTo(screen()->availableSize() - QSize(40, 80)));
    }
    placed_ = true;
    show();
    raise();
    emit Shown(true);
}

void InputAssignmentsPanel::Toggle() {
    const bool show = !isVisible();
    if (show) {
        Present();
    } else {
        hide();
        emit Shown(false);
    }
    _iniWrite(kShow, show);
}

void InputAssignmentsPanel::ShowAtStart() {
    bool wanted = false;
    if (_iniRead(kShow, wanted) && wanted) Present();
}

void InputAssignmentsPanel::SaveOwnPlacement() {
    if (placed_) SavePlacement(*this, kPlacement);
}

void InputAssignmentsPanel::CloseWithProgram() {
    SaveOwnPlacement();
    placed_ = false;
    hide();
}

void InputAssignmentsPanel::closeEvent(QCloseEvent* event) {
    SaveOwnPlacement();
    _iniWrite(kShow, false);
    event->accept();
    emit Shown(false);
}

void InputAssignmentsPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) ColourRows();
}

}  // namespace tarnvale

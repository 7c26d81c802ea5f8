#include "app/readoutswindow.h"

#include <QAction>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/coordsystemdialog.h"
#include "app/formatreadoutsdialog.h"
#include "base/inistore.h"
#include "qtbase/apptext.h"
#include "qtbase/windowplacement.h"
#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "ReadoutsWindow";
constexpr const char* kShown = "ShowReadouts";
constexpr const char* kCopyPage = "copy_page";
// The widest texts that fields are made for.
const QString kValueSample = QStringLiteral("000000000000000");
const QString kUnitSample = QStringLiteral("mmmmmmmm");
const QString kWideUnitSample = QStringLiteral("mmmmmmmmmmmm");

/// A value that can be selected and copied but not changed. Keeps what is selected while its text
/// changes eight times a second.
class ValueField final : public QLineEdit {
public:
    ValueField() {
        setReadOnly(true);
        setFrame(false);
        setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        QPalette colours;
        colours.setColor(QPalette::Base, Qt::transparent);  // all else is the theme's
        setPalette(colours);
    }

    void Show(const QString& value) {
        if (value == text()) return;
        const bool whole = hasSelectedText() && selectedText() == text();
        const int start = selectionStart();
        const auto length = static_cast<int>(selectedText().size());
        setText(value);
        if (whole)
            selectAll();
        else if (length > 0)
            setSelection(start, length);
        else
            setCursorPosition(0);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        // Without a selection there is but one thing that copying can mean.
        if (event->matches(QKeySequence::Copy) && !hasSelectedText())
            QGuiApplication::clipboard()->setText(text());
        else
            QLineEdit::keyPressEvent(event);
    }
    void contextMenuEvent(QContextMenuEvent* event) override {
        const std::unique_ptr<QMenu> menu(createStandardContextMenu());
        menu->addSeparator();
        menu->addAction(window()->findChild<QAction*>(QLatin1String(kCopyPage)));
        menu->exec(event->globalPos());
    }
};

bool HasUnit(ReadoutRowKind kind) {
    switch (kind) {
        case ReadoutRowKind::Distance:
        case ReadoutRowKind::Elevation:
        case ReadoutRowKind::Angle:
        case ReadoutRowKind::Velocity:
        case ReadoutRowKind::Percent:
        case ReadoutRowKind::FrameRate:
            return true;
        default:
            return false;
    }
}

QString WithoutMarks(QString label) {
    label.remove(QLatin1Char('&'));
    if (label.endsWith(QLatin1Char(':'))) label.chop(1);
    return label;
}

}  // namespace

ReadoutsWindow::ReadoutsWindow(Simulator& simulator, QWidget* parent)
    : QDialog(parent), simulator_(simulator) {
    setObjectName(QStringLiteral("ReadoutsWindow"));
    setAttribute(Qt::WA_ShowWithoutActivating);  // the keyboard goes on flying
}

ReadoutsWindow::~ReadoutsWindow() {
    simulator_.GetReadouts().SetDisplay(nullptr);
}

void ReadoutsWindow::Toggle() {
    if (isVisible())
        reject();
    else
        ShowWindow();
}

void ReadoutsWindow::ShowAtStart() {
    bool shown = false;
    if (_iniRead(kShown, shown) && shown) ShowWindow();
}

void ReadoutsWindow::CloseWithProgram() {
    withProgram_ = true;
    if (isVisible()) HideWindow();
}

void ReadoutsWindow::reject() {
    if (isVisible()) HideWindow();
}

void ReadoutsWindow::ShowWindow() {
    if (pages_ == nullptr) Build();
    if (!RestorePlacement(*this, kPlacement)) {
        // Wide enough for all tabs, where the screen is.
        const int tabs = pages_->tabBar()->sizeHint().width() + 2 * layout()->spacing() + 24;
        resize(std::min(std::max(sizeHint().width(), tabs), screen()->availableSize().width()),
               sizeHint().height());
    }
    simulator_.GetReadouts().SetDisplay(this);
    simulator_.RefreshReadouts();
    show();
    bool written = false;
    if (!_iniRead(kShown, written) || !written) _iniWrite(kShown, true);
    emit ShownChanged(true);
}

void ReadoutsWindow::HideWindow() {
    simulator_.GetReadouts().SetDisplay(nullptr);
    SavePlacement(*this, kPlacement);
    if (!withProgram_) _iniWrite(kShown, false);
    hide();
    emit ShownChanged(false);
}

void ReadoutsWindow::Build() {
    setWindowTitle(TextOf("readouts"));
    setSizeGripEnabled(true);
    auto* const copy = new QAction(TextOf(kCopyPage), this);
    copy->setObjectName(QLatin1String(kCopyPage));
    copy->setShortcut(QKeySequence::Copy);  // a field that has the focus takes it for itself
    connect(copy, &QAction::triggered, this, &ReadoutsWindow::CopyPage);
    addAction(copy);

    pages_ = new QTabWidget(this);
    pages_->setObjectName(QStringLiteral("pages"));
    pages_->setAccessibleName(windowTitle());
    for (const ReadoutPage& page : ReadoutPages()) {
        rows_.emplace_back();
        QWidget* const panel = BuildPage(page, rows_.back());
        panel->addAction(copy);
        panel->setContextMenuPolicy(Qt::ActionsContextMenu);
        pages_->addTab(panel, TextOf(page.title));
    }

    auto* const buttons = new QHBoxLayout;
    for (const auto& [key, slot] : {std::pair{"projection", &ReadoutsWindow::ChooseSystem},
                                    std::pair{"format_readouts", &ReadoutsWindow::ChooseFormat}}) {
        auto* const button = new QPushButton(TextOf(key), this);
        button->setObjectName(QLatin1String(key));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, slot);
        buttons->addWidget(button);
    }
    buttons->addStretch();
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(pages_);
    layout->addLayout(buttons);
}

QWidget* ReadoutsWindow::BuildPage(const ReadoutPage& page, std::vector<Row>& rows) {
    auto* const panel = new QWidget;
    panel->setObjectName(QStringLiteral("Page.") + QLatin1String(page.title));
    auto* const grid = new QGridLayout(panel);
    const QFontMetrics metrics(panel->font());
    const int valueWidth = metrics.horizontalAdvance(kValueSample);
    const bool wide = page.rows.size() == Readouts::kMostRows;  // only the terrain's
    int secondWidth = metrics.horizontalAdvance(wide ? kWideUnitSample : kUnitSample);
    for (const ReadoutRow& row : page.rows) {
        if (row.kind == ReadoutRowKind::Position) secondWidth = std::max(secondWidth, valueWidth);
    }
    grid->setColumnMinimumWidth(1, valueWidth);
    grid->setColumnMinimumWidth(2, secondWidth);
    grid->setColumnStretch(3, 1);
    grid->setHorizontalSpacing(metrics.averageCharWidth() * 2);

    int line = 0;
    for (const ReadoutRow& row : page.rows) {
        const QString text = TextOf(row.label);
        auto* const label = new QLabel(text, panel);
        grid->addWidget(label, line, 0);
        Row made{WithoutMarks(text), {}};
        for (int column = 0; column < 2; ++column) {
            QWidget* const field = MakeField(page, row, column, made.label);
            made.fields[static_cast<std::size_t>(column)] = field;
            if (field != nullptr) grid->addWidget(field, line, 1 + column);
        }
        label->setBuddy(made.fields.front());
        rows.push_back(made);
        ++line;
    }
    grid->setRowStretch(line, 1);
    return panel;
}

QWidget* ReadoutsWindow::MakeField(const ReadoutPage& page, const ReadoutRow& row, int column,
                                   const QString& name) {
    const bool position = row.kind == ReadoutRowKind::Position;
    QWidget* field = nullptr;
    if (column == 0 || position) {
        field = new ValueField;
        field->setAccessibleName(position ? name + QStringLiteral(", ") +
                                                TextOf(column == 0 ? "north_value" : "east_value")
                                          : name);
    } else if (HasUnit(row.kind)) {
        field = new QLabel;
        field->setAccessibleName(name + QStringLiteral(", ") + TextOf("unit_of_value"));
    } else {
        return nullptr;
    }
    field->setObjectName(QStringLiteral("%1.%2.%3")
                             .arg(QLatin1String(page.title), QLatin1String(row.label))
                             .arg(column));
    return field;
}

void ReadoutsWindow::ShowReadout(const ReadoutField& field, std::string_view text) {
    const Row& row =
        rows_[static_cast<std::size_t>(field.page)][static_cast<std::size_t>(field.row)];
    QWidget* const widget = row.fields[static_cast<std::size_t>(field.column)];
    const QString value = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    if (auto* const label = qobject_cast<QLabel*>(widget); label != nullptr)
        label->setText(value);
    else if (widget != nullptr)
        static_cast<ValueField*>(widget)->Show(value);
}

void ReadoutsWindow::CopyPage() {
    const auto textOf = [](const QWidget* field) {
        const auto* const label = qobject_cast<const QLabel*>(field);
        if (label != nullptr) return label->text();
        const auto* const value = qobject_cast<const QLineEdit*>(field);
        return value != nullptr ? value->text() : QString();
    };
    QString table;
    for (const Row& row : rows_[static_cast<std::size_t>(pages_->currentIndex())]) {
        table += row.label + QLatin1Char('\t') + textOf(row.fields[0]);
        if (row.fields[1] != nullptr) table += QLatin1Char('\t') + textOf(row.fields[1]);
        table += QLatin1Char('\n');
    }
    QGuiApplication::clipboard()->setText(table);
}

void ReadoutsWindow::ChooseSystem() {
    if (systems_ == nullptr) systems_ = std::make_unique<CoordSystemList>();
    CoordSystemDialog dialog(simulator_.GetReadouts().Scale(), *systems_,
                             LandscapeCentre(simulator_), this);
    if (dialog.exec() == Accepted) simulator_.RefreshReadouts();
}

void ReadoutsWindow::ChooseFormat() {
    FormatReadoutsDialog dialog(simulator_.GetReadouts().Scale(), this);
    if (dialog.exec() == Accepted) simulator_.RefreshReadouts();
}

}  // namespace tarnvale

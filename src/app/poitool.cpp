#include "app/poitool.h"

#include <QAccessible>
#include <QCheckBox>
#include <QColorDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/colourbutton.h"
#include "app/numberfield.h"
#include "app/poilist.h"
#include "base/settings.h"
#include "qtbase/apptext.h"
#include "simulator/simulatr.h"
#include "simulator/viewtitle.h"

namespace tarnvale {

namespace {

constexpr int kProjectedDecimals = 2, kGeographicDecimals = 7;  // a centimetre
constexpr QSize kUsualSize(560, 300);

QString OwnName(int view) {
    std::string name;
    (void)GetViewTitle(view, name);
    return QString::fromStdString(name);
}

}  // namespace

POITool::POITool(Simulator& simulator, Surroundings around, QWidget* parent)
    : ToolDialog("8606", parent),
      simulator_(simulator),
      around_(std::move(around)),
      list_(new POIList(this)),
      create_(new QPushButton(TextOf("create_poi"), this)),
      delete_(new QPushButton(TextOf("delete_poi"), this)),
      save_(new QPushButton(TextOf("save_pois_"), this)),
      openView_(new QCheckBox(TextOf("open_view_when_created"), this)),
      message_(new QLabel(this)) {
    setObjectName(QStringLiteral("POITool"));
    // Digits alone: a separator of thousands would make "1.234" something else than it says.
    locale_.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
    Build();
}

void POITool::Build() {
    list_->setObjectName(QStringLiteral("pois"));
    list_->setAccessibleName(windowTitle());
    create_->setObjectName(QStringLiteral("create_poi"));
    delete_->setObjectName(QStringLiteral("delete_poi"));
    save_->setObjectName(QStringLiteral("save_pois_"));
    openView_->setObjectName(QStringLiteral("open_view_when_created"));
    message_->setObjectName(QStringLiteral("message"));
    message_->setWordWrap(true);
    message_->setTextFormat(Qt::PlainText);
    for (QPushButton* const button : {create_, delete_, save_}) button->setAutoDefault(false);

    auto* const buttons = new QHBoxLayout;
    buttons->addWidget(create_);
    buttons->addWidget(delete_);
    buttons->addWidget(save_);
    buttons->addStretch();
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(list_, 1);
    layout->addLayout(buttons);
    layout->addWidget(openView_);
    layout->addWidget(message_);
    resize(kUsualSize);

    connect(create_, &QPushButton::clicked, this, &POITool::Create);
    connect(delete_, &QPushButton::clicked, this, &POITool::Delete);
    connect(save_, &QPushButton::clicked, this, [this] { (void)around_.save(this); });
    connect(openView_, &QCheckBox::toggled, this,
            [](bool on) { settings::AutoOpenPOIView.Set(on); });
    connect(list_, &POIList::CellChosen, this, &POITool::ChooseCell);
    connect(list_, &POIList::Edited, this, &POITool::TakeEdit);
    connect(list_, &POIList::MenuWanted, this, &POITool::ShowMenu);
    connect(list_, &POIList::DeleteWanted, this, [this](int row) {
        Select(list_->ViewOf(row));
        Delete();
    });
}

void POITool::Opening() {
    openView_->setChecked(settings::AutoOpenPOIView.Get());
    Refill();
}

void POITool::Closing() {
    Clear();
}

void POITool::Clear() {
    list_->setRowCount(0);
    rows_.clear();
    simulator_.Pois().SetCurrentPOIView(PoiControl::kNone);
}

void POITool::Refill() {
    Clear();
    if (const Scene* const scene = simulator_.GetScene()) {
        decimals_ = scene->Reference().Transform().OutputCoordRefSys().IsGeographic()
                        ? kGeographicDecimals
                        : kProjectedDecimals;
    }
    const PoiControl& pois = simulator_.Pois();
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        if (!pois.Exists(view)) continue;
        POIROW row;
        row.view = view;
        row.shown = around_.viewShown(view);
        row.marker = pois.POIMarker(view);
        (void)pois.GetPOIColor(view, row.colour);
        if (Vec3d map; pois.GetPOIPosition(view, map).Good()) {
            row.x = map.x;
            row.y = map.y;
        }
        AddRow(row, QString::fromStdString(pois.POIName(view)));
    }
    Say(TextOf("poi_hint"));
    ShowButtons();
}

POIROW* POITool::Row(int view) {
    const auto found = std::ranges::find(rows_, view, &POIROW::view);
    return found != rows_.end() ? &*found : nullptr;
}

void POITool::AddRow(const POIROW& row, const QString& name) {
    const int at = list_->InsertPoint(row.view - View::kFirstPoi, row.view);
    rows_.push_back(row);
    list_->SetShown(at, row.shown);
    list_->SetCellText(at, POIList::kName, name);
    list_->SetCellText(at, POIList::kMarker, TextOf(SIMPOISET::MarkerKey(row.marker)));
    list_->SetColour(at, ToQColor(row.colour));
    ShowPlace(at, row);
}

void POITool::ShowPlace(int row, const POIROW& point) {
    list_->SetCellText(row, POIList::kX, NumberText(point.x));
    list_->SetCellText(row, POIList::kY, NumberText(point.y));
}

QString POITool::NumberText(double value) const {
    return locale_.toString(value, 'f', decimals_);
}

void POITool::Create() {
    PoiControl& pois = simulator_.Pois();
    const std::optional<int> free = pois.FreeView();
    POIROW row;
    if (!free.has_value() || !pois.GetViewerMapPosition(row.x, row.y).Good()) return;
    row.view = *free;
    if (!pois.GetPOIColor(row.view, row.colour).Good()) return;
    row.shown = settings::AutoOpenPOIView.Get();
    // The settings file may name a marker that isn't there.
    const int wanted = settings::POIMarker.Get();
    row.marker = wanted >= 0 && wanted < SIMPOISET::kMarkers ? wanted : 1;
    if (!pois.CreatePOIView(row.view, row.marker).Good()) return;
    if (!pois.SetPOIPosition(row.view, row.x, row.y).Good()) {
        pois.DeletePOI(row.view);
        return;
    }
    around_.host.SetViewTitle(row.view, {});  // a point of before may have given it a name
    AddRow(row, OwnName(row.view));
    Select(row.view);
    around_.host.ShowView(row.view, row.shown);
    Say(TextOf("poi_hint"));
}

void POITool::Delete() {
    const int marked = list_->MarkedRow();
    if (marked < 0) return;
    const int view = list_->ViewOf(marked);
    simulator_.Pois().DeletePOI(view);
    around_.host.ShowView(view, false);
    std::erase_if(rows_, [view](const POIROW& row) { return row.view == view; });
    list_->removeRow(marked);
    const int next = std::min(marked, list_->rowCount() - 1);
    Select(next >= 0 ? list_->ViewOf(next) : PoiControl::kNone);
}

void POITool::Select(int view) {
    simulator_.Pois().SetCurrentPOIView(view);
    const int row = list_->RowOf(view);
    list_->MarkRow(row);
    if (row >= 0) {
        list_->setCurrentCell(row, std::max(list_->currentColumn(), 0),
                              QItemSelectionModel::NoUpdate);
    }
    ShowButtons();
}

void POITool::ShowButtons() {
    create_->setEnabled(simulator_.Pois().FreeView().has_value() &&
                        simulator_.IsLandscapeReady(ReadyLevel::Terrain));
    delete_->setEnabled(list_->MarkedRow() >= 0);
    save_->setEnabled(!rows_.empty());
}

void POITool::Say(const QString& message) {
    if (message_->text() == message) return;
    message_->setText(message);
    QAccessibleEvent event(message_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void POITool::ChooseCell(int row, int column) {
    const int view = list_->ViewOf(row);
    if (Row(view) == nullptr) return;
    switch (column) {
        case POIList::kSelected:
            Select(view);
            break;
        case POIList::kShown:
            ToggleView(view);
            break;
        case POIList::kMarker:
            ChooseMarker(view);
            break;
        case POIList::kColor:
            ChooseColour(view);
            break;
        default:
            break;
    }
}

void POITool::ToggleView(int view) {
    around_.host.ShowView(view, !Row(view)->shown);
}

void POITool::ShowViewState(int view, bool shown) {
    POIROW* const row = Row(view);
    if (row == nullptr) return;
    row->shown = shown;
    list_->SetShown(list_->RowOf(view), shown);
}

void POITool::ShowMoved() {
    const int view = simulator_.Pois().CurrentPOIView();
    POIROW* const row = Row(view);
    Vec3d map;
    if (row == nullptr || !simulator_.Pois().GetPOIPosition(view, map).Good()) return;
    row->x = map.x;
    row->y = map.y;
    ShowPlace(list_->RowOf(view), *row);
}

void POITool::ChooseMarker(int view) {
    auto* const dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("POIMarkerDialog"));
    dialog->setWindowTitle(TextOf("marker"));
    auto* const shapes = new QListWidget(dialog);
    shapes->setObjectName(QStringLiteral("markers"));
    shapes->setAccessibleName(dialog->windowTitle());
    for (int marker = 0; marker < SIMPOISET::kMarkers; ++marker)
        shapes->addItem(TextOf(SIMPOISET::MarkerKey(marker)));
    shapes->setCurrentRow(Row(view)->marker);
    auto* const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    connect(shapes, &QListWidget::itemDoubleClicked, dialog, &QDialog::accept);
    connect(dialog, &QDialog::accepted, this, [this, view, shapes] {
        POIROW* const row = Row(view);
        const int marker = shapes->currentRow();
        if (row == nullptr || !simulator_.Pois().CreatePOIView(view, marker).Good()) return;
        row->marker = marker;
        list_->SetCellText(list_->RowOf(view), POIList::kMarker,
                           TextOf(SIMPOISET::MarkerKey(marker)));
    });
    auto* const layout = new QVBoxLayout(dialog);
    layout->addWidget(shapes);
    layout->addWidget(buttons);
    dialog->open();
}

void POITool::ChooseColour(int view) {
    auto* const dialog = new QColorDialog(ToQColor(Row(view)->colour), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("POIColorDialog"));
    dialog->setWindowTitle(TextOf("color"));
    connect(dialog, &QColorDialog::colorSelected, this, [this, view](const QColor& picked) {
        POIROW* const row = Row(view);
        if (row == nullptr) return;
        row->colour = PickedColor(row->colour, picked);
        (void)simulator_.Pois().SetPOIColor(view, row->colour);
        list_->SetColour(list_->RowOf(view), ToQColor(row->colour));
    });
    dialog->open();
}

void POITool::ShowMenu(int row, const QPoint& place) {
    const int view = list_->ViewOf(row);
    const POIROW* const point = Row(view);
    if (point == nullptr) return;
    auto* const menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("POIMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(TextOf("select_poi"), this, [this, view] { Select(view); });
    QAction* const shown = menu->addAction(TextOf("show_poi_view"));
    shown->setCheckable(true);
    shown->setChecked(point->shown);
    connect(shown, &QAction::triggered, this, [this, view] {
        if (Row(view) != nullptr) ToggleView(view);
    });
    menu->addSeparator();
    const auto edit = [&](const char* key, POIList::Column column) {
        menu->addAction(TextOf(key), this, [this, view, column] {
            if (QTableWidgetItem* const item = list_->item(list_->RowOf(view), column))
                list_->editItem(item);
        });
    };
    edit("rename_poi", POIList::kName);
    edit("edit_poi_x", POIList::kX);
    edit("edit_poi_y", POIList::kY);
    menu->addAction(TextOf("choose_poi_marker_"), this, [this, view] {
        if (Row(view) != nullptr) ChooseMarker(view);
    });
    menu->addAction(TextOf("choose_poi_color_"), this, [this, view] {
        if (Row(view) != nullptr) ChooseColour(view);
    });
    menu->addSeparator();
    menu->addAction(TextOf("delete_poi"), this, [this, view] {
        Select(view);
        Delete();
    });
    menu->popup(place);
}

void POITool::TakeEdit(int row, int column, const QString& text) {
    if (Row(list_->ViewOf(row)) == nullptr) return;
    if (column == POIList::kName) {
        TakeName(row, text);
    } else {
        TakeNumber(row, column, text);
    }
}

void POITool::TakeName(int row, const QString& text) {
    const int view = list_->ViewOf(row);
    const QString name = text.trimmed();
    around_.host.SetViewTitle(view, name.toStdString());
    const QString shown = name.isEmpty() ? OwnName(view) : text;
    simulator_.Pois().SetPOIName(view, shown.toStdString());
    list_->SetCellText(row, POIList::kName, shown);
}

// What is no number, or no place on the globe, leaves the point where it is.
void POITool::TakeNumber(int row, int column, const QString& text) {
    POIROW& point = *Row(list_->ViewOf(row));
    const std::optional<double> number = ParseNumber(locale_, text);
    const double x = column == POIList::kX ? number.value_or(0) : point.x;
    const double y = column == POIList::kY ? number.value_or(0) : point.y;
    constexpr int kWidestWord = 200;  // pixels: what was typed must not widen the window
    const QString said = fontMetrics().elidedText(text.trimmed(), Qt::ElideRight, kWidestWord);
    if (!number.has_value()) {
        Say(TextOf("poi_not_a_number").arg(said));
    } else if (!simulator_.Pois().SetPOIPosition(point.view, x, y).Good()) {
        Say(TextOf("poi_no_such_place").arg(said));
    } else {
        point.x = x;
        point.y = y;
        Say(TextOf("poi_hint"));
    }
    ShowPlace(row, point);
}

}  // namespace tarnvale

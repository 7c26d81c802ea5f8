#include "app/viewdialog.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/numberfield.h"
#include "app/tarnvaleview.h"
#include "qtbase/apptext.h"
#include "simulator/viewtitle.h"

namespace tarnvale {

namespace {

constexpr QSize kUsualSize(480, 400), kLeastPicture(160, 100);
// A plain window would go behind the main window as soon as that is clicked: a window manager keeps
// only a dialog above the window that it belongs to. Some minimise both together: not offered.
constexpr Qt::WindowFlags kOwned = Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                                   Qt::WindowMaximizeButtonHint | Qt::WindowCloseButtonHint;
constexpr int kMargin = 4;               // pixels around the strip
constexpr double kHalfTurn = 180;        // degrees
constexpr double kFarthestOffset = 1e6;  // metres; a scene unit is a metre

// Of the name that a view has by itself.
std::string WordOf(int view) {
    if (!View::IsPoi(view)) return ViewWord(view);
    return ViewWord(view) + std::string("_") + std::to_string(view - View::kFirstPoi + 1);
}

QString NameOf(int view) {
    std::string name;
    (void)GetViewTitle(view, name);
    return QString::fromStdString(name);
}

QString Escaped(const std::string& name) {
    return QString::fromStdString(name).replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

ViewWindow::ViewWindow(int view, Simulator& simulator, CTarnvaleView& keys, QWidget* parent)
    : QWidget(parent, kOwned),
      view_(view),
      simulator_(simulator),
      picture_(new CTarnvaleView),
      container_(QWidget::createWindowContainer(picture_, this)),
      strip_(new QWidget(this)),
      failure_(new QLabel(this)),
      layerMenu_(new QMenu(this)) {
    setObjectName(QStringLiteral("ViewWindow%1").arg(view));
    // Several windows that come up at once and each take the focus for their picture would take
    // it from each other for ever; and the main view keeps it when a command opens one.
    setAttribute(Qt::WA_ShowWithoutActivating);
    picture_->Serve(&simulator, view);
    picture_->ShareKeysOf(&keys);
    container_->setFocusPolicy(Qt::StrongFocus);
    container_->setMinimumSize(kLeastPicture);
    failure_->setObjectName(QStringLiteral("ViewFailure"));
    failure_->setWordWrap(true);
    failure_->setAlignment(Qt::AlignCenter);
    failure_->setMargin(2 * kMargin);
    failure_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    failure_->setFocusPolicy(Qt::StrongFocus);  // the flags alone leave it to the mouse
    failure_->hide();
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(strip_);
    layout->addWidget(container_, 1);
    layout->addWidget(failure_, 1);
    BuildStrip();
    SetTitle({});
    RebuildLayerList();
    resize(kUsualSize);
    connect(picture_, &CTarnvaleView::FocusLeaves, this, [this](bool forward) {
        container_->setFocus();  // the controls follow each other from there
        forward ? focusNextChild() : focusPreviousChild();
        activateWindow();
    });
}

ViewWindow::~ViewWindow() {
    CloseGraphics();
}

void ViewWindow::BuildStrip() {
    auto* const rows = new QVBoxLayout(strip_);
    rows->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    rows->setSpacing(kMargin);
    auto* const row = new QHBoxLayout;
    rows->addLayout(row);
    if (view_ == View::kMap || view_ == View::kCustom) {
        AddZoom(row, "full", "ViewFull", ViewZoom::Full);
        AddZoom(row, "zoom_in", "ViewZoomIn", ViewZoom::In);
        AddZoom(row, "zoom_out", "ViewZoomOut", ViewZoom::Out);
    }
    layers_ = AddButton(row, "layer", "ViewLayers");
    layers_->setMenu(layerMenu_);
    connect(layerMenu_, &QMenu::aboutToShow, this, &ViewWindow::ShowLayerChecks);
    auto* const markers = new QCheckBox(TextOf("poi_markers"), strip_);
    markers->setObjectName(QStringLiteral("ViewMarkers"));
    markers->setFocusPolicy(Qt::TabFocus);
    markers->setChecked(simulator_.Pois().MarkersShown(view_));
    connect(markers, &QCheckBox::toggled, this,
            [this](bool on) { simulator_.Pois().ShowMarkers(view_, on); });
    row->addWidget(markers);
    row->addStretch();
    if (view_ == View::kCustom) {
        auto* const fields = new QGridLayout;
        rows->addLayout(fields);
        BuildCustomFields(fields);
    }
}

QPushButton* ViewWindow::AddButton(QHBoxLayout* row, const char* key, const char* name) {
    auto* const button = new QPushButton(strip_);
    button->setText(TextOf(key));
    button->setObjectName(QLatin1String(name));
    button->setFocusPolicy(Qt::TabFocus);  // a click leaves the keys to the flight
    row->addWidget(button);
    return button;
}

void ViewWindow::AddZoom(QHBoxLayout* row, const char* key, const char* name, ViewZoom zoom) {
    QPushButton* const button = AddButton(row, key, name);
    button->setAutoRepeat(zoom != ViewZoom::Full);
    connect(button, &QPushButton::clicked, this,
            [this, zoom] { (void)simulator_.ZoomView(view_, zoom); });
}

void ViewWindow::BuildCustomFields(QGridLayout* grid) {
    const auto add = [&](const char* key, const char* name, const char* unit, double range,
                         float& value) {
        auto* const label = new QLabel(TextOf(key), strip_);
        auto* const field = new NumberField(strip_);
        auto* const beside = new QLabel(strip_);
        label->setBuddy(field);
        field->setObjectName(QLatin1String(name));
        field->SetUnitLabel(beside);
        field->SetLook({.range = {-range, range}, .unit = TextOf(unit), .decimals = 1});
        field->setStepType(QAbstractSpinBox::DefaultStepType);
        field->setWrapping(range == kHalfTurn);
        field->setSingleStep(range == kHalfTurn ? 5 : 10);
        field->Load(static_cast<double>(value));
        connect(field, &NumberField::Edited, this,
                [field, &value] { value = static_cast<float>(field->Kept()); });
        const int place = grid->count() / 3;  // two in a row
        int column = place % 2 * 4;
        for (QWidget* const widget : {static_cast<QWidget*>(label), static_cast<QWidget*>(field),
                                      static_cast<QWidget*>(beside)}) {
            grid->addWidget(widget, place / 2, column++);
        }
    };
    CustomView& custom = simulator_.Custom();
    add("yaw_c", "ViewYaw", "degrees", kHalfTurn, custom.yaw);
    add("pitch_c", "ViewPitch", "degrees", kHalfTurn, custom.pitch);
    add("roll_c", "ViewRoll", "degrees", kHalfTurn, custom.roll);
    add("offset_c", "ViewOffset", "meters", kFarthestOffset, custom.offset);
    grid->setColumnMinimumWidth(3, 2 * kMargin);  // between the unit and the next label
    grid->setColumnStretch(7, 1);
}

void ViewWindow::OpenGraphics(const GraphicsSystem& prototype) {
    CloseGraphics();
    graphics_ = prototype.CreateInstance();
    Status status = graphics_ != nullptr ? graphics_->Open(picture_)
                                         : _SetErrPosn(StatusCode::NoGraphicsSystem);
    if (status.Good()) status = simulator_.AttachGraphicsSystem(graphics_.get(), view_);
    if (!status.Good()) {
        ShowFailure(status);
        return;
    }
    failure_->hide();
    container_->show();
    strip_->setEnabled(true);
}

void ViewWindow::ShowFailure(Status status) {
    const std::string why = GetErrString(status);
    CloseGraphics();
    failure_->setText(QString::fromStdString(why));
    container_->hide();
    failure_->show();
    strip_->setEnabled(false);
}

void ViewWindow::TellLoss() {
    if (graphics_ == nullptr || !graphics_->IsLost() || graphics_->IsOpen()) return;
    ShowFailure(_SetErrPosn(StatusCode::DeviceRebuildFailed));
}

void ViewWindow::CloseGraphics() {
    if (graphics_ == nullptr) return;
    if (simulator_.GetGraphicsSystem(view_) == graphics_.get())
        (void)simulator_.AttachGraphicsSystem(nullptr, view_);
    (void)graphics_->Shutdown();
    graphics_.reset();
}

void ViewWindow::SetTitle(const QString& text) {
    setWindowTitle(text.isEmpty() ? NameOf(view_) : text);
    container_->setAccessibleName(windowTitle());
}

void ViewWindow::RebuildLayerList() {
    layerMenu_->clear();
    const Scene* const scene = simulator_.GetScene();
    layers_->setEnabled(scene != nullptr);
    if (scene == nullptr) return;
    const auto& layers = scene->Layers();
    for (int i = 0; i < static_cast<int>(layers.size()); ++i) {
        const TerrainLayer& layer = *layers[static_cast<std::size_t>(i)];
        if (layers.size() > 1) layerMenu_->addSection(Escaped(layer.item.header.name));
        for (int k = 0; k < static_cast<int>(layer.textures.size()); ++k) {
            QAction* const action = layerMenu_->addAction(
                Escaped(layer.textures[static_cast<std::size_t>(k)].item.header.name));
            action->setObjectName(QStringLiteral("ViewTexture%1_%2").arg(i).arg(k));
            action->setCheckable(true);
            action->setData(QPoint(i, k));
            connect(action, &QAction::toggled, this,
                    [this, i, k](bool on) { (void)simulator_.SetTextureVisible(i, k, view_, on); });
        }
    }
    ShowLayerChecks();
}

void ViewWindow::ShowLayerChecks() {
    const Scene* const scene = simulator_.GetScene();
    if (scene == nullptr) return;
    for (QAction* const action : layerMenu_->actions()) {
        if (!action->isCheckable()) continue;
        const QPoint at = action->data().toPoint();
        const QSignalBlocker quiet(action);
        action->setChecked(scene->Layers()[static_cast<std::size_t>(at.x())]
                               ->textures[static_cast<std::size_t>(at.y())]
                               .visible[static_cast<std::size_t>(view_)]);
    }
}

void ViewWindow::EnableCommands(bool enable) {
    commandsOn_ = enable;
    layerMenu_->setEnabled(enable);
    strip_->setEnabled(enable && graphics_ != nullptr);
}

void ViewWindow::FocusPicture() {
    container_->setFocus();
    picture_->requestActivate();
}

void ViewWindow::closeEvent(QCloseEvent* event) {
    event->setAccepted(commandsOn_);
    if (commandsOn_) emit Closed(view_);
}

void ViewWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && !isActiveWindow()) picture_->ReleaseKeys();
    QWidget::changeEvent(event);
}

// A window manager may give the focus to the window instead of the picture inside it.
void ViewWindow::keyPressEvent(QKeyEvent* event) {
    const bool ends = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter ||
                      event->key() == Qt::Key_Escape;
    if (ends && focusWidget() != container_) {
        FocusPicture();  // a number is entered: the keys fly again
        return;
    }
    if (!commandsOn_ || !picture_->KeyPressed(*event)) QWidget::keyPressEvent(event);
}

void ViewWindow::keyReleaseEvent(QKeyEvent* event) {
    if (!picture_->KeyReleased(*event)) QWidget::keyReleaseEvent(event);
}

std::string ViewWindow::PlacementKey(int view) {
    return WordOf(view) + "Placement";
}

std::string ViewWindow::ShowKey(int view) {
    return WordOf(view) + "Show";
}

}  // namespace tarnvale

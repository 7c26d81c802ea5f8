#include "app/mapviewpage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/colourbutton.h"
#include "app/formrows.h"
#include "base/settings.h"
#include "qtbase/apptext.h"
#include "simulator/optionrules.h"

namespace tarnvale {

namespace {

constexpr int kNorth = 0, kViewer = 1;  // rows of the orientation

const char* NameOf(LocatorKind kind) {
    switch (kind) {
        case LocatorKind::ViewerCenter:
            return "viewer_center";
        case LocatorKind::Arrow:
            return "arrow";
    }
    return "unknown";
}

}  // namespace

MapViewPage::MapViewPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial) {
    FormRows rows(this);
    orientation_ = rows.Choice("orientation_c");
    orientation_->addItems({TextOf("north"), TextOf("viewer")});
    extents_ = rows.Number("extents_c", FormRows::Percent({0.01, 100}));
    locator_ = rows.Choice("locator_c");
    configure_ = new QPushButton(TextOf("configure_"), this);
    configure_->setObjectName(QStringLiteral("configure_"));
    configure_->setAutoDefault(false);
    rows.Indent(true);
    rows.Wide(configure_);
    rows.Indent(false);
    compass_ = rows.Check("compass");
    rows.Indent(true);
    compassSize_ = rows.Number("size_c", {.range = {0, 2}, .unit = {}});
    north_ = rows.Colour("north_color_c");
    cardinal_ = rows.Colour("cardinal_color_c");
    intermediate_ = rows.Colour("intermediate_color_c");
    rows.Finish();
    Connect();
}

void MapViewPage::Connect() {
    connect(orientation_, &QComboBox::currentIndexChanged, this, [this](int row) {
        trial_.Try(settings::MapViewOrientationNorth, row == kNorth);
        ShowLocatorKinds();
        trial_.Try(settings::MapLocator, locator_->currentData().toInt());
        emit Tried();
    });
    connect(extents_, &NumberField::Edited, this,
            [this] { Try(settings::MapExtents, static_cast<float>(extents_->Kept())); });
    connect(locator_, &QComboBox::currentIndexChanged, this, [this] {
        ownLocator_ = locator_->currentData().toInt();
        Try(settings::MapLocator, ownLocator_);
    });
    connect(configure_, &QPushButton::clicked, this, &MapViewPage::OpenLocatorColors);
    connect(compass_, &QCheckBox::toggled, this, [this](bool on) {
        Try(settings::Compass, on);
        Enable();
    });
    connect(compassSize_, &NumberField::Edited, this,
            [this] { Try(settings::CompassSize, static_cast<float>(compassSize_->Kept())); });
    const auto colour = [this](ColourButton* button, Setting<COLOR>& setting) {
        connect(button, &ColourButton::ColorChanged, this,
                [this, &setting](const COLOR& color) { Try(setting, color); });
    };
    colour(north_, settings::CompassNorthColor);
    colour(cardinal_, settings::CompassCardinalColor);
    colour(intermediate_, settings::CompassIntermediateColor);
}

void MapViewPage::ShowLocatorKinds() {
    const QSignalBlocker quiet(locator_);
    locator_->clear();
    for (const LocatorKind kind : LocatorKinds(orientation_->currentIndex() == kNorth)) {
        locator_->addItem(TextOf(NameOf(kind)), static_cast<int>(kind));
    }
    locator_->setCurrentIndex(std::max(locator_->findData(ownLocator_), 0));
}

void MapViewPage::Load() {
    ownLocator_ = settings::MapLocator.Get();
    {
        const QSignalBlocker quiet(orientation_);
        orientation_->setCurrentIndex(settings::MapViewOrientationNorth.Get() ? kNorth : kViewer);
    }
    ShowLocatorKinds();
    extents_->Load(settings::MapExtents);
    {
        const QSignalBlocker quiet(compass_);
        compass_->setChecked(settings::Compass.Get());
    }
    compassSize_->Load(settings::CompassSize.Get());
    north_->Load(settings::CompassNorthColor.Get());
    cardinal_->Load(settings::CompassCardinalColor.Get());
    intermediate_->Load(settings::CompassIntermediateColor.Get());
    Enable();
}

void MapViewPage::LandscapeOpened() {
    trial_.Forget(&settings::MapExtents);
    extents_->Load(settings::MapExtents);
}

void MapViewPage::Enable() {
    const bool compass = compass_->isChecked();
    for (QWidget* const part :
         {static_cast<QWidget*>(compassSize_), static_cast<QWidget*>(north_),
          static_cast<QWidget*>(cardinal_), static_cast<QWidget*>(intermediate_)}) {
        part->setEnabled(compass);
    }
}

void MapViewPage::OpenLocatorColors() {
    auto* const dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("MapLocatorColors"));
    dialog->setWindowTitle(locator_->currentText());
    auto* const colors = new QWidget(dialog);
    FormRows rows(colors);
    const auto add = [this, &rows](const char* key, Setting<COLOR>& setting) {
        ColourButton* const button = rows.Colour(key);
        button->Load(setting.Get());
        connect(button, &ColourButton::ColorChanged, this,
                [this, &setting](const COLOR& color) { Try(setting, color); });
    };
    if (static_cast<LocatorKind>(locator_->currentData().toInt()) == LocatorKind::Arrow) {
        add("color_c", settings::MapLocatorArrowColor);
    } else {
        add("viewer_color_c", settings::MapLocatorViewerColor);
        add("center_color_c", settings::MapLocatorCenterColor);
        add("line_color_c", settings::MapLocatorLineColor);
    }
    rows.Finish();
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    auto* const layout = new QVBoxLayout(dialog);
    layout->addWidget(colors);
    layout->addWidget(buttons);
    dialog->open();
}

}  // namespace tarnvale

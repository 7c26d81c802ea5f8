#include "app/effectspage.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QSignalBlocker>

#include "app/colourbutton.h"
#include "app/formrows.h"
#include "app/numberfield.h"
#include "base/settings.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

NumberLook Length(const UserUnit& unit) {
    return {{0, 1'000'000'000},
            QString::fromStdString(unit.symbol),
            unit.factor,
            DecimalsFor(unit.factor)};
}

NumberLook Angle(const UserUnit& unit, NumberRange degrees) {
    return {degrees, QString::fromStdString(unit.symbol), unit.factor, DecimalsFor(unit.factor)};
}

void Tick(QAbstractButton* button, bool on) {
    const QSignalBlocker quiet(button);
    button->setChecked(on);
}

}  // namespace

EffectsPage::EffectsPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial) {
    FormRows rows(this);
    background_ = rows.Colour("background_color_c");
    wireframe_ = rows.Colour("wireframe_color_c");
    subterrain_ = rows.Check("subterrain");
    rows.Indent(true);
    subterrainColor_ = rows.Colour("subterrain_color_c");
    subterrainOpacity_ = rows.Number("subterrain_opacity_c", FormRows::Percent());
    rows.Indent(false);
    fog_ = rows.Check("fog");
    rows.Indent(true);
    useBackground_ = rows.Check("use_background_color");
    fogColor_ = rows.Colour("fog_color_c");
    auto* const types = new QWidget(this);
    auto* const beside = new QHBoxLayout(types);
    beside->setContentsMargins(0, 0, 0, 0);
    auto* const group = new QButtonGroup(this);
    constexpr std::array kTypes{"linear", "exponential", "exponential_two"};
    for (std::size_t i = 0; i < kTypes.size(); ++i) {
        fogTypes_[i] = new QRadioButton(TextOf(kTypes[i]), types);
        fogTypes_[i]->setObjectName(QLatin1String(kTypes[i]));
        group->addButton(fogTypes_[i], static_cast<int>(i));
        beside->addWidget(fogTypes_[i]);
    }
    rows.Wide(types);
    fogStart_ = rows.Number("start_c", {});
    fogEnd_ = rows.Number("end_c", {});
    fogDensity_ = rows.Number("density_c", {{0, 1}, {}, kFogDensityShown, 2});
    rows.Indent(false);
    sun_ = rows.Check("sun");
    rows.Indent(true);
    sunElevation_ = rows.Number("elevation_c", {});
    sunAzimuth_ = rows.Number("azimuth_c", {});
    rows.Indent(false);
    antialias_ = rows.Check("antialias");
    smoothTexture_ = rows.Check("smooth_texture");
    rows.Finish();
    Connect();
    connect(group, &QButtonGroup::idToggled, this, [this](int type, bool on) {
        if (!on) return;
        Try(settings::FogType, type);
        Enable();
    });
}

void EffectsPage::Connect() {
    const auto colour = [this](ColourButton* button, Setting<COLOR>& setting) {
        connect(button, &ColourButton::ColorChanged, this,
                [this, &setting](const COLOR& color) { Try(setting, color); });
    };
    colour(wireframe_, settings::WireframeColor);
    colour(subterrainColor_, settings::SubterrainColor);
    connect(background_, &ColourButton::ColorChanged, this, [this](const COLOR& color) {
        trial_.Try(settings::BackgroundColor, color);
        FollowBackground();
        emit Tried();
    });
    connect(fogColor_, &ColourButton::ColorChanged, this, [this](const COLOR& color) {
        ownFogColor_ = color;
        Try(settings::FogColor, color);
    });

    const auto number = [this](NumberField* field, Setting<float>& setting) {
        connect(field, &NumberField::Edited, this,
                [this, field, &setting] { Try(setting, static_cast<float>(field->Kept())); });
    };
    number(subterrainOpacity_, settings::SubterrainOpacity);
    number(fogStart_, settings::FogStart);
    number(fogEnd_, settings::FogEnd);
    number(fogDensity_, settings::FogDensity);
    number(sunElevation_, settings::SunElevationAngle);
    number(sunAzimuth_, settings::SunAzimuthAngle);

    const auto box = [this](QCheckBox* check, Setting<bool>& setting) {
        connect(check, &QCheckBox::toggled, this, [this, &setting](bool on) {
            Try(setting, on);
            Enable();
        });
    };
    box(subterrain_, settings::Subterrain);
    box(fog_, settings::Fog);
    box(sun_, settings::UseSun);
    box(antialias_, settings::Antialias);
    box(smoothTexture_, settings::SmoothTexture);
    connect(useBackground_, &QCheckBox::toggled, this, [this](bool on) {
        trial_.Try(settings::UseBackgroundColor, on);
        if (on) {
            FollowBackground();
        } else {
            fogColor_->Load(ownFogColor_);
            trial_.Try(settings::FogColor, ownFogColor_);
        }
        emit Tried();
        Enable();
    });
}

void EffectsPage::FollowBackground() {
    if (!useBackground_->isChecked()) return;
    fogColor_->Load(background_->Color());
    trial_.Try(settings::FogColor, background_->Color());
}

void EffectsPage::Load() {
    background_->Load(settings::BackgroundColor.Get());
    wireframe_->Load(settings::WireframeColor.Get());
    Tick(subterrain_, settings::Subterrain.Get());
    subterrainColor_->Load(settings::SubterrainColor.Get());
    subterrainOpacity_->Load(settings::SubterrainOpacity.Get());
    Tick(fog_, settings::Fog.Get());
    Tick(useBackground_, settings::UseBackgroundColor.Get());
    ownFogColor_ = settings::FogColor.Get();
    fogColor_->Load(useBackground_->isChecked() ? background_->Color() : ownFogColor_);
    for (std::size_t i = 0; i < fogTypes_.size(); ++i) {
        if (settings::FogType.Get() == static_cast<std::int32_t>(i)) {
            const QSignalBlocker quiet(fogTypes_[i]->group());
            fogTypes_[i]->setChecked(true);
        }
    }
    const UserUnit distance = context_.unit(UnitUse::Distance);
    const UserUnit angle = context_.unit(UnitUse::Angle);
    fogStart_->SetLook(Length(distance));
    fogEnd_->SetLook(Length(distance));
    sunElevation_->SetLook(Angle(angle, {-180, 180}));
    sunAzimuth_->SetLook(Angle(angle, {0, 360}));
    fogStart_->Load(settings::FogStart.Get());
    fogEnd_->Load(settings::FogEnd.Get());
    fogDensity_->Load(settings::FogDensity.Get());
    Tick(sun_, settings::UseSun.Get());
    sunElevation_->Load(settings::SunElevationAngle.Get());
    sunAzimuth_->Load(settings::SunAzimuthAngle.Get());
    Tick(antialias_, settings::Antialias.Get());
    Tick(smoothTexture_, settings::SmoothTexture.Get());
    Enable();
}

void EffectsPage::Enable() {
    EffectsChoice choice{.subterrain = subterrain_->isChecked(),
                         .fog = fog_->isChecked(),
                         .useBackgroundColor = useBackground_->isChecked(),
                         .sun = sun_->isChecked()};
    for (std::size_t i = 0; i < fogTypes_.size(); ++i) {
        if (fogTypes_[i]->isChecked()) choice.fogType = static_cast<std::int32_t>(i);
    }
    const EffectsEnabled enabled = EnabledEffects(choice);
    subterrainColor_->setEnabled(enabled.subterrainColor);
    subterrainOpacity_->setEnabled(enabled.subterrainOpacity);
    useBackground_->setEnabled(enabled.useBackgroundColor);
    fogColor_->setEnabled(enabled.fogColor);
    for (QRadioButton* const type : fogTypes_) type->setEnabled(enabled.fogTypes);
    fogStart_->setEnabled(enabled.fogStart);
    fogEnd_->setEnabled(enabled.fogEnd);
    fogDensity_->setEnabled(enabled.fogDensity);
    sunElevation_->setEnabled(enabled.sunElevation);
    sunAzimuth_->setEnabled(enabled.sunAzimuth);
}

void EffectsPage::Keep() {
    FollowBackground();  // the fog takes the background's colour before it is stored
}

}  // namespace tarnvale

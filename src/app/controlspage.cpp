#include "app/controlspage.h"

#include <QCheckBox>

#include "app/formrows.h"
#include "base/settings.h"
#include "qtbase/apptext.h"
#include "simulator/optionrules.h"

namespace tarnvale {

namespace {

constexpr std::array kLinearKeys{"speed_up_down_c", "speed_left_right_c",
                                 "speed_forward_backward_c"};
constexpr std::array kTurningKeys{"pitch_speed_c", "roll_speed_c", "turn_speed_c"};
constexpr int kDecimals = 2;

// Scene units a second; kept in the process only.
const std::array<float*, 3> kLinear{&settings::UpDownSpeed, &settings::LeftRightSpeed,
                                    &settings::ForwardBackwardSpeed};
const std::array<Setting<float>*, 3> kTurning{&settings::PitchSpeed, &settings::RollSpeed,
                                              &settings::TurnSpeed};

template <typename T>
void Store(Setting<T>& setting, T value) {
    if (setting.Get() != value) setting.Set(value);
}

}  // namespace

ControlsPage::ControlsPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial) {
    FormRows rows(this);
    for (std::size_t i = 0; i < linear_.size(); ++i) linear_[i] = rows.Number(kLinearKeys[i]);
    for (std::size_t i = 0; i < turning_.size(); ++i) turning_[i] = rows.Number(kTurningKeys[i]);
    useMinimum_ = rows.Check("minimum_height_c");
    minimum_ = rows.NumberBeside(useMinimum_, "minimum_height");
    useMaximum_ = rows.Check("maximum_height_c");
    maximum_ = rows.NumberBeside(useMaximum_, "maximum_height");
    auto* const own = new QWidget(this);
    rows.Wide(own);
    rows.Finish();
    panel_ = std::make_unique<PanelControls>(own);

    using enum HeightChange;
    connect(minimum_, &NumberField::Edited, this, [this] { HoldHeights(Minimum); });
    connect(maximum_, &NumberField::Edited, this, [this] { HoldHeights(Maximum); });
    connect(useMinimum_, &QCheckBox::toggled, this, [this] { HoldHeights(UseMinimum); });
    connect(useMaximum_, &QCheckBox::toggled, this, [this] { HoldHeights(UseMaximum); });
}

void ControlsPage::LoadLinearSpeeds() {
    for (std::size_t i = 0; i < linear_.size(); ++i) linear_[i]->Load(*kLinear[i]);
}

void ControlsPage::Load() {
    const UserUnit velocity = context_.unit(UnitUse::Velocity);
    const UserUnit angle = context_.unit(UnitUse::Angle);
    const UserUnit height = context_.unit(UnitUse::Elevation);
    for (NumberField* const field : linear_) {
        field->SetLook(
            {{0, 1'000'000}, QString::fromStdString(velocity.symbol), velocity.factor, kDecimals});
    }
    for (std::size_t i = 0; i < turning_.size(); ++i) {
        turning_[i]->SetLook({{-3600, 3600},
                              QString::fromStdString(angle.symbol) + QStringLiteral("/s"),
                              angle.factor,
                              kDecimals});
        turning_[i]->Load(kTurning[i]->Get());
    }
    for (NumberField* const field : {minimum_, maximum_}) {
        field->SetLook({{-1'000'000, 1'000'000},
                        QString::fromStdString(height.symbol),
                        height.factor,
                        kDecimals});
    }
    LoadLinearSpeeds();
    {
        const QSignalBlocker quietMinimum(useMinimum_), quietMaximum(useMaximum_);
        useMinimum_->setChecked(settings::UseMinimumHeight.Get());
        useMaximum_->setChecked(settings::UseMaximumHeight.Get());
    }
    minimum_->Load(settings::MinimumHeight.Get());
    maximum_->Load(settings::MaximumHeight.Get());
    minimum_->setEnabled(useMinimum_->isChecked());
    maximum_->setEnabled(useMaximum_->isChecked());
    panel_->Clear();
    if (context_.input != nullptr) {
        context_.input->AddOptionControls(*panel_);
        context_.input->ShowOptionControls(*panel_, true);
    }
}

// A landscape brings speeds that suit its size; what was entered before is lost.
void ControlsPage::LandscapeOpened() {
    LoadLinearSpeeds();
}

void ControlsPage::HoldHeights(HeightChange changed) {
    minimum_->setEnabled(useMinimum_->isChecked());
    maximum_->setEnabled(useMaximum_->isChecked());
    const HeightLimits before{minimum_->Kept(), maximum_->Kept(), useMinimum_->isChecked(),
                              useMaximum_->isChecked()};
    const HeightLimits after = HoldInOrder(before, changed);
    if (after.minimum != before.minimum) minimum_->Load(after.minimum);
    if (after.maximum != before.maximum) maximum_->Load(after.maximum);
}

void ControlsPage::Keep() {
    for (std::size_t i = 0; i < linear_.size(); ++i) {
        if (linear_[i]->Entered()) *kLinear[i] = static_cast<float>(linear_[i]->Kept());
        Store(*kTurning[i], static_cast<float>(turning_[i]->Kept()));
    }
    Store(settings::MinimumHeight, static_cast<float>(minimum_->Kept()));
    Store(settings::MaximumHeight, static_cast<float>(maximum_->Kept()));
    Store(settings::UseMinimumHeight, useMinimum_->isChecked());
    Store(settings::UseMaximumHeight, useMaximum_->isChecked());
    if (context_.input != nullptr) context_.input->ApplyOptionControls(*panel_);
}

}  // namespace tarnvale

#include "app/skypage.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>

#include "app/formrows.h"
#include "app/numberfield.h"
#include "base/settings.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

std::array<float*, 5> NumbersOf(SkyParameters& sky) {
    return {&sky.yaw, &sky.pitch, &sky.roll, &sky.scale, &sky.height};
}

}  // namespace

SkyPage::SkyPage(const OptionsContext& context, SettingsTrial& trial) : OptionPage(context, trial) {
    FormRows rows(this);
    skies_ = rows.Choice("select_sky_c");
    skies_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    problem_ = new QLabel(this);
    problem_->setObjectName(QStringLiteral("SkyProblem"));
    problem_->setWordWrap(true);
    rows.Wide(problem_);
    onLandscape_ = rows.Radio("center_sky_on_landscape");
    onViewer_ = rows.Radio("center_sky_on_viewer");
    auto* const group = new QButtonGroup(this);
    group->addButton(onLandscape_);
    group->addButton(onViewer_);
    const NumberLook turn{.range = {0, 359.9}, .unit = TextOf("degrees"), .decimals = 1};
    numbers_ = {rows.Number("yaw_c", turn), rows.Number("pitch_c", turn),
                rows.Number("roll_c", turn), rows.Number("scale_c", FormRows::Percent({1, 500})),
                rows.Number("height_c", FormRows::Percent({-200, 200}))};
    rows.Finish();

    connect(skies_, &QComboBox::currentIndexChanged, this, &SkyPage::Choose);
    connect(onLandscape_, &QRadioButton::toggled, this,
            [this](bool on) { Try(settings::SkyCentered, on); });
    const auto values = NumbersOf(context_.simulator.Sky().Parameters());
    for (std::size_t i = 0; i < numbers_.size(); ++i) {
        connect(numbers_[i], &NumberField::Edited, this,
                [this, field = numbers_[i], value = values[i]] {
                    Try(*value, static_cast<float>(field->Kept()));
                });
    }
}

void SkyPage::Load() {
    {
        const QSignalBlocker quietLandscape(onLandscape_), quietViewer(onViewer_);
        (settings::SkyCentered.Get() ? onLandscape_ : onViewer_)->setChecked(true);
    }
    LoadLandscape();
}

void SkyPage::LoadLandscape() {
    Simulator& simulator = context_.simulator;
    {
        const QSignalBlocker quiet(skies_);
        skies_->clear();
        for (const SkyChoice& sky : simulator.Skies())
            skies_->addItem(QString::fromStdString(sky.text));
        skies_->setCurrentIndex(simulator.CurrentSky());
    }
    kept_ = simulator.CurrentSky();
    ShowProblem(QString::fromStdString(simulator.SkyProblem()));
    const bool any = !simulator.Skies().empty();
    skies_->setEnabled(any);
    skies_->setToolTip(any ? QString() : TextOf("no_sky"));
    const auto values = NumbersOf(simulator.Sky().Parameters());
    for (std::size_t i = 0; i < numbers_.size(); ++i) {
        numbers_[i]->Load(*values[i]);
        numbers_[i]->setEnabled(any);
    }
}

void SkyPage::Choose(int sky) {
    if (sky < 0) return;
    const bool none = context_.simulator.CurrentSky() < 0;
    const Status loaded = context_.simulator.LoadSky(sky);
    ShowProblem(loaded.Good() ? QString() : QString::fromStdString(GetErrString(loaded)));
    if (!loaded.Good()) {
        const QSignalBlocker quiet(skies_);
        skies_->setCurrentIndex(context_.simulator.CurrentSky());
    }
    // Where no sky could be shown at first, whoever chooses one wants to see it.
    if (loaded.Good() && none) trial_.Try(settings::Sky, true);
    emit Tried();
}

void SkyPage::ShowProblem(const QString& problem) {
    problem_->setText(problem);
    problem_->setVisible(!problem.isEmpty());
    skies_->setAccessibleDescription(problem);
}

void SkyPage::Keep() {
    kept_ = context_.simulator.CurrentSky();
}

void SkyPage::Revert() {
    if (kept_ >= 0 && kept_ != context_.simulator.CurrentSky())
        (void)context_.simulator.LoadSky(kept_);
}

// The new landscape has set the sky back, so there is nothing of the old one's to undo.
void SkyPage::LandscapeOpened() {
    for (float* const value : NumbersOf(context_.simulator.Sky().Parameters()))
        trial_.Forget(value);
    LoadLandscape();
}

}  // namespace tarnvale

#include "app/terrainpage.h"

#include <QRadioButton>
#include <QSignalBlocker>

#include "app/formrows.h"
#include "base/settings.h"
#include "qtbase/apptext.h"
#include "simulator/optionrules.h"
#include "terrain/terrainmodel.h"

namespace tarnvale {

TerrainPage::TerrainPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial) {
    FormRows rows(this);
    byQuality_ = rows.Radio("quality_c");
    quality_ = rows.NumberBeside(byQuality_, "quality", FormRows::Percent());
    byFrameRate_ = rows.Radio("frame_rate_c");
    frameRate_ = rows.NumberBeside(
        byFrameRate_, "frame_rate",
        {.range = {1, 1'000'000}, .unit = TextOf("frames_per_second"), .decimals = 2});
    rows.Finish();
    connect(byQuality_, &QRadioButton::toggled, this, &TerrainPage::TryOut);
    connect(quality_, &NumberField::Edited, this, &TerrainPage::TryOut);
    connect(frameRate_, &NumberField::Edited, this, &TerrainPage::TryOut);
}

void TerrainPage::Load() {
    const TerrainDetail stored = StoredTerrainDetail();
    const QSignalBlocker quiet(byQuality_);
    byQuality_->setChecked(!stored.holdFrameRate);
    byFrameRate_->setChecked(stored.holdFrameRate);
    quality_->Load(stored.quality);
    frameRate_->Load(stored.frameRate);
    qualityInForce_ = TerrainModel::Quality();
    tried_ = false;
    Enable();
}

void TerrainPage::Enable() {
    quality_->setEnabled(byQuality_->isChecked());
    frameRate_->setEnabled(byFrameRate_->isChecked());
}

void TerrainPage::TryOut() {
    Enable();
    tried_ = true;
    // Where the frame rate is held it has moved the quality, and goes on from there.
    if (byQuality_->isChecked()) TerrainModel::SetQuality(quality_->Kept(), false);
    trial_.Try(settings::FrameRate, frameRate_->Kept());
    Try(settings::TerrainChoice, byFrameRate_->isChecked() ? 2 : 1);
}

void TerrainPage::Keep() {
    KeepTerrainDetail({byFrameRate_->isChecked(), quality_->Kept(), frameRate_->Kept()});
    context_.simulator.TerrainSettingsChanged();
    qualityInForce_ = TerrainModel::Quality();
    tried_ = false;
}

void TerrainPage::Revert() {
    if (tried_) TerrainModel::SetQuality(qualityInForce_, false);
    tried_ = false;
}

}  // namespace tarnvale

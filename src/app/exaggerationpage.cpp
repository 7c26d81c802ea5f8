#include "app/exaggerationpage.h"

#include <QCheckBox>
#include <QSignalBlocker>

#include "app/formrows.h"
#include "base/settings.h"

namespace tarnvale {

ExaggerationPage::ExaggerationPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial) {
    FormRows rows(this);
    vertical_ = rows.Number("vertical_exaggeration_c", {.range = {0.01, 100}, .unit = {}});
    polygons_ = rows.Check("exaggerate_extruded_polygons");
    stalks_ = rows.Check("exaggerate_extruded_point_stalks");
    volumes_ = rows.Check("exaggerate_volumes_of_interest");
    useTransparency_ = rows.Check("volume_of_interest_transparency_c");
    transparency_ =
        rows.NumberBeside(useTransparency_, "volume_of_interest_transparency", FormRows::Percent());
    rows.Finish();

    connect(vertical_, &NumberField::Edited, this,
            [this] { Try(settings::VerticalExaggeration, static_cast<float>(vertical_->Kept())); });
    const auto box = [this](QCheckBox* check, Setting<bool>& setting) {
        connect(check, &QCheckBox::toggled, this, [this, &setting](bool on) {
            Try(setting, on);
            Enable();
        });
    };
    box(polygons_, settings::ExaggerateExtrudedPolygons);
    box(stalks_, settings::ExaggerateStalks);
    box(volumes_, settings::ExaggerateVolumes);
    box(useTransparency_, settings::UseVOITransparency);
    connect(transparency_, &NumberField::Edited, this,
            [this] { Try(settings::VOITransparency, static_cast<float>(transparency_->Kept())); });
}

void ExaggerationPage::Load() {
    const auto tick = [](QCheckBox* check, const Setting<bool>& setting) {
        const QSignalBlocker quiet(check);
        check->setChecked(setting.Get());
    };
    vertical_->Load(settings::VerticalExaggeration.Get());
    tick(polygons_, settings::ExaggerateExtrudedPolygons);
    tick(stalks_, settings::ExaggerateStalks);
    tick(volumes_, settings::ExaggerateVolumes);
    tick(useTransparency_, settings::UseVOITransparency);
    transparency_->Load(settings::VOITransparency.Get());
    Enable();
}

void ExaggerationPage::Enable() {
    transparency_->setEnabled(useTransparency_->isChecked() && context_.hasOverlays);
    if (context_.hasOverlays) return;
    for (QCheckBox* const check : {polygons_, stalks_, volumes_, useTransparency_}) TurnOff(check);
}

}  // namespace tarnvale

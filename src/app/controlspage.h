#pragma once

#include <array>
#include <memory>

#include "app/optionpage.h"
#include "app/panelcontrols.h"

class QCheckBox;

namespace tarnvale {

class NumberField;
enum class HeightChange : std::uint8_t;

/// Speeds and height limits of the viewer. They are felt, not seen, so they wait for OK.
class ControlsPage final : public OptionPage {
    Q_OBJECT

public:
    ControlsPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    void Keep() override;
    void LandscapeOpened() override;

private:
    void LoadLinearSpeeds();
    void HoldHeights(HeightChange changed);

    std::array<NumberField*, 3> linear_{}, turning_{};
    QCheckBox *useMinimum_, *useMaximum_;
    NumberField *minimum_, *maximum_;
    std::unique_ptr<PanelControls> panel_;
};

}  // namespace tarnvale

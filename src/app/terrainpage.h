#pragma once

#include "app/optionpage.h"

class QRadioButton;

namespace tarnvale {

class NumberField;

/// A fixed quality of the terrain, or the one that holds a frame rate.
class TerrainPage final : public OptionPage {
    Q_OBJECT

public:
    TerrainPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    void Keep() override;
    void Revert() override;

private:
    void TryOut();
    void Enable();

    QRadioButton *byQuality_, *byFrameRate_;
    NumberField *quality_, *frameRate_;
    double qualityInForce_ = 0;  // when the page was loaded: the frame rate moves it
    bool tried_ = false;
};

}  // namespace tarnvale

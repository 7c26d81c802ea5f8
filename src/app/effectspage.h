#pragma once

#include <array>

#include "app/optionpage.h"

class QCheckBox;
class QRadioButton;

namespace tarnvale {

class ColourButton;
class NumberField;

/// Colours, the veil below the surface, fog and sun. All of it is tried at once in the view.
class EffectsPage final : public OptionPage {
    Q_OBJECT

public:
    EffectsPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    void Keep() override;
    /// What only some graphics systems heed.
    [[nodiscard]] QCheckBox* Antialias() const noexcept { return antialias_; }
    [[nodiscard]] QCheckBox* SmoothTexture() const noexcept { return smoothTexture_; }

private:
    void Connect();
    void Enable();
    void FollowBackground();

    ColourButton *background_, *wireframe_;
    QCheckBox* subterrain_;
    ColourButton* subterrainColor_;
    NumberField* subterrainOpacity_;
    QCheckBox *fog_, *useBackground_;
    ColourButton* fogColor_;
    std::array<QRadioButton*, 3> fogTypes_{};  // by `FogType`
    NumberField *fogStart_, *fogEnd_, *fogDensity_;
    QCheckBox* sun_;
    NumberField *sunElevation_, *sunAzimuth_;
    QCheckBox *antialias_, *smoothTexture_;
    COLOR ownFogColor_;  // comes back when the background's colour isn't used any more
};

}  // namespace tarnvale

#pragma once

#include <array>

#include "app/optionpage.h"

class QComboBox;
class QLabel;
class QRadioButton;

namespace tarnvale {

class NumberField;

/// Which sky stands over the landscape and how. All of it is seen in the views at once.
class SkyPage final : public OptionPage {
    Q_OBJECT

public:
    SkyPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    void Keep() override;
    void Revert() override;
    void LandscapeOpened() override;

private:
    void LoadLandscape();
    void Choose(int sky);
    void ShowProblem(const QString& problem);

    QComboBox* skies_;
    QLabel* problem_;  // why the chosen sky isn't shown; hidden while there is nothing to tell
    QRadioButton *onLandscape_, *onViewer_;
    std::array<NumberField*, 5> numbers_{};  // yaw, pitch, roll, scale, height
    int kept_ = -1;                          // the sky that Cancel brings back
};

}  // namespace tarnvale

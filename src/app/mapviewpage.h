#pragma once

#include "app/optionpage.h"

class QCheckBox;
class QComboBox;
class QPushButton;

namespace tarnvale {

class ColourButton;
class NumberField;

/// The map view with its mark of the viewer, and the compass.
class MapViewPage final : public OptionPage {
    Q_OBJECT

public:
    MapViewPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    void LandscapeOpened() override;

private:
    void Connect();
    void ShowLocatorKinds();
    void OpenLocatorColors();
    void Enable();

    QComboBox* orientation_;
    NumberField* extents_;
    QComboBox* locator_;
    QPushButton* configure_;
    QCheckBox* compass_;
    NumberField* compassSize_;
    ColourButton *north_, *cardinal_, *intermediate_;
    std::int32_t ownLocator_ = 0;  // comes back with a map that has north up
};

}  // namespace tarnvale

#pragma once

#include "app/optionpage.h"

class QCheckBox;

namespace tarnvale {

class NumberField;

/// Vertical exaggeration and what follows it; transparency of the volumes of interest.
class ExaggerationPage final : public OptionPage {
    Q_OBJECT

public:
    ExaggerationPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;

private:
    void Enable();

    NumberField* vertical_;
    QCheckBox *polygons_, *stalks_, *volumes_, *useTransparency_;
    NumberField* transparency_;
};

}  // namespace tarnvale

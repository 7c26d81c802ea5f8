#include "app/optionpage.h"

#include "qtbase/apptext.h"

namespace tarnvale {

void OptionPage::TurnOff(QWidget* control) {
    control->setEnabled(false);
    control->setToolTip(TextOf("not_available_yet"));
    control->setAccessibleDescription(TextOf("not_available_yet"));
}

}  // namespace tarnvale

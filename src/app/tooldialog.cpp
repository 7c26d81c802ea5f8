#include "app/tooldialog.h"

#include "app/apptext.h"
#include "app/windowplacement.h"

namespace tarnvale {

ToolDialog::ToolDialog(const char* title, QWidget* parent) : QDialog(parent) {
    setWindowTitle(TextOf(title));
    setModal(false);
    setAttribute(Qt::WA_ShowWithoutActivating);
}

std::string ToolDialog::PlacementKey() const {
    return windowTitle().toStdString() + "ToolDialogPosition";
}

void ToolDialog::OpenTool() {
    if (isVisible()) return;
    Opening();
    (void)RestorePlacement(*this, PlacementKey().c_str());
    show();
}

void ToolDialog::CloseTool() {
    if (!isVisible()) return;
    SavePlacement(*this, PlacementKey().c_str());
    hide();
    Closing();
}

void ToolDialog::reject() {
    if (!isVisible()) return;
    CloseTool();
    emit Dismissed();
}

}  // namespace tarnvale

#include "app/tooldialog.h"

#include "qtbase/apptext.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr int kMargin = 20, kBars = 100;  // pixels: menu, palette and a little more

}  // namespace

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
    if (!RestorePlacement(*this, PlacementKey().c_str()) && parentWidget() != nullptr) {
        // Beside the middle of the picture, where the user looks and new windows come up.
        const QWidget& front = *parentWidget()->window();
        move(front.mapToGlobal(QPoint(front.width() - width() - kMargin, kBars)));
    }
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

#include "app/tools.h"

#include <utility>

#include "app/popupmessage.h"
#include "app/tooldialog.h"
#include "simulator/simulatr.h"

namespace tarnvale {

Tools::Tools(Simulator& simulator, QWidget* parent) : simulator_(simulator), parent_(parent) {
    At(ToolMode::Viewpoint).offered = true;
}

Tools::~Tools() = default;

void Tools::Add(ToolMode mode, Tool tool) {
    At(mode) = {true, std::move(tool), nullptr};
}

bool Tools::Select(ToolMode mode) {
    const auto index = static_cast<std::size_t>(mode);
    if (index >= kModes || !At(mode).offered) return false;
    if (mode != simulator_.GetToolMode()) {
        const Tool& tool = At(mode).tool;
        if (tool.instructions != nullptr &&
            !ShowPopupMessage(parent_, tool.instructions, tool.instructionsName)) {
            return false;
        }
        SetMode(mode);
        for (std::size_t other = 0; other < kModes; ++other) {
            if (other != index && entries_[other].window != nullptr)
                entries_[other].window->CloseTool();
        }
    }
    if (At(mode).tool.prepare && !At(mode).tool.prepare()) {
        (void)Select(ToolMode::Viewpoint);
        return false;
    }
    OpenWindow(mode);
    return true;
}

void Tools::SetMode(ToolMode mode) {
    simulator_.SetToolMode(mode);
    emit ModeChanged(mode);
}

void Tools::OpenWindow(ToolMode mode) {
    Entry& entry = At(mode);
    if (!entry.tool.makeWindow || (entry.tool.hasWindow && !entry.tool.hasWindow())) return;
    if (entry.window == nullptr) {
        entry.window = entry.tool.makeWindow();
        if (entry.window == nullptr) return;
        connect(entry.window.get(), &ToolDialog::Dismissed, this,
                [this] { (void)Select(ToolMode::Viewpoint); });
    }
    entry.window->OpenTool();
    entry.window->raise();
}

void Tools::DropWindow(ToolMode mode) {
    Entry& entry = At(mode);
    if (entry.window == nullptr) return;
    entry.window->CloseTool();
    entry.window.reset();
}

ToolDialog* Tools::Window(ToolMode mode) const {
    return entries_[static_cast<std::size_t>(mode)].window.get();
}

void Tools::CloseWithProgram() {
    for (std::size_t mode = 0; mode < kModes; ++mode) DropWindow(static_cast<ToolMode>(mode));
}

}  // namespace tarnvale

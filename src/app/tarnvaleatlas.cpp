// The program's part in handing places over to the atlas viewer.

#include "app/atlastool.h"
#include "app/mainframe.h"
#include "app/tarnvale.h"
#include "app/tools.h"
#include "landscape/atlas.h"
#include "qtbase/atlasfiledialog.h"
#include "simulator/atlashandover.h"

namespace tarnvale {

void CTarnvaleApp::OfferAtlasTool() {
    atlases_ = std::make_unique<AtlasHandover>([this](Status status) { ShowError(status); });
    const auto ask = [this](QWidget* parent) {
        return AskForAtlasFile(parent, landscape_.parent_path());
    };
    tools_->Add(ToolMode::Atlas, {.instructions = "72500",
                                  .instructionsName = "tarnvale_AtlasInstructions",
                                  .prepare =
                                      [this, ask] {
                                          if (atlases_->List().empty()) {
                                              const FILEPATH chosen = ask(mainFrame_.get());
                                              if (chosen.empty()) return false;
                                              atlases_->Add(chosen);
                                          }
                                          ChooseFirstAtlas(*atlases_);
                                          return true;
                                      },
                                  .hasWindow = [this] { return atlases_->List().size() > 1; },
                                  .makeWindow =
                                      [this, ask] {
                                          return std::make_unique<AtlasTool>(*atlases_, ask,
                                                                             mainFrame_.get());
                                      }});
    // Queued: a message may have to be shown, which no mouse event may wait for.
    simulator_->SetPlaceSink([this](const GroundPoint& place) {
        QMetaObject::invokeMethod(
            this,
            [this, place, eye = simulator_->GetViewer().Position()] {
                if (const Scene* const scene = simulator_->GetScene(); scene != nullptr)
                    (void)atlases_->HandOver(place, eye, scene->Reference().Transform());
            },
            Qt::QueuedConnection);
    });
}

void CTarnvaleApp::ListAtlasesOf(const FILEPATH& landscape) {
    atlases_->SetList(ListAtlases(landscape.parent_path()));
    // Made anew for this list.
    tools_->DropWindow(ToolMode::Atlas);
    if (simulator_->GetToolMode() == ToolMode::Atlas) (void)SelectTool(ToolMode::Atlas);
}

void CTarnvaleApp::AskForAtlas() {
    const FILEPATH chosen = AskForAtlasFile(mainFrame_.get(), landscape_.parent_path());
    simulator_->SkipTime();  // no frames were drawn behind the dialog
    if (chosen.empty()) return;
    atlases_->Add(chosen);
    (void)atlases_->Choose(chosen);
    if (auto* const tool = qobject_cast<AtlasTool*>(tools_->Window(ToolMode::Atlas))) {
        tool->Refresh();
    } else if (simulator_->GetToolMode() == ToolMode::Atlas) {
        (void)SelectTool(ToolMode::Atlas);  // there are enough for a window now
    }
}

}  // namespace tarnvale

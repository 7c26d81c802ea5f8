#pragma once

#include <functional>
#include <vector>

#include "app/tooldialog.h"
#include "base/types.h"

class QButtonGroup;
class QVBoxLayout;

namespace tarnvale {

class AtlasHandover;

/// Window of the atlas tool: which atlas a clicked place goes to. Thread: the user interface's.
class AtlasTool final : public ToolDialog {
    Q_OBJECT

public:
    /// @param handover  on loan: the list of atlases, and where the choice goes
    /// @param ask       asks for an atlas file; empty if the user cancels
    AtlasTool(AtlasHandover& handover, std::function<FILEPATH(QWidget*)> ask, QWidget* parent);

    /// Makes buttons for atlases that came to the list.
    void Refresh();

protected:
    void Opening() override { Refresh(); }

private:
    void AddAtlas();
    void AddButton(const FILEPATH& atlas);
    void Choose(int index);
    void ShowChosen();

    AtlasHandover& handover_;
    std::function<FILEPATH(QWidget*)> ask_;
    QButtonGroup* group_;
    QVBoxLayout* rows_;
    std::vector<FILEPATH> atlases_;  // in the order of the buttons
};

/// Chooses the first of the list, unless one is chosen.
void ChooseFirstAtlas(AtlasHandover& handover);

}  // namespace tarnvale

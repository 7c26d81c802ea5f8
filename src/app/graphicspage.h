#pragma once

#include <memory>
#include <vector>

#include "app/optionpage.h"
#include "app/panelcontrols.h"

class QLabel;
class QListWidget;

namespace tarnvale {

/// Which graphics system draws, with the controls of its own.
class GraphicsPage final : public OptionPage {
    Q_OBJECT

public:
    GraphicsPage(const OptionsContext& context, SettingsTrial& trial);

    void Load() override;
    /// Lets each system take over its own controls.
    void Keep() override;
    /// The name in the store goes back to what it was.
    void Revert() override;
    /// Draws by the system selected, if that is another one. Where that fails the old one is
    /// selected again. After everything else is kept.
    void ChangeSystem();

    [[nodiscard]] PanelControls& Panel() noexcept { return *panel_; }

private:
    void Select(int row);
    [[nodiscard]] int RowInUse() const;

    QListWidget* list_;
    QLabel* description_;
    std::unique_ptr<PanelControls> panel_;
    std::vector<GraphicsSystem*> systems_;  // of each row
    int shownRow_ = -1;
    std::string storedName_;
    bool hadName_ = false;
    bool chosen_ = false;  // and written, but not kept yet
};

}  // namespace tarnvale

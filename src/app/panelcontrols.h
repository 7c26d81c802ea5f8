#pragma once

#include <map>
#include <string>

#include "base/optionpanel.h"

class QGridLayout;
class QWidget;

namespace tarnvale {

/// Controls that graphics and input systems put on a page. A control's object name is its text key.
/// Thread: the user interface's.
class PanelControls final : public OptionPanel {
public:
    /// @param place  an empty widget of the page
    explicit PanelControls(QWidget* place);

    /// Lets the systems show and hide a control of the dialog. @param control  on loan
    void Share(const char* key, QWidget* control) { shared_[key] = control; }
    /// Takes away what was added.
    void Clear();

    void AddList(const char* key, const std::vector<std::string>& rows, int selected) override;
    void AddButton(const char* key, std::function<void()> pressed) override;
    void Show(const char* key, bool show) override;
    [[nodiscard]] int Selected(const char* key) const override;

private:
    QWidget* place_;
    QWidget* content_ = nullptr;
    QGridLayout* grid_ = nullptr;
    std::map<std::string, QWidget*> shared_;
};

}  // namespace tarnvale

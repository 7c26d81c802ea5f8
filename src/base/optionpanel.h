#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarnvale {

/// The part of an options page where a graphics or input system puts controls of its own. A control
/// is known by its text key, which labels it too. Implemented by the dialog, which hands itself to
/// each call: a system keeps no loan of it. Thread: the user interface's.
class OptionPanel {
public:
    virtual ~OptionPanel() = default;
    /// A labelled list. @param rows  texts as shown. @param selected  row, from 0
    virtual void AddList(const char* key, const std::vector<std::string>& rows, int selected) = 0;
    virtual void AddButton(const char* key, std::function<void()> pressed) = 0;
    /// Shows or hides a control added here, or one of the dialog that only some systems heed:
    /// "antialias", "smooth_texture". Leaves an unknown key alone.
    virtual void Show(const char* key, bool show) = 0;
    /// @return the selected row of a list, -1 for none and for an unknown key
    [[nodiscard]] virtual int Selected(const char* key) const = 0;
};

}  // namespace tarnvale

#pragma once

#include <string>

class QWidget;

namespace tarnvale {

/// Shows a text with a box to turn it off for good, and waits for an answer. No frame is drawn
/// meanwhile. Thread: the user interface's.
/// @param text  key of the text
/// @param name  under which the user's choice is kept: "<name>_NoShow" in section "popupmsg"
/// @return whether the user goes on: by OK, or by having turned the message off. Cancel keeps
///         nothing, since a message that isn't seen any more can't be cancelled either.
[[nodiscard]] bool ShowPopupMessage(QWidget* parent, const char* text, const std::string& name);

}  // namespace tarnvale

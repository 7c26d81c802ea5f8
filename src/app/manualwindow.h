#pragma once

class QWidget;

namespace tarnvale {

/// Shows the manual in a window of its own, or brings it to the foreground.
/// @param page  file name of the page without its suffix, such as "index"
void ShowManual(QWidget* mainWindow, const char* page = "index");

}  // namespace tarnvale

#pragma once

class QWidget;

namespace tarnvale {

/// Shows the program's picture for five seconds, over everything, without waiting for it; a click
/// or a key ends it. Afterwards the main window comes to the foreground.
void StartSplash(QWidget* mainWindow);

}  // namespace tarnvale

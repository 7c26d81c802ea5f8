#pragma once

class QWidget;

namespace tarnvale {

/// Keeps where a window stands under a key of the settings file. Thread: the user interface's.
void SavePlacement(const QWidget& window, const char* key);

/// Puts a window where it stood. One whose title bar would lie on no screen, because a screen has
/// gone, is brought back onto the nearest.
/// @return false, the window untouched, if nothing usable is stored
bool RestorePlacement(QWidget& window, const char* key);

}  // namespace tarnvale

#pragma once

#include <QString>

#include "base/types.h"

class QWidget;

namespace tarnvale {

/// The name with the suffix of the chosen kind, unless it has one of a picture kind already.
[[nodiscard]] QString WithPictureSuffix(const QString& file, bool bitmap);

/// Asks where a screen shot shall go: a PNG unless the user wants a bitmap. Starts in the folder of
/// the last one that was kept.
/// @return empty if the user cancels
[[nodiscard]] FILEPATH AskForScreenShotFile(QWidget* parent);

/// Where the next question starts. For a picture that was written: a folder that takes none would
/// be offered again and again.
void KeepScreenShotFolder(const FILEPATH& file);

}  // namespace tarnvale

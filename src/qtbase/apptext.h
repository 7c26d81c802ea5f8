#pragma once

#include <QString>

namespace tarnvale {

/// Text of a key for Qt.
[[nodiscard]] QString TextOf(const char* key);

}  // namespace tarnvale

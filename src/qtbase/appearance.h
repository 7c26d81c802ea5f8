#pragma once

#include <QString>

class QTranslator;

namespace tarnvale {

/// Light or dark windows. @param theme  "light", "dark", or empty for the desktop's own
void ApplyTheme(const QString& theme);

/// Loads the toolkit's own texts in the language of ours. @return false if there are none
bool LoadToolkitTexts(QTranslator& translator);

}  // namespace tarnvale

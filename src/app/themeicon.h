#pragma once

#include <QIcon>
#include <QSize>

class QString;
class QWidget;

namespace tarnvale {

/// An icon of our own, resources/icons/NAME.svg, in the colour of a widget's texts, so that it can
/// be seen in light and dark themes. Make it anew when the widget's palette changes.
/// @param size  logical pixels
[[nodiscard]] QIcon ThemeIcon(const QString& name, const QSize& size, const QWidget& widget);

}  // namespace tarnvale

#include "app/themeicon.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>
#include <utility>

#include "base/textres.h"

namespace tarnvale {

QIcon ThemeIcon(const QString& name, const QSize& size, const QWidget& widget) {
    const QIcon drawing(QString::fromStdString(TEXTRES::ResourceFolder()) + "/icons/" + name +
                        ".svg");
    QIcon icon;
    const QPalette& palette = widget.palette();
    for (const auto& [mode, colour] :
         {std::pair(QIcon::Normal, palette.color(QPalette::Active, QPalette::WindowText)),
          std::pair(QIcon::Disabled, palette.color(QPalette::Disabled, QPalette::WindowText)),
          std::pair(QIcon::Selected, palette.color(QPalette::Active, QPalette::HighlightedText))}) {
        QPixmap picture = drawing.pixmap(size, widget.devicePixelRatioF());
        QPainter painter(&picture);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(picture.rect(), colour);
        painter.end();
        icon.addPixmap(picture, mode);
    }
    return icon;
}

}  // namespace tarnvale

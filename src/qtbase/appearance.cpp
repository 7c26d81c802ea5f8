#include "qtbase/appearance.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QPalette>
#include <QStyle>
#include <QTranslator>

#include "base/textres.h"

namespace tarnvale {

namespace {

struct Tones {
    QColor window, base, alternate, button, text, faint, highlight, link;
};

QPalette PaletteOf(const Tones& tones) {
    QPalette palette(tones.button, tones.window);
    palette.setColor(QPalette::Base, tones.base);
    palette.setColor(QPalette::AlternateBase, tones.alternate);
    palette.setColor(QPalette::ToolTipBase, tones.base);
    palette.setColor(QPalette::PlaceholderText, tones.faint);
    palette.setColor(QPalette::Highlight, tones.highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Link, tones.link);
    palette.setColor(QPalette::LinkVisited, tones.link);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, tones.text);
        palette.setColor(QPalette::Disabled, role, tones.faint);
    }
    return palette;
}

}  // namespace

void ApplyTheme(const QString& theme) {
    // The style that follows a palette on every desktop. The desktop's own is kept for "as the
    // system".
    static const QString own = QApplication::style()->name();
    if (theme == QLatin1String("dark")) {
        QApplication::setStyle(QStringLiteral("Fusion"));
        QApplication::setPalette(
            PaletteOf({QColor(45, 46, 50), QColor(30, 31, 34), QColor(38, 39, 43),
                       QColor(58, 59, 64), QColor(235, 235, 235), QColor(135, 137, 142),
                       QColor(38, 110, 190), QColor(110, 175, 245)}));
    } else if (theme == QLatin1String("light")) {
        QApplication::setStyle(QStringLiteral("Fusion"));
        QApplication::setPalette(
            PaletteOf({QColor(240, 240, 240), Qt::white, QColor(246, 246, 246),
                       QColor(240, 240, 240), QColor(20, 20, 20), QColor(130, 130, 130),
                       QColor(38, 110, 190), QColor(20, 90, 180)}));
    } else {
        QApplication::setStyle(own);
        QApplication::setPalette(QPalette());
    }
}

bool LoadToolkitTexts(QTranslator& translator) {
    const QString language = QString::fromStdString(TEXTRES::Language());
    return !language.isEmpty() &&
           translator.load(QLocale(language), QStringLiteral("qtbase"), QStringLiteral("_"),
                           QLibraryInfo::path(QLibraryInfo::TranslationsPath));
}

}  // namespace tarnvale

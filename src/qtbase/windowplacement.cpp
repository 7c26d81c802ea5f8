#include "qtbase/windowplacement.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <algorithm>
#include <string>

#include "base/inistore.h"

namespace tarnvale {

namespace {

constexpr int kGrip = 60;   // pixels of the title bar that must be within reach
constexpr int kTitle = 24;  // assumed height of a title bar

bool WithinReach(const QRect& window) {
    const QRect title(window.left(), window.top() - kTitle, window.width(), kTitle * 2);
    return std::ranges::any_of(QGuiApplication::screens(), [&title](const QScreen* screen) {
        const QRect seen = screen->availableGeometry().intersected(title);
        return seen.width() >= kGrip && seen.height() >= kTitle;
    });
}

}  // namespace

void SavePlacement(const QWidget& window, const char* key) {
    _iniWrite(key, window.saveGeometry().toBase64().toStdString());
}

bool RestorePlacement(QWidget& window, const char* key) {
    std::string placement;
    if (!_iniRead(key, placement) ||
        !window.restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(placement)))) {
        return false;
    }
    if (WithinReach(window.geometry())) return true;
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    window.resize(window.size().boundedTo(room.size()));
    window.move(room.topLeft());
    return true;
}

}  // namespace tarnvale

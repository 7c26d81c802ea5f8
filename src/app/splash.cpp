#include "app/splash.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include "base/textres.h"

namespace tarnvale {

namespace {

constexpr int kTime = 5000;  // milliseconds
constexpr QSize kSize(560, 340);

class Splash final : public QWidget {
public:
    explicit Splash(QWidget* mainWindow)
        : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
          mainWindow_(mainWindow),
          picture_(QIcon(QString::fromStdString(TEXTRES::ResourceFolder()) + "/icons/splash.svg")
                       .pixmap(kSize, mainWindow->devicePixelRatioF())) {
        setObjectName(QStringLiteral("Splash"));
        setWindowTitle(QStringLiteral("Tarnvale splash"));
        setAttribute(Qt::WA_DeleteOnClose);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setFixedSize(kSize);
        const QRect room = mainWindow->screen()->availableGeometry();
        move(room.center() - rect().center());
        QTimer::singleShot(kTime, this, &Splash::End);
    }

private:
    void paintEvent(QPaintEvent*) override { QPainter(this).drawPixmap(0, 0, picture_); }
    void mousePressEvent(QMouseEvent*) override { End(); }
    void keyPressEvent(QKeyEvent*) override { End(); }
    void End() {
        if (mainWindow_ != nullptr && QGuiApplication::focusWindow() == nullptr) {
            mainWindow_->raise();
            mainWindow_->activateWindow();
        }
        close();
    }

    QPointer<QWidget> mainWindow_;
    QPixmap picture_;
};

}  // namespace

void StartSplash(QWidget* mainWindow) {
    auto* const splash = new Splash(mainWindow);  // deletes itself when it closes
    splash->show();
}

}  // namespace tarnvale

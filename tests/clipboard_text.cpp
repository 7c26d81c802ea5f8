// Prints what lies on the clipboard of the display, for tests of whole programs.
#include <QClipboard>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <cstdio>

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    // The answer comes from the program that copied, by way of the message loop.
    QTimer::singleShot(0, &application, [] {
        std::fputs(QGuiApplication::clipboard()->text().toUtf8().constData(), stdout);
        QGuiApplication::quit();
    });
    return QGuiApplication::exec();
}

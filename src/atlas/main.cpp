// sedgelineatlas: shows the object that an atlas names as a map.

#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QTranslator>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "atlas/atlaswindow.h"
#include "atlas/singleinstance.h"
#include "base/inistore.h"
#include "base/textres.h"
#include "qtbase/appearance.h"
#include "qtbase/apptext.h"
#include "qtbase/atlasfiledialog.h"

namespace {

using namespace tarnvale;

int Fail(const QString& line) {
    (void)std::fprintf(stderr, "sedgelineatlas: %s\n", qPrintable(line));
    QMessageBox::critical(nullptr, TextOf("atlas_title"), line);
    return 1;
}

int Run(const FILEPATH& file) {
    QString failure;
    {
        SingleInstance instance;
        if (!file.empty() && instance.Take(file) == SingleInstance::Claim::Called) return 0;
        AtlasWindow window;
        window.SetInstance(&instance);
        const Status opened = window.Open(file);
        if (opened.Good()) {
            QObject::connect(&instance, &SingleInstance::ShowWanted, &window,
                             &AtlasWindow::ShowAgain);
            window.show();
            return QApplication::exec();
        }
        failure = QString::fromStdString(GetErrString(opened));
    }  // while the message stands, a later start may try for itself
    return Fail(failure);
}

}  // namespace

int main(int argc, char** argv) {
#ifdef SIGXFSZ
    std::signal(SIGXFSZ,
                SIG_IGN);  // a write past a limit fails and is told of, and nothing is lost
#endif
    // What needs no window is answered where there may be none.
    std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    const std::string_view first = words.empty() ? std::string_view() : words.front();
    if (first == "--version" || first == "--help") {
        const std::string text = first == "--version" ? "sedgelineatlas " TARNVALE_VERSION
                                                      : TEXTRES::Text("atlas_usage");
        return std::puts(text.c_str()) < 0 ? 1 : 0;
    }
    if (first == "--") words.erase(words.begin());
    const FILEPATH given = words.empty() ? FILEPATH() : FILEPATH(words.front());

    const QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("sedgelineatlas"));
    QApplication::setApplicationVersion(QStringLiteral(TARNVALE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("sedgelineatlas"));
    QApplication::setWindowIcon(
        QIcon(QString::fromStdString(TEXTRES::ResourceFolder()) + "/icons/atlas.svg"));
    std::string theme;
    if (_iniRead("Theme", theme)) ApplyTheme(QString::fromStdString(theme));
    QTranslator toolkitTexts;
    if (LoadToolkitTexts(toolkitTexts)) QApplication::installTranslator(&toolkitTexts);
    if (words.empty()) {  // from the desktop's menu
        const FILEPATH chosen = AskForAtlasFile(nullptr, {});
        return chosen.empty() ? 0 : Run(chosen);
    }
    if (words.size() != 1) return Fail(TextOf("atlas_usage"));
    std::error_code failed;
    const FILEPATH file = std::filesystem::absolute(given, failed);
    return Run(failed ? given : file);
}

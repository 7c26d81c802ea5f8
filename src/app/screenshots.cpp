#include "app/screenshots.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <string>

#include "base/inistore.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr const char* kLastFile = "SelectBitmapScreenshotSave";

}  // namespace

QString WithPictureSuffix(const QString& file, bool bitmap) {
    const QString suffix = QFileInfo(file).suffix().toLower();
    if (file.isEmpty() || suffix == QLatin1String("png") || suffix == QLatin1String("bmp"))
        return file;
    return file + QLatin1String(bitmap ? ".bmp" : ".png");
}

FILEPATH AskForScreenShotFile(QWidget* parent) {
    const QString png = QStringLiteral("PNG (*.png)"), bitmap = QStringLiteral("BMP (*.bmp)");
    std::string last;
    (void)_iniRead(kLastFile, last);
    const QString folder =
        last.empty() ? QDir::homePath() : QFileInfo(QString::fromStdString(last)).path();
    QFileDialog dialog(parent, TextOf("screenshot"), folder);
    dialog.setObjectName(QStringLiteral("ScreenShotSave"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters({png, bitmap});
    dialog.setDefaultSuffix(QStringLiteral("png"));
    QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog, [&](const QString& filter) {
        dialog.setDefaultSuffix(QLatin1String(filter == bitmap ? "bmp" : "png"));
    });
    while (dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()) {
        const QString chosen = dialog.selectedFiles().front();
        const QString file = WithPictureSuffix(chosen, dialog.selectedNameFilter() == bitmap);
        // Under the whole name there may be a file that the dialog hasn't asked about.
        if (file != chosen && QFileInfo::exists(file)) {
            dialog.selectFile(file);
            continue;
        }
        return file.toStdString();
    }
    return {};
}

void KeepScreenShotFolder(const FILEPATH& file) {
    _iniWrite(kLastFile, file.string());
}

}  // namespace tarnvale

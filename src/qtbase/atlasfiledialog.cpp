#include "qtbase/atlasfiledialog.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

#include "base/inistore.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr const char* kLastFile = "AtlasFileOpen";

}  // namespace

FILEPATH AskForAtlasFile(QWidget* parent, const FILEPATH& folder) {
    std::string last;
    (void)_iniRead(kLastFile, last);
    QString start = QFileInfo(QString::fromStdString(last)).path();
    if (last.empty()) start = QString::fromStdString(folder.string());
    if (start.isEmpty()) start = QDir::homePath();
    QFileDialog dialog(parent, TextOf("atlas_choose_title"), start);
    dialog.setObjectName(QLatin1String(kLastFile));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter(TextOf("atlas_files") + QStringLiteral(" (*.atl)"));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
    const std::string chosen = dialog.selectedFiles().front().toStdString();
    _iniWrite(kLastFile, chosen);
    return chosen;
}

}  // namespace tarnvale

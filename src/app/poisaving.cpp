#include "app/poisaving.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <string>
#include <system_error>

#include "base/filetext.h"
#include "base/inistore.h"
#include "qtbase/apptext.h"
#include "simulator/poifile.h"
#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

constexpr const char* kLastFile = "SavePOIs";
constexpr const char* kSuffix = "geojson";

FILEPATH AskForFile(const FILEPATH& landscape, QWidget* parent) {
    std::string last;
    (void)_iniRead(kLastFile, last);
    FILEPATH proposed = landscape;
    proposed.replace_extension(kSuffix);
    if (!last.empty()) proposed = FILEPATH(last).parent_path() / proposed.filename();
    const QString whole = QString::fromStdString(proposed.string());
    QFileDialog dialog(parent, TextOf("save_pois"), QFileInfo(whole).path());
    dialog.setObjectName(QStringLiteral("POISave"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(QStringLiteral("GeoJSON (*.geojson *.json)"));
    dialog.setDefaultSuffix(QLatin1String(kSuffix));
    dialog.selectFile(QFileInfo(whole).fileName());
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
    return dialog.selectedFiles().front().toStdString();
}

void Tell(Status status, QWidget* parent) {
    QMessageBox::critical(parent, QStringLiteral("Tarnvale"),
                          QString::fromStdString(GetErrString(status)));
}

}  // namespace

bool SavePois(Simulator& simulator, const FILEPATH& landscape, QWidget* parent) {
    ClearErrPosn();
    std::string text;
    if (const Status made = WritePoiText(simulator, text); !made.Good()) {
        Tell(made, parent);
        return false;
    }
    const FILEPATH file = AskForFile(landscape, parent);
    if (file.empty()) return false;
    if (const std::error_code failed = ReplaceFileText(file, text)) {
        Tell(_SetErrPosn(StatusCode::WriteFailed, file.string() + ": " + failed.message()), parent);
        return false;
    }
    _iniWrite(kLastFile, file.string());
    simulator.Pois().MarkSaved();
    return true;
}

bool MayLosePois(Simulator& simulator, const FILEPATH& landscape, QWidget* parent) {
    if (!simulator.Pois().HasUnsaved()) return true;
    QMessageBox box(QMessageBox::Question, QStringLiteral("Tarnvale"), TextOf("pois_not_saved"),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, parent);
    box.setObjectName(QStringLiteral("POIQuestion"));
    box.button(QMessageBox::Discard)->setText(TextOf("do_not_save"));
    box.setDefaultButton(QMessageBox::Save);
    box.setEscapeButton(QMessageBox::Cancel);
    switch (box.exec()) {
        case QMessageBox::Save:
            return SavePois(simulator, landscape, parent);
        case QMessageBox::Discard:
            return true;
        default:
            return false;
    }
}

}  // namespace tarnvale

#include "app/popupmessage.h"

#include <QCheckBox>
#include <QMessageBox>

#include "base/inistore.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr const char* kSection = "popupmsg";

}  // namespace

bool ShowPopupMessage(QWidget* parent, const char* text, const std::string& name) {
    const std::string key = name + "_NoShow";
    bool off = false;
    if (_iniRead(key.c_str(), off, kSection) && off) return true;
    QMessageBox box(QMessageBox::Information, QStringLiteral("Tarnvale"), TextOf(text),
                    QMessageBox::Ok | QMessageBox::Cancel, parent);
    box.setObjectName(QStringLiteral("PopupMessage"));
    auto* const turnOff = new QCheckBox(TextOf("do_not_show_this_message_again"), &box);
    turnOff->setObjectName(QStringLiteral("do_not_show_this_message_again"));
    box.setCheckBox(turnOff);
    box.setDefaultButton(QMessageBox::Ok);
    if (box.exec() != QMessageBox::Ok) return false;
    if (turnOff->isChecked()) _iniWrite(key.c_str(), true, kSection);
    return true;
}

}  // namespace tarnvale

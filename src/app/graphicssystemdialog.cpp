#include "app/graphicssystemdialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "base/inistore.h"
#include "graphics/graphicssystem.h"
#include "qtbase/apptext.h"

namespace tarnvale {

GraphicsSystemDialog::GraphicsSystemDialog(const GraphicsSystemRegistry& systems,
                                           const std::string& stored, bool alwaysAsk,
                                           QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("GraphicsSystemDialog"));
    setWindowTitle(QStringLiteral("Tarnvale"));
    auto* const layout = new QVBoxLayout(this);
    auto* const question = new QLabel(TextOf("select_graphics_system_c"), this);
    layout->addWidget(question);
    const GraphicsSystem* const first = systems.Choose(stored);
    for (int entry = 0; entry < GraphicsSystemRegistry::kEntries; ++entry) {
        if (!systems.Available(entry)) continue;
        GraphicsSystem* const system = systems.At(entry);
        auto* const button = new QRadioButton(TextOf(system->Name().c_str()), this);
        button->setObjectName(QString::fromStdString(system->Name()));
        button->setAccessibleDescription(question->text());
        button->setToolTip(TextOf(std::to_string(system->DescriptionNumber()).c_str()));
        button->setChecked(system == first);
        if (system == first) button->setFocus();
        layout->addWidget(button);
        choices_.emplace_back(button, system);
    }
    layout->addSpacing(fontMetrics().height() / 2);
    alwaysAsk_ = new QCheckBox(TextOf("always_ask_this_at_startup"), this);
    alwaysAsk_->setObjectName(QStringLiteral("always_ask_this_at_startup"));
    alwaysAsk_->setChecked(alwaysAsk);
    layout->addWidget(alwaysAsk_);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->addButton(TextOf("exit"), QDialogButtonBox::RejectRole)
        ->setObjectName(QStringLiteral("exit"));
    connect(buttons, &QDialogButtonBox::accepted, this, &GraphicsSystemDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &GraphicsSystemDialog::reject);
    layout->addWidget(buttons);
}

GraphicsSystem* GraphicsSystemDialog::Chosen() const {
    for (const auto& [button, system] : choices_) {
        if (button->isChecked()) return system;
    }
    return nullptr;
}

bool GraphicsSystemDialog::AlwaysAsk() const {
    return alwaysAsk_->isChecked();
}

void GraphicsSystemDialog::accept() {
    if (const GraphicsSystem* const chosen = Chosen(); chosen != nullptr) {
        _iniWrite("GraphicsSystem", chosen->Name());
    }
    QDialog::accept();
}

}  // namespace tarnvale

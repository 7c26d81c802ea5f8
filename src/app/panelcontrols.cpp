#include "app/panelcontrols.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <utility>

#include "app/formrows.h"
#include "qtbase/apptext.h"

namespace tarnvale {

PanelControls::PanelControls(QWidget* place) : place_(place) {
    auto* const layout = new QVBoxLayout(place);
    layout->setContentsMargins(0, 0, 0, 0);
    Clear();
}

void PanelControls::Clear() {
    delete content_;
    content_ = new QWidget(place_);
    grid_ = new QGridLayout(content_);
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setColumnStretch(2, 1);
    place_->layout()->addWidget(content_);
}

void PanelControls::AddList(const char* key, const std::vector<std::string>& rows, int selected) {
    auto* const label = new QLabel(TextOf(key), content_);
    label->setObjectName(QLatin1String(key) + QStringLiteral("_label"));
    auto* const box = new QComboBox(content_);
    box->setObjectName(QLatin1String(key));
    for (const std::string& row : rows) box->addItem(QString::fromStdString(row));
    box->setCurrentIndex(selected);
    box->setAccessibleName(Spoken(label->text()));
    label->setBuddy(box);
    const int row = grid_->rowCount();
    grid_->addWidget(label, row, 0);
    grid_->addWidget(box, row, 1);
}

void PanelControls::AddButton(const char* key, std::function<void()> pressed) {
    auto* const button = new QPushButton(TextOf(key), content_);
    button->setObjectName(QLatin1String(key));
    button->setAutoDefault(false);
    QObject::connect(button, &QPushButton::clicked, button, std::move(pressed));
    grid_->addWidget(button, grid_->rowCount(), 0, 1, 2, Qt::AlignLeft);
}

void PanelControls::Show(const char* key, bool show) {
    if (const auto found = shared_.find(key); found != shared_.end()) {
        found->second->setVisible(show);
        return;
    }
    const QString name = QLatin1String(key);
    for (const QString& part : {name, QString(name + QStringLiteral("_label"))}) {
        if (auto* const control = content_->findChild<QWidget*>(part)) control->setVisible(show);
    }
}

int PanelControls::Selected(const char* key) const {
    const auto* const box = content_->findChild<QComboBox*>(QLatin1String(key));
    return box != nullptr ? box->currentIndex() : -1;
}

}  // namespace tarnvale

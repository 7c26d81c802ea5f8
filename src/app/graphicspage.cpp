#include "app/graphicspage.h"

#include <QLabel>
#include <QListWidget>
#include <QSignalBlocker>
#include <algorithm>

#include "app/formrows.h"
#include "base/inistore.h"
#include "base/views.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr const char* kKey = "GraphicsSystem";

}  // namespace

GraphicsPage::GraphicsPage(const OptionsContext& context, SettingsTrial& trial)
    : OptionPage(context, trial), list_(new QListWidget(this)), description_(new QLabel(this)) {
    FormRows rows(this);
    rows.Labelled("graphics_system_c", list_);
    description_->setObjectName(QStringLiteral("graphics_description"));
    description_->setWordWrap(true);
    rows.Wide(description_);
    auto* const own = new QWidget(this);
    rows.Wide(own);
    rows.Finish();
    panel_ = std::make_unique<PanelControls>(own);

    for (int entry = 0; entry < GraphicsSystemRegistry::kEntries; ++entry) {
        if (!context_.graphicsSystems.Available(entry)) continue;
        GraphicsSystem* const system = context_.graphicsSystems.At(entry);
        systems_.push_back(system);
        list_->addItem(TextOf(system->Name().c_str()));
    }
    constexpr int kRows = 3;  // room for as many systems as there are kinds
    list_->setFixedHeight(list_->sizeHintForRow(0) * kRows + 2 * list_->frameWidth());
    connect(list_, &QListWidget::currentRowChanged, this, &GraphicsPage::Select);
}

int GraphicsPage::RowInUse() const {
    const GraphicsSystem* const inUse = context_.simulator.GetGraphicsSystem(View::kMain);
    const auto found = std::ranges::find(systems_, inUse);
    return found != systems_.end() ? static_cast<int>(found - systems_.begin()) : -1;
}

void GraphicsPage::Load() {
    chosen_ = false;
    hadName_ = _iniRead(kKey, storedName_);
    panel_->Clear();
    for (GraphicsSystem* const system : systems_) {
        system->AddOptionControls(*panel_);
        system->ShowOptionControls(*panel_, false);
    }
    // These belong to the systems that heed them; one that doesn't leaves them hidden.
    panel_->Show("antialias", false);
    panel_->Show("smooth_texture", false);
    const QSignalBlocker quiet(list_);
    shownRow_ = RowInUse();
    list_->setCurrentRow(shownRow_);
    description_->clear();
    if (shownRow_ < 0) return;
    GraphicsSystem* const inUse = systems_[static_cast<std::size_t>(shownRow_)];
    description_->setText(TextOf(std::to_string(inUse->DescriptionNumber()).c_str()));
    inUse->ShowOptionControls(*panel_, true);
}

void GraphicsPage::Select(int row) {
    if (row < 0 || row == shownRow_) return;
    if (shownRow_ >= 0) {
        systems_[static_cast<std::size_t>(shownRow_)]->ShowOptionControls(*panel_, false);
    }
    shownRow_ = row;
    GraphicsSystem* const system = systems_[static_cast<std::size_t>(row)];
    description_->setText(TextOf(std::to_string(system->DescriptionNumber()).c_str()));
    system->ShowOptionControls(*panel_, true);
    _iniWrite(kKey, system->Name());
    chosen_ = true;
}

void GraphicsPage::Keep() {
    for (GraphicsSystem* const system : systems_) system->ApplyOptionControls(*panel_);
}

// A choice wrote the name at once. Where none was stored before, the one in use says the same.
void GraphicsPage::Revert() {
    if (!chosen_) return;
    chosen_ = false;
    if (const int inUse = RowInUse(); !hadName_ && inUse >= 0)
        storedName_ = systems_[static_cast<std::size_t>(inUse)]->Name();
    std::string name;
    if (_iniRead(kKey, name) && !storedName_.empty() && name != storedName_)
        _iniWrite(kKey, storedName_);
}

void GraphicsPage::ChangeSystem() {
    const int inUse = RowInUse();
    const bool another = shownRow_ >= 0 && shownRow_ != inUse && context_.changeGraphicsSystem;
    if (another && !context_.changeGraphicsSystem(systems_[static_cast<std::size_t>(shownRow_)])) {
        list_->setCurrentRow(inUse);
    }
    hadName_ = _iniRead(kKey, storedName_);
    chosen_ = false;
}

}  // namespace tarnvale

#include "app/atlastool.h"

#include <QButtonGroup>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "landscape/atlas.h"
#include "qtbase/apptext.h"
#include "simulator/atlashandover.h"

namespace tarnvale {

AtlasTool::AtlasTool(AtlasHandover& handover, std::function<FILEPATH(QWidget*)> ask,
                     QWidget* parent)
    : ToolDialog("atlas_tool", parent),
      handover_(handover),
      ask_(std::move(ask)),
      group_(new QButtonGroup(this)) {
    setObjectName(QStringLiteral("AtlasTool"));
    auto* const area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);  // the buttons scroll it
    auto* const inside = new QWidget;
    rows_ = new QVBoxLayout(inside);
    rows_->addStretch();
    area->setWidget(inside);
    auto* const add = new QPushButton(TextOf("add_atlas_"));
    add->setObjectName(QStringLiteral("add_atlas_"));
    add->setAutoDefault(false);
    auto* const all = new QVBoxLayout(this);
    all->addWidget(area);
    all->addWidget(add);
    connect(add, &QPushButton::clicked, this, &AtlasTool::AddAtlas);
    connect(group_, &QButtonGroup::idClicked, this, &AtlasTool::Choose);
    Refresh();
}

void AtlasTool::Refresh() {
    for (const FILEPATH& atlas : handover_.List()) {
        if (std::ranges::find(atlases_, atlas) == atlases_.end()) AddButton(atlas);
    }
    ShowChosen();
}

void AtlasTool::AddButton(const FILEPATH& atlas) {
    const QString name = QString::fromStdString(AtlasName(atlas)).simplified();
    const int index = static_cast<int>(atlases_.size());
    auto* const button = new QRadioButton(QString(name).replace('&', QStringLiteral("&&")));
    button->setObjectName(QStringLiteral("atlas%1").arg(index));
    button->setToolTip(QString::fromStdString(atlas.string()));
    group_->addButton(button, index);
    rows_->insertWidget(index, button);
    atlases_.push_back(atlas);
    if (index == 0) ChooseFirstAtlas(handover_);
}

void AtlasTool::Choose(int index) {
    (void)handover_.Choose(atlases_[static_cast<std::size_t>(index)]);
    ShowChosen();  // a missing one isn't
}

void AtlasTool::ShowChosen() {
    for (QAbstractButton* const button : group_->buttons()) {
        const FILEPATH& atlas = atlases_[static_cast<std::size_t>(group_->id(button))];
        if (atlas != handover_.Chosen()) continue;
        button->setChecked(true);
        return;
    }
    // A group in which one is always checked doesn't let go of it.
    group_->setExclusive(false);
    for (QAbstractButton* const button : group_->buttons()) button->setChecked(false);
    group_->setExclusive(true);
}

void AtlasTool::AddAtlas() {
    const FILEPATH chosen = ask_(this);
    if (chosen.empty()) return;
    handover_.Add(chosen);
    Refresh();
}

void ChooseFirstAtlas(AtlasHandover& handover) {
    if (handover.Chosen().empty() && !handover.List().empty())
        (void)handover.Choose(handover.List().front());
}

}  // namespace tarnvale

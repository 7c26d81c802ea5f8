#include "app/optionsdialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/controlspage.h"
#include "app/effectspage.h"
#include "app/exaggerationpage.h"
#include "app/graphicspage.h"
#include "app/mapviewpage.h"
#include "app/numberfield.h"
#include "app/skypage.h"
#include "app/terrainpage.h"
#include "qtbase/apptext.h"

namespace tarnvale {

OptionsDialog::OptionsDialog(OptionsContext context, QWidget* parent)
    : QDialog(parent), context_(std::move(context)), tabs_(new QTabWidget(this)) {
    setObjectName(QStringLiteral("OptionsDialog"));
    setWindowTitle(TextOf("options"));
    tabs_->setObjectName(QStringLiteral("OptionPages"));
    graphics_ = Add<GraphicsPage>("graphics");
    auto* const effects = Add<EffectsPage>("effects");
    graphics_->Panel().Share("antialias", effects->Antialias());
    graphics_->Panel().Share("smooth_texture", effects->SmoothTexture());
    Add<SkyPage>("sky_page");
    Add<TerrainPage>("terrain");
    Add<ControlsPage>("controls");
    Add<MapViewPage>("map_view");
    Add<ExaggerationPage>("exaggeration");

    auto* const buttons = new QDialogButtonBox(
        QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply, this);
    buttons->setObjectName(QStringLiteral("OptionButtons"));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &OptionsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &OptionsDialog::reject);
    QPushButton* const apply = buttons->button(QDialogButtonBox::Apply);
    apply->setText(TextOf("apply"));  // the toolkit's own has no letter
    connect(apply, &QPushButton::clicked, this, &OptionsDialog::Keep);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    layout->addWidget(buttons);
    TurnPagesBy(1, {Qt::CTRL | Qt::Key_Tab, Qt::CTRL | Qt::Key_PageDown});
    TurnPagesBy(-1, {Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab, Qt::CTRL | Qt::Key_PageUp});
}

OptionsDialog::~OptionsDialog() {
    FinishTyping();
    Revert();
    delete tabs_;  // the pages use members of the dialog
}

template <typename Page>
Page* OptionsDialog::Add(const char* titleKey) {
    auto* const page = new Page(context_, trial_);
    page->setObjectName(QString::fromLatin1(Page::staticMetaObject.className()).section("::", -1));
    auto* const scroller = new QScrollArea(tabs_);  // a small screen must reach everything too
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setFocusPolicy(Qt::NoFocus);
    scroller->setWidget(page);
    scroller->viewport()->setAutoFillBackground(false);
    page->setAutoFillBackground(false);
    tabs_->addTab(scroller, TextOf(titleKey));
    connect(page, &OptionPage::Tried, this, &OptionsDialog::settingsChanged);
    pages_.push_back(page);
    return page;
}

// As shortcuts, since some controls take these keys for themselves: a drop-down list its next
// entry.
void OptionsDialog::TurnPagesBy(int step, std::initializer_list<QKeyCombination> keys) {
    const auto turn = [this, step] {
        tabs_->setCurrentIndex((tabs_->currentIndex() + step + tabs_->count()) % tabs_->count());
    };
    for (const QKeyCombination key : keys) {
        auto* const shortcut = new QShortcut(QKeySequence(key), this);
        connect(shortcut, &QShortcut::activated, this, turn);
    }
}

void OptionsDialog::open() {
    if (!isVisible()) {
        for (OptionPage* const page : pages_) page->Load();
        FitToScreen();
    }
    show();
    raise();
    activateWindow();
}

// As large as the largest page, unless the screen is smaller.
void OptionsDialog::FitToScreen() {
    QSize room(0, 0);
    for (const OptionPage* const page : pages_) room = room.expandedTo(page->sizeHint());
    room = room.expandedTo({tabs_->tabBar()->sizeHint().width(), 0});
    const int bar = tabs_->fontMetrics().height();  // so that none needs a scroll bar
    const QSize screenRoom = screen()->availableSize() - QSize(40, 80);
    const QSize around(2 * bar + 24, tabs_->tabBar()->sizeHint().height() + 5 * bar);
    resize((room + around).expandedTo(sizeHint()).boundedTo(screenRoom));
}

void OptionsDialog::LandscapeOpened() {
    if (!isVisible()) return;
    for (OptionPage* const page : pages_) page->LandscapeOpened();
}

// A button's letter presses it without taking the focus from the field that is being typed in, and
// a field that loses the focus as the dialog goes would speak up after everything is settled.
void OptionsDialog::FinishTyping() {
    for (NumberField* const field : findChildren<NumberField*>()) field->interpretText();
}

void OptionsDialog::Keep() {
    FinishTyping();
    for (OptionPage* const page : pages_) page->Keep();
    trial_.Keep();
    graphics_->ChangeSystem();
    emit settingsChanged();
}

void OptionsDialog::Revert() {
    for (OptionPage* const page : pages_) page->Revert();
    trial_.Revert();
}

void OptionsDialog::accept() {
    Keep();
    QDialog::accept();
}

void OptionsDialog::reject() {
    FinishTyping();
    Revert();
    emit settingsChanged();
    QDialog::reject();
}

}  // namespace tarnvale

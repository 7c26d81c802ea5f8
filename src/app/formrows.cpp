#include "app/formrows.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QRadioButton>
#include <QStyle>

#include "app/colourbutton.h"
#include "app/numberfield.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

// Greys a label or unit with its control. A child of the follower.
class EnabledFollower final : public QObject {
public:
    EnabledFollower(QWidget* leader, QWidget* follower) : QObject(follower), follower_(follower) {
        leader->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::EnabledChange) {
            follower_->setEnabled(static_cast<QWidget*>(watched)->isEnabled());
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QWidget* follower_;
};

int IndentWidth(const QWidget* page) {
    return page->style()->pixelMetric(QStyle::PM_IndicatorWidth) + 8;
}

}  // namespace

QString Spoken(QString text) {
    text.remove(QLatin1Char('&'));
    if (text.endsWith(QLatin1Char(':'))) text.chop(1);
    return text;
}

FormRows::FormRows(QWidget* page) : page_(page), grid_(new QGridLayout(page)) {
    grid_->setColumnStretch(3, 1);
}

NumberLook FormRows::Percent(NumberRange range) {
    return {.range = range, .unit = TextOf("percent")};
}

QLabel* FormRows::Label(const char* key) {
    auto* const label = new QLabel(TextOf(key), page_);
    if (indented_) label->setIndent(IndentWidth(page_));
    grid_->addWidget(label, row_, 0);
    return label;
}

void FormRows::Labelled(const char* key, QWidget* control) {
    QLabel* const label = Label(key);
    label->setBuddy(control);
    control->setObjectName(QLatin1String(key));
    control->setAccessibleName(Spoken(label->text()));
    new EnabledFollower(control, label);
    grid_->addWidget(control, row_, 1);
    ++row_;
}

QCheckBox* FormRows::Check(const char* key) {
    auto* const box = new QCheckBox(TextOf(key), page_);
    box->setObjectName(QLatin1String(key));
    Wide(box);
    return box;
}

QRadioButton* FormRows::Radio(const char* key) {
    auto* const button = new QRadioButton(TextOf(key), page_);
    button->setObjectName(QLatin1String(key));
    Wide(button);
    return button;
}

void FormRows::Wide(QWidget* control) {
    if (!indented_) {
        grid_->addWidget(control, row_++, 0, 1, 4);
        return;
    }
    auto* const row = new QHBoxLayout;
    row->addSpacing(IndentWidth(page_));
    row->addWidget(control);
    row->addStretch();
    grid_->addLayout(row, row_++, 0, 1, 4);
}

ColourButton* FormRows::Colour(const char* key) {
    auto* const button = new ColourButton(page_);
    Labelled(key, button);
    return button;
}

QComboBox* FormRows::Choice(const char* key) {
    auto* const box = new QComboBox(page_);
    Labelled(key, box);
    return box;
}

NumberField* FormRows::Number(const char* key, const NumberLook& look) {
    auto* const field = new NumberField(page_);
    Labelled(key, field);
    --row_;
    PlaceNumber(field, look);
    return field;
}

NumberField* FormRows::NumberBeside(QAbstractButton* head, const char* name,
                                    const NumberLook& look) {
    auto* const field = new NumberField(page_);
    field->setObjectName(QLatin1String(name));
    field->setAccessibleName(Spoken(head->text()));
    --row_;
    grid_->addWidget(head, row_, 0);
    grid_->addWidget(field, row_, 1);
    PlaceNumber(field, look);
    return field;
}

void FormRows::PlaceNumber(NumberField* field, const NumberLook& look) {
    auto* const unit = new QLabel(page_);
    unit->setEnabled(field->isEnabled());
    new EnabledFollower(field, unit);
    grid_->addWidget(unit, row_, 2);
    field->SetUnitLabel(unit);
    field->SetLook(look);
    ++row_;
}

void FormRows::Finish() {
    grid_->setRowStretch(row_, 1);
}

}  // namespace tarnvale

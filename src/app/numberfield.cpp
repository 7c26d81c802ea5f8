#include "app/numberfield.h"

#include <QLabel>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <optional>

namespace tarnvale {

namespace {

constexpr int kFrameAndArrows = 56;  // pixels, generous for any style

}  // namespace

std::optional<double> ParseNumber(const QLocale& locale, const QString& text) {
    // No field shows groups of thousands. Read as one, "513,125" would become a thousandfold.
    QLocale own = locale, plain = QLocale::c();
    own.setNumberOptions(own.numberOptions() | QLocale::RejectGroupSeparator);
    plain.setNumberOptions(plain.numberOptions() | QLocale::RejectGroupSeparator);
    const QString trimmed = text.trimmed();
    bool good = false;
    double value = own.toDouble(trimmed, &good);
    if (!good) value = plain.toDouble(trimmed, &good);
    if (!good) {
        QString pointed = trimmed;
        value = plain.toDouble(pointed.replace(QLatin1Char(','), QLatin1Char('.')), &good);
    }
    if (!good || !std::isfinite(value)) return std::nullopt;
    return value;
}

NumberField::NumberField(QWidget* parent) : QDoubleSpinBox(parent) {
    setKeyboardTracking(false);  // half a number is no value yet
    setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    setAlignment(Qt::AlignRight);
    setFocusPolicy(Qt::StrongFocus);  // the wheel alone doesn't take the focus
    connect(this, &QDoubleSpinBox::valueChanged, this, [this](double shown) {
        number_.Enter(shown);
        entered_ = true;
        emit Edited();
    });
}

void NumberField::SetLook(const NumberLook& look) {
    const QSignalBlocker quiet(this);
    number_ = EditedNumber(look.factor, look.range);
    setDecimals(look.decimals);
    setRange(number_.ShownRange().least, number_.ShownRange().most);
    // As wide as what is usual: a range of nine digits would push the units out of sight.
    const QString sample = QStringLiteral("0000000") + QString(look.decimals, QLatin1Char('0'));
    setFixedWidth(fontMetrics().horizontalAdvance(sample) + kFrameAndArrows);
    setAccessibleDescription(look.unit);
    if (unit_ != nullptr) unit_->setText(look.unit);
}

void NumberField::Load(double kept) {
    const QSignalBlocker quiet(this);
    number_.Load(kept);
    entered_ = false;
    setValue(number_.Shown());
}

QValidator::State NumberField::validate(QString& text, int&) const {
    return ParseNumber(locale(), text).has_value() ? QValidator::Acceptable
                                                   : QValidator::Intermediate;
}

double NumberField::valueFromText(const QString& text) const {
    // Held here: a field whose steps go round would take what is too large as its least value.
    return std::clamp(ParseNumber(locale(), text).value_or(value()), minimum(), maximum());
}

void NumberField::wheelEvent(QWheelEvent* event) {
    if (hasFocus()) {
        QDoubleSpinBox::wheelEvent(event);
    } else {
        event->ignore();
    }
}

void NumberField::fixup(QString& text) const {
    text = textFromValue(value());
}

}  // namespace tarnvale

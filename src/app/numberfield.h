#pragma once

#include <QDoubleSpinBox>
#include <QLocale>
#include <QString>
#include <optional>

#include "simulator/optionrules.h"

class QLabel;

namespace tarnvale {

/// How a number is shown.
struct NumberLook {
    NumberRange range;  ///< in the unit of the kept value
    QString unit;       ///< beside the field; empty for none
    double factor = 1;  ///< shown = kept x factor
    int decimals = 2;
};

/// The number that a user typed, with the locale's decimal sign, a point or a comma: neither ever
/// separates thousands.
/// @return none for what isn't a finite number
[[nodiscard]] std::optional<double> ParseNumber(const QLocale& locale, const QString& text);

/// A number that the user edits in a unit of his own. Any text may be typed; once it is complete
/// (Enter, another control, a button) what is no number gives way to the last good value, and what
/// is out of range to the nearest that isn't. Understands the decimal comma and the decimal point.
class NumberField final : public QDoubleSpinBox {
    Q_OBJECT

public:
    explicit NumberField(QWidget* parent = nullptr);

    /// @param unit  the label beside the field, on loan
    void SetUnitLabel(QLabel* unit) { unit_ = unit; }
    /// Before a value is loaded, which it doesn't keep.
    void SetLook(const NumberLook& look);
    /// Shows a kept value; nothing is signalled.
    void Load(double kept);
    /// @return what was loaded, bit for bit, unless the user has entered something else
    [[nodiscard]] double Kept() const noexcept { return number_.Kept(); }
    /// Whether the user has entered anything since the value was loaded.
    [[nodiscard]] bool Entered() const noexcept { return entered_; }

signals:
    /// The user has entered another value.
    void Edited();

protected:
    [[nodiscard]] QValidator::State validate(QString& text, int& position) const override;
    [[nodiscard]] double valueFromText(const QString& text) const override;
    void fixup(QString& text) const override;
    /// A wheel that scrolls past changes nothing.
    void wheelEvent(QWheelEvent* event) override;

private:
    EditedNumber number_{1, {0, 0}};
    bool entered_ = false;
    QLabel* unit_ = nullptr;  // on loan
};

}  // namespace tarnvale

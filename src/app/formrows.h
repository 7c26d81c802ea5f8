#pragma once

#include "app/numberfield.h"

class QAbstractButton;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QRadioButton;
class QWidget;

namespace tarnvale {

class ColourButton;

/// @return a label's text as a screen reader shall say it
[[nodiscard]] QString Spoken(QString text);

/// Lays the controls of a page out in rows: label, control, unit. A control's object name is its
/// text key; its label is its buddy and gives its accessible name, and label and unit are grey
/// while the control is. The page owns everything. Made where a page is built, and gone after it.
class FormRows {
public:
    explicit FormRows(QWidget* page);

    /// Rows from here on stand further in, as parts of the one before.
    void Indent(bool on) noexcept { indented_ = on; }
    QCheckBox* Check(const char* key);
    QRadioButton* Radio(const char* key);
    ColourButton* Colour(const char* key);
    /// A number; its look, and with it the unit beside it, may come later.
    NumberField* Number(const char* key, const NumberLook& look = {});
    /// A number beside the box or button that switches it, which is the row before. @param name
    /// the field's object name
    NumberField* NumberBeside(QAbstractButton* head, const char* name, const NumberLook& look = {});
    QComboBox* Choice(const char* key);
    /// A labelled control of another kind, which the page owns.
    void Labelled(const char* key, QWidget* control);
    /// A control, or a row of them, over the whole width.
    void Wide(QWidget* control);
    /// What room is left goes below.
    void Finish();

    [[nodiscard]] static NumberLook Percent(NumberRange range = {0, 100});

private:
    QLabel* Label(const char* key);
    void PlaceNumber(NumberField* field, const NumberLook& look);

    QWidget* page_;
    QGridLayout* grid_;
    int row_ = 0;
    bool indented_ = false;
};

}  // namespace tarnvale

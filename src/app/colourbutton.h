#pragma once

#include <QColor>
#include <QPushButton>

#include "base/color.h"

namespace tarnvale {

/// 16 bits a channel on both sides. The transparency doesn't go through.
[[nodiscard]] QColor ToQColor(const COLOR& color);

/// What a colour dialog, which knows 8 bits a channel, makes of a colour.
/// @return `before` where its colour was picked again; else its flags and transparency stay
[[nodiscard]] COLOR PickedColor(const COLOR& before, const QColor& picked);

/// A colour that the user picks: shows it, and opens a colour dialog that doesn't stop the frames.
/// The colour changes while the dialog is open, and comes back if it is cancelled.
class ColourButton final : public QPushButton {
    Q_OBJECT

public:
    explicit ColourButton(QWidget* parent = nullptr);

    /// Shows a colour; nothing is signalled.
    void Load(const COLOR& color);
    /// @return what was loaded, bit for bit, unless the user has picked something else; its flags
    ///         and transparency stay
    [[nodiscard]] const COLOR& Color() const noexcept { return color_; }

signals:
    void ColorChanged(const tarnvale::COLOR& color);

protected:
    void changeEvent(QEvent* event) override;

private:
    void Pick();
    void Take(const COLOR& color);
    void Paint();

    COLOR color_;
};

}  // namespace tarnvale

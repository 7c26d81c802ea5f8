#include "app/colourbutton.h"

#include <QColorDialog>
#include <QEvent>
#include <QIcon>
#include <QPainter>
#include <QPixmap>

namespace tarnvale {

namespace {

constexpr QSize kSwatch(48, 16);

}  // namespace

QColor ToQColor(const COLOR& color) {
    return {color.red >> 8, color.green >> 8, color.blue >> 8};  // as drawn and as files tell it
}

COLOR PickedColor(const COLOR& before, const QColor& picked) {
    if (picked.rgb() == ToQColor(before).rgb()) return before;
    const QRgba64 wide = picked.rgba64();
    return {wide.red(), wide.green(), wide.blue(), before.word};
}

ColourButton::ColourButton(QWidget* parent) : QPushButton(parent) {
    setAutoDefault(false);
    setIconSize(kSwatch);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(this, &QPushButton::clicked, this, &ColourButton::Pick);
    Paint();
}

void ColourButton::Load(const COLOR& color) {
    color_ = color;
    Paint();
}

void ColourButton::Take(const COLOR& color) {
    if (color == color_) return;
    Load(color);
    emit ColorChanged(color_);
}

void ColourButton::Pick() {
    auto* const dialog = new QColorDialog(ToQColor(color_), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(accessibleName());
    connect(dialog, &QColorDialog::currentColorChanged, this,
            [this, before = color_](const QColor& picked) { Take(PickedColor(before, picked)); });
    connect(dialog, &QDialog::rejected, this, [this, before = color_] { Take(before); });
    dialog->open();
}

void ColourButton::changeEvent(QEvent* event) {
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) Paint();
}

void ColourButton::Paint() {
    const QColor color = ToQColor(color_);
    QPixmap swatch(kSwatch * devicePixelRatioF());
    swatch.setDevicePixelRatio(devicePixelRatioF());
    swatch.fill(color);
    QPainter painter(&swatch);
    // A frame, so that a swatch of the button's own colour is seen.
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.drawRect(QRect(QPoint(0, 0), kSwatch - QSize(1, 1)));
    painter.end();
    setIcon(QIcon(swatch));
    setAccessibleDescription(color.name());
    setToolTip(color.name());
}

}  // namespace tarnvale

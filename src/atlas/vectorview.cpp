#include "atlas/vectorview.h"

#include <QPainter>
#include <QStringList>
#include <array>
#include <cmath>
#include <utility>

#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr int kMargin = 128;  // pixels painted beyond the view, so that dragging meets a map
constexpr int kSpare = 24;    // pixels of them that are left when more is wished for
constexpr int kSymbolWidth = 22, kSymbolHeight = 14, kSymbolGap = 4;

}  // namespace

VectorView::VectorView(VectorService& service, std::shared_ptr<VectorLayer> layer)
    : service_(service), layer_(std::move(layer)), colours_(VectorColours::On(Qt::white)) {}

VectorView::~VectorView() {
    service_.Forget(this);
}

void VectorView::Draw(QPainter& painter, const MapCamera& camera, const QSize& view, double ratio,
                      const QColor& background) {
    colours_ = VectorColours::On(background);
    const VectorScene wanted{camera, view, kMargin, ratio, colours_};
    const VectorImage* const known = service_.Image(this);
    bool serves = known != nullptr && known->scene.Covers(wanted);
    if (serves) {
        VectorScene most = known->scene;
        most.margin = kMargin - kSpare;
        if (!most.Covers(wanted)) service_.Want(this, layer_, wanted);
    } else {
        service_.Want(this, layer_, wanted);
    }
    if (known == nullptr || known->image.isNull()) return;
    const VectorScene& scene = known->scene;
    const MapPoint low = camera.ToScreen(scene.camera.ToMap({-1.0 * kMargin, -1.0 * kMargin}));
    const double scale = scene.camera.MetresPerPixel() / camera.MetresPerPixel();
    const QSizeF size = QSizeF(known->image.size()) / scene.ratio * scale;
    if (serves) {
        // Whole pixels of the screen stay sharp.
        const auto whole = [ratio](double value) { return std::round(value * ratio) / ratio; };
        painter.drawImage(QRectF(QPointF(whole(low.x), whole(low.y)), size), known->image);
        return;
    }
    if (!(scale > 1e-3) || !(scale < 1e3)) return;  // far from what it was
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(QPointF(low.x, low.y), size), known->image);
}

std::uint8_t VectorView::Kinds() const {
    const VectorImage* const known = service_.Image(this);
    return layer_->Kinds() != 0 || known == nullptr ? layer_->Kinds() : known->kinds;
}

QSize VectorView::SymbolsSize() const {
    int count = 0;
    for (unsigned kinds = Kinds(); kinds != 0; kinds &= kinds - 1) ++count;
    return {count * (kSymbolWidth + kSymbolGap), kSymbolHeight};
}

void VectorView::DrawSymbols(QPainter& painter, const QPoint& at) const {
    QRectF box(at.x() + 1, at.y() + 1, kSymbolWidth - 2, kSymbolHeight - 2);
    for (const std::uint8_t kind :
         {VectorLayer::kPolygons, VectorLayer::kLines, VectorLayer::kPoints}) {
        if ((Kinds() & kind) == 0) continue;
        // On the map's own ground, for which the colours were chosen.
        painter.fillRect(box.adjusted(-1, -1, 1, 1), colours_.halo);
        painter.setPen(
            QPen(colours_.line, kind == VectorLayer::kPolygons ? kOutlineWidth : kLineWidth));
        painter.setBrush(colours_.area);
        if (kind == VectorLayer::kPolygons) {
            painter.drawRect(box.adjusted(2, 1, -2, -1));
        } else if (kind == VectorLayer::kLines) {
            const std::array line{box.bottomLeft() + QPointF(2, -2),
                                  QPointF(box.left() + box.width() / 3, box.top() + 2),
                                  QPointF(box.left() + box.width() * 2 / 3, box.bottom() - 2),
                                  box.topRight() + QPointF(-2, 2)};
            painter.drawPolyline(line.data(), static_cast<int>(line.size()));
        } else {
            painter.setPen(QPen(colours_.halo, 1));
            painter.setBrush(colours_.line);
            painter.drawEllipse(box.center(), kMarkRadius, kMarkRadius);
        }
        box.translate(kSymbolWidth + kSymbolGap, 0);
    }
}

QString VectorView::Note() const {
    QStringList notes;
    const VectorImage* const known = service_.Image(this);
    if (known != nullptr && known->outcome.capped) {
        notes.push_back(TextOf("atlas_capped"));
    }
    if (known != nullptr && known->outcome.damaged) notes.push_back(TextOf("atlas_damaged"));
    if (!layer_->HasSystem()) notes.push_back(TextOf("atlas_no_system"));
    return notes.join(QLatin1Char('\n'));
}

}  // namespace tarnvale

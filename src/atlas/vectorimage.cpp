#include "atlas/vectorimage.h"

#include <ogr_geometry.h>

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace tarnvale {

namespace {

constexpr double kBeyond = 16;           // pixels outside a picture where shapes are cut
constexpr int kPiece = 32;               // vertices stroked at once
constexpr double kLongestOutline = 1e6;  // pixels about an area that is filled
constexpr double kFinest = 0.5;          // pixels between vertices
constexpr int kAreaAlpha = 105;          // of 255
constexpr double kEnough = 4.5;          // contrast that can be read by most

using Points = std::vector<QPointF>;

double Luminance(const QColor& colour) {
    const auto linear = [](double value) {
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& a, const QColor& b) {
    const double first = Luminance(a) + 0.05, second = Luminance(b) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

// Cuts lines and rings to a rectangle: what lies far outside is beyond what a painter can count.
class Cutter {
public:
    explicit Cutter(const QRectF& frame) : frame_(frame) {}

    [[nodiscard]] bool Holds(const Points& points) const {
        return std::ranges::all_of(points, [this](const QPointF& p) { return Inside(p); });
    }

    // A ring becomes one ring, whose edges along the frame aren't seen.
    void CutRing(Points& ring) {
        for (int side = 0; side < 4 && !ring.empty(); ++side) {
            cut_.clear();
            QPointF before = ring.back();
            for (const QPointF& point : ring) {
                const double from = Depth(before, side), to = Depth(point, side);
                if ((from >= 0) != (to >= 0)) cut_.push_back(Between(before, point, from, to));
                if (to >= 0) cut_.push_back(point);
                before = point;
            }
            std::swap(ring, cut_);
        }
    }

    // A line becomes the stretches inside.
    void AddLine(const Points& line, QPainterPath& path) const {
        bool drawing = false;
        for (std::size_t i = 1; i < line.size(); ++i) {
            QPointF from = line[i - 1], to = line[i];
            if (!CutStretch(from, to)) {
                drawing = false;
                continue;
            }
            if (!drawing || from != line[i - 1]) path.moveTo(from);
            path.lineTo(to);
            drawing = to == line[i];
        }
    }

private:
    [[nodiscard]] bool Inside(const QPointF& point) const {
        return point.x() >= frame_.left() && point.x() <= frame_.right() &&
               point.y() >= frame_.top() && point.y() <= frame_.bottom();
    }

    [[nodiscard]] double Depth(const QPointF& point, int side) const {
        switch (side) {
            case 0:
                return point.x() - frame_.left();
            case 1:
                return frame_.right() - point.x();
            case 2:
                return point.y() - frame_.top();
            default:
                return frame_.bottom() - point.y();
        }
    }

    [[nodiscard]] static QPointF Between(const QPointF& a, const QPointF& b, double from,
                                         double to) {
        return a + (b - a) * (from / (from - to));
    }

    [[nodiscard]] bool CutStretch(QPointF& from, QPointF& to) const {
        for (int side = 0; side < 4; ++side) {
            const double first = Depth(from, side), second = Depth(to, side);
            if (first < 0 && second < 0) return false;
            if (first < 0) from = Between(from, to, first, second);
            if (second < 0) to = Between(from, to, Depth(from, side), second);
        }
        return true;
    }

    QRectF frame_;
    Points cut_;
};

class Painter final : public VectorLayer::Sink {
public:
    Painter(VectorImage& target, const std::atomic<bool>& cancel)
        : target_(target),
          cancel_(cancel),
          size_(target.image.size()),
          ratio_(target.scene.ratio),
          cutter_(QRectF(QPointF(0, 0), size_).adjusted(-kBeyond, -kBeyond, kBeyond, kBeyond)),
          painter_(&target.image),
          marked_(Cells()),
          specked_(Cells()) {
        painter_.setRenderHint(QPainter::Antialiasing);
    }

    void Speck(const MapPoint& at, std::uint8_t kind) override {
        const QPointF place = OnImage(at.x, at.y);
        if (kind == VectorLayer::kPoints) return Mark(place);
        Dot(place, kind);
    }

    // What is smaller than a pixel.
    void Dot(const QPointF& place, std::uint8_t kind) {
        if (!Claim(specked_, place)) return;
        target_.kinds |= kind;
        painter_.fillRect(QRectF(place.x() - 0.5, place.y() - 0.5, 1, 1),
                          target_.scene.colours.line);
    }

    void Shape(const OGRGeometry& geometry) override {
        if (cancel_) return;
        switch (wkbFlatten(geometry.getGeometryType())) {
            case wkbPoint: {
                const OGRPoint& point = *geometry.toPoint();
                if (!point.IsEmpty()) Mark(OnImage(point.getX(), point.getY()));
                break;
            }
            case wkbLineString:
                Line(*geometry.toLineString());
                break;
            case wkbPolygon:
            case wkbTriangle:
                Polygon(*geometry.toPolygon());
                break;
            case wkbPolyhedralSurface:
            case wkbTIN:
                for (const OGRPolygon* const part : *geometry.toPolyhedralSurface()) Polygon(*part);
                break;
            default:
                if (!OGR_GT_IsSubClassOf(geometry.getGeometryType(), wkbGeometryCollection)) break;
                for (const OGRGeometry* const part : *geometry.toGeometryCollection()) Shape(*part);
        }
    }

    // Marks come last, over all that is drawn. @return whether all could be drawn
    [[nodiscard]] bool Finish() {
        painter_.setPen(QPen(target_.scene.colours.halo, ratio_));
        painter_.setBrush(target_.scene.colours.line);
        const double radius = kMarkRadius * ratio_;
        for (const QPointF& mark : marks_) painter_.drawEllipse(mark, radius, radius);
        painter_.end();
        return !unfilled_;
    }

private:
    [[nodiscard]] std::size_t Cells() const {
        return static_cast<std::size_t>(size_.width()) * static_cast<std::size_t>(size_.height());
    }

    [[nodiscard]] QPen Pen(double width) const {
        return {target_.scene.colours.line, width * ratio_, Qt::SolidLine, Qt::RoundCap,
                Qt::RoundJoin};
    }

    [[nodiscard]] QPointF OnImage(double x, double y) const {
        const MapPoint at = target_.scene.camera.ToScreen({x, y});
        return {(at.x + target_.scene.margin) * ratio_, (at.y + target_.scene.margin) * ratio_};
    }

    // @return whether the place is in the picture and nothing has its pixel yet
    [[nodiscard]] bool Claim(std::vector<bool>& cells, const QPointF& place) const {
        if (!(place.x() >= 0) || !(place.y() >= 0) || place.x() >= size_.width() ||
            place.y() >= size_.height()) {
            return false;
        }
        const std::size_t cell =
            static_cast<std::size_t>(place.y()) * static_cast<std::size_t>(size_.width()) +
            static_cast<std::size_t>(place.x());
        if (cells[cell]) return false;
        cells[cell] = true;
        return true;
    }

    void Mark(const QPointF& place) {
        if (!Claim(marked_, place)) return;
        target_.kinds |= VectorLayer::kPoints;
        marks_.push_back(place);
    }

    // Vertices that make no difference are left out; the last one stays.
    void Take(const OGRLineString& line) {
        points_.clear();
        const int count = line.getNumPoints();
        for (int i = 0; i < count; ++i) {
            const QPointF point = OnImage(line.getX(i), line.getY(i));
            const bool near = !points_.empty() &&
                              std::abs(point.x() - points_.back().x()) < kFinest &&
                              std::abs(point.y() - points_.back().y()) < kFinest;
            if (!near || i + 1 == count) points_.push_back(point);
        }
    }

    void Line(const OGRLineString& line) {
        Take(line);
        QPainterPath path;
        cutter_.AddLine(points_, path);
        if (path.isEmpty()) {  // all of it in one place, or none
            if (path.elementCount() > 0) Dot(path.elementAt(0), VectorLayer::kLines);
            return;
        }
        target_.kinds |= VectorLayer::kLines;
        Stroke(path, kLineWidth);
    }

    void Polygon(const OGRPolygon& polygon) {
        QPainterPath path;
        double length = 0;
        for (const OGRLinearRing* const ring : polygon) {
            Take(*ring);
            if (!cutter_.Holds(points_)) cutter_.CutRing(points_);
            if (points_.size() < 2) continue;
            path.moveTo(points_.front());
            for (std::size_t i = 1; i < points_.size(); ++i) {
                path.lineTo(points_[i]);
                length += (points_[i] - points_[i - 1]).manhattanLength();
            }
            path.closeSubpath();
        }
        if (path.isEmpty()) {
            if (path.elementCount() > 0) Dot(path.elementAt(0), VectorLayer::kPolygons);
            return;
        }
        target_.kinds |= VectorLayer::kPolygons;
        if (length <= kLongestOutline) {
            // Holes by the odd-even rule, which a path begins with.
            painter_.fillPath(path, target_.scene.colours.area);
        } else {
            unfilled_ = true;
        }
        Stroke(path, kOutlineWidth);
    }

    // By pieces: the time for a path grows faster than what it has on a line of pixels. The colour
    // is opaque, so that pieces may meet.
    void Stroke(const QPainterPath& path, double width) {
        const QPen pen = Pen(width);
        QPainterPath piece;
        const int count = path.elementCount();
        for (int i = 0; i < count && !cancel_; ++i) {
            const QPointF at = path.elementAt(i);
            if (i == 0 || path.elementAt(i).isMoveTo()) {
                piece.moveTo(at);
            } else {
                piece.lineTo(at);
            }
            if (piece.elementCount() < kPiece && i + 1 < count) continue;
            painter_.strokePath(piece, pen);
            piece = QPainterPath(at);
        }
    }

    VectorImage& target_;
    const std::atomic<bool>& cancel_;
    QSize size_;
    double ratio_;
    Cutter cutter_;
    QPainter painter_;
    std::vector<bool> marked_, specked_;  // by pixel
    Points marks_, points_;
    bool unfilled_ = false;
};

}  // namespace

VectorColours VectorColours::On(const QColor& background) {
    // Strong hues first; one of the last two can be told from any ground.
    static const std::array<QColor, 4> kLines{QColor(0x14, 0x56, 0xa8), QColor(0xff, 0xc4, 0x4d),
                                              QColor(0x00, 0x16, 0x3c), QColor(0xff, 0xf4, 0xc8)};
    const QColor* best = &kLines.front();
    for (const QColor& colour : kLines) {
        const double contrast = Contrast(colour, background);
        if (contrast > Contrast(*best, background)) best = &colour;
        if (contrast >= kEnough) {
            best = &colour;
            break;
        }
    }
    VectorColours colours{*best, *best, background};
    colours.area.setAlpha(kAreaAlpha);
    return colours;
}

bool VectorScene::Covers(const VectorScene& other) const {
    if (other.ratio != ratio || other.colours != colours ||
        std::abs(other.camera.MetresPerPixel() / camera.MetresPerPixel() - 1) > 1e-9) {
        return false;
    }
    const MapPoint topLeft = camera.ToScreen(other.camera.ToMap({0, 0}));
    constexpr double kSlack = 0.01;
    return topLeft.x >= -margin - kSlack && topLeft.y >= -margin - kSlack &&
           topLeft.x + other.view.width() <= view.width() + margin + kSlack &&
           topLeft.y + other.view.height() <= view.height() + margin + kSlack;
}

VectorImage PaintVectors(VectorLayer& layer, const VectorScene& scene,
                         const std::atomic<bool>& cancel) {
    VectorImage painted;
    painted.scene = scene;
    const double side = 2.0 * scene.margin;
    painted.image = QImage(static_cast<int>(std::ceil((scene.view.width() + side) * scene.ratio)),
                           static_cast<int>(std::ceil((scene.view.height() + side) * scene.ratio)),
                           QImage::Format_ARGB32_Premultiplied);
    if (painted.image.isNull()) return painted;  // without memory there is no picture
    painted.image.fill(Qt::transparent);
    // Lines and marks reach into the picture from beyond.
    const double reach = scene.margin + kBeyond / scene.ratio;
    const MapPoint low = scene.camera.ToMap({-reach, scene.view.height() + reach});
    const MapPoint high = scene.camera.ToMap({scene.view.width() + reach, -reach});
    Painter painter(painted, cancel);
    painted.outcome = layer.Read({low.x, low.y, high.x, high.y},
                                 (high.x - low.x) / (scene.view.width() + 2 * reach) / scene.ratio,
                                 (high.y - low.y) / (scene.view.height() + 2 * reach) / scene.ratio,
                                 cancel, painter);
    painted.outcome.capped |= !painter.Finish();
    return painted;
}

}  // namespace tarnvale

#include "atlas/mapwidget.h"

#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <utility>

#include "atlas/placetexts.h"
#include "geom/grounddistance.h"
#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr double kZoomStep = 1.5;
constexpr int kNotch = 120;       // counts of a wheel
constexpr int kMostTiles = 1024;  // that a view may wish for at once
constexpr int kMargin = 10, kPadding = 6;
constexpr int kLongestBar = 160;  // pixels

// A plate under texts, so that they can be read on every map.
void DrawPlate(QPainter& painter, const QRect& rect, const QPalette& palette) {
    QColor plate = palette.color(QPalette::Window);
    plate.setAlpha(215);
    painter.setPen(Qt::NoPen);
    painter.setBrush(plate);
    painter.drawRoundedRect(rect, 4, 4);
    painter.setPen(palette.color(QPalette::WindowText));
}

}  // namespace

MapWidget::MapWidget(TileService& tiles, VectorService& vectors,
                     const std::shared_ptr<MapSource>& source, QWidget* parent)
    : QWidget(parent),
      tiles_(tiles),
      source_(source),
      picture_(std::dynamic_pointer_cast<MapPicture>(source)),
      camera_(source->MetresX(), source->MetresY()) {
    if (auto layer = std::dynamic_pointer_cast<VectorLayer>(source))
        vectors_ = std::make_unique<VectorView>(vectors, std::move(layer));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setCursor(Qt::OpenHandCursor);
    setMinimumSize(120, 90);
    setAccessibleName(TextOf("atlas_map_of").arg(QString::fromStdString(source_->Name())));
    connect(&tiles_, &TileService::TileReady, this, qOverload<>(&QWidget::update));
    connect(&vectors, &VectorService::ImageReady, this, [this] {
        DescribeForReaders();
        update();
    });
    ShowWhole();
}

MapWidget::~MapWidget() {
    if (picture_) tiles_.Forget(this, picture_.get());
}

void MapWidget::SetBackground(const QColor& colour) {
    background_ = colour;
    update();
}

void MapWidget::SetMark(const std::optional<GeographicPlace>& place) {
    mark_ = place ? source_->FromGlobe(*place) : std::nullopt;
    update();
}

void MapWidget::ShowLegend(bool show) {
    legend_ = show;
    update();
}

void MapWidget::SetCentre(const MapPoint& map) {
    if (fitting_ == Fitting::Whole) fitting_ = Fitting::None;
    camera_.SetCentre(map);
    DescribeForReaders();
    update();
}

void MapWidget::SetCentre(const GeographicPlace& place) {
    if (const auto map = source_->FromGlobe(place)) SetCentre(*map);
}

void MapWidget::SetWidth(double metres) {
    fitting_ = Fitting::None;
    camera_.SetWidth(metres);
    update();
}

void MapWidget::SetOneToOne() {
    fitting_ = picture_ ? Fitting::OneToOne : Fitting::Whole;
    Refit();
}

void MapWidget::ShowWhole() {
    fitting_ = Fitting::Whole;
    Refit();
}

void MapWidget::Refit() {
    camera_.SetView(width(), height());
    if (fitting_ == Fitting::Whole) {
        MapPoint low, high;
        source_->Bounds(low, high);
        if (vectors_) {  // marks and outlines reach beyond what they stand for
            constexpr double kAbout = 0.03;
            const double x = (high.x - low.x) * kAbout, y = (high.y - low.y) * kAbout;
            low = {low.x - x, low.y - y};
            high = {high.x + x, high.y + y};
        }
        camera_.Fit(low, high);
    } else if (fitting_ == Fitting::OneToOne) {
        camera_.SetWidth(width() * devicePixelRatioF() * picture_->CellSize());
    }
    DescribeForReaders();
    update();
}

void MapWidget::resizeEvent(QResizeEvent*) {
    Refit();
}

void MapWidget::DescribeForReaders() {
    QString text = PlaceText(*source_, camera_.Centre());
    const QString note = vectors_ ? vectors_->Note() : QString();
    if (!note.isEmpty()) text += QStringLiteral("; ") + QString(note).replace('\n', ' ');
    setAccessibleDescription(text);
}

// --- Tiles -----------------------------------------------------------------------------------

// The finest level that doesn't have more pixels than the screen.
int MapWidget::LevelFor() const {
    const double pixel = camera_.MetresPerPixel() / devicePixelRatioF();
    int level = 0;
    while (level + 1 < picture_->Levels() && picture_->CellSize() * (2 << level) <= pixel * 1.01)
        ++level;
    return level;
}

// Where a part of the object lies in the view; sides shared by two parts are the same for both.
// @param left, top, right, bottom  pixels of the level
QRect MapWidget::PlaceOf(int level, double left, double top, double right, double bottom) const {
    const GeoTransform& grid = picture_->Grid();
    const auto screen = [&](double column, double row) {
        const double x = std::min(column * (1 << level), static_cast<double>(picture_->Columns()));
        const double y = std::min(row * (1 << level), static_cast<double>(picture_->Rows()));
        return camera_.ToScreen({grid.xOrigin + x * grid.xColumn + y * grid.xRow,
                                 grid.yOrigin + x * grid.yColumn + y * grid.yRow});
    };
    const MapPoint a = screen(left, top), b = screen(right, bottom);
    const auto whole = [](double value) {
        return static_cast<int>(std::lround(std::clamp(value, -1e8, 1e8)));
    };
    return {QPoint(whole(std::min(a.x, b.x)), whole(std::min(a.y, b.y))),
            QPoint(whole(std::max(a.x, b.x)) - 1, whole(std::max(a.y, b.y)) - 1)};
}

void MapWidget::DrawTile(QPainter& painter, const TileKey& key) {
    constexpr int kSide = MapPicture::kTileSide;
    const double left = static_cast<double>(key.column) * kSide;
    const double top = static_cast<double>(key.row) * kSide;
    const double right = std::min(left + kSide, double(picture_->LevelColumns(key.level)));
    const double bottom = std::min(top + kSide, double(picture_->LevelRows(key.level)));
    const QRect place = PlaceOf(key.level, left, top, right, bottom);
    // What isn't there yet is shown coarser.
    for (int up = 0; key.level + up < picture_->Levels(); ++up) {
        const TileKey found{key.picture, key.level + up, key.column >> up, key.row >> up};
        const QImage* const image = tiles_.Tile(found);
        if (image == nullptr) continue;
        const double scale = 1.0 / (1 << up);
        const QRectF part(left * scale - double(found.column) * kSide,
                          top * scale - double(found.row) * kSide, (right - left) * scale,
                          (bottom - top) * scale);
        painter.setRenderHint(QPainter::SmoothPixmapTransform,
                              up > 0 || place.width() < 2 * part.width());
        painter.drawImage(QRectF(place), *image, part);
        return;
    }
}

void MapWidget::DrawTiles(QPainter& painter) {
    // The object's corners in the view are corners of a rectangle: what is seen is one of its grid.
    const QRect all = PlaceOf(0, 0, 0, static_cast<double>(picture_->Columns()),
                              static_cast<double>(picture_->Rows()));
    const QRect seen = all.intersected(rect());
    if (seen.isEmpty()) {
        tiles_.Want(this, picture_, {});
        return;
    }
    const int level = LevelFor();
    constexpr int kSide = MapPicture::kTileSide;
    const auto range = [&](int low, int high, int from, int to, int count) {
        const double scale = static_cast<double>(count) / std::max(to - from + 1, 1);
        const int first = static_cast<int>(std::floor((low - from) * scale / kSide));
        const int last = static_cast<int>(std::floor(((high - from + 1) * scale) / kSide));
        const int most = (count + kSide - 1) / kSide - 1;
        return std::pair(std::clamp(first, 0, most), std::clamp(last, 0, most));
    };
    auto [firstColumn, lastColumn] =
        range(seen.left(), seen.right(), all.left(), all.right(), picture_->LevelColumns(level));
    auto [firstRow, lastRow] =
        range(seen.top(), seen.bottom(), all.top(), all.bottom(), picture_->LevelRows(level));
    std::vector<TileKey> wanted;
    const TileKey coarsest{picture_.get(), picture_->Levels() - 1, 0, 0};
    if (tiles_.Tile(coarsest) == nullptr) wanted.push_back(coarsest);
    for (int row = firstRow; row <= lastRow; ++row) {
        for (int column = firstColumn; column <= lastColumn; ++column) {
            const TileKey key{picture_.get(), level, column, row};
            if (tiles_.Tile(key) == nullptr && key != coarsest &&
                wanted.size() < static_cast<std::size_t>(kMostTiles)) {
                wanted.push_back(key);
            }
            DrawTile(painter, key);
        }
    }
    // From the middle outward, after the one that stands in for all.
    const double x = (firstColumn + lastColumn) / 2.0, y = (firstRow + lastRow) / 2.0;
    std::ranges::stable_sort(wanted, {}, [&](const TileKey& key) {
        return key == coarsest ? -1.0 : std::hypot(key.column - x, key.row - y);
    });
    tiles_.Want(this, picture_, std::move(wanted));
}

// --- What lies over the map ------------------------------------------------------------------

void MapWidget::DrawMark(QPainter& painter) const {
    if (!mark_) return;
    const MapPoint at = camera_.ToScreen(*mark_);
    const QPointF centre(at.x, at.y);
    painter.setBrush(Qt::NoBrush);
    // Light around dark can be seen on every ground.
    for (const auto& [colour, width] :
         {std::pair(QColor(255, 255, 255, 230), 5.0), std::pair(QColor(200, 0, 0), 2.0)}) {
        painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap));
        painter.drawEllipse(centre, 9, 9);
        for (const QPointF& along :
             {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)}) {
            painter.drawLine(centre + along * 5, centre + along * 14);
        }
    }
}

double MapWidget::GroundMetresPerPixel() const {
    constexpr double kReach = 50;  // pixels to either side
    const double x = width() / 2.0, y = height() / 2.0;
    const auto left = source_->ToGlobe(camera_.ToMap({x - kReach, y}));
    const auto right = source_->ToGlobe(camera_.ToMap({x + kReach, y}));
    return left && right ? GroundDistance(*left, *right) / (2 * kReach) : 0;
}

void MapWidget::DrawScaleBar(QPainter& painter) const {
    const double pixel = GroundMetresPerPixel();
    const double metres = RoundLength(pixel * std::min(kLongestBar, width() / 3));
    if (!(metres > 0) || !(pixel > 0)) return;
    const int length = static_cast<int>(std::lround(metres / pixel));
    const QString text = LengthText(metres);
    const QFontMetrics font = painter.fontMetrics();
    const QSize size(std::max(length, font.horizontalAdvance(text)) + 2 * kPadding,
                     font.height() + 8 + 2 * kPadding);
    const QRect plate(QPoint(width() - kMargin - size.width(), height() - kMargin - size.height()),
                      size);
    DrawPlate(painter, plate, palette());
    painter.drawText(plate.adjusted(kPadding, kPadding, -kPadding, -kPadding),
                     Qt::AlignTop | Qt::AlignHCenter, text);
    const int left = plate.center().x() - length / 2, y = plate.bottom() - kPadding;
    painter.setPen(QPen(palette().color(QPalette::WindowText), 2));
    painter.drawLine(left, y, left + length, y);
    painter.drawLine(left, y - 5, left, y);
    painter.drawLine(left + length, y - 5, left + length, y);
}

// What a view can't show is said whether or not it has a legend.
void MapWidget::DrawNote(QPainter& painter) const {
    const QString note = vectors_ ? vectors_->Note() : QString();
    if (note.isEmpty()) return;
    const QRect room = rect().adjusted(kMargin + kPadding, 0, -width() / 3, -kMargin - kPadding);
    QRect text = painter.fontMetrics().boundingRect(room, Qt::AlignLeft | Qt::TextWordWrap, note);
    text.moveBottomLeft(room.bottomLeft());
    DrawPlate(painter, text.adjusted(-kPadding, -kPadding, kPadding, kPadding), palette());
    painter.drawText(text, Qt::AlignLeft | Qt::TextWordWrap, note);
}

void MapWidget::DrawLegend(QPainter& painter) const {
    constexpr int kRamp = 110, kRampWidth = 18, kMostHeights = 5;
    const QFontMetrics font = painter.fontMetrics();
    const QString name = font.elidedText(QString::fromStdString(source_->Name()), Qt::ElideRight,
                                         std::max(width() / 2, 80));
    if (vectors_) {
        const QSize symbols = vectors_->SymbolsSize();
        const int high = std::max(font.height(), symbols.height());
        const QRect plate(kMargin, kMargin,
                          symbols.width() + font.horizontalAdvance(name) + 2 * kPadding,
                          high + 2 * kPadding);
        DrawPlate(painter, plate, palette());
        painter.drawText(plate.adjusted(kPadding + symbols.width(), kPadding, 0, -kPadding),
                         Qt::AlignLeft | Qt::AlignVCenter, name);
        vectors_->DrawSymbols(painter,
                              {plate.left() + kPadding, plate.center().y() - symbols.height() / 2});
        return;
    }
    const double span = picture_->Highest() - picture_->Lowest();
    const int steps = span > 0 ? kMostHeights : 1;
    QStringList heights;
    for (int i = 0; picture_->IsHeights() && i < steps; ++i) {
        const double at = picture_->Highest() - span * i / (kMostHeights - 1);
        heights.push_back(HeightText(at, span));
    }
    int widest = font.horizontalAdvance(name);
    for (const QString& text : heights)
        widest = std::max(widest, font.horizontalAdvance(text) + kRampWidth + kPadding);
    const int ramp = heights.isEmpty() ? 0 : kRamp + font.height() + kPadding;
    const QRect plate(kMargin, kMargin, widest + 2 * kPadding, font.height() + ramp + 2 * kPadding);
    DrawPlate(painter, plate, palette());
    painter.drawText(plate.left() + kPadding, plate.top() + kPadding + font.ascent(), name);
    if (heights.isEmpty()) return;
    const int top = plate.top() + kPadding + font.height() + kPadding + font.height() / 2;
    for (int y = 0; y < kRamp; ++y) {
        painter.fillRect(plate.left() + kPadding, top + y, kRampWidth, 1,
                         QColor::fromRgb(HeightColour(1.0 - double(y) / (kRamp - 1))));
    }
    for (int i = 0; i < steps; ++i) {
        const int y = top + (kRamp - 1) * i / (kMostHeights - 1);
        painter.drawText(plate.left() + 2 * kPadding + kRampWidth,
                         y + (font.ascent() - font.descent()) / 2, heights[i]);
    }
}

QColor MapWidget::Ground() const {
    return background_.isValid() ? background_ : palette().color(QPalette::Base);
}

void MapWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Ground());
    if (vectors_) {
        vectors_->Draw(painter, camera_, size(), devicePixelRatioF(), Ground());
    } else {
        DrawTiles(painter);
    }
    painter.setRenderHint(QPainter::Antialiasing);
    DrawNote(painter);
    DrawScaleBar(painter);
    if (legend_) DrawLegend(painter);
    DrawMark(painter);  // a place in the legend's corner is seen too
    if (hasFocus()) {
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

// --- The user --------------------------------------------------------------------------------

MapPoint MapWidget::Pointed() const {
    const QPointF at = mouse_.value_or(QPointF(width() / 2.0, height() / 2.0));
    return camera_.ToMap({at.x(), at.y()});
}

void MapWidget::ZoomAt(const QPointF& at, double factor) {
    fitting_ = Fitting::None;
    camera_.ZoomAbout({at.x(), at.y()}, factor);
    DescribeForReaders();
    update();
    emit Moved();
    emit PointedChanged();
}

void MapWidget::Zoom(int steps) {
    ZoomAt(QPointF(width() / 2.0, height() / 2.0), std::pow(kZoomStep, -steps));
}

void MapWidget::Pan(int right, int down) {
    fitting_ = Fitting::None;
    camera_.Drag(-right * width() / 8.0, -down * height() / 8.0);
    DescribeForReaders();
    update();
    emit Moved();
    emit PointedChanged();
}

void MapWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    dragFrom_ = event->position();
    setCursor(Qt::ClosedHandCursor);
}

void MapWidget::mouseMoveEvent(QMouseEvent* event) {
    mouse_ = event->position();
    if (dragFrom_) {
        const QPointF by = event->position() - *dragFrom_;
        dragFrom_ = event->position();
        fitting_ = Fitting::None;
        camera_.Drag(by.x(), by.y());
        DescribeForReaders();
        update();
        emit Moved();
    }
    emit PointedChanged();
}

void MapWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    dragFrom_.reset();
    setCursor(Qt::OpenHandCursor);
}

void MapWidget::wheelEvent(QWheelEvent* event) {
    wheelRest_ += event->angleDelta().y();
    const int notches = wheelRest_ / kNotch;
    wheelRest_ -= notches * kNotch;
    if (notches != 0) ZoomAt(event->position(), std::pow(kZoomStep, -notches));
    event->accept();
}

void MapWidget::leaveEvent(QEvent*) {
    mouse_.reset();
    emit PointedChanged();
}

void MapWidget::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
            return Pan(-1, 0);
        case Qt::Key_Right:
            return Pan(1, 0);
        case Qt::Key_Up:
            return Pan(0, -1);
        case Qt::Key_Down:
            return Pan(0, 1);
        case Qt::Key_Plus:
        case Qt::Key_Equal:
            return Zoom(1);
        case Qt::Key_Minus:
            return Zoom(-1);
        default:
            QWidget::keyPressEvent(event);
    }
}

void MapWidget::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    update();
    emit PointedChanged();
}

void MapWidget::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    update();
}

}  // namespace tarnvale

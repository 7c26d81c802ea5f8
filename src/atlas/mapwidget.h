#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "atlas/mapcamera.h"
#include "atlas/mappicture.h"
#include "atlas/tileservice.h"
#include "atlas/vectorview.h"

namespace tarnvale {

/// One view of an atlas: a map with a mark, a scale bar and a legend, moved and zoomed with mouse
/// and keyboard. Thread: the user interface's.
class MapWidget final : public QWidget {
    Q_OBJECT

public:
    /// @param tiles, vectors  on loan
    /// @param source  a MapPicture or a VectorLayer
    MapWidget(TileService& tiles, VectorService& vectors, const std::shared_ptr<MapSource>& source,
              QWidget* parent);
    ~MapWidget() override;

    [[nodiscard]] const MapSource& Source() const noexcept { return *source_; }
    [[nodiscard]] const MapCamera& Camera() const noexcept { return camera_; }

    void SetLink(const ViewLink& link) { link_ = link; }
    [[nodiscard]] const ViewLink& Link() const noexcept { return link_; }
    void SetBackground(const QColor& colour);
    void SetMark(const std::optional<GeographicPlace>& place);
    void ShowLegend(bool show);
    [[nodiscard]] bool LegendShown() const noexcept { return legend_; }

    /// These move the view without telling.
    void SetCentre(const MapPoint& map);
    void SetCentre(const GeographicPlace& place);
    void SetWidth(double metres);
    /// A cell of the object gets a pixel of the screen, whatever size the view will have; without
    /// cells as ShowWhole.
    void SetOneToOne();
    /// All of the object, whatever size the view will have.
    void ShowWhole();

    /// As the user does, by a step: moves the view and tells. @param steps  above 0 comes closer
    void Zoom(int steps);
    /// @param right, down  eighths of the view
    void Pan(int right, int down);

    /// The place under the mouse, or else in the middle.
    [[nodiscard]] MapPoint Pointed() const;

signals:
    /// The user moved or zoomed this view.
    void Moved();
    /// What the mouse points at changed, or the view got the focus.
    void PointedChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    enum class Fitting : std::uint8_t { None, OneToOne, Whole };

    void Refit();
    void ZoomAt(const QPointF& at, double factor);
    [[nodiscard]] int LevelFor() const;
    void DrawTiles(QPainter& painter);
    void DrawTile(QPainter& painter, const TileKey& key);
    [[nodiscard]] QRect PlaceOf(int level, double left, double top, double right,
                                double bottom) const;
    void DrawMark(QPainter& painter) const;
    void DrawScaleBar(QPainter& painter) const;
    void DrawLegend(QPainter& painter) const;
    void DrawNote(QPainter& painter) const;
    [[nodiscard]] QColor Ground() const;
    [[nodiscard]] double GroundMetresPerPixel() const;
    void DescribeForReaders();

    TileService& tiles_;
    std::shared_ptr<MapSource> source_;
    std::shared_ptr<MapPicture> picture_;  // the source, or null
    std::unique_ptr<VectorView> vectors_;  // where the source is no picture
    MapCamera camera_;
    ViewLink link_;
    QColor background_;
    std::optional<MapPoint> mark_;
    bool legend_ = true;
    Fitting fitting_ = Fitting::None;
    std::optional<QPointF> dragFrom_, mouse_;
    int wheelRest_ = 0;  // of a notch, as fine wheels send them
};

}  // namespace tarnvale

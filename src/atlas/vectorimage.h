#pragma once

#include <QColor>
#include <QImage>
#include <QSize>
#include <atomic>
#include <cstdint>

#include "atlas/mapcamera.h"
#include "atlas/vectorlayer.h"

namespace tarnvale {

/// How features are drawn, so that they can be told from a background.
struct VectorColours {
    QColor line;  ///< of lines, outlines and marks
    QColor area;  ///< half transparent
    QColor halo;  ///< about marks
    /// @param background  opaque
    [[nodiscard]] static VectorColours On(const QColor& background);
    friend bool operator==(const VectorColours&, const VectorColours&) = default;
};

/// What a view shows of a vector layer. A value.
struct VectorScene {
    MapCamera camera;  ///< of the view, in its own pixels
    QSize view;        ///< the view's pixels
    int margin = 0;    ///< pixels that are drawn beyond each side
    double ratio = 1;  ///< of the screen's pixels to the view's
    VectorColours colours;

    /// Whether a picture of this scene serves a view of that one, moved or not.
    [[nodiscard]] bool Covers(const VectorScene& other) const;
    friend bool operator==(const VectorScene&, const VectorScene&) = default;
};

/// A scene, painted.
struct VectorImage {
    QImage image;
    VectorScene scene;
    VectorLayer::Outcome outcome;
    std::uint8_t kinds = 0;  ///< bits of VectorLayer that are in it
};

/// Paints a scene: polygons filled, lines, marks over all. Memory follows the size of the picture
/// and of the largest feature. Thread: the layer's reading one.
[[nodiscard]] VectorImage PaintVectors(VectorLayer& layer, const VectorScene& scene,
                                       const std::atomic<bool>& cancel);

/// Half the width of a mark, pixels.
inline constexpr double kMarkRadius = 3.5;
/// Pixels; outlines of polygons often lie side by side.
inline constexpr double kLineWidth = 1.8, kOutlineWidth = 1.2;

}  // namespace tarnvale

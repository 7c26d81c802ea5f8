#pragma once

#include <array>
#include <span>

#include "geom/transgen.h"

namespace tarnvale {

struct MapPoint {
    double x = 0, y = 0;
    friend bool operator==(const MapPoint&, const MapPoint&) = default;
};

/// What part of a map a view shows: its centre and how many metres of the map the view is wide.
/// The width stays when the window changes its size. North is up. A value.
class MapCamera {
public:
    /// @param metresX, metresY  of the map for one of its units along x and y, above 0
    MapCamera() = default;
    MapCamera(double metresX, double metresY) : metresX_(metresX), metresY_(metresY) {}

    /// @param width, height  of the view, pixels
    void SetView(double width, double height);
    void SetCentre(const MapPoint& centre);
    /// Held between what single cells and the globe need. @param metres  across the view
    void SetWidth(double metres);
    [[nodiscard]] MapPoint Centre() const noexcept { return centre_; }
    [[nodiscard]] double Width() const noexcept { return width_; }
    [[nodiscard]] double MetresPerPixel() const noexcept { return width_ / viewWidth_; }

    [[nodiscard]] MapPoint ToScreen(const MapPoint& map) const;
    [[nodiscard]] MapPoint ToMap(const MapPoint& screen) const;
    /// Moves the map under the view. @param dx, dy  pixels, right and down
    void Drag(double dx, double dy);
    /// The place under a pixel stays there. @param factor  of the width: below 1 comes closer
    void ZoomAbout(const MapPoint& screen, double factor);
    /// Shows all of a rectangle of the map.
    void Fit(const MapPoint& low, const MapPoint& high);
    friend bool operator==(const MapCamera&, const MapCamera&) = default;

private:
    double metresX_ = 1, metresY_ = 1;
    double viewWidth_ = 1, viewHeight_ = 1;  // pixels
    MapPoint centre_;
    double width_ = 1000;  // metres
};

/// How a view follows the others.
struct ViewLink {
    static constexpr int kCentre = 1, kWidth = 2;
    int mode = kCentre | kWidth;
    double scale = 1;  ///< its width against that of a linked view with the scale 1

    /// @param stored  as an atlas has it; what isn't 0 to 3 counts as 3
    [[nodiscard]] static ViewLink FromAtlas(int stored, double scale) noexcept;
    [[nodiscard]] bool SharesCentre(const ViewLink& other) const noexcept {
        return (mode & other.mode & kCentre) != 0;
    }
    [[nodiscard]] bool SharesWidth(const ViewLink& other) const noexcept {
        return (mode & other.mode & kWidth) != 0;
    }
};

/// The longest of 1, 2, 5, 10, 20 ... and 0.5, 0.2 ... that isn't above `most`; 0 for none.
[[nodiscard]] double RoundLength(double most);

}  // namespace tarnvale

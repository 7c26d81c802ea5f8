#pragma once

#include <QString>
#include <memory>

#include "atlas/vectorservice.h"

class QPainter;

namespace tarnvale {

/// Shows a vector layer in a view of a map: what was painted last, where it belongs, until what is
/// wanted is there. Thread: the user interface's.
class VectorView final {
public:
    /// @param service  on loan
    VectorView(VectorService& service, std::shared_ptr<VectorLayer> layer);
    VectorView(const VectorView&) = delete;
    VectorView& operator=(const VectorView&) = delete;
    ~VectorView();

    /// @param background  what the view was filled with
    /// @param ratio  of the screen's pixels to the view's
    void Draw(QPainter& painter, const MapCamera& camera, const QSize& view, double ratio,
              const QColor& background);
    /// A symbol for each kind of geometry, side by side.
    /// @param at  top left
    void DrawSymbols(QPainter& painter, const QPoint& at) const;
    [[nodiscard]] QSize SymbolsSize() const;
    /// What isn't shown, and why; empty when all is.
    [[nodiscard]] QString Note() const;

private:
    [[nodiscard]] std::uint8_t Kinds() const;

    VectorService& service_;
    std::shared_ptr<VectorLayer> layer_;
    VectorColours colours_;
};

}  // namespace tarnvale

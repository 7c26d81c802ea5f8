#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "atlas/mapsource.h"
#include "zpf/vectorhandle.h"

class OGRGeometry;

namespace tarnvale {

/// A layer of points, lines and polygons of a project file as a map, in its own coordinate
/// reference system. Thread: Open anywhere; then Read on one thread, the others on any.
class VectorLayer final : public MapSource {
public:
    /// What geometries there are, as bits.
    static constexpr std::uint8_t kPoints = 1, kLines = 2, kPolygons = 4;
    /// Most that one reading takes in: features with a shape, all features, bytes of geometry.
    static constexpr int kMostShapes = 100'000, kMostFeatures = 2'000'000;
    static constexpr std::int64_t kMostBytes = std::int64_t{512} << 20;

    /// What a reading hands out, in the layer's units.
    class Sink {
    public:
        virtual ~Sink() = default;
        /// A feature smaller than a pixel. @param kind  one bit, the layer's only kind
        virtual void Speck(const MapPoint& at, std::uint8_t kind) = 0;
        /// Linear, with finite coordinates; on loan.
        virtual void Shape(const OGRGeometry& geometry) = 0;
    };
    /// What a reading couldn't show.
    struct Outcome {
        bool capped = false;     ///< there was more than a limit
        bool damaged = false;    ///< of some features
        bool cancelled = false;  ///< and so incomplete
    };

    /// @param file  taken over
    /// @param item  of a vector layer in it
    /// @return the file's error; BadState for a layer without a geometry column, without features,
    /// or without any that lies where a map can
    Status Open(ZPF::FILEHANDLE file, const ZPFObjectItem& item);

    /// Bits of what the layer says to hold; 0 for anything.
    [[nodiscard]] std::uint8_t Kinds() const noexcept { return kinds_; }
    void Bounds(MapPoint& low, MapPoint& high) const override;
    [[nodiscard]] bool InCells() const noexcept override { return false; }
    [[nodiscard]] bool NeedsLegend() const noexcept override { return true; }

    /// Reads the features that touch a part of the map.
    /// @param pixelX, pixelY  the layer's units across a pixel
    /// @param cancel  looked at before each feature
    Outcome Read(const ZPF::VectorBox& part, double pixelX, double pixelY,
                 const std::atomic<bool>& cancel, Sink& sink);

private:
    class Reading;
    Status FindExtent(const std::string& shown);
    [[nodiscard]] bool HasStrays();
    [[nodiscard]] bool OnMap(const ZPF::VectorBox& box) const noexcept;

    ZPF::FILEHANDLE file_;
    ZPF::VECTORHANDLE layer_;
    ZPF::VectorBox extent_;
    double farthest_ = 0;  // from the origin that a coordinate can be
    std::uint8_t kinds_ = 0;
    bool strays_ = false;  // its index has what lies on no map
};

}  // namespace tarnvale

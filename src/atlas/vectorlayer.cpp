#include "atlas/vectorlayer.h"

#include <cpl_error.h>
#include <ogr_geometry.h>

#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace tarnvale {

namespace {

constexpr double kFarthest = 1e9;         // metres from the origin; nothing on the earth is there
constexpr double kFarthestDegrees = 1e4;  // some turns about the earth
constexpr int kMostMeasured = 200'000;    // features looked at for an extent that isn't entered
constexpr std::size_t kLongestCurves = 2 << 20;  // bytes of one feature
constexpr double kSmallest = 50;  // units to either side of a layer that is one point

// What GDAL would print stays between the two.
class Quiet {
public:
    Quiet() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
    ~Quiet() { CPLPopErrorHandler(); }
};

std::uint8_t KindsOf(std::string_view type) {
    if (type.ends_with("POINT")) return VectorLayer::kPoints;
    if (type.ends_with("STRING") || type.ends_with("CURVE")) return VectorLayer::kLines;
    if (type.ends_with("POLYGON") || type.ends_with("SURFACE") || type == "TIN" ||
        type == "TRIANGLE") {
        return VectorLayer::kPolygons;
    }
    return 0;
}

// @return null where it can't be understood
std::unique_ptr<OGRGeometry> Decoded(std::span<const std::byte> wkb) {
    OGRGeometry* made = nullptr;
    const OGRErr failed =
        OGRGeometryFactory::createFromWkb(wkb.data(), nullptr, &made, wkb.size(), wkbVariantIso);
    std::unique_ptr<OGRGeometry> geometry(made);
    if (failed != OGRERR_NONE || geometry == nullptr) return nullptr;
    if (geometry->hasCurveGeometry()) {
        // Each of its arcs becomes up to 90 stretches, all in one go.
        if (wkb.size() > kLongestCurves) return nullptr;
        geometry.reset(geometry->getLinearGeometry());
    }
    return geometry;
}

ZPF::VectorBox BoxOf(const OGRGeometry& geometry) {
    OGREnvelope box;
    geometry.getEnvelope(&box);
    return {box.MinX, box.MinY, box.MaxX, box.MaxY};
}

// An envelope passes over numbers that aren't any, and a point of them calls itself empty.
class FiniteTest final : public OGRDefaultConstGeometryVisitor {
public:
    using OGRDefaultConstGeometryVisitor::visit;
    void visit(const OGRLineString* line) override {
        for (int i = 0; finite && i < line->getNumPoints(); ++i)
            finite = std::isfinite(line->getX(i)) && std::isfinite(line->getY(i));
    }
    bool finite = true;
};

bool IsFinite(const OGRGeometry& geometry) {
    FiniteTest test;
    geometry.accept(&test);
    return test.finite;
}

}  // namespace

/// One reading of a part of a layer.
class VectorLayer::Reading {
public:
    Reading(VectorLayer& layer, const ZPF::VectorBox& part, double pixelX, double pixelY,
            Sink& sink)
        : layer_(layer), part_(part), pixelX_(pixelX), pixelY_(pixelY), sink_(sink) {}

    void Take(const ZPF::VectorEntry& entry) {
        // What the index knows needn't be read.
        if (entry.box && TakeSpeck(*entry.box)) return;
        ZPF::VectorGeometry found;
        layer_.layer_.ReadGeometry(entry.id, found);
        bytes_ += static_cast<std::int64_t>(found.wkb.size());
        outcome.damaged |= found.damaged;
        if (found.damaged || found.wkb.empty()) return;
        if (found.box && !layer_.OnMap(*found.box)) {
            outcome.damaged = true;
            return;
        }
        if (found.box && (!found.box->Touches(part_) || TakeSpeck(*found.box))) return;
        const std::unique_ptr<OGRGeometry> geometry = Decoded(found.wkb);
        if (geometry == nullptr) {
            outcome.damaged = true;
            return;
        }
        if (geometry->IsEmpty()) return;
        const ZPF::VectorBox box = BoxOf(*geometry);
        if (!layer_.OnMap(box) || !IsFinite(*geometry)) {
            outcome.damaged = true;
            return;
        }
        if (!box.Touches(part_)) return;
        ++shapes_;
        sink_.Shape(*geometry);
    }

    [[nodiscard]] bool Full() const {
        return shapes_ >= kMostShapes || features_ >= kMostFeatures || bytes_ >= kMostBytes;
    }
    void Count() { ++features_; }

    Outcome outcome;

private:
    // Below a pixel the shape doesn't matter, if only the kind is known.
    bool TakeSpeck(const ZPF::VectorBox& box) {
        const std::uint8_t kind = layer_.kinds_;
        if (kind == 0 || !box.Sound() || box.maxX - box.minX > pixelX_ ||
            box.maxY - box.minY > pixelY_ || !layer_.OnMap(box)) {
            return false;
        }
        sink_.Speck({(box.minX + box.maxX) / 2, (box.minY + box.maxY) / 2}, kind);
        return true;
    }

    VectorLayer& layer_;
    ZPF::VectorBox part_;
    double pixelX_, pixelY_;
    Sink& sink_;
    int shapes_ = 0, features_ = 0;
    std::int64_t bytes_ = 0;
};

Status VectorLayer::Open(ZPF::FILEHANDLE file, const ZPFObjectItem& item) try {
    file_ = std::move(file);
    const std::string shown = "\"" + item.objectPath + "\" in " + item.file.string();
    if (const Status opened = layer_.Open(file_, item.header.name); !opened.Good()) return opened;
    SetName(item.header.name, item.objectPath);
    kinds_ = KindsOf(layer_.Header().geometryType);
    COORDREFSYS system;
    layer_.GetSystem(system);
    farthest_ = kFarthest;
    if (system.Valid() && system.IsGeographic()) {
        farthest_ = kFarthestDegrees;
    } else if (system.Valid() && system.MetresPerUnit() > 0) {
        farthest_ = kFarthest / system.MetresPerUnit();
    }
    if (const Status found = FindExtent(shown); !found.Good()) return found;
    strays_ = HasStrays();
    layer_.Finish();
    return system.Valid() ? SetSystem(system) : Status(StatusCode::Ok);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

bool VectorLayer::OnMap(const ZPF::VectorBox& box) const noexcept {
    return box.Sound() && box.minX >= -farthest_ && box.minY >= -farthest_ &&
           box.maxX <= farthest_ && box.maxY <= farthest_;
}

// No part of the map would ever ask the index for these.
bool VectorLayer::HasStrays() {
    constexpr double kEnd = std::numeric_limits<double>::infinity();
    ZPF::VectorEntry entry;
    const double far = farthest_;
    for (const ZPF::VectorBox& beyond :
         {ZPF::VectorBox{far, -kEnd, kEnd, kEnd}, ZPF::VectorBox{-kEnd, -kEnd, -far, kEnd},
          ZPF::VectorBox{-kEnd, far, kEnd, kEnd}, ZPF::VectorBox{-kEnd, -kEnd, kEnd, -far}}) {
        layer_.Select(beyond);
        if (layer_.Header().indexed && layer_.Next(entry) == ZPF::RowState::Found) return true;
    }
    return false;
}

// As entered, or else of the first features.
Status VectorLayer::FindExtent(const std::string& shown) {
    if (!layer_.Any()) {
        return _SetErrPosn(StatusCode::BadState,
                           shown + " has no features; add some, or name another layer");
    }
    if (layer_.Header().extent && OnMap(*layer_.Header().extent)) {
        extent_ = *layer_.Header().extent;
        return StatusCode::Ok;
    }
    const Quiet quiet;
    std::optional<ZPF::VectorBox> all;
    ZPF::VectorEntry entry;
    std::int64_t bytes = 0;
    layer_.SelectAll();
    for (int i = 0; i < kMostMeasured && bytes < kMostBytes / 32; ++i) {
        if (layer_.Next(entry) != ZPF::RowState::Found) break;
        std::optional<ZPF::VectorBox> box = entry.box;
        if (!box) {
            ZPF::VectorGeometry found;
            layer_.ReadGeometry(entry.id, found);
            bytes += static_cast<std::int64_t>(found.wkb.size());
            box = found.box;
            if (!box && !found.wkb.empty()) {
                const auto geometry = Decoded(found.wkb);
                if (geometry != nullptr && !geometry->IsEmpty()) box = BoxOf(*geometry);
            }
        }
        if (!box || !OnMap(*box)) continue;
        if (all) {
            all->Include(*box);
        } else {
            all = box;
        }
    }
    if (!all) {
        return _SetErrPosn(StatusCode::BadState,
                           shown + " has no geometry that lies on a map; mend it in a GIS");
    }
    extent_ = *all;
    return StatusCode::Ok;
}

void VectorLayer::Bounds(MapPoint& low, MapPoint& high) const {
    low = {extent_.minX, extent_.minY};
    high = {extent_.maxX, extent_.maxY};
    if (low == high) {  // a single point is seen with what is about it
        const double about = kSmallest / kFarthest * farthest_;
        low = {low.x - about, low.y - about};
        high = {high.x + about, high.y + about};
    }
}

VectorLayer::Outcome VectorLayer::Read(const ZPF::VectorBox& part, double pixelX, double pixelY,
                                       const std::atomic<bool>& cancel, Sink& sink) {
    const Quiet quiet;
    Reading reading(*this, part, pixelX, pixelY, sink);
    layer_.Select(part);
    ZPF::VectorEntry entry;
    ZPF::RowState state = layer_.Next(entry);
    for (; state == ZPF::RowState::Found; state = layer_.Next(entry)) {
        reading.outcome.cancelled = cancel;
        reading.outcome.capped = reading.Full();
        if (reading.outcome.cancelled || reading.outcome.capped) break;
        reading.Count();
        reading.Take(entry);
    }
    reading.outcome.damaged |= strays_ || state == ZPF::RowState::Failed;
    layer_.Finish();
    return reading.outcome;
}

}  // namespace tarnvale

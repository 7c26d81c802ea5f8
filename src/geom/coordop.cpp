#include "geom/coordop.h"

#include <utility>

namespace tarnvale {

Status COORDOP_LIST::Create(const COORDREFSYS& from, const COORDREFSYS& to, COORDOP_LIST& out) {
    constexpr GeoTransform kIdentity{0, 1, 0, 0, 0, 1};
    COORDOP_LIST made;
    made.same_ = from.Wkt() == to.Wkt();
    if (!made.same_) {
        if (const Status set = TransGenInit(made.transform_, kIdentity, from); !set.Good())
            return set;
        if (const Status set = TransGenSetOutputMapCoordRefSys(made.transform_, to); !set.Good())
            return set;
    }
    out = std::move(made);
    return StatusCode::Ok;
}

Status COORDOP_LIST::ConvertPoint(double& x, double& y) const {
    return same_ ? Status(StatusCode::Ok) : TransGenConvPointFwd(transform_, x, y);
}

}  // namespace tarnvale

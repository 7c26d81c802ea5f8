#pragma once

#include "geom/transgen.h"

namespace tarnvale {

/// Conversion of map points from one coordinate reference system to another. A value; one copy may
/// be used on each thread. As made, it leaves points where they are.
class COORDOP_LIST {
public:
    /// Takes some ten milliseconds. Two systems that aren't Valid count as one.
    /// @param out  set only on success
    /// @return BadState if no conversion leads there
    static Status Create(const COORDREFSYS& from, const COORDREFSYS& to, COORDOP_LIST& out);

    /// Converts in place, x east or longitude.
    /// @return BadState, the point unchanged, where the target system has no such place
    Status ConvertPoint(double& x, double& y) const;

private:
    TransGen transform_;
    bool same_ = true;
};

}  // namespace tarnvale

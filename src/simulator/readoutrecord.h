#pragma once

#include <optional>

#include "geom/crslist.h"
#include "simulator/frameclock.h"
#include "simulator/readoutscale.h"
#include "simulator/readoutvalues.h"

namespace tarnvale {

class Simulator;

/// Where the mouse is: a pixel of a view, -1, -1 outside.
struct MousePlace {
    int view = View::kMain, x = -1, y = -1;
};

/// The middle of the open landscape; none without one, or where its system has no place on the
/// globe. Takes some ten milliseconds.
[[nodiscard]] std::optional<GeographicPlace> LandscapeCentre(const Simulator& simulator);

/// Makes the record that readouts show, out of what the simulator tells. Thread: the frame
/// cycle's.
class ReadoutRecorder {
public:
    /// What every frame can afford. Allocates nothing.
    static void FillFlight(const Simulator& simulator, const FrameClock& clock,
                           const ReadoutScale& scale, SimulatorReadoutValues& values);
    /// What looks for the ground and converts positions: the viewer's, the mouse's, the middle of
    /// each open view as it was drawn last, and the extents. A view without a picture, or whose
    /// middle is sky, has none.
    void FillPlaces(const Simulator& simulator, const MousePlace& mouse, const ReadoutScale& scale,
                    SimulatorReadoutValues& values);

private:
    struct Extents {
        double north = SimulatorReadoutValues::kUnknown, south = SimulatorReadoutValues::kUnknown;
        double east = SimulatorReadoutValues::kUnknown, west = SimulatorReadoutValues::kUnknown;
        double eastWestMetres = 0, northSouthMetres = 0;
    };
    static Extents MeasureExtents(const Simulator& simulator, const ReadoutScale& scale);

    Extents extents_;
    int extentsOf_ = -1;  // revision of the scale that they were measured for
};

}  // namespace tarnvale

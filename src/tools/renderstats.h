#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <vector>

#include "simulator/frameobserver.h"

namespace tarnvale {

struct Summary {
    double median = 0, p95 = 0, max = 0;
};
/// Median and 95th percentile by nearest rank; all zero for no values.
[[nodiscard]] Summary Summarize(std::vector<double> values);

/// Seconds that one reading of the clock takes here and now; what two readings one after the other
/// differ by.
[[nodiscard]] double MeasureClock();
/// The times of parts less what reading the clock added to them, none below 0. Of the four readings
/// for each primitive, the two spans that they bound hold one each, and mesh, which is what
/// remains, the other two.
/// @param clock  seconds of a reading
[[nodiscard]] FrameTimes WithoutClock(const FrameTimes& times, double clock);

/// Figures of a flight, gathered frame by frame. Seconds.
struct FlightFigures {
    double clock = 0;  ///< a reading of it, taken off the parts
    double open = 0, firstFrame = 0;
    std::optional<double> complete;
    std::vector<double> frames;             ///< those measured whole
    std::vector<FrameTimes> measuredParts;  ///< those measured in parts, clock included
    std::vector<double> floors;             ///< static replays
    std::vector<double> triangles, drawCalls;
    std::uint64_t tilesUploaded = 0, damagedTiles = 0;
    std::uint32_t tilesResident = 0;

    /// Without the caller's own particulars. floor_ratio is null where no floor was measured.
    [[nodiscard]] nlohmann::ordered_json ToJson() const;
};

}  // namespace tarnvale

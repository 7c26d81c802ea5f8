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

/// Figures of a flight, gathered frame by frame. Seconds.
struct FlightFigures {
    double open = 0, firstFrame = 0;
    std::optional<double> complete;
    std::vector<double> frames;     ///< those measured whole
    std::vector<FrameTimes> parts;  ///< those measured in parts
    std::vector<double> floors;     ///< static replays
    std::vector<double> triangles, drawCalls;
    std::uint64_t tilesUploaded = 0, damagedTiles = 0;
    std::uint32_t tilesResident = 0;

    /// Without the caller's own particulars. floor_ratio is null where no floor was measured.
    [[nodiscard]] nlohmann::ordered_json ToJson() const;
};

}  // namespace tarnvale

#include "tools/renderstats.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tarnvale {

namespace {

double PeakMegabytes() {
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

double Rounded(double value, double perUnit) {
    return std::round(value * perUnit) / perUnit;
}

nlohmann::ordered_json Milliseconds(std::vector<double> seconds) {
    const Summary summary = Summarize(std::move(seconds));
    const auto ms = [](double s) { return Rounded(s * 1e3, 1e4); };
    return {{"median", ms(summary.median)}, {"p95", ms(summary.p95)}, {"max", ms(summary.max)}};
}

}  // namespace

Summary Summarize(std::vector<double> values) {
    if (values.empty()) return {};
    std::ranges::sort(values);
    const std::size_t count = values.size();
    const double median =
        count % 2 == 1 ? values[count / 2] : (values[count / 2 - 1] + values[count / 2]) / 2;
    const auto rank = static_cast<std::size_t>(std::ceil(0.95 * static_cast<double>(count)));
    return {median, values[rank - 1], values.back()};
}

double MeasureClock() {
    constexpr int kRounds = 401, kReadings = 100;
    using Clock = std::chrono::steady_clock;
    std::vector<double> rounds;
    for (int round = 0; round < kRounds; ++round) {
        const Clock::time_point begun = Clock::now();
        Clock::time_point last = begun;
        for (int i = 0; i < kReadings; ++i) last = Clock::now();
        rounds.push_back(std::chrono::duration<double>(last - begun).count() / kReadings);
    }
    return Summarize(std::move(rounds)).median;
}

FrameTimes WithoutClock(const FrameTimes& times, double clock) {
    const double once = clock * times.primitives;
    FrameTimes less = times;
    less.mesh = std::max(0.0, times.mesh - 2 * once);
    less.prepare = std::max(0.0, times.prepare - once);
    less.draw = std::max(0.0, times.draw - once);
    return less;
}

nlohmann::ordered_json FlightFigures::ToJson() const {
    nlohmann::ordered_json json;
    std::vector<FrameTimes> parts;
    parts.reserve(measuredParts.size());
    for (const FrameTimes& times : measuredParts) parts.push_back(WithoutClock(times, clock));
    json["open_s"] = Rounded(open, 1e6);
    json["first_frame_s"] = Rounded(firstFrame, 1e6);
    json["complete_s"] =
        complete.has_value() ? nlohmann::ordered_json(Rounded(*complete, 1e6)) : nullptr;
    json["frame_ms"] = Milliseconds(frames);
    const std::pair<const char*, double FrameTimes::*> names[] = {
        {"select_ms", &FrameTimes::select},
        {"mesh_ms", &FrameTimes::mesh},
        {"prepare_ms", &FrameTimes::prepare},
        {"draw_ms", &FrameTimes::draw},
        {"service_ms", &FrameTimes::service}};
    for (const auto& [name, part] : names) {
        std::vector<double> values;
        values.reserve(parts.size());
        for (const FrameTimes& times : parts) values.push_back(times.*part);
        json[name] = Milliseconds(std::move(values));
    }
    const Summary perTriangles = Summarize(triangles), calls = Summarize(drawCalls);
    json["triangles"] = perTriangles.median;
    json["triangles_max"] = perTriangles.max;
    json["draw_calls"] = calls.median;
    json["draw_calls_max"] = calls.max;
    std::vector<double> engine;
    engine.reserve(parts.size());
    for (const FrameTimes& times : parts) engine.push_back(times.mesh + times.prepare);
    json["mesh_prepare_us_per_triangle"] =
        perTriangles.median > 0 ? nlohmann::ordered_json(Rounded(
                                      Summarize(engine).median / perTriangles.median * 1e6, 1e5))
                                : nullptr;
    json["clock_ns"] = Rounded(clock * 1e9, 10);
    json["tiles_uploaded"] = tilesUploaded;
    json["tiles_resident"] = tilesResident;
    json["tiles_damaged"] = damagedTiles;
    const double floor = Summarize(floors).median;
    json["floor_ms"] = floor > 0 ? nlohmann::ordered_json(Rounded(floor * 1e3, 1e4)) : nullptr;
    json["floor_ratio"] =
        floor > 0 ? nlohmann::ordered_json(Rounded(Summarize(frames).median / floor, 1e4))
                  : nullptr;
    json["peak_memory_mb"] = Rounded(PeakMegabytes(), 100);
    return json;
}

}  // namespace tarnvale

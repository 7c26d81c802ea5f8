#include "geom/degtext.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/textres.h"

namespace tarnvale {

namespace {

constexpr double kLargest = 1e6;  // degrees

// Steps in a degree: what the last written place counts.
constexpr long long kSecondSteps = 360'000, kDegreeSteps = 100'000, kMinuteSteps = 60'000;

std::string Number(long long steps, long long scale) {
    std::array<char, 64> text{};
    const long long whole = steps / scale;
    const auto rest = static_cast<double>(steps % scale);
    switch (scale) {
        case kSecondSteps: {
            const long long minutes = steps % scale / 6000;
            std::snprintf(text.data(), text.size(), "%lld\u00B0 %02lld' %05.2f\"", whole, minutes,
                          std::fmod(rest, 6000.0) / 100.0);
            break;
        }
        case kMinuteSteps:
            std::snprintf(text.data(), text.size(), "%lld\u00B0 %06.3f'", whole, rest / 1000.0);
            break;
        default:
            std::snprintf(text.data(), text.size(), "%.5f\u00B0",
                          static_cast<double>(steps) / static_cast<double>(scale));
    }
    return text.data();
}

}  // namespace

std::string ConvertDegsToString(double degrees, std::int32_t flags) {
    if (!(std::abs(degrees) <= kLargest)) return {};
    const long long scale = (flags & DegreeFlag::kSeconds) != 0   ? kSecondSteps
                            : (flags & DegreeFlag::kDegrees) != 0 ? kDegreeSteps
                                                                  : kMinuteSteps;
    long long steps = std::llround(degrees * static_cast<double>(scale));
    const bool eastWest = (flags & DegreeFlag::kEastWest) != 0;
    if (eastWest && std::llabs(steps) > 180 * scale) {
        steps %= 360 * scale;
        if (steps > 180 * scale) steps -= 360 * scale;
        if (steps < -180 * scale) steps += 360 * scale;
    }
    const bool below = steps < 0;
    const std::string number = Number(std::llabs(steps), scale);
    if (!eastWest && (flags & DegreeFlag::kNorthSouth) == 0) return below ? "-" + number : number;
    const std::string letter = eastWest
                                   ? TEXTRES::Text(below ? "direction_west" : "direction_east")
                                   : TEXTRES::Text(below ? "direction_south" : "direction_north");
    return (flags & DegreeFlag::kDirectionBehind) != 0 ? number + " " + letter
                                                       : letter + " " + number;
}

}  // namespace tarnvale

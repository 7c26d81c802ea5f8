#pragma once

#include <cstdint>

namespace tarnvale {

/// The seventeen views, in drawing order.
namespace View {
inline constexpr int kLeft = 0, kRight = 1, kRear = 2, kUp = 3, kDown = 4, kVertical = 5, kMap = 6,
                     kCustom = 7, kFirstPoi = 8, kMain = 16, kCount = 17;

[[nodiscard]] constexpr bool Exists(int view) noexcept {
    return view >= 0 && view < kCount;
}
/// Whether the view keeps looking at a point of interest.
[[nodiscard]] constexpr bool IsPoi(int view) noexcept {
    return view >= kFirstPoi && view < kMain;
}
}  // namespace View

enum class ToolMode : std::int32_t {
    Viewpoint = 0,
    PointOverlay = 1,
    PointOfInterest = 2,
    Atlas = 3
};
enum class ReadyLevel : std::int32_t { Terrain = 0, Texture = 1 };
/// What a view's window shows under the mouse.
enum class CursorMode : std::int32_t { None = 0, Default = 1, Grab = 2 };

}  // namespace tarnvale

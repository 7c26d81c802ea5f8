#pragma once

namespace tarnvale {

/// Part of the depth buffer: 0 is nearest, 1 farthest.
struct DepthSlice {
    double nearest = 0, farthest = 1;
    friend bool operator==(const DepthSlice&, const DepthSlice&) = default;
};

/// Splits the depth of a frame, so that a pass over the picture needn't clear all of it: the first
/// one has a slice in front, which nothing of the picture reaches.
class DepthSlices {
public:
    void BeginPicture() noexcept { overlays_ = 0; }
    /// @return whether depth must be cleared: the slice in front is in use
    [[nodiscard]] bool BeginOverlay() noexcept { return ++overlays_ > 1; }
    /// @param backdrop  at the far end of all depth
    [[nodiscard]] DepthSlice Of(bool backdrop) const noexcept {
        const DepthSlice slice =
            overlays_ == 0 ? DepthSlice{kFront, 1} : DepthSlice{0, overlays_ == 1 ? kFront : 1};
        return backdrop ? DepthSlice{slice.farthest, slice.farthest} : slice;
    }

private:
    static constexpr double kFront = 1.0 / 16;
    int overlays_ = 0;  // passes over the picture, in this frame
};

}  // namespace tarnvale

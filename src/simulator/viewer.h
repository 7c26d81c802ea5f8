#pragma once

#include <cstdint>

#include "base/vec3f.h"
#include "input/flightinput.h"
#include "simulator/attitude.h"

namespace tarnvale {

/// Heights of the ground, asked by the viewer while it moves. Elevations, without exaggeration.
class GroundHeights {
public:
    virtual ~GroundHeights() = default;
    /// @param x, y  scene. @return the first layer's elevation
    [[nodiscard]] virtual float FirstLayer(float x, float y) const = 0;
    /// @return the last layer's elevation; it alone limits the viewer's height
    [[nodiscard]] virtual float LastLayer(float x, float y) const = 0;
};

enum class MotionType : std::int32_t { Orbit = 0, TurnOnTheSpot = 1 };

/// What a step of the viewer depends on beside the controls.
struct FlightConditions {
    const GroundHeights* ground = nullptr;  ///< on loan
    float exaggeration = 1;
    float now = 0;        ///< seconds of the frame clock
    float frameRate = 0;  ///< of the last frame
    bool mouseHeld = false;
};

/// The moving eye: a position with three axes, without mass. Scene coordinates and degrees
/// throughout. Thread: the frame cycle's.
class Viewer {
public:
    /// One frame: controls or auto-motion, height limits, look direction.
    void Step(const FlightInput& input, const FlightConditions& conditions);

    void MoveWorld(float dx, float dy, float dz);
    void MoveBody(float right, float forward, float up);
    /// Turns about the world's axes: x by a, y by b, z by c degrees, in this order.
    void TurnWorld(float a, float b, float c);
    /// Pitch about right, roll about forward, turn about up. The axes are turned one by one and
    /// never made orthonormal again: roll-zero rebuilds them from the angles.
    void TurnBody(float pitch, float roll, float turn);

    /// Keeps the view distance.
    void PlaceByOrientation(const Vec3f& position, const Attitude& attitude);
    /// Level, whatever the roll was. A target equal to the position leaves the direction as it is.
    void PlaceByLookAt(const Vec3f& position, const Vec3f& target);
    /// Looks at `target` from `position` and makes it the home point; ends auto-motion.
    void PlaceAtHome(const Vec3f& position, const Vec3f& target);
    /// Turns back towards the home point and levels; the position stays.
    void Recenter();
    /// Turns towards a point that the user chose, and keeps the roll.
    void LookTowards(const Vec3f& target);
    /// Moves without the look-at point, as when the map's mark is dragged.
    void DragTo(float x, float y);

    /// Sets up a motion about or at a point. The position is one view distance from it for an
    /// orbit.
    /// @param distance  view distance, scene units
    /// @param rate      degrees a second; 0 for none
    void StartMotion(const Vec3f& point, const Attitude& attitude, float distance, double rate,
                     std::int32_t type, float now);
    void StopMotion() noexcept { motion_.rate = 0; }
    [[nodiscard]] double MotionRate() const noexcept { return motion_.rate; }

    /// The vertical exaggeration changed by `factor`.
    /// @param homeZ  scene height of the ground under the look-at point, at the new exaggeration
    void Rescale(float factor, float homeZ);

    /// Moves eye and look-at point along the line of sight; the custom view does so for its own
    /// pass.
    void Advance(float distance);

    [[nodiscard]] const Vec3f& Position() const noexcept { return position_; }
    [[nodiscard]] const Vec3f& LookAt() const noexcept { return lookAt_; }
    [[nodiscard]] const Vec3f& Home() const noexcept { return home_; }
    [[nodiscard]] const Vec3f& CameraUp() const noexcept { return cameraUp_; }
    [[nodiscard]] const Axes& FlightAxes() const noexcept { return axes_; }
    /// The flight axes before the look direction was applied; side views look along them.
    [[nodiscard]] const Axes& SideAxes() const noexcept { return sideAxes_; }
    [[nodiscard]] float ViewDistance() const noexcept { return distance_; }
    [[nodiscard]] const Attitude& Shown() const noexcept { return shown_; }
    [[nodiscard]] const Attitude& Flight() const noexcept { return flight_; }
    [[nodiscard]] bool AltitudeLocked() const noexcept { return altitudeLocked_; }

private:
    struct Motion {
        double rate = 0;  // degrees a second, 0 for none
        std::int32_t type = 0;
        float startHeading = 0, startTime = 0;
        bool firstFrames = false;
        float throttleBaseline = 0;
    };

    [[nodiscard]] bool WantsManual(const FlightInput& input) const;
    void FlyManually(const FlightInput& input);
    void FlyAutomatically(const FlightConditions& conditions);
    void LimitHeight(const FlightInput& input, const FlightConditions& conditions, float lockedZ);
    void ApplyLookDirection(std::int16_t flags, const FlightConditions& conditions);
    void EndTurn();
    void AttitudeFromLook();
    void AimAlong(const Axes& axes);

    Vec3f position_, lookAt_{0, 1, 0}, home_, cameraUp_{0, 0, 1};
    Axes axes_, sideAxes_;
    float distance_ = 1;
    Attitude shown_, flight_;
    bool altitudeLocked_ = false;
    Motion motion_;
    int motionFrames_ = 0;  // lives across motions: the first one waits four frames, later ones one
};

}  // namespace tarnvale

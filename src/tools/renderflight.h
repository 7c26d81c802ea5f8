#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "graphics/graphicssystem.h"
#include "graphics/picturefile.h"
#include "graphics/renderwindow.h"
#include "simulator/simulatr.h"
#include "tools/renderoptions.h"
#include "tools/renderpath.h"
#include "tools/renderstats.h"
#include "tools/rendertrace.h"

namespace tarnvale {

class OffscreenWindow;
class OpenGLGraphicsSystem;

/// One run of tarnvale-render: a landscape, a path, and what is kept of the flight.
class RenderFlight {
public:
    explicit RenderFlight(const RenderOptions& options);
    ~RenderFlight();
    RenderFlight(const RenderFlight&) = delete;
    RenderFlight& operator=(const RenderFlight&) = delete;

    /// Does all of it. @return false, and why in one clause
    [[nodiscard]] bool Run(std::string& problem);

private:
    [[nodiscard]] bool ApplySettings(std::string& problem);
    [[nodiscard]] bool OpenGraphics(std::string& problem);
    [[nodiscard]] bool ReadLandscape(std::string& problem);
    [[nodiscard]] bool BuildScene(std::string& problem);
    [[nodiscard]] bool ChooseSky(std::string& problem);
    [[nodiscard]] bool FindPath(std::string& problem);
    [[nodiscard]] bool Fly(std::string& problem);
    [[nodiscard]] bool FlyFrame(int frame, std::string& problem);
    [[nodiscard]] bool KeepPicture(int frame, std::string& problem);
    [[nodiscard]] bool WriteStats(std::string& problem) const;

    /// Draws passes from a place until no tile is wanted.
    /// @param patience  seconds. @return false if it ran out, or nothing came for some seconds
    [[nodiscard]] bool Settle(const Vec3f& eye, const Vec3f& look, double patience, Status& drawn);
    Status DrawFrom(const Vec3f& eye, const Vec3f& look);
    [[nodiscard]] bool ScenePose(int frame, Vec3f& eye, Vec3f& look) const;
    void Count(int frame, double seconds);
    void MeasureFloor(const Vec3f& eye, const Vec3f& look);
    [[nodiscard]] TextureFigures AllTiles() const;

    const RenderOptions& options_;
    SimulatorFile file_;
    double opened_ =
        0;  // when opening the landscape began, the time for the graphics system left out
    std::unique_ptr<RenderWindow> window_;
    std::unique_ptr<GraphicsSystem> graphics_;
    OffscreenWindow* offscreen_ = nullptr;    // window_, where it can be read
    OpenGLGraphicsSystem* opengl_ = nullptr;  // graphics_, where it has a floor to measure
    Simulator simulator_;
    std::unique_ptr<TraceWriter> trace_;
    std::vector<CameraPose> poses_;
    std::string system_;  // of the map coordinates, for pictures
    std::vector<std::byte> pixels_;
    FlightFigures figures_;
    bool warned_ = false;
};

}  // namespace tarnvale

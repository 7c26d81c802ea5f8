#pragma once

namespace tarnvale {

/// How the simulator and dialogs reach the program. Thread: the frame cycle's.
class SimulatorHost {
public:
    virtual ~SimulatorHost() = default;
    /// Asks about unsaved data. @return false if the user cancels
    virtual bool MayReplaceLandscape() = 0;
};

}  // namespace tarnvale

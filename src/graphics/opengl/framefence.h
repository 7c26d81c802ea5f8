#pragma once

namespace tarnvale {

/// Keeps the program at most one frame ahead of the drawing. A driver that draws in threads of its
/// own, or a surface that is never shown, takes frames faster than it draws them: they pile up,
/// each with all its triangles, in hundreds of megabytes and seconds of delay. While this waits for
/// the frame before, the one just sent is drawn already, so the engine's work for the next frame
/// still runs beside it. Every operation needs the same context to be current, but for the
/// destructor.
class FrameFence {
public:
    /// Asks the driver whether it has fences; without them each frame is waited for.
    void Open();
    /// Once a frame, after everything was sent: flushes, then waits until the frame before is
    /// drawn.
    /// @return false if that takes more than a second: then nobody knows whether it is
    [[nodiscard]] bool NextFrame();
    /// Waits until everything is drawn.
    void Finish();
    /// Forgets what was sent, at the end of the context.
    void Close();

private:
    bool supported_ = false;
    void* previous_ = nullptr;  // the driver's fence after the frame before
};

}  // namespace tarnvale

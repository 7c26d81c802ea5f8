#pragma once

#include <cstdint>

namespace tarnvale {

/// Which OpenGL a context offers. Compatibility: 1.1 and whatever else the driver has; Core33: 3.3
/// or later without what that deprecates, with notice of resets where the driver gives it.
enum class ContextKind : std::uint8_t { Compatibility, Core33 };

/// A surface with a drawing context of its own. Implemented on a window, and offscreen without
/// display. Thread: the frame cycle's.
class RenderWindow {
public:
    RenderWindow() = default;
    RenderWindow(const RenderWindow&) = delete;
    RenderWindow& operator=(const RenderWindow&) = delete;
    virtual ~RenderWindow();
    /// Client size in device pixels; 0 while there is none.
    [[nodiscard]] virtual int PixelWidth() const = 0;
    [[nodiscard]] virtual int PixelHeight() const = 0;
    /// False while nobody can see the window: minimised, hidden, or on no screen yet.
    [[nodiscard]] virtual bool Visible() const { return true; }
    /// Physical distance of two device pixels in millimetres.
    [[nodiscard]] virtual double PixelPitch() const = 0;
    /// Which kind the next CreateContext makes. Compatibility until told otherwise.
    void SetContextKind(ContextKind kind) noexcept { contextKind_ = kind; }
    [[nodiscard]] ContextKind WantedContext() const noexcept { return contextKind_; }
    /// Makes the context (colour 24 bits, depth at least 24, double-buffered, alpha) if there is
    /// none yet.
    /// @return false if the system can't; `why` then says so in one clause
    [[nodiscard]] virtual bool CreateContext(const char*& why) = 0;
    virtual void DestroyContext() = 0;
    virtual bool MakeCurrent() = 0;
    virtual void DoneCurrent() = 0;
    /// Shows the back buffer. @return false if it can't be shown
    virtual bool SwapBuffers() = 0;

    /// Makes this window's context current unless this thread made it so last: with many windows on
    /// one thread most operations find their own. Code beside the graphics systems uses this, not
    /// MakeCurrent.
    /// @return false if there is no context or it can't be made current
    bool EnsureCurrent();
    /// The same without trusting the memory, for code that may run after foreign drawing.
    bool ForceCurrent();
    /// Lets go of the context of this window, if this thread has it.
    void ReleaseCurrent();

private:
    ContextKind contextKind_ = ContextKind::Compatibility;
};

}  // namespace tarnvale

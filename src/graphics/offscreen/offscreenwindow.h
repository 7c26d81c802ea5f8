#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "graphics/renderwindow.h"

namespace tarnvale {

/// A surface in memory to draw on where there is no display. Its picture stays after SwapBuffers,
/// until the next frame begins. Draws on a card where the machine has one that needs no display,
/// else on the processor (always so if the environment variable LIBGL_ALWAYS_SOFTWARE is 1).
class OffscreenWindow final : public RenderWindow {
public:
    static constexpr double kUsualPitch = 25.4 / 96;  // millimetres, a plain monitor's

    /// @param width, height  pixels, above 0
    OffscreenWindow(int width, int height, double pixelPitch = kUsualPitch);
    ~OffscreenWindow() override;

    [[nodiscard]] int PixelWidth() const override { return width_; }
    [[nodiscard]] int PixelHeight() const override { return height_; }
    [[nodiscard]] double PixelPitch() const override { return pixelPitch_; }
    [[nodiscard]] bool CreateContext(const char*& why) override;
    void DestroyContext() override;
    bool MakeCurrent() override;
    void DoneCurrent() override;
    bool SwapBuffers() override;

    /// Takes another size, keeping the context and its textures; the picture is lost.
    /// @return DeviceFailed, and the old size, if there is no surface of that size
    Status Resize(int width, int height);

    /// @param rgba  out: width x height pixels of four bytes, top row first, opaque
    /// @return BadState without context, NoMemory
    Status ReadPicture(std::vector<std::byte>& rgba);

    /// @return what draws, in the driver's words; empty without context
    [[nodiscard]] std::string RendererName();

private:
    struct Native;  // EGL's handles

    int width_, height_;
    double pixelPitch_;
    std::unique_ptr<Native> native_;  // null without context
};

}  // namespace tarnvale

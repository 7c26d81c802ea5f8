#pragma once

#include "graphics/renderwindow.h"

namespace tarnvale::fakes {

/// A window that has a size and nothing to draw on.
class FixedWindow final : public RenderWindow {
public:
    FixedWindow(int width, int height) : width_(width), height_(height) {}
    [[nodiscard]] int PixelWidth() const override { return width_; }
    [[nodiscard]] int PixelHeight() const override { return height_; }
    [[nodiscard]] double PixelPitch() const override { return 0.25; }
    [[nodiscard]] bool CreateContext(const char*&) override { return true; }
    void DestroyContext() override {}
    bool MakeCurrent() override { return true; }
    void DoneCurrent() override {}
    bool SwapBuffers() override { return true; }
    [[nodiscard]] bool Visible() const override { return visible; }

    bool visible = true;

private:
    int width_, height_;
};

}  // namespace tarnvale::fakes

#include "graphics/renderwindow.h"

namespace tarnvale {

namespace {
/// The window whose context this thread made current last; a context belongs to one thread at a
/// time.
const RenderWindow*& Current() {
    thread_local const RenderWindow* current = nullptr;
    return current;
}
}  // namespace

RenderWindow::~RenderWindow() {
    if (Current() == this) Current() = nullptr;
}

bool RenderWindow::EnsureCurrent() {
    return Current() == this || ForceCurrent();
}

bool RenderWindow::ForceCurrent() {
    const bool made = MakeCurrent();
    Current() = made ? this : nullptr;
    return made;
}

void RenderWindow::ReleaseCurrent() {
    if (Current() != this) return;
    Current() = nullptr;
    DoneCurrent();
}

}  // namespace tarnvale

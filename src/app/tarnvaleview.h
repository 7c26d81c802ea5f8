#pragma once

#include <QOpenGLContext>
#include <QPoint>
#include <QWindow>
#include <memory>
#include <string>

#include "base/views.h"
#include "graphics/renderwindow.h"
#include "input/inputsystem.h"
#include "input/keylatch.h"

namespace tarnvale {

class Simulator;

/// The window that a view is drawn into, with a drawing context of its own; keys, mouse and wheel
/// are read here. Stands inside a widget by QWidget::createWindowContainer. Thread: the user
/// interface's.
class CTarnvaleView final : public QWindow, public RenderWindow, public KeySource {
    Q_OBJECT

public:
    CTarnvaleView();
    ~CTarnvaleView() override;

    /// Which view this is, and who hears of its mouse; on loan. Until then the mouse does nothing.
    void Serve(Simulator* simulator, int view);
    /// Keys of this window fly as those of `other` do, whose sink gets them; on loan.
    void ShareKeysOf(CTarnvaleView* other) { keyOwner_ = other; }

    // RenderWindow
    [[nodiscard]] int PixelWidth() const override;
    [[nodiscard]] int PixelHeight() const override;
    [[nodiscard]] bool Visible() const override { return isExposed(); }
    [[nodiscard]] double PixelPitch() const override;
    [[nodiscard]] bool CreateContext(const char*& why) override;
    void DestroyContext() override;
    bool MakeCurrent() override;
    void DoneCurrent() override;
    bool SwapBuffers() override;

    // KeySource
    void SetKeySink(KeySink* sink) override { keys_.SetSink(sink); }

    /// Hands a key on. @return true if it is bound or stands for a screen shot; the frame around
    /// the view passes keys that it gets while it has the focus
    bool KeyPressed(const QKeyEvent& event);
    bool KeyReleased(const QKeyEvent& event);
    /// A key that is released elsewhere would otherwise stay held for ever.
    void ReleaseKeys();
    /// A frame has read the keys, or none is going to.
    void KeysRead() { keys_.FrameRead(); }

signals:
    /// @param delta  signed counts of one wheel message, 120 a notch
    void WheelTurned(int delta);
    /// The picture must be drawn afresh although no frame may follow.
    void RedrawNeeded();
    /// The mouse moved, or its left or right button changed; the simulator has heard of it.
    void ViewClicked(bool left, bool right);
    void ScreenShotWanted();
    /// The focus shall go on to the next control of the window around, or to the one before.
    void FocusLeaves(bool forward);

protected:
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void TellMouse(const QMouseEvent& event);
    /// @param pixel  device pixels; -1, -1: the mouse is elsewhere
    void TellMouse(const QPoint& pixel, Qt::MouseButtons buttons);
    void ShowCursor(CursorMode mode);

    std::unique_ptr<QOpenGLContext> context_;
    KeyLatch keys_;
    CTarnvaleView* keyOwner_ = nullptr;  // on loan; null: this window has a sink of its own
    Simulator* simulator_ = nullptr;     // on loan
    int view_ = View::kMain;
    CursorMode cursorMode_ = CursorMode::Default;
};

/// The key as the input systems know it; Key::None for others.
[[nodiscard]] Key KeyOf(int qtKey, bool onKeypad);

}  // namespace tarnvale

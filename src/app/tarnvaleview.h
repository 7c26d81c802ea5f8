#pragma once

#include <QOpenGLContext>
#include <QWindow>
#include <memory>
#include <string>

#include "graphics/renderwindow.h"
#include "input/inputsystem.h"

namespace tarnvale {

/// The window that a view is drawn into, with a drawing context of its own; keys and wheel are read
/// here. Stands inside a widget by QWidget::createWindowContainer. Thread: the user interface's.
class CTarnvaleView final : public QWindow, public RenderWindow, public KeySource {
    Q_OBJECT

public:
    CTarnvaleView();
    ~CTarnvaleView() override;

    // RenderWindow
    [[nodiscard]] int PixelWidth() const override;
    [[nodiscard]] int PixelHeight() const override;
    [[nodiscard]] double PixelPitch() const override;
    [[nodiscard]] bool CreateContext(const char*& why) override;
    void DestroyContext() override;
    bool MakeCurrent() override;
    void DoneCurrent() override;
    bool SwapBuffers() override;

    // KeySource
    void SetKeySink(KeySink* sink) override { keySink_ = sink; }

    /// Hands a key on. @return true if it is bound; the frame passes keys that it gets while it has
    /// the focus
    bool KeyPressed(const QKeyEvent& event);
    bool KeyReleased(const QKeyEvent& event);
    /// A key that is released elsewhere would otherwise stay held for ever.
    void ReleaseKeys();

signals:
    /// @param delta  signed counts of one wheel message, 120 a notch
    void WheelTurned(int delta);
    /// The picture must be drawn afresh although no frame may follow.
    void RedrawNeeded();

protected:
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    std::unique_ptr<QOpenGLContext> context_;
    KeySink* keySink_ = nullptr;  // on loan
};

/// The key as the input systems know it; Key::None for others.
[[nodiscard]] Key KeyOf(int qtKey, bool onKeypad);

}  // namespace tarnvale

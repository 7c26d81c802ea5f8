#include "app/tarnvaleview.h"

#include <QKeyEvent>
#include <QScreen>
#include <QWheelEvent>

namespace tarnvale {

namespace {

QSurfaceFormat ViewFormat() {
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setVersion(2, 1);
    format.setRedBufferSize(8);
    format.setGreenBufferSize(8);
    format.setBlueBufferSize(8);
    format.setDepthBufferSize(24);
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    format.setSwapInterval(
        0);  // seventeen views swap one after the other: none may wait for the screen
    return format;
}

}  // namespace

CTarnvaleView::CTarnvaleView() {
    setSurfaceType(QSurface::OpenGLSurface);
    setFormat(ViewFormat());
}

CTarnvaleView::~CTarnvaleView() {
    DestroyContext();
}

int CTarnvaleView::PixelWidth() const {
    return qRound(width() * devicePixelRatio());
}

int CTarnvaleView::PixelHeight() const {
    return qRound(height() * devicePixelRatio());
}

double CTarnvaleView::PixelPitch() const {
    constexpr double kMillimetresPerInch = 25.4;
    const QScreen* const at = screen();
    const double dotsPerInch = at != nullptr ? at->physicalDotsPerInch() * devicePixelRatio() : 0;
    return kMillimetresPerInch / (dotsPerInch > 0 ? dotsPerInch : 96.0);
}

bool CTarnvaleView::CreateContext(const char*& why) {
    if (context_ != nullptr) return true;
    create();
    auto context = std::make_unique<QOpenGLContext>();
    context->setFormat(format());
    if (!context->create()) {
        why = "the window system offers no OpenGL";
        return false;
    }
    context_ = std::move(context);
    if (!MakeCurrent()) {
        context_.reset();
        why = "the OpenGL context can't be used on this window";
        return false;
    }
    return true;
}

void CTarnvaleView::DestroyContext() {
    if (context_ != nullptr) context_->doneCurrent();
    context_.reset();
}

bool CTarnvaleView::MakeCurrent() {
    return context_ != nullptr && context_->makeCurrent(this);
}

void CTarnvaleView::DoneCurrent() {
    if (context_ != nullptr) context_->doneCurrent();
}

bool CTarnvaleView::SwapBuffers() {
    if (context_ == nullptr) return false;
    if (!isExposed()) return true;  // nothing to show it on yet; exposure draws afresh
    context_->swapBuffers(this);
    return true;
}

bool CTarnvaleView::event(QEvent* event) {
    if (event->type() == QEvent::FocusOut) ReleaseKeys();
    return QWindow::event(event);
}

void CTarnvaleView::exposeEvent(QExposeEvent*) {
    if (isExposed()) emit RedrawNeeded();
}

Key KeyOf(int qtKey, bool onKeypad) {
    if (onKeypad) {
        // Without Num Lock the pad sends navigation keys.
        switch (qtKey) {
            case Qt::Key_Plus:
                return Key::NumericPlus;
            case Qt::Key_Enter:
                return Key::Enter;
            case Qt::Key_Insert:
                return Key::Numeric0;
            case Qt::Key_End:
                return Key::Numeric1;
            case Qt::Key_Down:
                return Key::Numeric2;
            case Qt::Key_PageDown:
                return Key::Numeric3;
            case Qt::Key_Left:
                return Key::Numeric4;
            case Qt::Key_Clear:
                return Key::Numeric5;
            case Qt::Key_Right:
                return Key::Numeric6;
            case Qt::Key_Home:
                return Key::Numeric7;
            case Qt::Key_Up:
                return Key::Numeric8;
            case Qt::Key_PageUp:
                return Key::Numeric9;
            default:
                break;
        }
        if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
            return static_cast<Key>(static_cast<int>(Key::Numeric0) + qtKey - Qt::Key_0);
        }
        return Key::None;
    }
    switch (qtKey) {
        case Qt::Key_Left:
            return Key::Left;
        case Qt::Key_Right:
            return Key::Right;
        case Qt::Key_Up:
            return Key::Up;
        case Qt::Key_Down:
            return Key::Down;
        case Qt::Key_Return:
            return Key::Enter;
        default:
            break;
    }
    const bool letterOrDigit =
        (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) || (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9);
    return letterOrDigit ? static_cast<Key>(qtKey) : Key::None;
}

void CTarnvaleView::ReleaseKeys() {
    if (keySink_ != nullptr) keySink_->AllKeysUp();
}

bool CTarnvaleView::KeyPressed(const QKeyEvent& event) {
    const Key key = KeyOf(event.key(), event.modifiers().testFlag(Qt::KeypadModifier));
    // A chord belongs to the menus.
    const bool plain =
        (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) == 0;
    return plain && keySink_ != nullptr && keySink_->KeyDown(key, event.isAutoRepeat());
}

bool CTarnvaleView::KeyReleased(const QKeyEvent& event) {
    // X11 sends a release before each repeat; only the last one is real.
    if (event.isAutoRepeat()) return true;
    const Key key = KeyOf(event.key(), event.modifiers().testFlag(Qt::KeypadModifier));
    return keySink_ != nullptr && keySink_->KeyUp(key);
}

void CTarnvaleView::keyPressEvent(QKeyEvent* event) {
    if (!KeyPressed(*event)) QWindow::keyPressEvent(event);
}

void CTarnvaleView::keyReleaseEvent(QKeyEvent* event) {
    if (!KeyReleased(*event)) QWindow::keyReleaseEvent(event);
}

void CTarnvaleView::wheelEvent(QWheelEvent* event) {
    if (event->angleDelta().y() != 0) emit WheelTurned(event->angleDelta().y());
    event->accept();
}

}  // namespace tarnvale

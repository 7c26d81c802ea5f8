#include "app/tarnvaleview.h"

#include <QCursor>
#include <QGuiApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <QWheelEvent>
#include <cmath>

#include "base/textres.h"
#include "simulator/simulatr.h"

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

// The window is the same for every kind of context; only this asks for what the kind is.
QSurfaceFormat ContextFormat(const QSurfaceFormat& window, ContextKind kind) {
    QSurfaceFormat format = window;
    if (kind == ContextKind::Core33) {
        format.setProfile(QSurfaceFormat::CoreProfile);
        format.setVersion(3, 3);
        format.setOption(QSurfaceFormat::ResetNotification);
    }
    return format;
}

// The hand that takes hold of the viewer's mark in the map.
QCursor GrabCursor(double pixelRatio) {
    constexpr QSize kSize(32, 32);
    constexpr QPoint kPalm(15, 14);
    const QIcon icon(QString::fromStdString(TEXTRES::ResourceFolder()) + "/icons/grab.svg");
    const QPixmap picture = icon.pixmap(kSize, pixelRatio);
    return picture.isNull() ? QCursor(Qt::OpenHandCursor) : QCursor(picture, kPalm.x(), kPalm.y());
}

}  // namespace

CTarnvaleView::CTarnvaleView() {
    setSurfaceType(QSurface::OpenGLSurface);
    setFormat(ViewFormat());
}

CTarnvaleView::~CTarnvaleView() {
    DestroyContext();
}

void CTarnvaleView::Serve(Simulator* simulator, int view) {
    simulator_ = simulator;
    view_ = view;
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
    context->setFormat(ContextFormat(format(), WantedContext()));
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
    if (event->type() == QEvent::Leave) TellMouse({-1, -1}, QGuiApplication::mouseButtons());
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
    if (keyOwner_ != nullptr) keyOwner_->ReleaseKeys();
    keys_.AllKeysUp();
}

bool CTarnvaleView::KeyPressed(const QKeyEvent& event) {
    const Key key = KeyOf(event.key(), event.modifiers().testFlag(Qt::KeypadModifier));
    // A chord belongs to the menus.
    const bool plain =
        (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) == 0;
    // Input systems without a control for screen shots leave this key free, and it isn't one of
    // flight: the view that has it takes its own picture.
    if (plain && event.key() == Qt::Key_F5) {
        if (!event.isAutoRepeat()) emit ScreenShotWanted();
        return true;
    }
    if (keyOwner_ != nullptr) return keyOwner_->KeyPressed(event);
    return plain && keys_.KeyDown(key, event.isAutoRepeat());
}

bool CTarnvaleView::KeyReleased(const QKeyEvent& event) {
    // X11 sends a release before each repeat; only the last one is real.
    if (event.isAutoRepeat()) return true;
    if (keyOwner_ != nullptr) return keyOwner_->KeyReleased(event);
    const Key key = KeyOf(event.key(), event.modifiers().testFlag(Qt::KeypadModifier));
    return keys_.KeyUp(key);
}

void CTarnvaleView::keyPressEvent(QKeyEvent* event) {
    if (KeyPressed(*event)) return;
    if (event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) {
        emit FocusLeaves(event->key() == Qt::Key_Tab);
        return;
    }
    QWindow::keyPressEvent(event);
}

void CTarnvaleView::keyReleaseEvent(QKeyEvent* event) {
    if (KeyReleased(*event)) return;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        emit FocusLeaves(true);  // where Enter flies nothing it does what Tab does
        return;
    }
    QWindow::keyReleaseEvent(event);
}

void CTarnvaleView::TellMouse(const QMouseEvent& event) {
    const QPointF pixel = event.position() * devicePixelRatio();
    TellMouse({static_cast<int>(std::floor(pixel.x())), static_cast<int>(std::floor(pixel.y()))},
              event.buttons());
}

void CTarnvaleView::TellMouse(const QPoint& pixel, Qt::MouseButtons buttons) {
    if (simulator_ == nullptr) return;
    const bool left = buttons.testFlag(Qt::LeftButton), right = buttons.testFlag(Qt::RightButton);
    ShowCursor(simulator_->OnMouse(view_, pixel.x(), pixel.y(), left, right));
    emit ViewClicked(left, right);
}

void CTarnvaleView::ShowCursor(CursorMode mode) {
    if (mode == cursorMode_) return;
    cursorMode_ = mode;
    switch (mode) {
        case CursorMode::None:
            setCursor(Qt::BlankCursor);
            break;
        case CursorMode::Default:
            unsetCursor();
            break;
        case CursorMode::Grab:
            setCursor(GrabCursor(devicePixelRatio()));
            break;
    }
}

void CTarnvaleView::mouseMoveEvent(QMouseEvent* event) {
    TellMouse(*event);
}

void CTarnvaleView::mousePressEvent(QMouseEvent* event) {
    if (QGuiApplication::focusWindow() != this) requestActivate();
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton) {
        QWindow::mousePressEvent(event);
        return;
    }
    TellMouse(*event);
}

void CTarnvaleView::mouseDoubleClickEvent(QMouseEvent* event) {
    mousePressEvent(event);  // the second press of two quick clicks is a press
}

// A release is no step of its own: the move after it tells that the button is up. Not every window
// system sends one by itself, and a click has to act at once, so it is made here.
void CTarnvaleView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton) {
        QWindow::mouseReleaseEvent(event);
        return;
    }
    TellMouse(*event);
}

void CTarnvaleView::wheelEvent(QWheelEvent* event) {
    if (event->angleDelta().y() != 0) emit WheelTurned(event->angleDelta().y());
    event->accept();
}

}  // namespace tarnvale

#include "app/sideviews.h"

#include <QScreen>
#include <algorithm>
#include <utility>

#include "app/tarnvaleview.h"
#include "app/viewdialog.h"
#include "base/inistore.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr int kKept = View::kFirstPoi;  // views below this one are shown again by the next run

bool IsSideView(int view) {
    return view >= 0 && view < View::kMain;
}

/// @return where a window opens that has no place yet: one beside the other, so that each title can
/// be got hold of, where a window manager would put them all into the middle
QPoint FirstPlace(int view, const QWidget* mainWindow, const QSize& size) {
    constexpr QPoint kFirst(60, 90), kStep(90, 45);  // pixels
    if (mainWindow == nullptr) return kFirst;
    const QRect room = mainWindow->screen()->availableGeometry();
    const QPoint wanted =
        mainWindow->geometry().topLeft() + kFirst + kStep * (view % kKept) - room.topLeft();
    // Where the screen ends the row begins anew.
    const auto within = [](int offset, int space) {
        return std::max(offset, 0) % std::max(space, 1);
    };
    return room.topLeft() + QPoint(within(wanted.x(), room.width() - size.width()),
                                   within(wanted.y(), room.height() - size.height()));
}

}  // namespace

SideViews::SideViews(Simulator& simulator, CTarnvaleView& mainView)
    : simulator_(simulator), mainView_(mainView) {}

SideViews::~SideViews() = default;

void SideViews::Attach(const GraphicsSystem* prototype, QWidget* mainWindow) {
    prototype_ = prototype;
    mainWindow_ = mainWindow;
    for (const auto& window : windows_) {
        if (window == nullptr) continue;
        if (prototype_ == nullptr) {
            window->CloseGraphics();
        } else {
            window->OpenGraphics(*prototype_);
        }
    }
    if (prototype_ == nullptr || std::exchange(started_, true)) return;
    for (int view = 0; view < kKept; ++view) {
        bool shown = false;
        if (_iniRead(ViewWindow::ShowKey(view).c_str(), shown) && shown) ShowView(view, true);
    }
}

void SideViews::Make(int view) {
    auto window = std::make_unique<ViewWindow>(view, simulator_, mainView_, mainWindow_);
    if (!RestorePlacement(*window, ViewWindow::PlacementKey(view).c_str()))
        window->move(FirstPlace(view, mainWindow_, window->size()));
    // Later, since a window can't go in the middle of its own event.
    connect(
        window.get(), &ViewWindow::Closed, this, [this](int closed) { Close(closed, false); },
        Qt::QueuedConnection);
    const CTarnvaleView* const picture = &window->Picture();
    connect(picture, &CTarnvaleView::ViewClicked, this, &SideViews::ViewClicked);
    connect(picture, &CTarnvaleView::WheelTurned, this, &SideViews::WheelTurned);
    connect(picture, &CTarnvaleView::RedrawNeeded, this, &SideViews::RedrawNeeded);
    connect(picture, &CTarnvaleView::ScreenShotWanted, this,
            [this, view] { emit ScreenShotWanted(view); });
    window->SetTitle(titles_[static_cast<std::size_t>(view)]);
    if (prototype_ != nullptr) window->OpenGraphics(*prototype_);
    windows_[static_cast<std::size_t>(view)] = std::move(window);
}

void SideViews::ShowView(int view, bool show) {
    if (!IsSideView(view) || !commandsOn_) return;
    if (!show) {
        if (!IsShown(view)) return;
        Window(view)->hide();
        emit ViewShown(view, false);
        return;
    }
    if (Window(view) == nullptr) {
        Make(view);
    } else if (prototype_ != nullptr && !IsShown(view) && !Window(view)->HasGraphics()) {
        Window(view)->OpenGraphics(*prototype_);  // it was lost for good, or couldn't be opened
    }
    ViewWindow* const window = Window(view);
    if (window->isMinimized()) {
        window->showNormal();
    } else {
        window->show();
    }
    window->raise();
    emit ViewShown(view, true);
}

void SideViews::ToggleView(int view) {
    ShowView(view, !IsShown(view));
}

bool SideViews::IsShown(int view) const {
    return Window(view) != nullptr && !Window(view)->isHidden();
}

void SideViews::SetTitle(int view, const std::string& text) {
    if (!IsSideView(view)) return;
    QString& title = titles_[static_cast<std::size_t>(view)];
    title = QString::fromStdString(text);
    if (Window(view) != nullptr) Window(view)->SetTitle(title);
}

void SideViews::CloseLandscapeViews() {
    for (int view = View::kFirstPoi; view < View::kMain; ++view) {
        simulator_.SetViewTarget(view, std::nullopt);
        Close(view, false);
    }
}

void SideViews::RebuildLayerLists() {
    for (const auto& window : windows_) {
        if (window != nullptr) window->RebuildLayerList();
    }
}

void SideViews::TellLosses() {
    for (const auto& window : windows_) {
        if (window != nullptr) window->TellLoss();
    }
}

void SideViews::EnableCommands(bool enable) {
    commandsOn_ = enable;
    for (const auto& window : windows_) {
        if (window != nullptr) window->EnableCommands(enable);
    }
}

void SideViews::CloseWithProgram() {
    for (int view = 0; view < View::kMain; ++view) Close(view, IsShown(view));
}

void SideViews::Close(int view, bool shown) {
    if (Window(view) == nullptr) return;
    const std::unique_ptr<ViewWindow> window = std::move(windows_[static_cast<std::size_t>(view)]);
    SavePlacement(*window, ViewWindow::PlacementKey(view).c_str());
    if (view < kKept) _iniWrite(ViewWindow::ShowKey(view).c_str(), shown);
    emit ViewShown(view, false);
}

int SideViews::FocusedView() const {
    const auto active = std::ranges::find_if(
        windows_, [](const auto& window) { return window != nullptr && window->isActiveWindow(); });
    return active != windows_.end() ? (*active)->Index() : View::kMain;
}

ViewWindow* SideViews::Window(int view) const {
    return IsSideView(view) ? windows_[static_cast<std::size_t>(view)].get() : nullptr;
}

bool SideViews::AnyVisible() const {
    return std::ranges::any_of(windows_, [](const auto& window) {
        return window != nullptr && window->Picture().Visible();
    });
}

}  // namespace tarnvale

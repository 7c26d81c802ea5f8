#pragma once

#include <QObject>
#include <string_view>

#include "base/progress.h"

class QLabel;
class QMainWindow;
class QProgressBar;
class QToolButton;

namespace tarnvale {

/// Progress of an opening landscape, in the status bar with a button that cancels. Keeps the window
/// alive by handling its events about ten times a second; commands are off meanwhile.
class StatusProgress final : public QObject, public Progress {
    Q_OBJECT

public:
    explicit StatusProgress(QMainWindow* frame);
    void Begin(std::string_view text, double endValue, double step) override;
    void Pulse() override;
    void End() override;
    [[nodiscard]] bool Cancelled() const override { return cancelled_; }
    void Cancel() noexcept { cancelled_ = true; }
    void Reset() noexcept { cancelled_ = false; }

private:
    bool eventFilter(QObject* watched, QEvent* event) override;

    QMainWindow* frame_;
    QLabel* label_;
    QProgressBar* bar_;
    QToolButton* cancel_;
    double value_ = 0, end_ = 1, step_ = 1;
    qint64 lastEvents_ = 0;
    bool running_ = false, cancelled_ = false;
};

}  // namespace tarnvale

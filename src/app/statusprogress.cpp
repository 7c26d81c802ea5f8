#include "app/statusprogress.h"

#include <QApplication>
#include <QDateTime>
#include <QKeyEvent>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolButton>
#include <algorithm>

#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

constexpr int kEventInterval = 100;  // milliseconds between two rounds of events while a file opens

}  // namespace

StatusProgress::StatusProgress(QMainWindow* frame)
    : QObject(frame),
      frame_(frame),
      label_(new QLabel(frame)),
      bar_(new QProgressBar(frame)),
      cancel_(new QToolButton(frame)) {
    bar_->setMaximumWidth(200);
    bar_->setAccessibleName(TextOf("progress"));
    cancel_->setText(TextOf("cancel"));
    connect(cancel_, &QToolButton::clicked, this, [this] { cancelled_ = true; });
    for (QWidget* const widget : {static_cast<QWidget*>(label_), static_cast<QWidget*>(bar_),
                                  static_cast<QWidget*>(cancel_)}) {
        frame->statusBar()->addWidget(widget);
        widget->hide();
    }
}

void StatusProgress::Begin(std::string_view text, double endValue, double step) {
    value_ = 0;
    end_ = std::max(endValue, 1e-9);
    step_ = step;
    label_->setText(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    bar_->setRange(0, 1000);
    bar_->setValue(0);
    label_->show();
    bar_->show();
    cancel_->show();
    if (!running_) qApp->installEventFilter(this);
    running_ = true;
}

void StatusProgress::Pulse() {
    value_ += step_;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now - lastEvents_ < kEventInterval) return;
    lastEvents_ = now;
    bar_->setValue(static_cast<int>(std::clamp(value_ / end_, 0.0, 1.0) * 1000));
    QCoreApplication::processEvents();
}

void StatusProgress::End() {
    if (running_) qApp->removeEventFilter(this);
    running_ = false;
    label_->hide();
    bar_->hide();
    cancel_->hide();
}

bool StatusProgress::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        cancelled_ = true;
        return true;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace tarnvale

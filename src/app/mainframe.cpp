#include "app/mainframe.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDropEvent>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QScreen>
#include <QStatusBar>
#include <QToolButton>
#include <QUrl>
#include <algorithm>
#include <string>
#include <vector>

#include "app/apptext.h"
#include "app/tarnvaleview.h"
#include "app/windowplacement.h"
#include "base/inistore.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "MainWinPlacement";
constexpr int kEventInterval = 100;  // milliseconds between two rounds of events while a file opens

std::string RecentKey(int i) {
    return "RecentFile" + std::to_string(i + 1);
}

std::vector<std::string> ReadRecentFiles() {
    std::vector<std::string> files;
    for (int i = 0; i < CMainFrame::kRecentFiles; ++i) {
        std::string file;
        if (_iniRead(RecentKey(i).c_str(), file) && !file.empty()) files.push_back(std::move(file));
    }
    return files;
}

void WriteRecentFiles(const std::vector<std::string>& files) {
    for (std::size_t i = 0; i < CMainFrame::kRecentFiles; ++i) {
        const std::string file = i < files.size() ? files[i] : std::string();
        std::string stored;
        const std::string key = RecentKey(static_cast<int>(i));
        if (_iniRead(key.c_str(), stored) ? stored != file : !file.empty())
            _iniWrite(key.c_str(), file);
    }
}

/// @return the one local file that a drag carries, or an empty text
QString DraggedFile(const QMimeData* data) {
    if (data == nullptr || !data->hasUrls() || data->urls().size() != 1) return {};
    return data->urls().front().toLocalFile();
}

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

CMainFrame::CMainFrame(CTarnvaleView* view)
    : view_(view),
      viewContainer_(QWidget::createWindowContainer(view, this)),
      progress_(new StatusProgress(this)),
      look_(new QLabel(this)),
      lock_(new QLabel(TextOf("altitude_lock"), this)) {
    setWindowTitle(QStringLiteral("Tarnvale"));
    viewContainer_->setFocusPolicy(Qt::StrongFocus);
    viewContainer_->setMinimumSize(160, 120);
    setCentralWidget(viewContainer_);
    setAcceptDrops(true);
    statusBar()->addPermanentWidget(look_);
    statusBar()->addPermanentWidget(lock_);
    lock_->hide();
    ShowLookDirection(0);
    BuildMenus();
    Place();
}

void CMainFrame::BuildMenus() {
    QMenu* const file = menuBar()->addMenu(TextOf("file"));
    QAction* const open = file->addAction(TextOf("open_"));
    open->setObjectName(QStringLiteral("FileOpen"));
    open->setShortcut(QKeySequence::Open);
    connect(open, &QAction::triggered, this, &CMainFrame::OpenDialogWanted);
    file->addSeparator();
    for (int i = 0; i < kRecentFiles; ++i) {
        QAction* const action = file->addAction(QString());
        action->setObjectName(QStringLiteral("RecentFile%1").arg(i + 1));
        connect(action, &QAction::triggered, this,
                [this, action] { emit OpenWanted(action->data().toString()); });
        recent_[static_cast<std::size_t>(i)] = action;
    }
    file->addSeparator();
    QAction* const quit = file->addAction(TextOf("exit"));
    quit->setObjectName(QStringLiteral("FileExit"));
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &QWidget::close);

    QMenu* const view = menuBar()->addMenu(TextOf("view"));
    recenter_ = view->addAction(TextOf("recenter"));
    recenter_->setObjectName(QStringLiteral("ViewRecenter"));
    connect(recenter_, &QAction::triggered, this, &CMainFrame::RecenterWanted);
    restore_ = view->addAction(TextOf("restore_initial_viewpoint"));
    restore_->setObjectName(QStringLiteral("ViewRestore"));
    connect(restore_, &QAction::triggered, this, &CMainFrame::RestoreWanted);

    // Whatever a command does, flight goes on with the keyboard afterwards.
    for (QMenu* const menu : {file, view}) {
        for (QAction* const action : menu->actions()) {
            connect(action, &QAction::triggered, this, &CMainFrame::FocusView);
        }
    }
    EnableLandscapeCommands(false);
    ShowRecentFiles();
}

void CMainFrame::ShowRecentFiles() {
    const std::vector<std::string> files = ReadRecentFiles();
    for (std::size_t i = 0; i < recent_.size(); ++i) {
        QAction* const action = recent_[i];
        if (i >= files.size()) {
            // An empty list shows one disabled entry, so that one sees what will stand here.
            action->setVisible(i == 0);
            action->setEnabled(false);
            action->setText(TextOf("recent_file"));
            continue;
        }
        const QString path = QString::fromStdString(files[i]);
        QString name = QFileInfo(path).fileName();
        name.replace(QLatin1Char('&'), QLatin1String("&&"));
        action->setText(QStringLiteral("&%1 %2").arg(i + 1).arg(name));
        action->setToolTip(path);
        action->setStatusTip(path);
        action->setData(path);
        action->setVisible(true);
        action->setEnabled(true);
    }
}

void CMainFrame::AddRecentFile(const FILEPATH& file) {
    std::vector<std::string> files = ReadRecentFiles();
    std::erase(files, file.string());
    files.insert(files.begin(), file.string());
    if (files.size() > kRecentFiles) files.resize(kRecentFiles);
    WriteRecentFiles(files);
    ShowRecentFiles();
}

void CMainFrame::RemoveRecentFile(const FILEPATH& file) {
    std::vector<std::string> files = ReadRecentFiles();
    if (std::erase(files, file.string()) == 0) return;
    WriteRecentFiles(files);
    ShowRecentFiles();
}

void CMainFrame::ShowLandscapeName(const FILEPATH& file) {
    setWindowTitle(QString::fromStdString(file.stem().string()) + QStringLiteral(" - Tarnvale"));
}

void CMainFrame::FocusView() {
    viewContainer_->setFocus();
    view_->requestActivate();
}

void CMainFrame::ShowAltitudeLock(bool locked) {
    if (lock_->isHidden() == locked) lock_->setHidden(!locked);
}

void CMainFrame::ShowLookDirection(int arrow) {
    static constexpr std::array<const char*, 7> kKeys = {"forward", "rear", "left",    "right",
                                                         "up",      "down", "vertical"};
    if (arrow == arrow_ || arrow < 0 || arrow >= static_cast<int>(kKeys.size())) return;
    arrow_ = arrow;
    look_->setText(TextOf(kKeys[static_cast<std::size_t>(arrow)]));
}

void CMainFrame::EnableLandscapeCommands(bool enable) {
    recenter_->setEnabled(enable);
    restore_->setEnabled(enable);
}

void CMainFrame::EnableCommands(bool enable) {
    commandsOn_ = enable;
    menuBar()->setEnabled(enable);
    for (QAction* const menu : menuBar()->actions()) {
        for (QAction* const action : menu->menu()->actions()) {
            if (!action->shortcut().isEmpty())
                action->setEnabled(enable);  // shortcuts work past a disabled bar
        }
    }
    if (enable && closeWanted_)
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    if (!commandsOn_) {
        // A file is opening: stop that first, then close.
        progress_->Cancel();
        closeWanted_ = true;
        event->ignore();
        return;
    }
    SavePlacement(*this, kPlacement);
    event->accept();
    emit Closed();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
    if (commandsOn_ && !DraggedFile(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
    const QString file = DraggedFile(event->mimeData());
    if (!commandsOn_ || file.isEmpty()) return;
    event->acceptProposedAction();
    emit OpenWanted(file);
}

// A window manager may give the focus to the frame instead of the view inside it.
void CMainFrame::keyPressEvent(QKeyEvent* event) {
    if (!commandsOn_ || !view_->KeyPressed(*event)) QMainWindow::keyPressEvent(event);
}

void CMainFrame::keyReleaseEvent(QKeyEvent* event) {
    if (!view_->KeyReleased(*event)) QMainWindow::keyReleaseEvent(event);
}

void CMainFrame::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && !isActiveWindow()) view_->ReleaseKeys();
    QMainWindow::changeEvent(event);
}

void CMainFrame::Place() {
    if (RestorePlacement(*this, kPlacement)) return;
    const QSize room = QGuiApplication::primaryScreen()->availableSize();
    resize(std::min(1280, room.width()), std::min(800, room.height()));
}

}  // namespace tarnvale

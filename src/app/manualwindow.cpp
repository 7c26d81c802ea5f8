#include "app/manualwindow.h"

#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QMainWindow>
#include <QPointer>
#include <QTextBrowser>
#include <QToolBar>

#include "base/textres.h"
#include "qtbase/apptext.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "ManualWindow";

/// Beside the resources when installed, in the source tree's docs for a developer.
QString ManualFolder() {
    const QString resources = QString::fromStdString(TEXTRES::ResourceFolder());
    for (const char* place : {"/manual", "/../docs/manual"}) {
        if (const QDir folder(resources + QLatin1String(place)); folder.exists())
            return folder.canonicalPath();
    }
    return {};
}

/// The page in the language in force, or else in English. @return empty where there is none
QString PageFile(const QString& page) {
    const QDir manual(ManualFolder());
    const QString language = QString::fromStdString(TEXTRES::Language());
    for (const QString& folder : {language, language.section(QLatin1Char('_'), 0, 0), QString()}) {
        const QString file = QDir(manual.filePath(folder)).filePath(page + QLatin1String(".md"));
        if (QFileInfo::exists(file)) return file;
    }
    return {};
}

class Manual final : public QMainWindow {
public:
    explicit Manual(QWidget* mainWindow)
        : QMainWindow(mainWindow, Qt::Window), pages_(new QTextBrowser(this)) {
        setObjectName(QStringLiteral("Manual"));
        setAttribute(Qt::WA_DeleteOnClose);
        setWindowTitle(TextOf("manual_title"));
        pages_->setAccessibleName(TextOf("manual_title"));
        pages_->setOpenLinks(false);
        setCentralWidget(pages_);
        QToolBar* const bar = addToolBar(TextOf("manual_title"));
        bar->setMovable(false);
        AddStep(bar, "contents", QKeySequence(Qt::ALT | Qt::Key_Home),
                [this] { Show(QStringLiteral("index")); });
        QAction* const back =
            AddStep(bar, "back", QKeySequence::Back, [this] { pages_->backward(); });
        QAction* const forth =
            AddStep(bar, "forth", QKeySequence::Forward, [this] { pages_->forward(); });
        back->setEnabled(false);
        forth->setEnabled(false);
        connect(pages_, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
        connect(pages_, &QTextBrowser::forwardAvailable, forth, &QAction::setEnabled);
        connect(pages_, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) {
            const QUrl whole = pages_->source().resolved(link);
            if (whole.isLocalFile())
                pages_->setSource(whole);
            else
                QDesktopServices::openUrl(whole);
        });
        auto* const close = new QAction(this);
        close->setShortcuts({QKeySequence(Qt::Key_Escape), QKeySequence::Close});
        connect(close, &QAction::triggered, this, &QWidget::close);
        addAction(close);
        if (!RestorePlacement(*this, kPlacement)) resize(900, 720);
    }

    void Show(const QString& page) {
        const QString file = PageFile(page);
        if (file.isEmpty())
            pages_->setPlainText(TextOf("no_manual"));
        else
            pages_->setSource(QUrl::fromLocalFile(file));
    }

private:
    template <typename F>
    QAction* AddStep(QToolBar* bar, const char* key, const QKeySequence& shortcut, F step) {
        QAction* const action = bar->addAction(TextOf(key));
        action->setShortcut(shortcut);
        connect(action, &QAction::triggered, this, step);
        return action;
    }
    void closeEvent(QCloseEvent* event) override {
        SavePlacement(*this, kPlacement);
        QMainWindow::closeEvent(event);
    }

    QTextBrowser* pages_;
};

}  // namespace

void ShowManual(QWidget* mainWindow, const char* page) {
    static QPointer<Manual> manual;
    if (manual == nullptr) manual = new Manual(mainWindow);
    manual->Show(QLatin1String(page));
    manual->show();
    manual->raise();
    manual->activateWindow();
}

}  // namespace tarnvale

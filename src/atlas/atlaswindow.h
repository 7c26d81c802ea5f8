#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>
#include <vector>

#include "atlas/mapwidget.h"
#include "atlas/singleinstance.h"
#include "atlas/tileservice.h"
#include "atlas/vectorservice.h"
#include "base/status.h"
#include "landscape/atlas.h"

class QFileSystemWatcher;
class QLabel;

namespace tarnvale {

/// The window of an atlas: its views, laid out as the atlas says, with menus and the coordinates of
/// what is pointed at. Follows the file: a place handed over while the window is open is shown at
/// once. Thread: the user interface's.
class AtlasWindow final : public QMainWindow {
    Q_OBJECT

public:
    AtlasWindow();
    ~AtlasWindow() override;

    /// Shows an atlas in place of the one before.
    /// @return what is wrong with it, and the window stays as it was
    Status Open(const FILEPATH& file);
    /// The same, unless another program has that file, which then shows its window. @return as Open
    Status OpenInstead(const FILEPATH& file);
    [[nodiscard]] const FILEPATH& File() const noexcept { return file_; }
    [[nodiscard]] const std::vector<MapWidget*>& Views() const noexcept { return views_; }
    /// In front of the others, and at the start place again.
    void ShowAgain();
    /// Who keeps other windows from the same file; on loan, may be null.
    void SetInstance(SingleInstance* instance) { instance_ = instance; }

    /// What all views show is there.
    [[nodiscard]] bool Settled() { return tiles_.Idle() && vectors_.Idle(); }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    class Layout;

    void BuildMenus();
    void BuildStatusBar();
    void MakeViews(const std::vector<std::shared_ptr<MapSource>>& maps);
    void GoToStart();
    void Follow(MapWidget& moved);
    void Watch();
    void Reload();
    void AskForAtlas();
    void ShowAbout();
    void ShowPointed();
    [[nodiscard]] MapWidget* Active() const;
    void UpdateActions();

    TileService tiles_;
    VectorService vectors_;
    SingleInstance* instance_ = nullptr;
    FILEPATH file_;
    Atlas atlas_;
    std::vector<MapWidget*> views_;  // owned by the central widget
    MapWidget* active_ = nullptr;
    QFileSystemWatcher* watcher_;
    QTimer reload_;
    QLabel *geographic_, *map_;
    QAction *open_ = nullptr, *start_ = nullptr, *legend_ = nullptr;
};

}  // namespace tarnvale

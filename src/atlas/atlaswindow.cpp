#include "atlas/atlaswindow.h"

#include <QApplication>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QScreen>
#include <QStatusBar>
#include <algorithm>
#include <cmath>
#include <utility>

#include "atlas/openmap.h"
#include "atlas/placetexts.h"
#include "qtbase/apptext.h"
#include "qtbase/atlasfiledialog.h"
#include "qtbase/windowplacement.h"

namespace tarnvale {

namespace {

constexpr const char* kPlacement = "AtlasViewerPlacement";
constexpr int kCalm = 60;      // milliseconds without a change before the file is read
constexpr int kNotice = 8000;  // milliseconds that a notice stands in the status bar
constexpr int kGap = 2;        // pixels between views

QColor ColourOf(const COLOR& colour) {
    if (colour == Atlas::kDefaultBackground) return {};
    return QColor::fromRgba64(colour.red, colour.green, colour.blue);
}

QString Line(Status status) {
    return QString::fromStdString(GetErrString(status));
}

// One map for each view.
Status OpenMaps(const Atlas& atlas, std::vector<std::shared_ptr<MapSource>>& maps) {
    for (const AtlasView& view : atlas.views) {
        std::shared_ptr<MapSource> map;
        if (const Status opened =
                OpenMap(atlas.file, view.object.empty() ? atlas.object : view.object, map);
            !opened.Good()) {
            return opened;
        }
        maps.push_back(std::move(map));
    }
    return StatusCode::Ok;
}

bool SameMaps(const Atlas& a, const Atlas& b) {
    return a.file == b.file && a.object == b.object && a.views == b.views &&
           a.backgroundColor == b.backgroundColor;
}

}  // namespace

/// Views in the cells that the atlas gives them, which may overlap.
class AtlasWindow::Layout final : public QWidget {
public:
    using QWidget::QWidget;
    void Add(QWidget* view, const AtlasPosition& at) { places_.emplace_back(view, at); }

protected:
    void resizeEvent(QResizeEvent*) override {
        const auto edge = [](int cell, int cells, int length) {
            return static_cast<int>(std::lround(static_cast<double>(cell) * length / cells));
        };
        for (const auto& [view, at] : places_) {
            const int left = edge(at.firstColumn, at.columns, width());
            const int top = edge(at.firstRow, at.rows, height());
            const int right = edge(at.firstColumn + at.columnSpan, at.columns, width());
            const int bottom = edge(at.firstRow + at.rowSpan, at.rows, height());
            view->setGeometry(left, top, right - left - (right < width() ? kGap : 0),
                              bottom - top - (bottom < height() ? kGap : 0));
        }
    }

private:
    std::vector<std::pair<QWidget*, AtlasPosition>> places_;
};

AtlasWindow::AtlasWindow()
    : watcher_(new QFileSystemWatcher(this)), geographic_(new QLabel), map_(new QLabel) {
    setObjectName(QStringLiteral("AtlasWindow"));
    BuildMenus();
    BuildStatusBar();
    reload_.setSingleShot(true);
    reload_.setInterval(kCalm);
    connect(&reload_, &QTimer::timeout, this, &AtlasWindow::Reload);
    const auto changed = qOverload<>(&QTimer::start);
    connect(watcher_, &QFileSystemWatcher::fileChanged, &reload_, changed);
    connect(watcher_, &QFileSystemWatcher::directoryChanged, &reload_, changed);
    connect(&tiles_, &TileService::TileDamaged, this,
            [this] { statusBar()->showMessage(TextOf("atlas_damaged"), kNotice); });
    if (!RestorePlacement(*this, kPlacement))
        resize(QSize(900, 680).boundedTo(screen()->availableSize() * 0.9));
}

AtlasWindow::~AtlasWindow() {
    delete takeCentralWidget();  // the views use the services
}

void AtlasWindow::BuildMenus() {
    const auto add = [this](QMenu* menu, const char* key, const QList<QKeySequence>& keys,
                            auto action) {
        QAction* const made = menu->addAction(TextOf(key));
        made->setObjectName(QLatin1String(key));
        made->setShortcuts(keys);
        connect(made, &QAction::triggered, this, action);
        return made;
    };
    QMenu* const file = menuBar()->addMenu(TextOf("atlas_file"));
    open_ = add(file, "atlas_open_", {QKeySequence::Open}, [this] { AskForAtlas(); });
    file->addSeparator();
    add(file, "atlas_quit", {QKeySequence(Qt::CTRL | Qt::Key_Q), QKeySequence::Close},
        [this] { close(); });
    QMenu* const view = menuBar()->addMenu(TextOf("atlas_view"));
    add(view, "atlas_zoom_in", QKeySequence::keyBindings(QKeySequence::ZoomIn), [this] {
        if (MapWidget* const map = Active()) map->Zoom(1);
    });
    add(view, "atlas_zoom_out", QKeySequence::keyBindings(QKeySequence::ZoomOut), [this] {
        if (MapWidget* const map = Active()) map->Zoom(-1);
    });
    add(view, "atlas_whole", {QKeySequence(Qt::CTRL | Qt::Key_0)}, [this] {
        for (MapWidget* const map : views_) map->ShowWhole();
        ShowPointed();
    });
    start_ = add(view, "atlas_start", {QKeySequence(Qt::Key_Home)}, [this] { GoToStart(); });
    view->addSeparator();
    legend_ = add(view, "atlas_legend", {QKeySequence(Qt::CTRL | Qt::Key_L)}, [this](bool show) {
        if (MapWidget* const map = Active()) map->ShowLegend(show);
    });
    legend_->setCheckable(true);
    QMenu* const help = menuBar()->addMenu(TextOf("atlas_help"));
    add(help, "atlas_about", {}, [this] { ShowAbout(); });
}

void AtlasWindow::BuildStatusBar() {
    geographic_->setObjectName(QStringLiteral("GeographicPlace"));
    map_->setObjectName(QStringLiteral("MapPlace"));
    statusBar()->addPermanentWidget(geographic_);
    statusBar()->addPermanentWidget(map_);
}

Status AtlasWindow::Open(const FILEPATH& file) {
    Atlas atlas;
    if (const Status read = atlas.ReadText(file); !read.Good()) return read;
    std::vector<std::shared_ptr<MapSource>> maps;
    if (const Status opened = OpenMaps(atlas, maps); !opened.Good()) return opened;
    file_ = file;
    atlas_ = std::move(atlas);
    setWindowTitle(QString::fromStdString(atlas_.title) + QStringLiteral(" - ") +
                   TextOf("atlas_title"));
    MakeViews(maps);
    Watch();
    return StatusCode::Ok;
}

void AtlasWindow::MakeViews(const std::vector<std::shared_ptr<MapSource>>& maps) {
    auto* const layout = new Layout;
    views_.clear();
    active_ = nullptr;
    for (std::size_t i = 0; i < maps.size(); ++i) {
        const AtlasView& view = atlas_.views[i];
        auto* const map = new MapWidget(tiles_, vectors_, maps[i], layout);
        map->setObjectName(QStringLiteral("Map%1").arg(i + 1));
        map->SetLink(ViewLink::FromAtlas(view.geoLockMode, view.geoLockScale));
        map->SetBackground(ColourOf(atlas_.backgroundColor));
        map->ShowLegend(view.legend == AtlasLegend::Shown ||
                        (view.legend == AtlasLegend::Unsaid && map->Source().NeedsLegend()));
        connect(map, &MapWidget::Moved, this, [this, map] { Follow(*map); });
        connect(map, &MapWidget::PointedChanged, this, [this, map] {
            if (map->hasFocus() || map->underMouse()) active_ = map;
            ShowPointed();
        });
        layout->Add(map, view.position);
        views_.push_back(map);
    }
    setCentralWidget(layout);  // the old views go
    GoToStart();
    if (!views_.empty()) views_.front()->setFocus();
}

void AtlasWindow::GoToStart() {
    std::optional<GeographicPlace> place;
    if (atlas_.hasStartCentre) place = {atlas_.startLongitude, atlas_.startLatitude};
    for (MapWidget* const map : views_) {
        map->SetMark(place);
        const bool known = place && map->Source().FromGlobe(*place).has_value();
        if (atlas_.hasZoomWidth) {
            const ViewLink& link = map->Link();
            const bool linked = (link.mode & ViewLink::kWidth) != 0;
            map->SetWidth(atlas_.startZoomWidth * (linked ? link.scale : 1));
        } else if (atlas_.startZoom1X) {
            map->SetOneToOne();
        } else {
            map->ShowWhole();
            // Whole in its size, but about the place.
            if (known) map->SetWidth(map->Camera().Width());
        }
        if (known) {
            map->SetCentre(*place);
        } else if (!place && atlas_.hasZoomWidth) {
            MapPoint low, high;
            map->Source().Bounds(low, high);
            map->SetCentre(MapPoint{(low.x + high.x) / 2, (low.y + high.y) / 2});
        }
    }
    UpdateActions();
    ShowPointed();
}

void AtlasWindow::Follow(MapWidget& moved) {
    const auto centre = moved.Source().ToGlobe(moved.Camera().Centre());
    for (MapWidget* const map : views_) {
        if (map == &moved) continue;
        if (map->Link().SharesWidth(moved.Link()))
            map->SetWidth(moved.Camera().Width() * map->Link().scale / moved.Link().scale);
        if (centre && map->Link().SharesCentre(moved.Link())) map->SetCentre(*centre);
    }
}

void AtlasWindow::Watch() {
    const QFileInfo info(QString::fromStdString(file_.string()));
    const QStringList old = watcher_->files() + watcher_->directories();
    if (!old.isEmpty()) watcher_->removePaths(old);
    // Whoever replaces the file does so in its own folder, also behind a link; the folder tells of
    // that, the file of being written over.
    QStringList paths{info.absoluteFilePath(), info.absolutePath()};
    const QString real = info.canonicalFilePath();
    if (!real.isEmpty()) paths += {real, QFileInfo(real).absolutePath()};
    paths.removeDuplicates();
    watcher_->addPaths(paths);
}

void AtlasWindow::Reload() {
    Watch();  // a replaced file is another one to the system
    Atlas read;
    if (const Status status = read.ReadText(file_); !status.Good()) {
        // It may be on its way; the window goes on with what it knows.
        statusBar()->showMessage(Line(status), kNotice);
        return;
    }
    statusBar()->clearMessage();
    if (!SameMaps(read, atlas_)) {
        if (const Status opened = Open(file_); !opened.Good())
            statusBar()->showMessage(Line(opened), kNotice);
        return;
    }
    const bool moved =
        read.hasStartCentre != atlas_.hasStartCentre ||
        read.startLatitude != atlas_.startLatitude ||
        read.startLongitude != atlas_.startLongitude || read.hasZoomWidth != atlas_.hasZoomWidth ||
        read.startZoomWidth != atlas_.startZoomWidth || read.startZoom1X != atlas_.startZoom1X;
    const bool renamed = read.title != atlas_.title;
    atlas_ = std::move(read);
    if (renamed) {
        setWindowTitle(QString::fromStdString(atlas_.title) + QStringLiteral(" - ") +
                       TextOf("atlas_title"));
    }
    if (moved) GoToStart();
    UpdateActions();
}

void AtlasWindow::ShowAgain() {
    reload_.stop();
    Reload();
    GoToStart();
    if (isMinimized()) showNormal();
    show();
    raise();
    activateWindow();
}

MapWidget* AtlasWindow::Active() const {
    if (active_ != nullptr) return active_;
    return views_.empty() ? nullptr : views_.front();
}

void AtlasWindow::ShowPointed() {
    const MapWidget* const map = Active();
    if (map == nullptr) return;
    const MapPoint at = map->Pointed();
    geographic_->setText(GeographicText(map->Source(), at));
    map_->setText(MapText(map->Source(), at));
    legend_->setChecked(map->LegendShown());
}

void AtlasWindow::UpdateActions() {
    open_->setEnabled(!atlas_.disableOpen);
    start_->setEnabled(atlas_.hasStartCentre || atlas_.hasZoomWidth);
}

void AtlasWindow::AskForAtlas() {
    const FILEPATH file = AskForAtlasFile(this, file_.parent_path());
    if (file.empty()) return;
    if (const Status opened = OpenInstead(file); !opened.Good())
        QMessageBox::critical(this, TextOf("atlas_title"), Line(opened));
}

Status AtlasWindow::OpenInstead(const FILEPATH& file) {
    const bool claims = instance_ != nullptr && file != file_;
    if (claims && instance_->Take(file) == SingleInstance::Claim::Called)
        return StatusCode::Ok;  // the window that has it came to the front
    const Status opened = Open(file);
    // This window still shows the other one, and nobody the file that failed.
    if (claims && !opened.Good()) (void)instance_->Take(file_);
    return opened;
}

void AtlasWindow::ShowAbout() {
    QMessageBox::about(this, TextOf("atlas_title"),
                       QStringLiteral("<h3>%1 %2</h3><p>%3</p><p>Qt %4</p>")
                           .arg(TextOf("atlas_title"), QApplication::applicationVersion(),
                                TextOf("atlas_about_text"), QLatin1String(qVersion())));
}

void AtlasWindow::closeEvent(QCloseEvent* event) {
    SavePlacement(*this, kPlacement);
    QMainWindow::closeEvent(event);
}

}  // namespace tarnvale

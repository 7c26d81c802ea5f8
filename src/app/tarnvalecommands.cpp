// What the commands of menus and tool palette do.

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

#include "app/inputassignmentspanel.h"
#include "app/layeroffsetsdialog.h"
#include "app/mainframe.h"
#include "app/mainmenu.h"
#include "app/manualwindow.h"
#include "app/optionsdialog.h"
#include "app/readoutswindow.h"
#include "app/screenshots.h"
#include "app/sideviews.h"
#include "app/tarnvale.h"
#include "app/tarnvaleview.h"
#include "app/tools.h"
#include "app/viewdialog.h"
#include "base/inistore.h"
#include "base/settings.h"
#include "qtbase/appearance.h"
#include "qtbase/apptext.h"
#include "simulator/picturetexts.h"

namespace tarnvale {

namespace {

QString Stored(const char* key) {
    std::string value;
    (void)_iniRead(key, value);
    return QString::fromStdString(value);
}

}  // namespace

void CTarnvaleApp::OnCommand(Command command, bool checked) {
    switch (command) {
        case Command::FileOpen:
            AskForLandscape();
            break;
        case Command::FileChooseAtlas:
            AskForAtlas();
            break;
        case Command::FileScreenShot:
            TakeScreenShot(sideViews_->FocusedView());
            return;
        case Command::FileExit:
            mainFrame_->close();
            return;
        case Command::ViewStatusBar:
            mainFrame_->ShowStatusBar(checked);
            break;
        case Command::ViewReadouts:
            readouts_->Toggle();
            break;
        case Command::ViewControls:
            assignments_->Toggle();
            break;
        case Command::ViewOptions:
            OpenOptions();
            return;
        case Command::LayerOffsets:
            OpenLayerOffsets();
            return;
        case Command::ViewWireframe:
            ToggleWireframe();
            break;
        case Command::ViewSky:
            settings::Sky.Set(!settings::Sky.Get());
            break;
        case Command::ViewFullScreen:
            mainFrame_->ShowFullScreen(!mainFrame_->isFullScreen());
            break;
        case Command::ViewRecenter:
            (void)simulator_->Recenter(true);
            break;
        case Command::ViewRestore:
            RestoreView();
            break;
        case Command::WindowLeft:
        case Command::WindowRight:
        case Command::WindowRear:
        case Command::WindowUp:
        case Command::WindowDown:
        case Command::WindowVertical:
        case Command::WindowMap:
            sideViews_->ToggleView(View::kLeft + static_cast<int>(command) -
                                   static_cast<int>(Command::WindowLeft));
            break;
        case Command::WindowCustom:
            sideViews_->ToggleView(View::kCustom);
            break;
        case Command::ViewPOIs: {
            PoiControl& pois = simulator_->Pois();
            pois.ShowMarkers(View::kMain, !pois.MarkersShown(View::kMain));
            break;
        }
        case Command::HelpManual:
            ShowManual(mainFrame_.get());
            return;
        case Command::HelpAbout:
            ShowAbout();
            break;
        default:
            break;
    }
    // Whatever a command does, flight goes on with the keyboard afterwards.
    mainFrame_->FocusView();
}

void CTarnvaleApp::UpdateChecks() {
    // While the program starts or ends, not all windows are there.
    if (readouts_ == nullptr || sideViews_ == nullptr || assignments_ == nullptr) return;
    MainMenu& menu = mainFrame_->Menu();
    menu.Check(Command::ViewStatusBar, mainFrame_->StatusBarShown());
    menu.Check(Command::ViewReadouts, readouts_->isVisible());
    menu.Check(Command::ViewControls, assignments_->isVisible());
    menu.Check(Command::ViewWireframe, settings::Wireframe.Get());
    menu.Check(Command::ViewSky, settings::Sky.Get());
    menu.Enable(Command::ViewSky, !opening_ && !simulator_->Skies().empty());
    menu.Check(Command::ViewFullScreen, mainFrame_->isFullScreen());
    for (int view = View::kLeft; view <= View::kMap; ++view) {
        menu.Check(static_cast<Command>(static_cast<int>(Command::WindowLeft) + view),
                   sideViews_->IsShown(view));
    }
    menu.Check(Command::ViewPOIs, simulator_->Pois().MarkersShown(View::kMain));
    menu.Check(Command::WindowCustom, sideViews_->IsShown(View::kCustom));
    menu.ShowAppearance(Stored("Language"), Stored("Theme"));
}

void CTarnvaleApp::RebuildMenus() {
    std::vector<LayerEntry> entries;
    if (const Scene* const scene = simulator_->GetScene(); scene != nullptr) {
        for (const auto& layer : scene->Layers()) {
            LayerEntry entry{QString::fromStdString(layer->item.header.name), {}};
            for (const TextureLayer& texture : layer->textures) {
                entry.textures.push_back({QString::fromStdString(texture.item.header.name),
                                          texture.visible[View::kMain]});
            }
            entries.push_back(std::move(entry));
        }
    }
    mainFrame_->Menu().RebuildLayers(entries);
    sideViews_->RebuildLayerLists();
    UpdateChecks();
}

void CTarnvaleApp::OpenOptions() {
    if (options_ == nullptr) {
        OptionsContext context{
            *simulator_, graphicsSystems_, input_,
            [this](GraphicsSystem* system) { return ChangeGraphicsSystem(system); }};
        options_ = std::make_unique<OptionsDialog>(std::move(context), mainFrame_.get());
        connect(options_.get(), &OptionsDialog::settingsChanged, this, &CTarnvaleApp::RedrawView);
        connect(options_.get(), &QDialog::finished, mainFrame_.get(), &CMainFrame::FocusView);
    }
    options_->open();
}

void CTarnvaleApp::OpenLayerOffsets() {
    auto* const dialog = new LayerOffsetsDialog(*simulator_, mainFrame_.get());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::finished, mainFrame_.get(), &CMainFrame::FocusView);
    dialog->open();
}

void CTarnvaleApp::ToggleWireframe() {
    settings::Wireframe.Set(!settings::Wireframe.Get());
    if (settings::Wireframe.Get() &&
        settings::WireframeColor.Get() == settings::BackgroundColor.Get()) {
        mainFrame_->ShowNotice(TextOf("wireframe_invisible"));
    }
}

void CTarnvaleApp::ToggleTexture(int layer, int texture) {
    (void)simulator_->ToggleTextureVisible(layer, texture, View::kMain);
    RebuildMenus();
    mainFrame_->FocusView();
}

void CTarnvaleApp::ChooseLanguage(const QString& language) {
    _iniWrite("Language", language.toStdString());
    mainFrame_->ShowNotice(TextOf("language_at_next_start"));
    mainFrame_->FocusView();
}

void CTarnvaleApp::ChooseTheme(const QString& theme) {
    _iniWrite("Theme", theme.toStdString());
    ApplyTheme(theme);
    mainFrame_->FocusView();
}

bool CTarnvaleApp::SelectTool(ToolMode mode) {
    const bool selected = tools_->Select(mode);
    // Refused, another button than the clicked one is down again.
    mainFrame_->ShowToolMode(static_cast<int>(simulator_->GetToolMode()));
    mainFrame_->FocusView();
    return selected;
}

void CTarnvaleApp::AskForLandscape() {
    std::string last;
    (void)_iniRead("SimulatorFilePath", last);
    const QString folder =
        last.empty() ? QDir::homePath() : QFileInfo(QString::fromStdString(last)).path();
    const QString file =
        QFileDialog::getOpenFileName(mainFrame_.get(), TextOf("open_landscape"), folder,
                                     TextOf("landscapes") + QStringLiteral(" (*.sim)"));
    if (!file.isEmpty()) (void)OpenLandscape(FILEPATH(file.toStdString()));
}

void CTarnvaleApp::TakeScreenShot(int view) {
    if (opening_ || simulator_->GetGraphicsSystem(view) == nullptr) return;
    ViewWindow* const window = sideViews_->Window(view);
    const FILEPATH file =
        AskForScreenShotFile(window != nullptr ? static_cast<QWidget*>(window) : mainFrame_.get());
    simulator_->SkipTime();  // no frames were drawn behind the dialog
    if (!file.empty()) {
        pictureFiles_[static_cast<std::size_t>(view)] = file;
        // The pose is asked for when the picture is there.
        simulator_->GetGraphicsSystem(view)->RequestScreenShot(file, [this, view] {
            return TextsOfView(*simulator_, view, "Tarnvale " TARNVALE_VERSION, landscape_);
        });
        RedrawView();
    }
    if (window != nullptr) {
        window->FocusPicture();
    } else {
        mainFrame_->FocusView();
    }
}

void CTarnvaleApp::TellOfScreenShots() {
    for (int view = 0; view < View::kCount; ++view) {
        GraphicsSystem* const system = simulator_->GetGraphicsSystem(view);
        if (system == nullptr) continue;
        const auto written = system->TakeScreenShotResult();
        if (!written) continue;
        if (written->Good()) {
            KeepScreenShotFolder(pictureFiles_[static_cast<std::size_t>(view)]);
        } else {
            ShowError(*written);
        }
    }
}

void CTarnvaleApp::RestoreView() {
    if (!commandLineView_.active || filesOpened_ != 1) {
        (void)simulator_->RestoreInitialViewpoint(true);
        return;
    }
    const CommandLineView& view = commandLineView_;
    (void)simulator_->StartCommandLineView(view.point[0], view.point[1], view.point[2],
                                           view.azimuth, view.elevation, view.field, view.rate,
                                           view.type, true);
}

void CTarnvaleApp::ShowAbout() {
    QMessageBox::about(mainFrame_.get(), QStringLiteral("Tarnvale"),
                       QStringLiteral("<h3>Tarnvale %1</h3><p>%2</p><p>%3<br>Qt %4</p>")
                           .arg(applicationVersion(), TextOf("about_text"),
                                TextOf(graphics_->Name().c_str()), QLatin1String(qVersion())));
}

}  // namespace tarnvale

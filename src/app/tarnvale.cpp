#include "app/tarnvale.h"

#include <QCheckBox>
#include <QElapsedTimer>
#include <QIcon>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QScreen>
#include <QThread>
#include <QTimer>
#include <array>
#include <cstdio>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "app/graphicssystemdialog.h"
#include "app/inputassignmentspanel.h"
#include "app/mainframe.h"
#include "app/mainmenu.h"
#include "app/optionsdialog.h"
#include "app/poisaving.h"
#include "app/poitool.h"
#include "app/readoutswindow.h"
#include "app/sideviews.h"
#include "app/splash.h"
#include "app/statusprogress.h"
#include "app/tarnvaleview.h"
#include "app/tools.h"
#include "base/inistore.h"
#include "base/textres.h"
#include "geom/transgen.h"
#include "graphics/opengl/openglgraphics.h"
#include "graphics/opengl3/opengl3graphics.h"
#include "qtbase/appearance.h"
#include "qtbase/apptext.h"
#include "simulator/atlashandover.h"

namespace tarnvale {

namespace {

// Once for each start, unless the user has enough of it: the other systems draw all the same.
void TellOfMissingOpenGL3(const std::string& why) {
    constexpr const char* kKey = "tarnvale_NoOpenGL3_NoShow";
    constexpr const char* kSection = "popupmsg";
    bool enough = false;
    if (_iniRead(kKey, enough, kSection) && enough) return;
    QMessageBox box(QMessageBox::Information, QStringLiteral("Tarnvale"),
                    TextOf("opengl3_missing") + QStringLiteral(": ") + QString::fromStdString(why),
                    QMessageBox::Ok);
    box.setCheckBox(new QCheckBox(TextOf("do_not_show_again"), &box));
    box.exec();
    if (box.checkBox()->isChecked()) _iniWrite(kKey, true, kSection);
}

}  // namespace

CTarnvaleApp::CTarnvaleApp(int& argc, char** argv) : QApplication(argc, argv) {
    setApplicationName(QStringLiteral("tarnvale"));
    setApplicationDisplayName(QString());
    setApplicationVersion(QStringLiteral(TARNVALE_VERSION));
    setDesktopFileName(QStringLiteral("tarnvale"));
    setWindowIcon(QIcon(QString::fromStdString(TEXTRES::ResourceFolder()) + "/icons/tarnvale.svg"));
    setQuitOnLastWindowClosed(false);
}

CTarnvaleApp::~CTarnvaleApp() = default;

bool CTarnvaleApp::InitInstance() {
    std::string theme;
    if (_iniRead("Theme", theme)) ApplyTheme(QString::fromStdString(theme));
    if (LoadToolkitTexts(toolkitTexts_)) installTranslator(&toolkitTexts_);
    if (!CheckSurroundings() || !ChooseGraphics()) return false;
    input_ = inputSystems_.Choose();
    _iniWrite("CleanClose", false);  // true again only at the end: a crash leaves its trace

    std::vector<std::string> words;
    for (const QString& argument : arguments().mid(1)) words.push_back(argument.toStdString());
    std::vector<std::string_view> views(words.begin(), words.end());
    const ProgramFlags flags = TakeFlags(views);
    const std::string line = JoinCommandLine(views);
    FILEPATH file;
    if (!line.empty()) commandLineView_ = ParseCommandLine(line, file);

    MakeMainWindow();
    if (flags.splash) StartSplash(mainFrame_.get());

    simulator_ = std::make_unique<Simulator>();
    if (const Status status = simulator_->Initialize(this); !status.Good()) {
        ShowError(status);
        return false;
    }
    MakeSideViews();
    if (!OpenInput()) return false;
    MakeToolWindows();
    MakeTools();
    simulator_->SetProgress(&mainFrame_->Reporter());
    if (!OpenGraphics()) return false;
    sideViews_->Attach(graphics_, mainFrame_.get());
    RebuildMenus();
    mainFrame_->FocusView();
    RedrawView();
    // From the message loop, so that the window stands before a long load begins.
    if (!file.empty()) emit mainFrame_->OpenWanted(QString::fromStdString(file.string()));
    return true;
}

bool CTarnvaleApp::CheckSurroundings() {
    constexpr int kHighColour = 16;  // bits
    if (const QScreen* const screen = primaryScreen();
        screen != nullptr && screen->depth() < kHighColour) {
        // On such a screen the toolkit may not be able to paint the message either.
        const QString text = TextOf("ProcessNeedsHiColorTrueColor");
        (void)std::fprintf(stderr, "tarnvale: %s\n", qPrintable(text));
        QMessageBox::warning(nullptr, QStringLiteral("Tarnvale"), text);
        return false;
    }
    // Without the coordinate library's database no landscape could be opened: better said at once.
    COORDREFSYS fixed;
    if (const Status status = COORDREFSYS::FromIdentity(COORDREFSYS::kFixedReference, fixed);
        !status.Good()) {
        ShowError(status);
        return false;
    }
    return true;
}

bool CTarnvaleApp::ChooseGraphics() {
    graphicsSystems_.Register(
        GraphicsSystemRegistry::kOpenGL3,
        std::make_unique<OpenGL3GraphicsSystem>(OpenGL3GraphicsSystem::Probe{
            [] { return std::make_unique<CTarnvaleView>(); }, TellOfMissingOpenGL3}));
    graphicsSystems_.Register(GraphicsSystemRegistry::kOpenGL,
                              std::make_unique<OpenGLGraphicsSystem>());
    graphicsSystems_.FindAvailable();
    std::string wanted;
    (void)_iniRead("GraphicsSystem", wanted);
    graphics_ = graphicsSystems_.Choose(wanted);
    if (graphics_ == nullptr) {
        ShowError(_SetErrPosn(StatusCode::NoGraphicsSystem));
        return false;
    }
    return AskForGraphicsSystem(wanted);
}

bool CTarnvaleApp::AskForGraphicsSystem(const std::string& stored) {
    bool ask = true, clean = false;
    (void)_iniRead("ShowGraphicsSystemDialog", ask);
    (void)_iniRead("CleanClose", clean);
    if (!graphicsSystems_.MustAsk(ask, clean)) return true;
    GraphicsSystemDialog dialog(graphicsSystems_, stored, ask);
    const bool go = dialog.exec() == QDialog::Accepted;
    _iniWrite("ShowGraphicsSystemDialog", dialog.AlwaysAsk());
    if (go && dialog.Chosen() != nullptr) graphics_ = dialog.Chosen();
    return go;
}

void CTarnvaleApp::MakeMainWindow() {
    auto view = std::make_unique<CTarnvaleView>();
    mainView_ = view.get();
    mainFrame_ =
        std::make_unique<CMainFrame>(view.release());  // the container widget takes it over
    ConnectCommands();
    mainFrame_->show();
    mainFrame_->raise();
}

void CTarnvaleApp::MakeSideViews() {
    mainView_->Serve(simulator_.get(), View::kMain);
    sideViews_ = std::make_unique<SideViews>(*simulator_, *mainView_);
    SideViews* const views = sideViews_.get();
    connect(views, &SideViews::WheelTurned, this, [this](int delta) { wheelDelta_ = delta; });
    connect(views, &SideViews::RedrawNeeded, this, &CTarnvaleApp::RedrawView);
    connect(views, &SideViews::ScreenShotWanted, this, &CTarnvaleApp::TakeScreenShot);
    connect(views, &SideViews::ViewClicked, this, &CTarnvaleApp::OnViewClicked);
    connect(views, &SideViews::ViewShown, this, &CTarnvaleApp::UpdateChecks);
    connect(mainView_, &CTarnvaleView::ViewClicked, this, &CTarnvaleApp::OnViewClicked);
    connect(mainView_, &CTarnvaleView::ScreenShotWanted, this,
            [this] { TakeScreenShot(View::kMain); });
}

void CTarnvaleApp::MakeToolWindows() {
    readouts_ = std::make_unique<ReadoutsWindow>(*simulator_, mainFrame_.get());
    connect(readouts_.get(), &ReadoutsWindow::ShownChanged, this, &CTarnvaleApp::UpdateChecks);
    readouts_->ShowAtStart();
    assignments_ = std::make_unique<InputAssignmentsPanel>(input_, mainFrame_.get());
    connect(assignments_.get(), &InputAssignmentsPanel::Shown, this, &CTarnvaleApp::UpdateChecks);
    assignments_->ShowAtStart();
}

void CTarnvaleApp::MakeTools() {
    tools_ = std::make_unique<Tools>(*simulator_, mainFrame_.get());
    connect(tools_.get(), &Tools::ModeChanged, this, [this](ToolMode mode) {
        mainFrame_->ShowToolMode(static_cast<int>(mode));
        RedrawView();
    });
    tools_->Add(
        ToolMode::PointOfInterest,
        {.instructions = "72511",
         .instructionsName = "tarnvale_POIInstructions",
         .makeWindow = [this] {
             return std::make_unique<POITool>(
                 *simulator_,
                 POITool::Surroundings{
                     *this, [this](int view) { return sideViews_->IsShown(view); },
                     [this](QWidget* parent) { return SavePois(*simulator_, landscape_, parent); }},
                 mainFrame_.get());
         }});
    connect(sideViews_.get(), &SideViews::ViewShown, this, [this](int view, bool shown) {
        if (POITool* const tool = PoiTool()) tool->ShowViewState(view, shown);
    });
    OfferAtlasTool();
    mainFrame_->SetCloseQuestion([this] { return SaveAllModified(); });
}

POITool* CTarnvaleApp::PoiTool() const {
    return tools_ != nullptr ? static_cast<POITool*>(tools_->Window(ToolMode::PointOfInterest))
                             : nullptr;
}

bool CTarnvaleApp::OpenInput() {
    if (input_ == nullptr) return true;
    const Status status = input_->Open(mainView_);
    if (!status.Good()) ShowError(status);
    return status.Good();
}

bool CTarnvaleApp::OpenGraphics() {
    Status failed = StatusCode::Ok;
    const auto open = [this](GraphicsSystem& system) { return AttachGraphics(system); };
    GraphicsSystem* const opened = graphicsSystems_.OpenOne(*graphics_, open, failed);
    if (failed.Good()) return true;
    ShowError(failed);
    if (graphicsSystems_.CountAvailable() <= 1) return false;
    if (opened != graphics_) {
        graphics_ = opened;
        ShowError(_SetErrPosn(StatusCode::GraphicsSystemReplaced,
                              TextOf(opened->Name().c_str()).toStdString()));
    }
    return true;
}

Status CTarnvaleApp::AttachGraphics(GraphicsSystem& system) {
    if (const Status status = system.Open(mainView_); !status.Good()) return status;
    if (const Status status = simulator_->AttachGraphicsSystem(&system, View::kMain);
        !status.Good()) {
        return status;
    }
    std::string written;
    if (!_iniRead("GraphicsSystem", written) || written != system.Name()) {
        _iniWrite("GraphicsSystem", system.Name());
    }
    return StatusCode::Ok;
}

void CTarnvaleApp::ConnectCommands() {
    CMainFrame* const frame = mainFrame_.get();
    MainMenu* const menu = &frame->Menu();
    const auto open = [this](const QString& file) { (void)OpenLandscape(file.toStdString()); };
    connect(menu, &MainMenu::Chosen, this, &CTarnvaleApp::OnCommand);
    connect(menu, &MainMenu::ChecksNeeded, this, &CTarnvaleApp::UpdateChecks);
    connect(menu, &MainMenu::TextureToggled, this, &CTarnvaleApp::ToggleTexture);
    connect(menu, &MainMenu::LanguageChosen, this, &CTarnvaleApp::ChooseLanguage);
    connect(menu, &MainMenu::ThemeChosen, this, &CTarnvaleApp::ChooseTheme);
    // Queued, so that the menu or the drag has ended: opening handles events itself.
    connect(menu, &MainMenu::OpenWanted, this, open, Qt::QueuedConnection);
    connect(frame, &CMainFrame::OpenWanted, this, open, Qt::QueuedConnection);
    connect(frame, &CMainFrame::ToolWanted, this,
            [this](int mode) { SelectTool(static_cast<ToolMode>(mode)); });
    connect(frame, &CMainFrame::Closed, this, [this] { quit_ = true; });
    connect(mainView_, &CTarnvaleView::WheelTurned, this,
            [this](int delta) { wheelDelta_ = delta; });
    connect(mainView_, &CTarnvaleView::RedrawNeeded, this, &CTarnvaleApp::RedrawView);
}

int CTarnvaleApp::Run() {
    constexpr qint64 kGap = 250;  // milliseconds; a dialog or a hidden window, not a slow frame
    QElapsedTimer messages;
    while (!quit_) {
        // Nothing to draw again and again without a landscape, and nothing to see in hidden
        // windows.
        const bool flying = simulator_->IsLandscapeReady(ReadyLevel::Terrain) &&
                            (mainView_->isExposed() || sideViews_->AnyVisible());
        messages.start();
        processEvents(flying ? QEventLoop::AllEvents
                             : QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // Time without frames is no time of flight: the viewer must not leap by it.
        if (messages.elapsed() > kGap) simulator_->SkipTime();
        if (!flying) mainView_->KeysRead();
        if (flying && !quit_) RunFrame();
    }
    return 0;
}

void CTarnvaleApp::ExitInstance() {
    if (input_ != nullptr) input_->Close();
    if (tools_ != nullptr) tools_->CloseWithProgram();
    if (assignments_ != nullptr) assignments_->CloseWithProgram();
    if (readouts_ != nullptr) readouts_->CloseWithProgram();
    tools_.reset();
    assignments_.reset();
    readouts_.reset();
    options_.reset();
    if (sideViews_ != nullptr) sideViews_->CloseWithProgram();
    sideViews_.reset();
    if (simulator_ != nullptr) simulator_->Unload();
    if (graphics_ != nullptr) (void)graphics_->Shutdown();
    simulator_.reset();
    mainFrame_.reset();
    mainView_ = nullptr;
    _iniWrite("CleanClose", true);
    TEXTRES::Terminate();
}

void CTarnvaleApp::RunFrame() {
    if (opening_) return;
    if (!simulator_->IsLandscapeReady(ReadyLevel::Terrain) || input_ == nullptr) {
        (void)simulator_->Update(nullptr, true);
        return;
    }
    // A key that is held when a menu opens is released there.
    if (activePopupWidget() != nullptr) mainView_->ReleaseKeys();
    FlightInput record;
    (void)input_->ReadFlightInput(record, simulator_->ReadoutValues().instantFrameRate,
                                  wheelDelta_);
    mainView_->KeysRead();
    wheelDelta_ = 0;
    if (record.screenShot) TakeScreenShot(sideViews_->FocusedView());
    ShowFlightState(record);
    {
        const QScopedValueRollback busy(inFrame_, true);
        if (!simulator_->Update(&record, true).Good()) quit_ = true;
    }
    TellOfScreenShots();
    ReplaceLostGraphics();
    sideViews_->TellLosses();
}

void CTarnvaleApp::ShowFlightState(const FlightInput& record) {
    mainFrame_->ShowAltitudeLock(record.altitudeLock);
    static constexpr std::array<std::pair<int, int>, 7> kArrows{{{0, 0},
                                                                 {LookFlag::kDown, 5},
                                                                 {LookFlag::kRight, 3},
                                                                 {LookFlag::kRear, 1},
                                                                 {LookFlag::kLeft, 2},
                                                                 {LookFlag::kUp, 4},
                                                                 {LookFlag::kVertical, 6}}};
    for (const auto& [flags, arrow] : kArrows) {
        if (record.lookFlags == flags) mainFrame_->ShowLookDirection(arrow);
    }
}

Status CTarnvaleApp::LoadLandscape(const FILEPATH& file) try {
    SimulatorFile landscape;
    if (const Status read = landscape.Read(file); !read.Good()) return read;
    return simulator_->BuildScene(landscape);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory,
                       file.string() + " is too large for this machine's memory");
}

Status CTarnvaleApp::OpenLandscape(const FILEPATH& path) {
    if (opening_) return StatusCode::BadState;
    std::error_code noFolder;  // the working folder may be gone
    FILEPATH file = std::filesystem::absolute(path, noFolder);
    if (noFolder) file = path;
    ClearErrPosn();
    ++filesOpened_;
    opening_ = true;
    mainFrame_->EnableCommands(false);
    sideViews_->EnableCommands(false);
    mainFrame_->Reporter().Reset();

    const Scene* const before = simulator_->GetScene();
    const Status status = LoadLandscape(file);

    mainFrame_->Reporter().End();
    opening_ = false;
    mainFrame_->EnableCommands(true);
    sideViews_->EnableCommands(true);
    RebuildMenus();
    const bool flying = simulator_->IsLandscapeReady(ReadyLevel::Terrain);
    mainFrame_->EnableLandscapeCommands(flying);
    // Points and their views went with their landscape, even where the new one has failed since.
    if (simulator_->GetScene() != before) {
        landscape_ = flying ? file : FILEPATH();
        sideViews_->CloseLandscapeViews();
        if (POITool* const tool = PoiTool(); tool != nullptr && tool->isVisible()) tool->Refill();
    }
    if (!status.Good()) {
        if (status.Code() == StatusCode::FileNotFound) mainFrame_->RemoveRecentFile(file);
        if (status.Code() != StatusCode::Cancelled) ShowError(status);
        if (!flying) RedrawView();
        return status;
    }
    if (options_ != nullptr) options_->LandscapeOpened();
    mainFrame_->AddRecentFile(file);
    mainFrame_->ShowLandscapeName(file);
    ListAtlasesOf(file);
    _iniWrite("SimulatorFilePath", file.string());
    if (commandLineView_.active && filesOpened_ == 1) RestoreView();
    if (const std::string& problem = simulator_->SkyProblem(); !problem.empty()) {
        QMessageBox::warning(mainFrame_.get(), QStringLiteral("Tarnvale"),
                             QString::fromStdString(problem));
    }
    mainFrame_->FocusView();
    return status;
}

void CTarnvaleApp::RedrawView() {
    const bool loading = opening_ && !asking_;
    if (simulator_ == nullptr || loading || graphics_ == nullptr || !graphics_->IsOpen()) return;
    if (!simulator_->IsLandscapeReady(ReadyLevel::Terrain)) {
        (void)simulator_->Update(nullptr, false);
        // Without flight no frame follows by itself, in which the device would be opened again.
        if (graphics_->IsLost()) QTimer::singleShot(0, this, &CTarnvaleApp::RecoverView);
    } else if (BehindDialog()) {
        // One frame for all views and all strips that a dragged dialog uncovers.
        if (!std::exchange(redrawPosted_, true))
            QTimer::singleShot(0, this, &CTarnvaleApp::DrawBehindDialog);
        return;
    }
    TellOfScreenShots();
}

// The message loop of Run is none of the kind that is counted.
bool CTarnvaleApp::BehindDialog() const {
    return thread()->loopLevel() > 0;
}

void CTarnvaleApp::DrawBehindDialog() {
    redrawPosted_ = false;
    if (!BehindDialog() || inFrame_ || (opening_ && !asking_) || !graphics_->IsOpen() ||
        !simulator_->IsLandscapeReady(ReadyLevel::Terrain)) {
        return;
    }
    const QScopedValueRollback busy(inFrame_, true);
    // How long nothing was uncovered says nothing about the frame rate, before this and after it.
    simulator_->SkipTime();
    (void)simulator_->Update(nullptr, true);
    simulator_->SkipTime();
}

void CTarnvaleApp::RecoverView() {
    ReplaceLostGraphics();
    RedrawView();
}

// The main view goes on with another kind of system where its own can't be opened again. One that
// was lost just now is still open: the simulator opens it again with the next frame.
void CTarnvaleApp::ReplaceLostGraphics() {
    if (graphics_ == nullptr || !graphics_->IsLost() || graphics_->IsOpen()) {
        lossTold_ = false;
        return;
    }
    if (std::exchange(lossTold_, true)) return;
    ShowError(_SetErrPosn(StatusCode::DeviceRebuildFailed));
    const GraphicsSystem* const lost = graphics_;
    for (int entry = 0; entry < GraphicsSystemRegistry::kEntries; ++entry) {
        GraphicsSystem* const other = graphicsSystems_.At(entry);
        if (other == lost || !graphicsSystems_.Available(entry)) continue;
        if (ChangeGraphicsSystem(other)) {
            ShowError(_SetErrPosn(StatusCode::GraphicsSystemReplaced,
                                  TextOf(other->Name().c_str()).toStdString()));
        }
        if (graphics_->IsOpen()) break;
    }
    simulator_->SkipTime();  // no frames were drawn behind the messages
}

void CTarnvaleApp::ShowError(Status status) {
    QMessageBox::critical(mainFrame_.get(), QStringLiteral("Tarnvale"),
                          QString::fromStdString(GetErrString(status)));
}

bool CTarnvaleApp::ChangeGraphicsSystem(GraphicsSystem* system) {
    if (system == nullptr || graphics_ == nullptr || opening_) return false;
    GraphicsSystem* const old = graphics_;
    (void)simulator_->AttachGraphicsSystem(nullptr, View::kMain);
    sideViews_->Attach(nullptr, mainFrame_.get());
    (void)old->Shutdown();
    const Status opened = AttachGraphics(*system);
    if (opened.Good()) {
        graphics_ = system;
    } else {
        ShowError(opened);
        ShowError(_SetErrPosn(StatusCode::GraphicsSystemReplaced,
                              TextOf(old->Name().c_str()).toStdString()));
        if (const Status again = AttachGraphics(*old); !again.Good()) ShowError(again);
    }
    sideViews_->Attach(graphics_, mainFrame_.get());
    return opened.Good();
}

bool CTarnvaleApp::ChangeInputSystem(InputSystem* system) {
    if (system == nullptr) return false;
    if (input_ != nullptr) input_->Close();
    const Status opened = system->Open(mainView_);
    if (opened.Good()) {
        input_ = system;
        return true;
    }
    ShowError(opened);
    if (input_ != nullptr && !input_->Open(mainView_).Good()) input_ = nullptr;
    return false;
}

void CTarnvaleApp::FocusMainWindow() {
    mainFrame_->FocusView();
}

void CTarnvaleApp::OnViewClicked(bool left, bool /*right*/) {
    POITool* const tool = PoiTool();
    if (left && tool != nullptr && tool->isVisible()) tool->ShowMoved();
}

bool CTarnvaleApp::MayReplaceLandscape() {
    const QScopedValueRollback asking(asking_, true);
    return SaveAllModified();
}

bool CTarnvaleApp::SaveAllModified() {
    return MayLosePois(*simulator_, landscape_, mainFrame_.get());
}

void CTarnvaleApp::SetViewTitle(int view, const std::string& text) {
    sideViews_->SetTitle(view, text);
}

void CTarnvaleApp::ShowView(int view, bool show) {
    sideViews_->ShowView(view, show);
}

}  // namespace tarnvale

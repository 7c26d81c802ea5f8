#include "app/tarnvale.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QIcon>
#include <QMessageBox>
#include <QTimer>
#include <new>
#include <string_view>
#include <vector>

#include "app/apptext.h"
#include "app/mainframe.h"
#include "app/tarnvaleview.h"
#include "base/inistore.h"
#include "base/textres.h"
#include "graphics/opengl/openglgraphics.h"

namespace tarnvale {

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
    input_ = inputSystems_.Choose();
    _iniWrite("CleanClose", false);  // true again only at the end: a crash leaves its trace

    auto view = std::make_unique<CTarnvaleView>();
    mainView_ = view.get();
    mainFrame_ =
        std::make_unique<CMainFrame>(view.release());  // the container widget takes it over
    ConnectCommands();
    mainFrame_->show();
    mainFrame_->raise();

    simulator_ = std::make_unique<Simulator>();
    if (const Status status = simulator_->Initialize(this); !status.Good()) {
        ShowError(status);
        return false;
    }
    if (input_ != nullptr) {
        if (const Status status = input_->Open(mainView_); !status.Good()) {
            ShowError(status);
            return false;
        }
    }
    simulator_->SetProgress(&mainFrame_->Reporter());
    if (const Status status = OpenGraphics(); !status.Good()) {
        ShowError(status);
        return false;
    }
    mainFrame_->FocusView();
    RedrawView();

    std::vector<std::string> words;
    for (const QString& argument : arguments().mid(1)) words.push_back(argument.toStdString());
    const std::vector<std::string_view> views(words.begin(), words.end());
    const std::string line = JoinCommandLine(views);
    if (!line.empty()) {
        FILEPATH file;
        commandLineView_ = ParseCommandLine(line, file);
        // From the message loop, so that the window stands before a long load begins.
        if (!file.empty()) QTimer::singleShot(0, this, [this, file] { (void)OpenLandscape(file); });
    }
    return true;
}

Status CTarnvaleApp::OpenGraphics() {
    if (const Status status = graphics_->Open(mainView_); !status.Good()) return status;
    if (const Status status = simulator_->AttachGraphicsSystem(graphics_, View::kMain);
        !status.Good()) {
        return status;
    }
    std::string written;
    if (!_iniRead("GraphicsSystem", written) || written != graphics_->Name()) {
        _iniWrite("GraphicsSystem", graphics_->Name());
    }
    return StatusCode::Ok;
}

void CTarnvaleApp::ConnectCommands() {
    CMainFrame* const frame = mainFrame_.get();
    connect(frame, &CMainFrame::OpenDialogWanted, this, &CTarnvaleApp::AskForLandscape);
    connect(frame, &CMainFrame::OpenWanted, this, [this](const QString& file) {
        // After the menu or the drag has ended: opening handles events itself.
        QTimer::singleShot(0, this, [this, file] { (void)OpenLandscape(file.toStdString()); });
    });
    connect(frame, &CMainFrame::RecenterWanted, this, [this] { (void)simulator_->Recenter(true); });
    connect(frame, &CMainFrame::RestoreWanted, this, &CTarnvaleApp::RestoreView);
    connect(frame, &CMainFrame::Closed, this, [this] { quit_ = true; });
    connect(mainView_, &CTarnvaleView::WheelTurned, this,
            [this](int delta) { wheelDelta_ = delta; });
    connect(mainView_, &CTarnvaleView::RedrawNeeded, this, &CTarnvaleApp::RedrawView);
}

int CTarnvaleApp::Run() {
    constexpr qint64 kGap = 250;  // milliseconds; a dialog or a hidden window, not a slow frame
    QElapsedTimer messages;
    while (!quit_) {
        // Nothing to draw again and again without a landscape, and nothing to see in a hidden
        // window.
        const bool flying =
            simulator_->IsLandscapeReady(ReadyLevel::Terrain) && mainView_->isExposed();
        messages.start();
        processEvents(flying ? QEventLoop::AllEvents
                             : QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // Time without frames is no time of flight: the viewer must not leap by it.
        if (messages.elapsed() > kGap) simulator_->SkipTime();
        if (flying && !quit_) RunFrame();
    }
    return 0;
}

void CTarnvaleApp::ExitInstance() {
    if (input_ != nullptr) input_->Close();
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
    FlightInput record;
    (void)input_->ReadFlightInput(record, simulator_->ReadoutValues().instantFrameRate,
                                  wheelDelta_);
    wheelDelta_ = 0;
    if (record.screenShot) TakeScreenShot();
    mainFrame_->ShowAltitudeLock(record.altitudeLock);
    switch (record.lookFlags) {
        case 0:
            mainFrame_->ShowLookDirection(0);
            break;
        case LookFlag::kDown:
            mainFrame_->ShowLookDirection(5);
            break;
        case LookFlag::kRight:
            mainFrame_->ShowLookDirection(3);
            break;
        case LookFlag::kRear:
            mainFrame_->ShowLookDirection(1);
            break;
        case LookFlag::kLeft:
            mainFrame_->ShowLookDirection(2);
            break;
        case LookFlag::kUp:
            mainFrame_->ShowLookDirection(4);
            break;
        case LookFlag::kVertical:
            mainFrame_->ShowLookDirection(6);
            break;
        default:
            break;
    }
    if (!simulator_->Update(&record, true).Good()) quit_ = true;
}

void CTarnvaleApp::TakeScreenShot() {
    const QString file = QFileDialog::getSaveFileName(mainFrame_.get(), TextOf("screenshot"),
                                                      QString(), QStringLiteral("BMP (*.bmp)"));
    if (!file.isEmpty()) graphics_->RequestScreenShot(FILEPATH(file.toStdString()));
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
    mainFrame_->Reporter().Reset();

    const Status status = LoadLandscape(file);

    mainFrame_->Reporter().End();
    opening_ = false;
    mainFrame_->EnableCommands(true);
    const bool flying = simulator_->IsLandscapeReady(ReadyLevel::Terrain);
    mainFrame_->EnableLandscapeCommands(flying);
    if (!status.Good()) {
        if (status.Code() == StatusCode::FileNotFound) mainFrame_->RemoveRecentFile(file);
        if (status.Code() != StatusCode::Cancelled) ShowError(status);
        if (!flying) RedrawView();
        return status;
    }
    mainFrame_->AddRecentFile(file);
    mainFrame_->ShowLandscapeName(file);
    _iniWrite("SimulatorFilePath", file.string());
    if (commandLineView_.active && filesOpened_ == 1) RestoreView();
    mainFrame_->FocusView();
    return status;
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

void CTarnvaleApp::AskForLandscape() {
    std::string last;
    (void)_iniRead("SimulatorFilePath", last);
    const QString folder =
        last.empty() ? QDir::homePath() : QFileInfo(QString::fromStdString(last)).path();
    const QString file =
        QFileDialog::getOpenFileName(mainFrame_.get(), TextOf("open_landscape"), folder,
                                     TextOf("landscapes") + QStringLiteral(" (*.sim)"));
    if (!file.isEmpty()) (void)OpenLandscape(FILEPATH(file.toStdString()));
    mainFrame_->FocusView();
}

void CTarnvaleApp::RedrawView() {
    if (simulator_ == nullptr || opening_ || graphics_ == nullptr || !graphics_->IsOpen()) return;
    if (!simulator_->IsLandscapeReady(ReadyLevel::Terrain))
        (void)simulator_->Update(nullptr, false);
}

void CTarnvaleApp::ShowError(Status status) {
    QMessageBox::critical(mainFrame_.get(), QStringLiteral("Tarnvale"),
                          QString::fromStdString(GetErrString(status)));
}

bool CTarnvaleApp::ChangeGraphicsSystem(GraphicsSystem* system) {
    if (system == nullptr || graphics_ == nullptr) return false;
    GraphicsSystem* const old = graphics_;
    (void)simulator_->AttachGraphicsSystem(nullptr, View::kMain);
    (void)old->Shutdown();
    graphics_ = system;
    if (const Status status = OpenGraphics(); !status.Good()) {
        ShowError(status);
        graphics_ = old;
        if (OpenGraphics().Good())
            ShowError(_SetErrPosn(StatusCode::GraphicsSystemReplaced, old->Name()));
        return false;
    }
    return true;
}

}  // namespace tarnvale

#pragma once

#include <QApplication>
#include <QTranslator>
#include <array>
#include <memory>
#include <string>

#include "app/commandline.h"
#include "app/commands.h"
#include "base/status.h"
#include "base/types.h"
#include "base/views.h"
#include "graphics/graphicssystem.h"
#include "input/inputsystem.h"
#include "simulator/simulatr.h"

namespace tarnvale {

class AtlasHandover;
class CMainFrame;
class CTarnvaleView;
class InputAssignmentsPanel;
class OptionsDialog;
class POITool;
class ReadoutsWindow;
class SideViews;
class Tools;

/// The program: owns the simulator and everything that lives as long as the process, brings the
/// parts up in order, runs the message loop, and opens landscapes. Thread: the user interface's.
class CTarnvaleApp final : public QApplication, public SimulatorHost {
    Q_OBJECT

public:
    CTarnvaleApp(int& argc, char** argv);
    ~CTarnvaleApp() override;

    /// Makes window, simulator, input and graphics, then opens what the command line names.
    /// @return false if the program can't start; the user has been told why
    [[nodiscard]] bool InitInstance();
    /// The message loop: frames whenever no message waits; without a landscape it sleeps.
    /// @return the exit code
    int Run();
    void ExitInstance();

    /// Opens a landscape; tells the user where that fails, and the old one goes on flying.
    /// @return the status, Cancelled if the user stopped it
    Status OpenLandscape(const FILEPATH& file);

    // SimulatorHost
    void RunFrame() override;
    [[nodiscard]] bool ChangeGraphicsSystem(GraphicsSystem* system) override;
    void FocusMainWindow() override;
    [[nodiscard]] bool ChangeInputSystem(InputSystem* system) override;
    void SetViewTitle(int view, const std::string& text) override;
    void ShowView(int view, bool show) override;
    void RebuildMenus() override;
    void OnViewClicked(bool left, bool right) override;
    [[nodiscard]] bool MayReplaceLandscape() override;

    /// Asks about points of interest that aren't saved.
    /// @return false if the user cancels: nothing may be closed then
    [[nodiscard]] bool SaveAllModified();

private:
    // The start, step by step; each shows why it fails.
    [[nodiscard]] bool CheckSurroundings();
    [[nodiscard]] bool ChooseGraphics();
    [[nodiscard]] bool AskForGraphicsSystem(const std::string& stored);
    void MakeMainWindow();
    void MakeSideViews();
    void MakeToolWindows();
    void MakeTools();
    /// @return null while it isn't made
    [[nodiscard]] POITool* PoiTool() const;
    [[nodiscard]] bool OpenInput();
    [[nodiscard]] bool OpenGraphics();

    void ReplaceLostGraphics();
    void RecoverView();
    [[nodiscard]] Status AttachGraphics(GraphicsSystem& system);
    [[nodiscard]] Status LoadLandscape(const FILEPATH& file);
    void ConnectCommands();
    void ShowFlightState(const FlightInput& record);
    void ShowError(Status status);
    /// Draws once where no frame follows by itself.
    void RedrawView();
    /// Whether a dialog or menu runs a message loop of its own, so that no frame follows.
    [[nodiscard]] bool BehindDialog() const;
    /// One frame without flight.
    void DrawBehindDialog();

    // Commands
    void OnCommand(Command command, bool checked);
    void UpdateChecks();
    void ToggleWireframe();
    void ToggleTexture(int layer, int texture);
    void ChooseLanguage(const QString& language);
    void ChooseTheme(const QString& theme);
    /// @return whether the tool is the one in force now
    bool SelectTool(ToolMode mode);
    void AskForLandscape();
    void OfferAtlasTool();
    void ListAtlasesOf(const FILEPATH& landscape);
    void AskForAtlas();
    void OpenOptions();
    void OpenLayerOffsets();
    void TakeScreenShot(int view);
    void TellOfScreenShots();
    void RestoreView();
    void ShowAbout();

    QTranslator toolkitTexts_;
    // Before whatever draws into it, so that it outlives that.
    std::unique_ptr<CMainFrame> mainFrame_;
    GraphicsSystemRegistry graphicsSystems_;
    InputSystemRegistry inputSystems_;
    GraphicsSystem* graphics_ = nullptr;  // one of graphicsSystems_
    InputSystem* input_ = nullptr;        // one of inputSystems_, or null: flight without controls
    std::unique_ptr<Simulator> simulator_;
    std::unique_ptr<SideViews> sideViews_;
    std::unique_ptr<ReadoutsWindow> readouts_;
    std::unique_ptr<AtlasHandover> atlases_;
    std::unique_ptr<Tools> tools_;
    std::unique_ptr<OptionsDialog> options_;  // made when first asked for
    std::unique_ptr<InputAssignmentsPanel> assignments_;
    FILEPATH landscape_;                 // the open one
    CTarnvaleView* mainView_ = nullptr;  // owned by the main frame
    CommandLineView commandLineView_;
    int filesOpened_ = 0;
    std::array<FILEPATH, View::kCount> pictureFiles_;  // of the last screen shot of each view
    int wheelDelta_ = 0;  // of the last wheel message; each frame clears it
    bool quit_ = false;
    bool opening_ = false;
    bool asking_ = false;        // while opening: the old landscape is whole yet
    bool lossTold_ = false;      // that the device couldn't be opened again
    bool inFrame_ = false;       // so that a message box of a frame draws none inside it
    bool redrawPosted_ = false;  // for behind a dialog
};

}  // namespace tarnvale

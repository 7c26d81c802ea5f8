#pragma once

namespace tarnvale {

/// Commands of menus and tool palette. The numbers are stable: whoever drives the program from
/// outside finds an action by them or by its object name, whatever the language.
enum class Command : int {
    FileOpen = 57601,
    FileRecent = 57616,  ///< and the three that follow
    FileExit = 57665,
    FileChooseAtlas = 61203,
    ViewPOIs = 61204,
    ViewStatusBar = 59393,
    ViewSky = 32770,
    ViewReadouts = 32771,
    ViewOptions = 32772,
    ViewRecenter = 32773,
    ViewControls = 32774,
    ViewRestore = 32775,
    ViewWireframe = 32777,
    WindowLeft = 32778,  ///< to WindowMap in the order of the views
    WindowRight = 32779,
    WindowRear = 32780,
    WindowUp = 32781,
    WindowDown = 32782,
    WindowVertical = 32783,
    WindowMap = 32784,
    WindowCustom = 32786,
    LayerTexture = 32868,  ///< and 31 more: textures of all layers in the order of the file
    LayerOffsets = 32932,
    ToolViewpoint = 32967,  ///< to ToolAtlas in the order of the tool modes
    ToolPointOverlay = 32968,
    ToolPOI = 32969,
    ToolAtlas = 32970,
    // Beyond the numbers above, for this desktop.
    FileScreenShot = 33100,
    ViewFullScreen = 33101,
    HelpManual = 33102,
    HelpAbout = 33103,
};

}  // namespace tarnvale

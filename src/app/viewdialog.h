#pragma once

#include <QWidget>
#include <memory>
#include <string>

#include "base/status.h"
#include "graphics/graphicssystem.h"
#include "simulator/simulatr.h"

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QMenu;
class QPushButton;

namespace tarnvale {

class CTarnvaleView;

/// The window of a side view: a strip of controls and the picture, drawn by a graphics system of
/// its own. Closing asks its owner, who takes it apart. Thread: the user interface's.
class ViewWindow final : public QWidget {
    Q_OBJECT

public:
    /// @param view    0 to 15
    /// @param keys    whose key sink gets the keys typed here
    /// @param parent  the window that this one stays above
    /// `simulator` and `keys` are on loan for the window's life.
    ViewWindow(int view, Simulator& simulator, CTarnvaleView& keys, QWidget* parent);
    ~ViewWindow() override;

    /// Makes a system of the prototype's kind and opens it on the picture. Where that fails the
    /// window says why in the picture's place, and nothing else suffers.
    void OpenGraphics(const GraphicsSystem& prototype);
    /// Where the driver took the device away and it couldn't be opened again, the window says so in
    /// the picture's place, and frames try no more. Shown anew, the view opens as at first.
    void TellLoss();
    /// Takes the view out of the frame and frees what its pictures took.
    void CloseGraphics();

    /// @param text  instead of the view's own name; empty: that name again
    void SetTitle(const QString& text);
    /// The textures of the open landscape, for this view.
    void RebuildLayerList();
    /// While off, the strip does nothing and the window can't be closed by the user.
    void EnableCommands(bool enable);

    [[nodiscard]] int Index() const noexcept { return view_; }
    [[nodiscard]] bool HasGraphics() const noexcept { return graphics_ != nullptr; }
    [[nodiscard]] CTarnvaleView& Picture() const noexcept { return *picture_; }
    void FocusPicture();

    /// Under which key the window's place is kept, and whether it was shown. Made of the view's key
    /// word, not of its title: a title changes with the language, and what is kept must not.
    [[nodiscard]] static std::string PlacementKey(int view);
    /// Of views 0 to 7; views of points of interest aren't opened again.
    [[nodiscard]] static std::string ShowKey(int view);

signals:
    /// The user closed the window, which is hidden by then.
    void Closed(int view);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;

private:
    void BuildStrip();
    void BuildCustomFields(QGridLayout* grid);
    QPushButton* AddButton(QHBoxLayout* row, const char* key, const char* name);
    void AddZoom(QHBoxLayout* row, const char* key, const char* name, ViewZoom zoom);
    void ShowLayerChecks();
    void ShowFailure(Status status);

    int view_;
    Simulator& simulator_;
    std::unique_ptr<GraphicsSystem> graphics_;  // null while closed
    CTarnvaleView* picture_;                    // owned by its container
    QWidget* container_;
    QWidget* strip_;
    QLabel* failure_;
    QPushButton* layers_ = nullptr;
    QMenu* layerMenu_;
    bool commandsOn_ = true;
};

}  // namespace tarnvale

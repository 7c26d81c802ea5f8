#pragma once

#include <QWidget>
#include <functional>

#include "base/settingstrial.h"
#include "graphics/graphicssystem.h"
#include "input/inputsystem.h"
#include "simulator/simulatr.h"
#include "simulator/userunits.h"

class QString;

namespace tarnvale {

/// What the options reach. All on loan for the dialog's life.
struct OptionsContext {
    Simulator& simulator;
    GraphicsSystemRegistry& graphicsSystems;
    InputSystem* input = nullptr;  ///< in use; may be null
    /// Draws by another system from now on; false if the one in use stays.
    std::function<bool(GraphicsSystem*)> changeGraphicsSystem;
    std::function<UserUnit(UnitUse)> unit = UserUnitFor;
    /// What is drawn at all: options of things that aren't there yet can be seen but not used.
    bool hasOverlays = false;
};

/// One page of the options dialog. What can be seen in the view goes through the trial as soon as
/// it is changed; the rest waits for Keep.
class OptionPage : public QWidget {
    Q_OBJECT

public:
    OptionPage(const OptionsContext& context, SettingsTrial& trial)
        : context_(context), trial_(trial) {}

    /// Shows what is in force. Before each time that the dialog opens.
    virtual void Load() = 0;
    /// Puts in force and stores what isn't in the trial. The dialog keeps the trial itself.
    virtual void Keep() {}
    /// Brings back what was changed outside the trial.
    virtual void Revert() {}
    /// Another landscape is open, which brought values of its own.
    virtual void LandscapeOpened() {}

signals:
    /// Something that can be seen in the view has changed.
    void Tried();

protected:
    template <typename Target, typename T>
    void Try(Target& target, T value) {
        trial_.Try(target, value);
        emit Tried();
    }
    /// The tooltip says why a control can't be used.
    static void TurnOff(QWidget* control);

    const OptionsContext& context_;
    SettingsTrial& trial_;
};

}  // namespace tarnvale

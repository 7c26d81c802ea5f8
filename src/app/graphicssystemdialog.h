#pragma once

#include <QDialog>
#include <string>
#include <utility>
#include <vector>

class QCheckBox;
class QRadioButton;

namespace tarnvale {

class GraphicsSystem;
class GraphicsSystemRegistry;

/// Asks at the start which graphics system shall draw. Run it by exec(): there are no frames yet.
/// OK stores the choice. Thread: the user interface's.
class GraphicsSystemDialog final : public QDialog {
    Q_OBJECT

public:
    /// @param systems    on loan; those available are offered
    /// @param stored     name in the settings, compared without regard to case; the first system
    ///                   is offered where it names none
    /// @param alwaysAsk  first state of the check box
    GraphicsSystemDialog(const GraphicsSystemRegistry& systems, const std::string& stored,
                         bool alwaysAsk, QWidget* parent = nullptr);

    /// The system chosen, which the registry owns; null if none is available.
    [[nodiscard]] GraphicsSystem* Chosen() const;
    /// The check box, which counts however the dialog ended.
    [[nodiscard]] bool AlwaysAsk() const;

public slots:
    void accept() override;

private:
    std::vector<std::pair<QRadioButton*, GraphicsSystem*>> choices_;
    QCheckBox* alwaysAsk_;
};

}  // namespace tarnvale

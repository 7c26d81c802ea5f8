#pragma once

#include <QDialog>
#include <initializer_list>
#include <vector>

#include "app/optionpage.h"
#include "base/settingstrial.h"

class QTabWidget;

namespace tarnvale {

class GraphicsPage;

/// All options, in pages: graphics, effects, sky, terrain, controls, map view, exaggeration. The
/// frames go on while it is open, and what can be seen changes in the view at once; Cancel brings
/// it back, OK and Apply keep it. Not modal. Thread: the user interface's.
class OptionsDialog final : public QDialog {
    Q_OBJECT

public:
    /// @param context  what it holds on loan must outlive the dialog
    explicit OptionsDialog(OptionsContext context, QWidget* parent = nullptr);
    /// Undoes what was tried but not kept, as Cancel does.
    ~OptionsDialog() override;

    /// Call it after a landscape has opened, which brings some values of its own.
    void LandscapeOpened();
    [[nodiscard]] OptionPage* Page(int index) const { return pages_.at(index); }

signals:
    /// What the views show may have changed: draw one frame where none follows by itself.
    void settingsChanged();

public slots:
    /// Shows the values in force; brings the dialog to the front if it is open already.
    void open() override;
    void accept() override;
    void reject() override;

private:
    template <typename Page>
    Page* Add(const char* titleKey);
    /// Each of the keys goes on by `step` pages, round and round, from any control.
    void TurnPagesBy(int step, std::initializer_list<QKeyCombination> keys);
    void FinishTyping();
    void Keep();
    void Revert();
    void FitToScreen();

    OptionsContext context_;
    SettingsTrial trial_;
    QTabWidget* tabs_;
    std::vector<OptionPage*> pages_;  // owned by the tabs
    GraphicsPage* graphics_;
};

}  // namespace tarnvale

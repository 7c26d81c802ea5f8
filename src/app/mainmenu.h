#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "app/commands.h"
#include "base/types.h"

class QAction;
class QActionGroup;
class QMainWindow;
class QMenu;

namespace tarnvale {

/// What the Layer menu shows of one terrain.
struct LayerEntry {
    struct Texture {
        QString name;
        bool visible = false;
    };
    QString name;
    std::vector<Texture> textures;
};

/// The menu bar, built from text keys. Commands leave by signals; checks and enabling are set from
/// outside, for a menu that opens after ChecksNeeded. Actions belong to the window too, so that
/// their shortcuts work while the bar is hidden. Thread: the user interface's.
class MainMenu final : public QObject {
    Q_OBJECT

public:
    static constexpr std::size_t kRecentFiles = 4;
    static constexpr int kTextureEntries = 32;

    /// @param frame  gets the menu bar and owns this
    explicit MainMenu(QMainWindow* frame);

    void Enable(Command command, bool on);
    void Check(Command command, bool on);
    /// The file's textures, one sub-menu a terrain.
    void RebuildLayers(const std::vector<LayerEntry>& layers);
    void ShowRecentFiles(const std::vector<std::string>& files);
    /// @param language, theme  the settings in force; empty follows the system
    void ShowAppearance(const QString& language, const QString& theme);
    /// While off, neither menus nor shortcuts do anything.
    void Lock(bool locked);
    [[nodiscard]] QAction* Action(Command command) const;

signals:
    void Chosen(Command command, bool checked);
    void OpenWanted(const QString& file);
    void TextureToggled(int layer, int texture);
    void LanguageChosen(const QString& language);
    void ThemeChosen(const QString& theme);
    void ChecksNeeded();

private:
    QMenu* AddMenu(const char* key, const char* name);
    QAction* Add(QMenu* menu, Command command, const char* name, const char* key,
                 bool checkable = false);
    void BuildFile();
    void BuildView();
    void BuildWindow();
    void BuildRest();
    QActionGroup* AddChoices(QMenu* menu, const std::vector<std::pair<QString, QString>>& choices,
                             const char* name, void (MainMenu::*chosen)(const QString&));

    QMainWindow* frame_;
    std::map<Command, QAction*> actions_;
    std::map<Command, bool> enabled_;  // as asked for, while locked too
    std::array<QAction*, kRecentFiles> recent_{};
    QMenu* layers_ = nullptr;
    QAction* layersEnd_ = nullptr;     // generated entries stand before it
    std::vector<QAction*> generated_;  // of the layer menu
    QActionGroup *languages_ = nullptr, *themes_ = nullptr;
    bool locked_ = false;
};

}  // namespace tarnvale

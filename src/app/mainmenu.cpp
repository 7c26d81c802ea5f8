#include "app/mainmenu.h"

#include <QAction>
#include <QActionGroup>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

#include "qtbase/apptext.h"

namespace tarnvale {

namespace {

/// A text that isn't ours, such as a file's name: its "&" marks no letter.
QString Literal(QString text) {
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

MainMenu::MainMenu(QMainWindow* frame) : QObject(frame), frame_(frame) {
    BuildFile();
    BuildView();
    BuildWindow();
    BuildRest();
    RebuildLayers({});
    // From side views and tool windows too. Keys alone belong to whatever has the focus there.
    for (const auto& [command, action] : actions_) {
        const QKeySequence keys = action->shortcut();
        if (!keys.isEmpty() && (keys[0].keyboardModifiers() != Qt::NoModifier ||
                                keys[0].key() == Qt::Key_F1 || keys[0].key() == Qt::Key_F11)) {
            action->setShortcutContext(Qt::ApplicationShortcut);
        }
    }
}

QMenu* MainMenu::AddMenu(const char* key, const char* name) {
    QMenu* const menu = frame_->menuBar()->addMenu(TextOf(key));
    menu->setObjectName(QLatin1String(name));
    menu->setToolTipsVisible(true);
    connect(menu, &QMenu::aboutToShow, this, &MainMenu::ChecksNeeded);
    return menu;
}

QAction* MainMenu::Add(QMenu* menu, Command command, const char* name, const char* key,
                       bool checkable) {
    QAction* const action = menu->addAction(TextOf(key));
    action->setObjectName(QLatin1String(name));
    action->setData(static_cast<int>(command));
    action->setCheckable(checkable);
    connect(action, &QAction::triggered, this,
            [this, command](bool checked) { emit Chosen(command, checked); });
    frame_->addAction(action);
    actions_[command] = action;
    enabled_[command] = true;
    return action;
}

void MainMenu::BuildFile() {
    QMenu* const file = AddMenu("file", "File");
    Add(file, Command::FileOpen, "FileOpen", "open_")->setShortcut(QKeySequence::Open);
    Add(file, Command::FileChooseAtlas, "FileChooseAtlas", "choose_atlas_");
    Add(file, Command::FileScreenShot, "FileScreenShot", "save_picture_")
        ->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_S);
    file->addSeparator();
    for (std::size_t i = 0; i < kRecentFiles; ++i) {
        QAction* const action = file->addAction(QString());
        action->setObjectName(QStringLiteral("RecentFile%1").arg(i + 1));
        connect(action, &QAction::triggered, this,
                [this, action] { emit OpenWanted(action->data().toString()); });
        recent_[i] = action;
    }
    file->addSeparator();
    Add(file, Command::FileExit, "FileExit", "exit")->setShortcut(QKeySequence::Quit);
}

void MainMenu::BuildView() {
    QMenu* const view = AddMenu("view", "View");
    Add(view, Command::ViewStatusBar, "ViewStatusBar", "status_bar", true);
    Add(view, Command::ViewReadouts, "ViewReadouts", "readouts_", true)
        ->setShortcut(Qt::CTRL | Qt::Key_R);
    Add(view, Command::ViewControls, "ViewControls", "controls_", true)
        ->setShortcut(Qt::CTRL | Qt::Key_K);
    Add(view, Command::ViewWireframe, "ViewWireframe", "wireframe", true)
        ->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_W);
    Add(view, Command::ViewSky, "ViewSky", "sky", true);
    Add(view, Command::ViewFullScreen, "ViewFullScreen", "full_screen", true)
        ->setShortcut(Qt::Key_F11);
    view->addSeparator();
    Add(view, Command::ViewRecenter, "ViewRecenter", "recenter")->setShortcut(Qt::Key_Backspace);
    Add(view, Command::ViewRestore, "ViewRestore", "restore_initial_viewpoint")
        ->setShortcut(Qt::CTRL | Qt::Key_Backspace);
    view->addSeparator();
    languages_ =
        AddChoices(view->addMenu(TextOf("language")),
                   {{QString(), TextOf("as_the_system")}, {"en", "English"}, {"de", "Deutsch"}},
                   "Language", &MainMenu::LanguageChosen);
    themes_ = AddChoices(view->addMenu(TextOf("theme")),
                         {{QString(), TextOf("as_the_system")},
                          {"light", TextOf("light")},
                          {"dark", TextOf("dark")}},
                         "Theme", &MainMenu::ThemeChosen);
    Add(view, Command::ViewOptions, "ViewOptions", "options_")
        ->setShortcut(Qt::CTRL | Qt::Key_Comma);
}

void MainMenu::BuildWindow() {
    QMenu* const window = AddMenu("window", "Window");
    struct Entry {
        Command command;
        const char *name, *key;
    };
    static constexpr std::array<Entry, 8> kEntries{{
        {Command::WindowMap, "WindowMap", "map_"},
        {Command::WindowLeft, "WindowLeft", "left_"},
        {Command::WindowRight, "WindowRight", "right_"},
        {Command::WindowRear, "WindowRear", "rear_"},
        {Command::WindowUp, "WindowUp", "up_"},
        {Command::WindowDown, "WindowDown", "down_"},
        {Command::WindowVertical, "WindowVertical", "vertical_"},
        {Command::WindowCustom, "WindowCustom", "custom_"},
    }};
    int digit = 0;
    for (const Entry& entry : kEntries) {
        Add(window, entry.command, entry.name, entry.key, true)
            ->setShortcut(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + digit++));
    }
    window->addSeparator();
    Add(window, Command::ViewPOIs, "ViewPOIs", "points_of_interest", true);
    window->addSeparator();
    // Tables come with the overlays that have them; until then the sub-menu is empty.
    QMenu* const tables = window->addMenu(TextOf("view_table_"));
    tables->setObjectName(QStringLiteral("ViewTable"));
    tables->setEnabled(false);
}

void MainMenu::BuildRest() {
    layers_ = AddMenu("layer", "Layer");
    layersEnd_ = layers_->addSeparator();
    Add(layers_, Command::LayerOffsets, "LayerOffsets", "offsets_");

    AddMenu("script", "Script")->setEnabled(false);  // until a landscape brings scripts

    QMenu* const help = AddMenu("help", "Help");
    Add(help, Command::HelpManual, "HelpManual", "manual")->setShortcut(QKeySequence::HelpContents);
    Add(help, Command::HelpAbout, "HelpAbout", "about_");
}

QActionGroup* MainMenu::AddChoices(QMenu* menu,
                                   const std::vector<std::pair<QString, QString>>& choices,
                                   const char* name, void (MainMenu::*chosen)(const QString&)) {
    menu->setObjectName(QLatin1String(name));
    auto* const group = new QActionGroup(menu);
    for (const auto& [value, text] : choices) {
        QAction* const action = group->addAction(text);
        action->setObjectName(QLatin1String(name) + value);
        action->setData(value);
        action->setCheckable(true);
        menu->addAction(action);
    }
    connect(group, &QActionGroup::triggered, this, [this, chosen](const QAction* action) {
        emit(this->*chosen)(action->data().toString());
    });
    return group;
}

void MainMenu::ShowAppearance(const QString& language, const QString& theme) {
    const auto check = [](const QActionGroup* group, const QString& value) {
        for (QAction* const action : group->actions()) {
            action->setChecked(action->data().toString() == value);
        }
    };
    check(languages_, language);
    check(themes_, theme);
}

QAction* MainMenu::Action(Command command) const {
    const auto found = actions_.find(command);
    return found == actions_.end() ? nullptr : found->second;
}

void MainMenu::Enable(Command command, bool on) {
    enabled_[command] = on;
    if (QAction* const action = Action(command)) action->setEnabled(on && !locked_);
}

void MainMenu::Check(Command command, bool on) {
    if (QAction* const action = Action(command)) action->setChecked(on);
}

void MainMenu::Lock(bool locked) {
    locked_ = locked;
    frame_->menuBar()->setEnabled(!locked);
    for (const auto& [command, action] : actions_) action->setEnabled(!locked && enabled_[command]);
}

void MainMenu::RebuildLayers(const std::vector<LayerEntry>& layers) {
    for (QAction* const action : generated_) {
        layers_->removeAction(action);
        if (QMenu* const menu = action->menu())
            menu->deleteLater();
        else
            action->deleteLater();
    }
    generated_.clear();
    int number = 0;
    for (std::size_t i = 0; i < layers.size() && number < kTextureEntries; ++i) {
        auto* const menu = new QMenu(Literal(layers[i].name), layers_);
        menu->setObjectName(QStringLiteral("Layer%1").arg(i));
        for (std::size_t j = 0; j < layers[i].textures.size() && number < kTextureEntries; ++j) {
            const LayerEntry::Texture& texture = layers[i].textures[j];
            QAction* const action = menu->addAction(Literal(texture.name));
            action->setObjectName(QStringLiteral("LayerTexture%1").arg(number));
            action->setData(static_cast<int>(Command::LayerTexture) + number);
            action->setCheckable(true);
            action->setChecked(texture.visible);
            connect(action, &QAction::triggered, this,
                    [this, layer = static_cast<int>(i), index = static_cast<int>(j)] {
                        emit TextureToggled(layer, index);
                    });
            ++number;
        }
        layers_->insertMenu(layersEnd_, menu);
        generated_.push_back(menu->menuAction());
    }
    layersEnd_->setVisible(!generated_.empty());
    Enable(Command::LayerOffsets, !layers.empty());
}

void MainMenu::ShowRecentFiles(const std::vector<std::string>& files) {
    for (std::size_t i = 0; i < recent_.size(); ++i) {
        QAction* const action = recent_[i];
        if (i >= files.size()) {
            // An empty list shows one disabled entry, so that one sees what will stand here.
            action->setVisible(i == 0);
            action->setEnabled(false);
            action->setText(TextOf("recent_file"));
            continue;
        }
        const QString path = QString::fromStdString(files[i]);
        action->setText(
            QStringLiteral("&%1 %2").arg(i + 1).arg(Literal(QFileInfo(path).fileName())));
        action->setToolTip(path);
        action->setStatusTip(path);
        action->setData(path);
        action->setVisible(true);
        action->setEnabled(true);
    }
}

}  // namespace tarnvale

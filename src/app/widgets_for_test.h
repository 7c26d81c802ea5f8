#pragma once

#include <QAbstractButton>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/numberfield.h"
#include "base/inistore.h"
#include "graphics/quietgraphics_for_test.h"

// What the tests of dialogs share.
namespace tarnvale::widgets {

/// A settings file that isn't there yet. One per test.
inline void NewStore() {
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    const FILEPATH store = FILEPATH(TARNVALE_TEST_TEMP) /
                           (std::string(test->test_suite_name()) + "." + test->name() + ".ini");
    std::filesystem::remove(store);
    ::setenv("TARNVALE_INI", store.c_str(), 1);
}

/// @return whether the settings file has the key, with the value in `value`
template <typename T>
[[nodiscard]] bool Stored(const char* key, T& value) {
    return _iniRead(key, value);
}
[[nodiscard]] inline bool IsStored(const char* key) {
    std::string value;
    return _iniRead(key, value);
}

template <typename Widget>
Widget& Get(const QObject& parent, const char* name) {
    auto* const found = parent.findChild<Widget*>(QLatin1String(name));
    if (found == nullptr) throw std::runtime_error(std::string("no control ") + name);
    return *found;
}

/// Types over what a field shows, as a user does; not complete until another control, Enter or a
/// button follows.
inline void Type(NumberField& field, const char* text) {
    field.setFocus();
    field.selectAll();
    QTest::keyClicks(&field, QLatin1String(text));
}
inline void TypeAndEnter(NumberField& field, const char* text) {
    Type(field, text);
    QTest::keyClick(&field, Qt::Key_Tab);
}

inline void Press(const QDialog& dialog, QDialogButtonBox::StandardButton which) {
    QTest::mouseClick(dialog.findChild<QDialogButtonBox*>()->button(which), Qt::LeftButton);
}

/// A graphics system that is only there, with a list of its own on its options page.
class TestSystem final : public QuietGraphics {
public:
    explicit TestSystem(std::string name, bool ownControls = false)
        : QuietGraphics(std::move(name), 72510), ownControls_(ownControls) {}
    void AddOptionControls(OptionPanel& panel) override {
        if (ownControls_) panel.AddList("adapter_c", {"first", "second"}, 0);
    }
    void ShowOptionControls(OptionPanel& panel, bool show) override {
        if (!ownControls_) return;
        for (const char* key : {"adapter_c", "antialias", "smooth_texture"}) panel.Show(key, show);
    }
    void ApplyOptionControls(const OptionPanel& panel) override {
        if (ownControls_) adapter = panel.Selected("adapter_c");
    }

    int adapter = -1;

private:
    bool ownControls_;
};

}  // namespace tarnvale::widgets

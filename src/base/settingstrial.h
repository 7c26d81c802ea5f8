#pragma once

#include <algorithm>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/settings.h"

namespace tarnvale {

/// Settings tried out before they are kept, as behind a dialog with a cancel button: the values
/// hold at once, the store hears of them only when they are kept. Settings that were never tried
/// stay out of it, so that whoever else changes one meanwhile isn't undone.
/// Thread: main thread only.
class SettingsTrial {
public:
    template <typename T>
    void Try(Setting<T>& setting, std::type_identity_t<T> value) {
        if (!Knows(&setting)) {
            entries_.push_back(
                {&setting,
                 [&setting, before = setting.Get()] {
                     if (setting.Get() != before) setting.Set(setting.Get());
                 },
                 [&setting, before = setting.Get()] { setting.SetUnsaved(before); }});
        }
        setting.SetUnsaved(std::move(value));
    }
    /// A value that is kept in the process only. @param value  on loan until Keep or Revert
    void Try(float& value, float tried) {
        if (!Knows(&value)) {
            entries_.push_back({&value, [] {}, [&value, before = value] { value = before; }});
        }
        value = tried;
    }

    /// Writes each tried setting that differs from what it was before; the trial starts anew.
    void Keep() { EndWith(&Entry::keep); }
    /// Brings back what was before; the trial starts anew.
    void Revert() { EndWith(&Entry::revert); }
    /// A tried value has got another from elsewhere, which shall stay.
    void Forget(const void* what) {
        std::erase_if(entries_, [what](const Entry& entry) { return entry.what == what; });
    }

private:
    struct Entry {
        const void* what;
        std::function<void()> keep, revert;
    };

    [[nodiscard]] bool Knows(const void* what) const {
        return std::ranges::find(entries_, what, &Entry::what) != entries_.end();
    }
    void EndWith(std::function<void()> Entry::*end) {
        for (const Entry& entry : std::exchange(entries_, {})) (entry.*end)();
    }

    std::vector<Entry> entries_;
};

}  // namespace tarnvale

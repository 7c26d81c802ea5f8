#include "base/inistore.h"

#include <cstdlib>
#include <exception>
#include <string_view>
#include <utility>

#include "base/filetext.h"
#include "base/initext.h"
#include "base/places.h"
#include "base/valuetext.h"

namespace tarnvale {

namespace {

constexpr std::size_t kLongestStore = 4'000'000;  // bytes; a longer file isn't a store of ours
std::string_view OrEmpty(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

template <typename T>
bool Read(const char* key, T& value, const char* section) try {
    std::string text;
    if (ReadFileText(IniPath(), kLongestStore, text) != FileText::Read) return false;
    const auto found =
        IniText(std::move(text), IniForm::Escaped).Find(OrEmpty(section), OrEmpty(key));
    return found && ParseValue(*found, value);
} catch (const std::exception&) {
    return false;
}

template <typename T>
void Write(const char* key, const T& value, const char* section) try {
    const std::string formatted = FormatValue(value);
    const bool changed = ChangeFileText(IniPath(), kLongestStore, [&](std::string& text) {
        IniText store(std::move(text), IniForm::Escaped);
        const bool put = store.Put(OrEmpty(section), OrEmpty(key), formatted);
        text = store.Text();
        return put;
    });
    static_cast<void>(changed);
} catch (const std::exception&) {
    // The value holds for the run all the same.
}

}  // namespace

FILEPATH IniPath() {
    if (const auto own = OrEmpty(std::getenv("TARNVALE_INI")); !own.empty()) return FILEPATH(own);
    FILEPATH folder(OrEmpty(std::getenv("XDG_CONFIG_HOME")));
    if (!folder.is_absolute()) {
        folder = HomeFolder();
        if (folder.empty()) return {};
        folder /= ".config";
    }
    return folder / "tarnvale" / "tarnvale.ini";
}

bool _iniRead(const char* key, std::int32_t& value, const char* section) {
    return Read(key, value, section);
}
bool _iniRead(const char* key, float& value, const char* section) {
    return Read(key, value, section);
}
bool _iniRead(const char* key, double& value, const char* section) {
    return Read(key, value, section);
}
bool _iniRead(const char* key, bool& value, const char* section) {
    return Read(key, value, section);
}
bool _iniRead(const char* key, COLOR& value, const char* section) {
    return Read(key, value, section);
}
bool _iniRead(const char* key, std::string& value, const char* section) {
    return Read(key, value, section);
}

void _iniWrite(const char* key, std::int32_t value, const char* section) {
    Write(key, value, section);
}
void _iniWrite(const char* key, float value, const char* section) {
    Write(key, value, section);
}
void _iniWrite(const char* key, double value, const char* section) {
    Write(key, value, section);
}
void _iniWrite(const char* key, bool value, const char* section) {
    Write(key, value, section);
}
void _iniWrite(const char* key, const COLOR& value, const char* section) {
    Write(key, value, section);
}
void _iniWrite(const char* key, const std::string& value, const char* section) {
    Write(key, value, section);
}

}  // namespace tarnvale

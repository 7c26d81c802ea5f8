#include "base/textres.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>

#include "base/filetext.h"
#include "base/inistore.h"
#include "base/places.h"
#include "base/utf8.h"
#include "base/valuetext.h"

namespace tarnvale {

namespace {

constexpr std::size_t kLongestResource = 4'000'000;  // bytes

using Texts = std::map<std::string, std::string, std::less<>>;

struct Loaded {
    std::mutex lock;  // guards texts
    std::optional<Texts> texts;
};

Loaded& TheTexts() {
    static Loaded loaded;
    return loaded;
}

// "\n" in a text is a line break, any other escaped sign stands for itself.
std::string WithBreaks(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 1 < text.size();
        if (escape) ++i;
        out += escape && text[i] == 'n' ? '\n' : text[i];
    }
    return out;
}

void AddTexts(const FILEPATH& path, Texts& texts) {
    std::string bytes;
    if (ReadFileText(path, kLongestResource, bytes) != FileText::Read) return;
    std::string_view rest = bytes;
    if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        line = Trimmed(line);
        const auto equals = line.find('=');
        if (line.starts_with('#') || equals == std::string_view::npos || !IsUtf8(line)) continue;
        texts.insert_or_assign(std::string(Trimmed(line.substr(0, equals))),
                               WithBreaks(Trimmed(line.substr(equals + 1))));
    }
}

Texts Load() {
    const FILEPATH folder = FILEPATH(TEXTRES::ResourceFolder()) / "texts";
    Texts texts;
    AddTexts(folder / "en.txt", texts);  // what a translation lacks shows in English
    const std::string language = TEXTRES::Language();
    if (language.find_first_of("/\\.") != std::string::npos) return texts;
    const std::string general = language.substr(0, language.find('_'));
    if (!general.empty() && general != "en") AddTexts(folder / (general + ".txt"), texts);
    if (language != general) AddTexts(folder / (language + ".txt"), texts);
    return texts;
}

}  // namespace

std::string TEXTRES::Text(std::string_view key) {
    Loaded& loaded = TheTexts();
    const std::scoped_lock hold(loaded.lock);
    if (!loaded.texts) loaded.texts = Load();
    const auto found = loaded.texts->find(key);
    return found != loaded.texts->end() ? found->second : std::string(key);
}

std::string TEXTRES::Language() {
    std::string chosen;
    if (_iniRead("Language", chosen) && !chosen.empty()) return chosen;
    // After the habit of the C library: "de_AT.UTF-8" asks for de_AT, then de.
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            const std::string_view text = value;
            return std::string(text.substr(0, text.find_first_of(".@")));
        }
    }
    return {};
}

std::string TEXTRES::ResourceFolder() {
    FILEPATH candidates[3];
    if (const char* own = std::getenv("TARNVALE_RESOURCES"); own != nullptr) candidates[0] = own;
    if (const FILEPATH program = ProgramFolder(); !program.empty()) {
        candidates[1] = program.parent_path() / "share" / "tarnvale";
    }
    candidates[2] = TARNVALE_SOURCE_RESOURCES;
    for (const FILEPATH& folder : candidates) {
        std::error_code failed;
        if (!folder.empty() && std::filesystem::is_directory(folder, failed))
            return folder.string();
    }
    return {};
}

void TEXTRES::Terminate() {
    Loaded& loaded = TheTexts();
    const std::scoped_lock hold(loaded.lock);
    loaded.texts.reset();
}

}  // namespace tarnvale

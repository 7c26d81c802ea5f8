#include "base/inistore.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string_view>
#include <vector>

#include "base/filetext.h"
#include "base/places.h"
#include "base/utf8.h"
#include "base/valuetext.h"

namespace tarnvale {

namespace {

constexpr std::size_t kLongestStore = 4'000'000;  // bytes; a longer file isn't a store of ours
constexpr std::string_view kHexDigits = "0123456789abcdef";

std::string_view OrEmpty(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// Names and values may hold any bytes at all. What would break a line, end a name or vanish with
// the blanks at an end is written as a backslash and a sign; text that isn't UTF-8 byte by byte.
std::string Escaped(std::string_view text, std::string_view special) {
    const bool utf8 = IsUtf8(text);
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool atEnd = i == 0 || i + 1 == text.size();
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\\' || special.find(c) != std::string_view::npos) {
            out += {'\\', c};
        } else if (IsControl(c) || (c == ' ' && atEnd) || (!utf8 && (c & 0x80) != 0)) {
            const auto byte = static_cast<unsigned char>(c);
            out += {'\\', 'x', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
        } else {
            out += c;
        }
    }
    return out;
}

std::optional<std::string> Unescaped(std::string_view text) {
    if (!IsUtf8(text) ||
        std::ranges::any_of(text, [](char c) { return c != '\t' && IsControl(c); })) {
        return std::nullopt;
    }
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        if (text[i] == 'n') {
            out += '\n';
        } else if (text[i] == 'x') {
            if (text.size() - i < 3) return std::nullopt;
            const auto high = kHexDigits.find(text[i + 1]), low = kHexDigits.find(text[i + 2]);
            if (high == std::string_view::npos || low == std::string_view::npos)
                return std::nullopt;
            out += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

constexpr std::string_view kSpecialInKey = "=[]#;";
constexpr std::string_view kSpecialInSection = "[]";

// Position of the '=' that ends the key; one that is escaped belongs to it.
std::size_t EndOfKey(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\') {
            ++i;
        } else if (line[i] == '=') {
            return i;
        }
    }
    return std::string_view::npos;
}

// One line of the store, taken apart. A line that is neither head nor key (comment, blank, broken)
// is skipped by reads and kept by writes.
struct Line {
    std::optional<std::string> head;  // of a section
    std::optional<std::string> key;
    std::string_view value;  // as written, still escaped; may be broken
};

Line TakeApart(std::string_view text) {
    Line line;
    if (text.ends_with('\r')) text.remove_suffix(1);
    text = Trimmed(text);
    if (text.empty() || text.front() == '#' || text.front() == ';') return line;
    if (text.front() == '[') {
        if (text.size() >= 2 && text.back() == ']') {
            line.head = Unescaped(Trimmed(text.substr(1, text.size() - 2)));
        }
        return line;
    }
    if (const auto equals = EndOfKey(text); equals != std::string_view::npos) {
        line.key = Unescaped(Trimmed(text.substr(0, equals)));
        line.value = Trimmed(text.substr(equals + 1));
    }
    return line;
}

std::vector<std::string_view> Lines(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

// @return the value of the last line that has the key; none where that line is broken
std::optional<std::string> Find(std::string_view text, std::string_view section,
                                std::string_view key) {
    std::optional<std::string> found;
    std::string current;
    for (const std::string_view raw : Lines(text)) {
        const Line line = TakeApart(raw);
        if (line.head) current = *line.head;
        if (current == section && line.key == key) found = Unescaped(line.value);
    }
    return found;
}

// Puts the key's line in the place of the old one, else at the end of its section.
// @return false if the text says so already
bool Put(std::string& text, std::string_view section, std::string_view key,
         std::string_view value) {
    const std::string wanted = Escaped(key, kSpecialInKey) + '=' + Escaped(value, {});
    std::vector<std::string_view> lines = Lines(text);
    std::vector<std::size_t> places;
    std::optional<std::size_t> end;  // of the section: after its last line that isn't blank
    if (section.empty()) end = 0;
    std::string current;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line line = TakeApart(lines[i]);
        if (line.head) current = *line.head;
        if (current != section) continue;
        if (line.key == key) places.push_back(i);
        if (!Trimmed(lines[i]).empty()) end = i + 1;
    }
    std::string head;
    if (places.size() == 1 && lines[places.front()] == wanted) return false;
    if (!places.empty()) {
        lines[places.back()] = wanted;
        places.pop_back();
        for (; !places.empty(); places.pop_back()) {
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(places.back()));
        }
    } else if (end) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*end), wanted);
    } else {
        head = '[' + Escaped(section, kSpecialInSection) + ']';
        if (!lines.empty() && !Trimmed(lines.back()).empty()) lines.emplace_back();
        lines.insert(lines.end(), {head, wanted});
    }
    std::string changed;
    changed.reserve(text.size() + head.size() + wanted.size() + 3);
    for (const std::string_view line : lines) changed.append(line) += '\n';
    text = std::move(changed);
    return true;
}

template <typename T>
bool Read(const char* key, T& value, const char* section) try {
    std::string text;
    if (ReadFileText(IniPath(), kLongestStore, text) != FileText::Read) return false;
    const auto found = Find(text, OrEmpty(section), OrEmpty(key));
    return found && ParseValue(*found, value);
} catch (const std::exception&) {
    return false;
}

template <typename T>
void Write(const char* key, const T& value, const char* section) try {
    const std::string formatted = FormatValue(value);
    const bool changed = ChangeFileText(IniPath(), kLongestStore, [&](std::string& text) {
        return Put(text, OrEmpty(section), OrEmpty(key), formatted);
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

#include "base/initext.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "base/valuetext.h"

namespace tarnvale {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

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

// Blanks at the ends of a plain value would be lost, and marks around it taken for ours.
std::string Quoted(std::string_view value) {
    const bool marked = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    if (Trimmed(value) == value && !marked) return std::string(value);
    return '"' + std::string(value) + '"';
}

std::string_view Unquoted(std::string_view value) {
    const bool marked = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return marked ? value.substr(1, value.size() - 2) : value;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

// One line, taken apart. A line that is neither head nor key (comment, blank, broken) is skipped by
// reads and kept by writes.
struct IniText::Line {
    std::size_t begin = 0, end = 0;   // in the text; its line break lies within
    std::string_view content;         // without the line break
    std::optional<std::string> head;  // of a section
    std::optional<std::string> key;
    std::string_view value;  // as written
};

IniText::IniText(std::string text, IniForm form) : text_(std::move(text)), form_(form) {}

bool IniText::Same(std::string_view a, std::string_view b) const {
    if (form_ == IniForm::Escaped) return a == b;
    return std::ranges::equal(a, b, {}, Lower, Lower);
}

IniText::Line IniText::TakeApart(std::string_view raw) const {
    Line line;
    if (raw.ends_with('\n')) raw.remove_suffix(1);
    if (raw.ends_with('\r')) raw.remove_suffix(1);
    line.content = raw;
    const std::string_view text = Trimmed(raw);
    if (text.empty() || text.front() == '#' || text.front() == ';') return line;
    const auto name = [this](std::string_view written) -> std::optional<std::string> {
        if (form_ == IniForm::Plain) return std::string(Trimmed(written));
        return Unescaped(Trimmed(written));
    };
    if (text.front() == '[') {
        if (text.size() >= 2 && text.back() == ']') {
            line.head = name(text.substr(1, text.size() - 2));
        }
        return line;
    }
    const auto equals = form_ == IniForm::Plain ? text.find('=') : EndOfKey(text);
    if (equals != std::string_view::npos) {
        line.key = name(text.substr(0, equals));
        line.value = Trimmed(text.substr(equals + 1));
    }
    return line;
}

template <typename F>
void IniText::ForEach(F visit) const {
    const std::string_view text = text_;
    std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    std::string section;
    while (begin < text.size()) {
        const auto feed = text.find('\n', begin);
        const std::size_t end = feed == std::string_view::npos ? text.size() : feed + 1;
        Line line = TakeApart(text.substr(begin, end - begin));
        line.begin = begin;
        line.end = end;
        if (line.head) section = *line.head;
        visit(line, std::as_const(section));
        begin = end;
    }
}

std::optional<std::string> IniText::Find(std::string_view section, std::string_view key) const {
    std::optional<std::string> found;
    ForEach([&](const Line& line, const std::string& in) {
        if (!line.key || !Same(in, section) || !Same(*line.key, key)) return;
        found = form_ == IniForm::Plain ? std::string(Unquoted(line.value)) : Unescaped(line.value);
    });
    return found;
}

bool IniText::Put(std::string_view section, std::string_view key, std::string_view value) {
    const bool plain = form_ == IniForm::Plain;
    const std::string wanted = (plain ? std::string(key) : Escaped(key, kSpecialInKey)) + '=' +
                               (plain ? Quoted(value) : Escaped(value, {}));
    struct Stretch {
        std::size_t begin, end;
    };
    std::vector<Stretch> places;
    std::optional<std::size_t> sectionEnd;  // after its last line that isn't blank
    if (section.empty()) sectionEnd = text_.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    bool same = false;
    ForEach([&](const Line& line, const std::string& in) {
        if (!Same(in, section)) return;
        if (line.key && Same(*line.key, key)) {
            places.push_back({line.begin, line.begin + line.content.size()});
            same = line.content == wanted;
        }
        if (!Trimmed(line.content).empty()) sectionEnd = line.end;
    });
    if (places.size() == 1 && same) return false;
    if (!places.empty()) {
        text_.replace(places.back().begin, places.back().end - places.back().begin, wanted);
        for (places.pop_back(); !places.empty(); places.pop_back()) {
            const auto feed = text_.find('\n', places.back().end);
            text_.erase(places.back().begin, feed + 1 - places.back().begin);
        }
        return true;
    }
    const auto feed = text_.find('\n');
    const std::string lineEnd =
        feed != std::string::npos && feed > 0 && text_[feed - 1] == '\r' ? "\r\n" : "\n";
    std::string added;
    const std::size_t at = sectionEnd.value_or(text_.size());
    const bool atStart =
        at == 0 || (at == kByteOrderMark.size() && text_.starts_with(kByteOrderMark));
    if (!atStart && text_[at - 1] != '\n') added = lineEnd;
    if (!sectionEnd) {
        const std::string_view before = text_;
        const bool blankBefore =
            before.empty() || before.ends_with("\n\n") || before.ends_with("\n\r\n");
        if (!blankBefore && !atStart) added += lineEnd;
        added += '[' + (plain ? std::string(section) : Escaped(section, kSpecialInSection)) + ']' +
                 lineEnd;
    }
    text_.insert(at, added + wanted + lineEnd);
    return true;
}

bool IniText::Remove(std::string_view section, std::string_view key) {
    std::string kept;
    std::size_t from = 0;
    ForEach([&](const Line& line, const std::string& in) {
        if (!line.key || !Same(in, section) || !Same(*line.key, key)) return;
        kept.append(text_, from, line.begin - from);
        from = line.end;
    });
    if (from == 0) return false;
    text_ = kept.append(text_, from);
    return true;
}

}  // namespace tarnvale

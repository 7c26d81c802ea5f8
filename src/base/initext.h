#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnvale {

/// How names and values stand in an ini text.
enum class IniForm : std::uint8_t {
    /// Any bytes at all: what would break a line or vanish at an end is written with a backslash.
    /// Names differ by case. A line that isn't well-formed counts as none.
    Escaped,
    /// As a person writes them in an editor, a backslash is a backslash: the case of names doesn't
    /// count, quotation marks around a value are left off, and protect blanks at its ends.
    Plain,
};

/// A text of `Key=value` lines under `[section]` heads, changed line by line: whatever isn't
/// changed (comments, blank and foreign lines, line ends, a byte order mark) keeps its bytes. Where
/// a key stands twice, the last line counts. A value; lines before the first head belong to the
/// section "". May throw std::bad_alloc.
class IniText {
public:
    explicit IniText(std::string text, IniForm form);

    /// @return none where there is no such line, or it is broken
    [[nodiscard]] std::optional<std::string> Find(std::string_view section,
                                                  std::string_view key) const;
    /// Puts the key's line in the place of the old one, else at the end of its section.
    /// @return false if the text says so already. Plain values must not hold line breaks.
    bool Put(std::string_view section, std::string_view key, std::string_view value);
    /// Takes all lines of the key out. @return false if there is none
    bool Remove(std::string_view section, std::string_view key);

    [[nodiscard]] const std::string& Text() const noexcept { return text_; }

private:
    struct Line;
    [[nodiscard]] Line TakeApart(std::string_view raw) const;
    [[nodiscard]] bool Same(std::string_view a, std::string_view b) const;
    template <typename F>
    void ForEach(F visit) const;

    std::string text_;
    IniForm form_;
};

}  // namespace tarnvale

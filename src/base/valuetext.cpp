#include "base/valuetext.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <type_traits>

namespace tarnvale {

namespace {

template <typename T>
std::string FormatNumber(T value) {
    std::array<char, 40> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), end.ptr};
}

template <typename T>
bool ParseNumber(std::string_view text, T& value) {
    text = Trimmed(text);
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    T parsed{};
    const auto end = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (end.ec != std::errc{} || end.ptr != text.data() + text.size()) return false;
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(parsed)) return false;
    }
    value = parsed;
    return true;
}

}  // namespace

std::string_view Trimmed(std::string_view text) noexcept {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string FormatValue(std::int32_t value) {
    return FormatNumber(value);
}
std::string FormatValue(float value) {
    return FormatNumber(value);
}
std::string FormatValue(double value) {
    return FormatNumber(value);
}
std::string FormatValue(bool value) {
    return value ? "true" : "false";
}
std::string FormatValue(const COLOR& value) {
    std::string text;
    for (const std::uint16_t word : {value.red, value.green, value.blue, value.word}) {
        if (!text.empty()) text += ',';
        text += FormatNumber(word);
    }
    return text;
}
std::string FormatValue(const std::string& value) {
    return value;
}

bool ParseValue(std::string_view text, std::int32_t& value) {
    return ParseNumber(text, value);
}
bool ParseValue(std::string_view text, float& value) {
    return ParseNumber(text, value);
}
bool ParseValue(std::string_view text, double& value) {
    return ParseNumber(text, value);
}
bool ParseValue(std::string_view text, bool& value) {
    text = Trimmed(text);
    if (text != "true" && text != "false" && text != "1" && text != "0") return false;
    value = text == "true" || text == "1";
    return true;
}
bool ParseValue(std::string_view text, COLOR& value) {
    std::array<std::uint16_t, 4> words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto comma = text.find(',');
        if ((comma == std::string_view::npos) != (i + 1 == words.size())) return false;
        if (!ParseNumber(text.substr(0, comma), words[i])) return false;
        if (comma != std::string_view::npos) text.remove_prefix(comma + 1);
    }
    value = {words[0], words[1], words[2], words[3]};
    return true;
}
bool ParseValue(std::string_view text, std::string& value) {
    value = text;
    return true;
}

}  // namespace tarnvale

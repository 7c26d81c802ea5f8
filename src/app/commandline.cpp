#include "app/commandline.h"

#include <charconv>
#include <optional>

namespace tarnvale {

namespace {

constexpr std::array<std::string_view, 5> kKeys = {"Type=", "POI=", "DOV=", "FOV=", "Rate="};

bool IsKeyValue(std::string_view argument) {
    for (const std::string_view key : kKeys) {
        if (argument.starts_with(key)) return true;
    }
    return false;
}

/// @return what follows the first `key` that stands at the start of the line or after a blank
std::optional<std::string_view> After(std::string_view line, std::string_view key) {
    for (std::size_t at = line.find(key); at != std::string_view::npos;
         at = line.find(key, at + 1)) {
        if (at == 0 || line[at - 1] == ' ') return line.substr(at + key.size());
    }
    return std::nullopt;
}

/// Reads numbers separated by commas. A number that is missing or no number stays 0.
template <std::size_t Count>
std::array<double, Count> Numbers(std::string_view text) {
    std::array<double, Count> numbers{};
    for (double& number : numbers) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc()) break;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (!text.starts_with(',')) break;
        text.remove_prefix(1);
    }
    return numbers;
}

}  // namespace

std::string JoinCommandLine(std::span<const std::string_view> arguments) {
    std::string line;
    for (const std::string_view argument : arguments) {
        if (!line.empty()) line += ' ';
        if (IsKeyValue(argument)) {
            line += argument;
        } else {
            line += '"';
            line += argument;
            line += '"';
        }
    }
    return line;
}

CommandLineView ParseCommandLine(std::string_view line, FILEPATH& file) {
    CommandLineView view;
    view.active = true;
    // Keys are looked for before the file's name, which may hold anything.
    const std::string_view keys = line.substr(0, line.find('"'));

    if (const auto type = After(keys, "Type=")) view.type = static_cast<int>(Numbers<1>(*type)[0]);
    if (const auto point = After(keys, "POI=")) {
        view.point = Numbers<3>(*point);
    } else {
        view.active = false;
    }
    if (const auto direction = After(keys, "DOV=")) {
        const auto [azimuth, elevation] = Numbers<2>(*direction);
        view.azimuth = azimuth;
        view.elevation = elevation;
    } else {
        view.active = false;
    }
    if (const auto field = After(keys, "FOV=")) {
        view.field = Numbers<1>(*field)[0];
    } else if (view.type == 0) {
        view.active = false;
    }
    if (const auto rate = After(keys, "Rate=")) view.rate = Numbers<1>(*rate)[0];

    std::string_view name;
    while (!line.empty()) {
        const std::size_t quote = line.find('"');
        const std::string_view piece = line.substr(0, quote);
        if (!piece.empty() && piece != " ") name = piece;
        line.remove_prefix(quote == std::string_view::npos ? line.size() : quote + 1);
    }
    file = FILEPATH(std::string(name));
    return view;
}

}  // namespace tarnvale

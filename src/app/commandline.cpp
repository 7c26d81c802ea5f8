#include "app/commandline.h"

#include <charconv>
#include <cmath>
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

/// Reads numbers separated by commas. What is missing, no number, or not finite stays 0.
template <std::size_t Count>
std::array<double, Count> Numbers(std::string_view text) {
    std::array<double, Count> numbers{};
    for (double& number : numbers) {
        while (text.starts_with(' ') || text.starts_with('+')) text.remove_prefix(1);
        double read = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
        if (error != std::errc()) break;
        if (std::isfinite(read)) number = read;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (!text.starts_with(',')) break;
        text.remove_prefix(1);
    }
    return numbers;
}

}  // namespace

ProgramFlags TakeFlags(std::vector<std::string_view>& arguments) {
    ProgramFlags flags;
    std::erase_if(arguments, [&flags](std::string_view argument) {
        if (argument == "--help" || argument == "-h") return flags.help = true;
        if (argument == "--version") return flags.version = true;
        if (argument != "--no-splash") return false;
        flags.splash = false;
        return true;
    });
    return flags;
}

std::string JoinCommandLine(std::span<const std::string_view> arguments) {
    // The file comes last in a raw line, wherever it stood among the arguments.
    std::string keys, files;
    for (const std::string_view argument : arguments) {
        if (IsKeyValue(argument)) {
            keys.append(argument).append(" ");
        } else if (!argument.empty()) {
            files.append("\"").append(argument).append("\"");
        }
    }
    return keys + files;
}

CommandLineView ParseCommandLine(std::string_view line, FILEPATH& file) {
    CommandLineView view;
    view.active = true;
    // Keys stand before the file's name, which may hold anything.
    const std::string_view keys = line.substr(0, line.find('"'));

    if (const auto type = After(keys, "Type=")) {
        (void)std::from_chars(type->data(), type->data() + type->size(), view.type);
    }
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
        if (piece.find_first_not_of(' ') != std::string_view::npos) name = piece;
        line.remove_prefix(quote == std::string_view::npos ? line.size() : quote + 1);
    }
    file = FILEPATH(std::string(name));
    return view;
}

}  // namespace tarnvale

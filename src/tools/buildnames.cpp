#include "tools/buildnames.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace tarnvale {

std::string Cut(const std::string& text, std::size_t most) {
    std::size_t characters = 0, bytes = 0;
    for (; bytes < text.size(); ++bytes) {
        const bool starts = (static_cast<unsigned char>(text[bytes]) & 0xC0U) != 0x80U;
        if (starts && characters++ == most) break;
    }
    return text.substr(0, bytes);
}

std::string NameMaker::Unique(const std::string& wish) {
    std::string base = wish.empty() ? "raster" : wish;
    std::ranges::replace_if(
        base, [](unsigned char c) { return c < 32 || c == '/' || c == '"'; }, '_');
    for (int number = 1;; ++number) {
        const std::string suffix = number == 1 ? std::string() : fmt::format("_{}", number);
        std::string name = Cut(base, kNameLength - suffix.size()) + suffix;
        std::string folded = name;
        std::ranges::transform(folded, folded.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (taken_.insert(folded).second) return name;
    }
}

}  // namespace tarnvale

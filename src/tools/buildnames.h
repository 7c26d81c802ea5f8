#pragma once

#include <cstddef>
#include <set>
#include <string>

namespace tarnvale {

inline constexpr std::size_t kNameLength = 16, kDescriptionLength = 64;  // characters of an object

/// The first `most` characters of UTF-8 text.
[[nodiscard]] std::string Cut(const std::string& text, std::size_t most);

/// Object names: short, and each once without regard to case.
class NameMaker {
public:
    std::string Unique(const std::string& wish);

private:
    std::set<std::string> taken_;
};

}  // namespace tarnvale

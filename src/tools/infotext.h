#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tarnvale {

/// @param description  what DescribeFile made
/// @return the same as lines for people, each ended
[[nodiscard]] std::string TextOf(const nlohmann::ordered_json& description);

}  // namespace tarnvale

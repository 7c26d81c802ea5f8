#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tarnvale::ZPF {

/// Lempel-Ziv-Welch coding as TIFF has it: codes of 9 to 12 bits, high bits first, 256 clears the
/// table, 257 ends, and each width begins one code early.
void LzwEncode(std::span<const std::byte> plain, std::vector<std::byte>& coded);
/// @param plain  exactly what the codes must give
/// @return false where they give something else
[[nodiscard]] bool LzwDecode(std::span<const std::byte> coded, std::span<std::byte> plain);

}  // namespace tarnvale::ZPF

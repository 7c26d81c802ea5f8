#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnvale {

/// Which samples of a grid are null, one bit each. Rows may be set from different threads at once.
class NullSet {
public:
    /// May throw std::bad_alloc.
    NullSet(int columns, int rows)
        : words_((static_cast<std::size_t>(columns) + 63) / 64),
          bits_(words_ * static_cast<std::size_t>(rows)) {}

    void Set(int column, int row) noexcept {
        bits_[Word(column, row)] |= std::uint64_t{1} << (column & 63);
    }
    [[nodiscard]] bool Has(int column, int row) const noexcept {
        return (bits_[Word(column, row)] >> (column & 63) & 1) != 0;
    }

private:
    [[nodiscard]] std::size_t Word(int column, int row) const noexcept {
        return static_cast<std::size_t>(row) * words_ + (static_cast<std::size_t>(column) >> 6);
    }

    std::size_t words_;
    std::vector<std::uint64_t> bits_;
};

}  // namespace tarnvale

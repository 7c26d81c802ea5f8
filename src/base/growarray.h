#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace tarnvale {

/// Plain growing array for vertex data. Clear keeps the memory, so a steady frame allocates
/// nothing, and no item is ever initialised twice. Growth doubles the capacity, at least to 16
/// items. Append may throw std::bad_alloc, leaving the array as it was.
template <typename T>
class GrowArray {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    void Append(const T& item) {
        if (count_ == capacity_) {
            const T copy = item;  // `item` may stand in the block that Grow gives up
            Grow(count_ + 1);
            data_[count_++] = copy;
            return;
        }
        data_[count_++] = item;
    }
    void Append(std::span<const T> items) {
        const auto wanted = static_cast<std::uint32_t>(items.size());
        Reserve(count_ + wanted);
        std::copy_n(items.data(), wanted, data_.get() + count_);
        count_ += wanted;
    }
    /// Makes room for `extra` more items and counts them in. @return the first; the caller fills
    /// them.
    [[nodiscard]] T* Extend(std::uint32_t extra) {
        Reserve(count_ + extra);
        T* first = data_.get() + count_;
        count_ += extra;
        return first;
    }
    void Reserve(std::uint32_t capacity) {
        if (capacity > capacity_) Grow(capacity);
    }
    void Clear() noexcept { count_ = 0; }
    /// Drops the items from `count` on. @param count  at most the present count
    void Truncate(std::uint32_t count) noexcept { count_ = std::min(count, count_); }
    [[nodiscard]] std::uint32_t Count() const noexcept { return count_; }
    [[nodiscard]] std::uint32_t Capacity() const noexcept { return capacity_; }
    [[nodiscard]] bool Empty() const noexcept { return count_ == 0; }
    [[nodiscard]] T* Data() noexcept { return data_.get(); }
    [[nodiscard]] const T* Data() const noexcept { return data_.get(); }
    [[nodiscard]] T& operator[](std::uint32_t i) noexcept { return data_[i]; }
    [[nodiscard]] const T& operator[](std::uint32_t i) const noexcept { return data_[i]; }
    [[nodiscard]] T* begin() noexcept { return data_.get(); }
    [[nodiscard]] T* end() noexcept { return data_.get() + count_; }
    [[nodiscard]] const T* begin() const noexcept { return data_.get(); }
    [[nodiscard]] const T* end() const noexcept { return data_.get() + count_; }
    [[nodiscard]] std::span<const T> Span() const noexcept { return {data_.get(), count_}; }

private:
    void Grow(std::uint32_t least) {
        const std::uint32_t wanted = std::max({least, 16U, capacity_ * 2});
        auto grown = std::make_unique_for_overwrite<T[]>(wanted);
        std::copy_n(data_.get(), count_, grown.get());
        data_ = std::move(grown);
        capacity_ = wanted;
    }

    std::unique_ptr<T[]> data_;
    std::uint32_t count_ = 0;
    std::uint32_t capacity_ = 0;
};

}  // namespace tarnvale

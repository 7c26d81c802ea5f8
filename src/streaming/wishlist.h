#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace tarnvale {

/// A tile that a frame wants: the least key of its wishes, and when that one was made.
struct Wish {
    float key = 0;
    std::uint32_t order = 0;
    std::uint32_t tile = 0;  ///< number in its pyramid
};

/// What a frame wishes for, thrown away with it: requests go by rising key, among equal keys the
/// earliest wish first. However often a tile is wished for, it stands here once, with its best
/// wish, since a later wish for a tile already asked for would be dropped anyway. Thread: the frame
/// cycle's.
class WishList {
public:
    /// Starts empty over a pyramid of so many tiles. May throw std::bad_alloc.
    void Reset(std::size_t tiles) {
        wishes_.clear();
        placeOf_.assign(tiles, 0);
        order_ = 0;
    }
    /// @param key  not a number counts as 0. May throw std::bad_alloc; the list is then as it was.
    void Add(float key, std::uint32_t tile) {
        if (!(key == key)) key = 0;
        const std::uint32_t order = order_++;
        if (const std::uint32_t place = placeOf_[tile]; place == 0) {
            wishes_.push_back({key, order, tile});
            placeOf_[tile] = Count();
        } else if (key < wishes_[place - 1].key) {
            wishes_[place - 1] = {key, order, tile};
        }
    }
    /// Number of different tiles.
    [[nodiscard]] std::uint32_t Count() const noexcept {
        return static_cast<std::uint32_t>(wishes_.size());
    }
    /// Number of wishes made, those for the same tile too.
    [[nodiscard]] std::uint32_t Made() const noexcept { return order_; }
    /// In no order.
    [[nodiscard]] std::span<const Wish> Wishes() const noexcept { return wishes_; }

    /// Offers tile after tile in order until `offer` answers false, then empties the list.
    template <typename Offer>
    void Grant(Offer&& offer) {
        for (const Wish& wish : wishes_) placeOf_[wish.tile] = 0;
        const auto later = [](const Wish& a, const Wish& b) {
            return a.key != b.key ? a.key > b.key : a.order > b.order;
        };
        // A few are offered of perhaps hundreds: a heap costs less than to sort them all.
        std::make_heap(wishes_.begin(), wishes_.end(), later);
        while (!wishes_.empty() && offer(wishes_.front().tile)) {
            std::pop_heap(wishes_.begin(), wishes_.end(), later);
            wishes_.pop_back();
        }
        wishes_.clear();
        order_ = 0;
    }

private:
    std::vector<Wish> wishes_;
    std::vector<std::uint32_t> placeOf_;  // by tile number, 1 + index in wishes_, 0 for none
    std::uint32_t order_ = 0;
};

}  // namespace tarnvale

#include "tools/demo_flow.h"

#include <algorithm>
#include <array>
#include <queue>

namespace tarnvale::demo {
namespace {

constexpr std::array<int, 8> kDx{1, 1, 0, -1, -1, -1, 0, 1};
constexpr std::array<int, 8> kDy{0, 1, 1, 1, 0, -1, -1, -1};

constexpr std::uint8_t Opposite(std::uint8_t direction) noexcept {
    return static_cast<std::uint8_t>((direction + 4U) & 7U);
}

}  // namespace

Flow::Flow(int side)
    : side_(side), direction_(side, kEnd), inflows_(side), water_(side), filled_(side) {
    for (std::size_t d = 0; d < 8; ++d)
        offset_[d] = static_cast<std::ptrdiff_t>(kDy[d]) * side + kDx[d];
    offset_[kEnd] = 0;
    order_.resize(direction_.Count());
}

bool Flow::IsInside(int x, int y) const noexcept {
    return x > 0 && y > 0 && x < side_ - 1 && y < side_ - 1;
}

bool Flow::HasNeighbour(int x, int y, std::size_t direction) const noexcept {
    const int nx = x + kDx[direction];
    const int ny = y + kDy[direction];
    return nx >= 0 && ny >= 0 && nx < side_ && ny < side_;
}

void Flow::Flood(const Grid<float>& heights, const Grid<std::uint8_t>& ends) {
    // Heights, then the cell's number: a total order, so ties fall the same way everywhere.
    using Entry = std::pair<float, std::uint32_t>;
    std::vector<Entry> store;
    store.reserve(heights.Count() / 8);
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> open(std::greater<>{},
                                                                        std::move(store));
    std::vector<std::uint8_t> seen(heights.Count(), 0);
    const auto start = [&](std::size_t i) {
        seen[i] = 1;
        direction_[i] = kEnd;
        filled_[i] = heights[i];
        open.emplace(heights[i], static_cast<std::uint32_t>(i));
    };
    for (std::size_t i = 0; i < ends.Count(); ++i) {
        if (ends[i] != 0) start(i);
    }
    if (open.empty()) {
        for (int k = 0; k < side_; ++k) {
            for (const std::size_t i : {heights.Index(k, 0), heights.Index(k, side_ - 1),
                                        heights.Index(0, k), heights.Index(side_ - 1, k)}) {
                if (seen[i] == 0) start(i);
            }
        }
    }
    // Cells of a pit all fill to the same brim: they are taken in the order they were met, which
    // leads water straight across.
    std::vector<std::uint32_t> pit;
    std::size_t taken = 0;
    while (!open.empty() || taken < pit.size()) {
        std::size_t i = 0;
        if (taken < pit.size()) {
            i = pit[taken++];
        } else {
            pit.clear();
            taken = 0;
            i = open.top().second;
            open.pop();
        }
        const int x = static_cast<int>(i) % side_;
        const int y = static_cast<int>(i) / side_;
        for (std::size_t d = 0; d < 8; ++d) {
            if (!HasNeighbour(x, y, d)) continue;
            const std::size_t n = i + static_cast<std::size_t>(offset_[d]);
            if (seen[n] != 0) continue;
            seen[n] = 1;
            direction_[n] = Opposite(static_cast<std::uint8_t>(d));
            if (heights[n] <= filled_[i]) {
                filled_[n] = filled_[i];
                pit.push_back(static_cast<std::uint32_t>(n));
            } else {
                filled_[n] = heights[n];
                open.emplace(heights[n], static_cast<std::uint32_t>(n));
            }
        }
    }
}

void Flow::Descend(const Grid<float>& heights, const Grid<std::uint8_t>& ends, std::uint32_t seed,
                   const Workers& workers) {
    workers.Rows(side_, [&](int y) {
        for (int x = 0; x < side_; ++x) {
            const std::size_t i = heights.Index(x, y);
            if (ends[i] != 0) {
                direction_[i] = kEnd;
                continue;
            }
            std::uint32_t chance = Hash(x, y, seed);
            float best = 0.0F;
            const bool inside = IsInside(x, y);
            for (std::size_t d = 0; d < 8; ++d) {
                if (!inside && !HasNeighbour(x, y, d)) continue;
                const float drop = heights[i] - heights[i + static_cast<std::size_t>(offset_[d])];
                const float weight =
                    ((d & 1U) != 0 ? 0.70710678F : 1.0F) *
                    (0.65F + 0.70F / 15.0F * static_cast<float>((chance >> (4 * d)) & 15U));
                if (drop * weight > best) {
                    best = drop * weight;
                    direction_[i] = static_cast<std::uint8_t>(d);
                }
            }
        }
    });
}

void Flow::Gather(const Grid<float>& rain, const Workers& workers) {
    workers.Rows(side_, [&](int y) {
        for (int x = 0; x < side_; ++x) {
            const std::size_t i = water_.Index(x, y);
            water_[i] = rain.Empty() ? 1.0F : rain[i];
            std::uint8_t inflows = 0;
            const bool inside = IsInside(x, y);
            for (std::size_t d = 0; d < 8; ++d) {
                if (!inside && !HasNeighbour(x, y, d)) continue;
                const std::uint8_t towards = direction_[i + static_cast<std::size_t>(offset_[d])];
                if (towards == Opposite(static_cast<std::uint8_t>(d))) ++inflows;
            }
            inflows_[i] = inflows;
        }
    });
    // From each source down to the first confluence that still waits for another inflow.
    constexpr std::uint8_t kDone = 255;
    std::size_t count = 0;
    for (std::size_t source = 0; source < direction_.Count(); ++source) {
        std::size_t i = source;
        while (inflows_[i] == 0) {
            inflows_[i] = kDone;
            order_[count++] = static_cast<std::uint32_t>(i);
            if (IsEnd(i)) break;
            const std::size_t next = Next(i);
            water_[next] += water_[i];
            --inflows_[next];
            i = next;
        }
    }
}

void Flow::Breach(Grid<float>& heights) const {
    for (const std::uint32_t i : order_) {
        const std::size_t next = Next(i);
        if (!IsEnd(next)) heights[next] = std::min(heights[next], heights[i]);
    }
}

}  // namespace tarnvale::demo

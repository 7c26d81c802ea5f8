#include "terrain/workers.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace tarnvale {

bool RunOnAllCores(int count, const std::function<void(int)>& work,
                   const std::function<bool()>& tick) {
    std::atomic<int> next = 0;
    const auto takeOne = [&] {
        const int piece = next.fetch_add(1, std::memory_order_relaxed);
        if (piece >= count) return false;
        work(piece);
        return true;
    };
    bool going = true;
    {
        std::vector<std::jthread> helpers;
        const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
        try {
            for (int i = 1; i < std::min(cores, count); ++i) {
                helpers.emplace_back([&takeOne] {
                    while (takeOne()) {
                    }
                });
            }
        } catch (const std::system_error&) {
            // No more threads to be had: those that run, and this one, do the work.
        }
        while (going && takeOne()) {
            going = tick();
            if (!going) next.store(count, std::memory_order_relaxed);
        }
    }
    return going;
}

}  // namespace tarnvale

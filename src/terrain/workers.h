#pragma once

#include <functional>

namespace tarnvale {

/// Runs work(0) ... work(count - 1), in any order, on all cores, the calling thread among them.
/// @param work  must not throw
/// @param tick  called on the calling thread after each of its own pieces; false stops handing out
/// work
/// @return false if `tick` stopped it; all work that was begun has ended in any case
bool RunOnAllCores(int count, const std::function<void(int)>& work,
                   const std::function<bool()>& tick);

}  // namespace tarnvale

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarnvale {

class TileEntry;

enum class HandoffParty : std::uint8_t { Model, Loader };

/// One-slot baton between a TileLoader's thread and the texture model on the frame thread.
/// Exactly one party has the turn, the loader first. Only that party may use the slot, and PassTurn
/// publishes it to the other, so the slot needs no lock. Nothing here waits.
class TileHandoff {
public:
    [[nodiscard]] bool IsMyTurn(HandoffParty party) const noexcept {
        return turn_.load(std::memory_order_acquire) == party;
    }
    /// Does nothing out of turn.
    void PassTurn(HandoffParty from) noexcept {
        if (!IsMyTurn(from)) return;
        turn_.store(from == HandoffParty::Model ? HandoffParty::Loader : HandoffParty::Model,
                    std::memory_order_release);
    }
    /// @param pixels  side x side pixels, bottom row first, unpadded. Borrowed: the loader keeps
    ///                them as they are until it has the turn again.
    /// @return false, leaving the slot as it was, if `tile` is null or `pixels` is empty
    [[nodiscard]] bool Put(TileEntry* tile, std::span<const std::byte> pixels) noexcept {
        if (tile == nullptr || pixels.empty()) return false;
        tile_ = tile;
        pixels_ = pixels;
        return true;
    }
    /// @return false if nothing was ever put. Reading doesn't empty the slot.
    [[nodiscard]] bool Get(TileEntry*& tile, std::span<const std::byte>& pixels) const noexcept {
        if (tile_ == nullptr) return false;
        tile = tile_;
        pixels = pixels_;
        return true;
    }

    /// Empty again, the loader's turn. Only while no other thread uses it.
    void Reset() noexcept {
        tile_ = nullptr;
        pixels_ = {};
        turn_.store(HandoffParty::Loader, std::memory_order_release);
    }

private:
    std::atomic<HandoffParty> turn_{HandoffParty::Loader};
    TileEntry* tile_ = nullptr;  // the slot: touched only by the party that has the turn
    std::span<const std::byte> pixels_;
};

}  // namespace tarnvale

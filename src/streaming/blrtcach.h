#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "streaming/tilepyramid.h"

namespace tarnvale {

class GraphicsSystem;
class TextureHandle;

/// One tile that has a texture.
struct ResidentTile {
    TextureHandle* texture = nullptr;
    TileEntry* tile = nullptr;
    std::uint32_t number = 0;  ///< of the tile in its pyramid
    std::uint32_t age = 0;     ///< frames without use
    bool used = false;         ///< a triangle found it in this frame
    bool everUsed = false;
    /// What turns a domain point into a texture coordinate: p * inverseSpan - column,
    /// rowBelow - p * inverseSpan.
    float inverseSpan = 0, column = 0, rowBelow = 0;
};

/// The tiles that have textures. Grows for as long as textures can be made, then keeps to what
/// fitted: no budget of bytes is known here, since all tiles are of one size.
/// A resident tile has a slot, 1 or more; slots change only in Insert, AgeAndEvict, Shrink, Clear.
/// Among equal candidates for eviction the one with the lowest tile number goes: finer levels
/// first, then row by row, whatever the order of arrival. Thread: the frame cycle's.
class ResidentTileCache {
public:
    static constexpr std::uint32_t kStartLimit = 22;

    /// Starts empty over a pyramid, on loan until the next Reset. May throw std::bad_alloc.
    void Reset(TilePyramid& pyramid);

    /// @return slot of a tile, 0 where it isn't resident
    [[nodiscard]] std::uint32_t SlotOf(std::uint32_t number) const noexcept {
        return slotOf_[number];
    }
    void MarkUsed(std::uint32_t slot) noexcept { residents_[slot - 1].used = true; }
    [[nodiscard]] const ResidentTile& At(std::uint32_t slot) const noexcept {
        return residents_[slot - 1];
    }
    /// Finds a tile and marks it as used. @return null where it isn't resident
    [[nodiscard]] TextureHandle* Lookup(const TileEntry& tile) noexcept;
    /// Adds a tile that isn't resident. Raises the limit by one while growing, once it is reached.
    /// May throw std::bad_alloc; the cache is then as it was.
    void Insert(TileEntry& tile, TextureHandle* texture);
    /// After a texture was refused: the first time, growth ends, the limit goes two below what
    /// fitted, and victims are destroyed until it holds. Later calls do nothing.
    void Shrink(GraphicsSystem& graphics);
    /// Once a frame: tiles not used grow older, and victims are recycled.
    void AgeAndEvict(GraphicsSystem& graphics);
    /// Whether a tile came and had to go before any triangle wore it, while all others were in use:
    /// nothing more fits until the view changes.
    [[nodiscard]] bool Saturated() const noexcept { return saturated_; }
    void ViewChanged() noexcept { saturated_ = false; }
    /// Destroys every texture; limit and growth stay.
    void Clear(GraphicsSystem& graphics);

    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(residents_.size());
    }
    [[nodiscard]] std::uint32_t Limit() const noexcept { return limit_; }
    [[nodiscard]] bool Growing() const noexcept { return growing_; }
    [[nodiscard]] std::span<const ResidentTile> Residents() const noexcept { return residents_; }

private:
    /// Takes the tile that is to go. @return its texture is null if none has to go
    ResidentTile TakeVictim();

    TilePyramid* pyramid_ = nullptr;
    std::vector<ResidentTile> residents_;
    std::vector<std::uint32_t> slotOf_;  // by tile number, 0 for none
    std::uint32_t limit_ = kStartLimit;
    bool growing_ = true;
    bool saturated_ = false;
};

}  // namespace tarnvale

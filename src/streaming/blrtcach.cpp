#include "streaming/blrtcach.h"

#include <algorithm>

#include "graphics/graphicssystem.h"

namespace tarnvale {

void ResidentTileCache::Reset(TilePyramid& pyramid) {
    pyramid_ = &pyramid;
    residents_.clear();
    slotOf_.assign(pyramid.Entries().size(), 0);
    limit_ = kStartLimit;
    growing_ = true;
    saturated_ = false;
}

TextureHandle* ResidentTileCache::Lookup(const TileEntry& tile) noexcept {
    const std::uint32_t slot = SlotOf(pyramid_->NumberOf(tile));
    if (slot == 0) return nullptr;
    MarkUsed(slot);
    return At(slot).texture;
}

void ResidentTileCache::Insert(TileEntry& tile, TextureHandle* texture) {
    const std::uint32_t number = pyramid_->NumberOf(tile);
    residents_.push_back({.texture = texture,
                          .tile = &tile,
                          .number = number,
                          .inverseSpan = 1.0F / static_cast<float>(tile.Level().Span()),
                          .column = static_cast<float>(tile.Column()),
                          .rowBelow = static_cast<float>(tile.Row() + 1)});
    slotOf_[number] = Size();
    if (growing_ && Size() >= limit_) ++limit_;
}

ResidentTile ResidentTileCache::TakeVictim() {
    if (Size() < limit_) return {};
    const ResidentTile* victim = nullptr;
    double worst = 0;
    for (const ResidentTile& resident : residents_) {
        const int levelNumber = resident.tile->Level().LevelNumber();
        if (levelNumber == 1) continue;
        const double score = static_cast<double>(levelNumber) * resident.age;
        if (score <= 0 || score < worst) continue;
        if (score > worst || resident.number < victim->number) {
            worst = score;
            victim = &resident;
        }
    }
    if (victim == nullptr) return {};
    const ResidentTile taken = *victim;
    const std::uint32_t slot = slotOf_[taken.number];
    slotOf_[taken.number] = 0;
    if (slot != Size()) {
        residents_[slot - 1] = residents_.back();
        slotOf_[residents_[slot - 1].number] = slot;
    }
    residents_.pop_back();
    return taken;
}

void ResidentTileCache::Shrink(GraphicsSystem& graphics) {
    if (!growing_) return;
    // What fitted may be less than the limit that the cache started with.
    const std::uint32_t reached = std::min(limit_, Size() + 1);
    limit_ = std::max(reached, 4U) - 3;
    growing_ = false;
    for (ResidentTile victim = TakeVictim(); victim.texture != nullptr; victim = TakeVictim()) {
        graphics.DestroyTexture(victim.texture);
    }
}

void ResidentTileCache::AgeAndEvict(GraphicsSystem& graphics) {
    for (ResidentTile& resident : residents_) {
        resident.everUsed = resident.everUsed || resident.used;
        resident.age = resident.used ? 0 : resident.age + 1;
        resident.used = false;
    }
    bool unworn = false;
    for (ResidentTile victim = TakeVictim(); victim.texture != nullptr; victim = TakeVictim()) {
        unworn = unworn || !victim.everUsed;
        graphics.RecycleTexture(victim.texture);
    }
    saturated_ =
        saturated_ || (unworn && std::ranges::all_of(residents_, [](const auto& resident) {
                           return resident.age == 0 || resident.tile->Level().LevelNumber() == 1;
                       }));
}

void ResidentTileCache::Clear(GraphicsSystem& graphics) {
    for (const ResidentTile& resident : residents_) {
        graphics.DestroyTexture(resident.texture);
        slotOf_[resident.number] = 0;
    }
    residents_.clear();
}

}  // namespace tarnvale

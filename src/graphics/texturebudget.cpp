#include "graphics/texturebudget.h"

#include <algorithm>

#include "base/settings.h"

namespace tarnvale {

std::uint64_t TextureBudget::SoftwareShare(std::uint64_t physicalMemory) {
    return std::clamp(physicalMemory / 32, kLeast, kSoftwareMost);
}

std::uint64_t TextureBudget::UnknownCardShare(std::uint64_t physicalMemory) {
    return std::clamp(physicalMemory / 16, kLeast, std::uint64_t{512} << 20);
}

std::uint64_t TextureBudget::ReportedCardShare(std::uint64_t freeMemory) {
    return std::clamp(freeMemory / 2, kLeast, std::uint64_t{1024} << 20);
}

std::uint64_t TextureBudget::Limit() const {
    const std::int32_t wanted = settings::TextureMemory.Get();
    if (wanted > 0) return static_cast<std::uint64_t>(wanted) << 20;
    return automatic_ + (views_ > 1 ? views_ - 1 : 0) * kFurtherView;
}

bool TextureBudget::Reserve(std::uint64_t bytes, std::uint32_t held) {
    if (held >= kLeastTextures && used_ + bytes > Limit()) return false;
    used_ += bytes;
    return true;
}

}  // namespace tarnvale

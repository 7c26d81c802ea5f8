#pragma once

#include <cstdint>
#include <memory>
#include <utility>

namespace tarnvale {

/// Memory that the textures of all views of a process may take together. Drivers today page
/// textures out rather than refuse them, so without a budget a flight over a large image would fill
/// the machine: the systems refuse by themselves, which tells the tile caches when to stop growing.
/// Skies aren't counted: one a view is bounded without it, and six of the program's own would leave
/// no room for tiles. Shared by the systems that CreateInstance makes from one prototype. Thread:
/// the frame cycle's.
class TextureBudget {
public:
    /// A system may always hold this many textures, so that a view opened late shows the coarse
    /// tiles although others have used the budget up.
    static constexpr std::uint32_t kLeastTextures = 8;

    /// What drawing on the processor may take where nothing else is known. A program, its drawing
    /// library and the tables of a large landscape stay below 350 MB with it, and its 192 tiles of
    /// half a megabyte are several times what a picture of 1280 x 720 shows at once.
    static constexpr std::uint64_t kSoftwareMost = std::uint64_t{96} << 20;
    static constexpr std::uint64_t kLeast = std::uint64_t{64} << 20;
    /// What each open view but the first adds to an automatic limit: the tiles of a small window
    /// twice over. What the first view alone may take doesn't last for seventeen.
    static constexpr std::uint64_t kFurtherView = std::uint64_t{16} << 20;

    /// An open view, as long as it lives.
    class View {
    public:
        explicit View(std::shared_ptr<TextureBudget> budget) : budget_(std::move(budget)) {
            ++budget_->views_;
        }
        ~View() { --budget_->views_; }
        View(const View&) = delete;
        View& operator=(const View&) = delete;

    private:
        std::shared_ptr<TextureBudget> budget_;
    };

    /// @return bytes for textures that live in main memory: a share of `physicalMemory`
    [[nodiscard]] static std::uint64_t SoftwareShare(std::uint64_t physicalMemory);
    /// @return bytes for a card that tells nothing about itself: a share of the machine's memory
    [[nodiscard]] static std::uint64_t UnknownCardShare(std::uint64_t physicalMemory);
    /// @return bytes for a card that reports `freeMemory`
    [[nodiscard]] static std::uint64_t ReportedCardShare(std::uint64_t freeMemory);

    /// The limit for one view while the setting `TextureMemory` is 0.
    void SetAutomatic(std::uint64_t bytes) noexcept { automatic_ = bytes; }
    [[nodiscard]] std::uint64_t Limit() const;
    [[nodiscard]] std::uint64_t Used() const noexcept { return used_; }

    /// @param held  textures that the asking system has already
    /// @return false, counting nothing, if `bytes` more would pass the limit
    [[nodiscard]] bool Reserve(std::uint64_t bytes, std::uint32_t held);
    void Release(std::uint64_t bytes) noexcept { used_ -= bytes < used_ ? bytes : used_; }

private:
    std::uint64_t automatic_ = kSoftwareMost;
    std::uint64_t used_ = 0;
    std::uint32_t views_ = 0;  // open
};

}  // namespace tarnvale

#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "base/status.h"
#include "streaming/tilehandoff.h"
#include "streaming/tilepyramid.h"
#include "streaming/tilesource.h"

namespace tarnvale {

/// Tiles that a loader had nothing for, on their way back to the frame cycle.
/// Thread: any.
class FailedTiles {
public:
    FailedTiles() { tiles_.reserve(16); }
    void Add(TileEntry* tile);
    /// Takes one off. @return null when there is none
    [[nodiscard]] TileEntry* Take();

private:
    std::mutex lock_;  // guards tiles_, never held with another
    std::vector<TileEntry*> tiles_;
};

/// Reads tiles on a thread of its own, so that the frame cycle never waits for a disc. At most one
/// finished tile waits in the hand-over and two requests behind it; between two tiles the thread
/// rests for kPoll, and it looks for work and for its turn as often.
/// Thread: everything but the thread's own body is called by the frame cycle.
class TileLoader {
public:
    static constexpr std::size_t kQueueCapacity = 2;
    static constexpr std::size_t kDecodedCapacity = 2;
    static constexpr std::chrono::milliseconds kPoll{30};

    TileLoader() = default;
    ~TileLoader() { Close(); }
    TileLoader(const TileLoader&) = delete;
    TileLoader& operator=(const TileLoader&) = delete;

    /// Closes, then starts the thread on a source.
    /// @param tileBytes  of a decoded tile
    /// @param failed     on loan until Close
    /// @return BadState without a source or for 0 bytes; NotBuilt if the thread can't be started
    Status Open(std::unique_ptr<TileSource> source, std::size_t tileBytes, FailedTiles& failed);
    /// Ends the thread, after the tile that it reads just now; one that waits for its turn is
    /// dropped.
    void Close();

    /// Where finished tiles go, on loan until Close. To be set before the first TryQueue.
    void SetHandoff(TileHandoff* handoff) noexcept { handoff_ = handoff; }
    /// Never waits for a read. @return false if the queue is full or the loader closed
    [[nodiscard]] bool TryQueue(TileEntry* tile);
    /// Reads a tile, or finds it among the last ones decoded. For the frame cycle's thread only
    /// before the first TryQueue.
    /// @return its pixels, kept at least until the next call; empty if there is nothing to read or
    /// no
    ///         memory
    [[nodiscard]] std::span<const std::byte> LoadNow(TileEntry* tile);

    [[nodiscard]] const TileSource* Source() const noexcept { return source_.get(); }
    /// Tiles read that couldn't be decoded in whole. Thread: any.
    [[nodiscard]] std::uint64_t DamagedTiles() const noexcept { return damagedTiles_; }

private:
    struct Decoded {
        TileEntry* tile = nullptr;
        std::unique_ptr<std::byte[]> pixels;
    };

    void Run();
    /// Waits for kPoll or the stop, whichever comes first.
    [[nodiscard]] bool StopWanted();
    [[nodiscard]] TileEntry* TakeRequest();
    /// Loads a tile and waits until the hand-over takes it. @return false if the loader is to stop
    [[nodiscard]] bool Serve(TileEntry* tile);
    void TrimDecoded();
    [[nodiscard]] std::vector<Decoded>::iterator FindDecoded(const TileEntry* tile);

    std::unique_ptr<TileSource> source_;
    std::size_t tileBytes_ = 0;
    FailedTiles* failed_ = nullptr;
    TileHandoff* handoff_ = nullptr;
    std::atomic<std::uint64_t> damagedTiles_{0};

    // The loader thread's own, and the frame cycle's before the first TryQueue.
    std::vector<Decoded> decoded_;
    std::vector<TileEntry*> order_;  // oldest first; a tile served again stands here twice
    std::unique_ptr<std::byte[]> spare_;
    const std::byte* lent_ = nullptr;  // pixels last put in the hand-over's slot

    std::mutex queueLock_;  // guards queue_, queued_, never held with another
    std::array<TileEntry*, kQueueCapacity> queue_{};
    std::size_t queued_ = 0;

    std::mutex stopLock_;  // guards stop_, never held with another
    std::condition_variable stopSet_;
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace tarnvale

#include "streaming/tileloader.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

namespace tarnvale {

void FailedTiles::Add(TileEntry* tile) {
    const std::scoped_lock lock(lock_);
    tiles_.push_back(tile);
}

TileEntry* FailedTiles::Take() {
    const std::scoped_lock lock(lock_);
    if (tiles_.empty()) return nullptr;
    TileEntry* tile = tiles_.back();
    tiles_.pop_back();
    return tile;
}

Status TileLoader::Open(std::unique_ptr<TileSource> source, std::size_t tileBytes,
                        FailedTiles& failed) try {
    Close();
    if (source == nullptr || tileBytes == 0) return _SetErrPosn(StatusCode::BadState);
    decoded_.reserve(kDecodedCapacity + 1);
    order_.reserve(2 * kDecodedCapacity + 2);
    source_ = std::move(source);
    tileBytes_ = tileBytes;
    failed_ = &failed;
    damagedTiles_ = 0;
    stop_ = false;
    thread_ = std::thread(&TileLoader::Run, this);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    Close();
    return _SetErrPosn(StatusCode::NoMemory);
} catch (const std::system_error&) {
    Close();
    return _SetErrPosn(StatusCode::NotBuilt,
                       "the thread that loads tiles can't be started; close other programs");
}

void TileLoader::Close() {
    if (thread_.joinable()) {
        {
            const std::scoped_lock lock(stopLock_);
            stop_ = true;
        }
        stopSet_.notify_all();
        thread_.join();
    }
    {
        const std::scoped_lock lock(queueLock_);
        queued_ = 0;
    }
    source_.reset();
    decoded_.clear();
    order_.clear();
    spare_.reset();
    lent_ = nullptr;
    handoff_ = nullptr;
    failed_ = nullptr;
}

bool TileLoader::TryQueue(TileEntry* tile) {
    if (tile == nullptr || !thread_.joinable()) return false;
    const std::scoped_lock lock(queueLock_);
    if (queued_ == kQueueCapacity) return false;
    queue_[queued_++] = tile;
    return true;
}

TileEntry* TileLoader::TakeRequest() {
    const std::scoped_lock lock(queueLock_);
    if (queued_ == 0) return nullptr;
    TileEntry* first = queue_.front();
    std::move(queue_.begin() + 1, queue_.end(), queue_.begin());
    --queued_;
    return first;
}

bool TileLoader::StopWanted() {
    std::unique_lock lock(stopLock_);
    return stopSet_.wait_for(lock, kPoll, [this] { return stop_; });
}

void TileLoader::Run() {
    while (!StopWanted()) {
        TileEntry* tile = TakeRequest();
        if (tile != nullptr && !Serve(tile)) return;
    }
}

bool TileLoader::Serve(TileEntry* tile) {
    const std::span<const std::byte> pixels = LoadNow(tile);
    if (pixels.empty() || handoff_ == nullptr) {
        failed_->Add(tile);
    } else {
        while (!handoff_->IsMyTurn(HandoffParty::Loader)) {
            if (StopWanted()) return false;
        }
        if (handoff_->Put(tile, pixels)) lent_ = pixels.data();
        handoff_->PassTurn(HandoffParty::Loader);
    }
    TrimDecoded();
    return true;
}

std::vector<TileLoader::Decoded>::iterator TileLoader::FindDecoded(const TileEntry* tile) {
    return std::ranges::find(decoded_, tile, &Decoded::tile);
}

std::span<const std::byte> TileLoader::LoadNow(TileEntry* tile) try {
    if (source_ == nullptr || tile == nullptr) return {};
    auto found = FindDecoded(tile);
    if (found == decoded_.end()) {
        std::unique_ptr<std::byte[]> pixels = std::move(spare_);
        if (pixels == nullptr && decoded_.size() < kDecodedCapacity) {
            pixels = std::make_unique_for_overwrite<std::byte[]>(tileBytes_);
        }
        if (pixels == nullptr) return {};
        std::fill_n(pixels.get(), tileBytes_, std::byte{0});
        const TileRead read = source_->Read(*tile, {pixels.get(), tileBytes_});
        if (read == TileRead::Nothing) {
            spare_ = std::move(pixels);
            return {};
        }
        if (read == TileRead::Damaged) ++damagedTiles_;
        decoded_.push_back({tile, std::move(pixels)});
        found = decoded_.end() - 1;
    }
    // Twice tells all that trimming needs; a tile served over and over would pile up.
    if (std::ranges::count(order_, tile) == 2) order_.erase(std::ranges::find(order_, tile));
    order_.push_back(tile);
    return {found->pixels.get(), tileBytes_};
} catch (const std::bad_alloc&) {
    return {};
}

void TileLoader::TrimDecoded() {
    if (decoded_.size() < kDecodedCapacity) return;
    // While the model has the turn it may still read the slot's pixels. Its tile may stand first in
    // the order all the same, from an earlier time when it was served.
    const bool slotInUse =
        handoff_ != nullptr && !handoff_->IsMyTurn(HandoffParty::Loader) && lent_ != nullptr;
    for (auto oldest = order_.begin(); oldest != order_.end();) {
        const auto leaving = FindDecoded(*oldest);
        if (leaving == decoded_.end()) {
            oldest = order_.erase(oldest);
            continue;
        }
        if (slotInUse && leaving->pixels.get() == lent_) {
            ++oldest;
            continue;
        }
        order_.erase(oldest);
        spare_ = std::move(leaving->pixels);
        decoded_.erase(leaving);
        return;
    }
}

}  // namespace tarnvale

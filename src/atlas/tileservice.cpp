#include "atlas/tileservice.h"

#include <QHash>
#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

namespace tarnvale {

namespace {

constexpr int kKeptKilobytes = 256 * 1024;

QImage ImageOf(const MapTile& tile) {
    QImage image(tile.width, tile.height, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < tile.height && !image.isNull(); ++y) {
        const auto width = static_cast<std::size_t>(tile.width);
        std::memcpy(image.scanLine(y), &tile.pixels[static_cast<std::size_t>(y) * width],
                    width * sizeof(MapColour));
    }
    return image;
}

}  // namespace

size_t qHash(const TileKey& key, size_t seed) noexcept {
    return qHashMulti(seed, key.picture, key.level, key.column, key.row);
}

TileService::TileService() : tiles_(kKeptKilobytes), worker_([this] { Work(); }) {}

TileService::~TileService() {
    {
        const std::scoped_lock hold(lock_);
        ending_ = true;
        wishes_.clear();
    }
    wake_.notify_all();
    worker_.join();
}

const QImage* TileService::Tile(const TileKey& key) {
    return tiles_.object(key);
}

void TileService::Want(const void* view, const std::shared_ptr<MapPicture>& picture,
                       std::vector<TileKey> tiles) {
    known_.insert(picture.get());
    std::ranges::reverse(tiles);
    {
        const std::scoped_lock hold(lock_);
        wishes_[view] = {picture, std::move(tiles)};
    }
    wake_.notify_all();
}

void TileService::Forget(const void* view, const MapPicture* picture) {
    {
        const std::scoped_lock hold(lock_);
        wishes_.erase(view);
    }
    known_.erase(picture);
    for (const TileKey& key : tiles_.keys()) {
        if (key.picture == picture) tiles_.remove(key);
    }
}

bool TileService::Idle() {
    const std::scoped_lock hold(lock_);
    return !busy_ &&
           std::ranges::all_of(wishes_, [](const auto& one) { return one.second.tiles.empty(); });
}

// Views take turns. The lock is held.
std::optional<TileService::Job> TileService::NextJob() {
    const auto has = [](const auto& one) { return !one.second.tiles.empty(); };
    auto next = std::find_if(wishes_.upper_bound(lastServed_), wishes_.end(), has);
    if (next == wishes_.end()) next = std::find_if(wishes_.begin(), wishes_.end(), has);
    if (next == wishes_.end()) return std::nullopt;
    lastServed_ = next->first;
    Job job{next->second.picture, next->second.tiles.back()};
    next->second.tiles.pop_back();
    return job;
}

void TileService::Work() {
    std::unique_lock hold(lock_);
    while (!ending_) {
        const std::optional<Job> job = NextJob();
        busy_ = job.has_value();
        if (!job) {
            wake_.wait(hold);
            continue;
        }
        hold.unlock();
        QImage image;
        bool damaged = true;
        try {
            MapTile tile;
            job->picture->RenderTile(job->key.level, job->key.column, job->key.row, tile);
            image = ImageOf(tile);
            damaged = tile.damaged;
        } catch (const std::exception&) {
            image = {};  // without memory there is no tile
        }
        QMetaObject::invokeMethod(
            // The picture lives until then, so that no other can have its address.
            this, [this, done = *job, image, damaged] { Take(done.key, image, damaged); },
            Qt::QueuedConnection);
        hold.lock();
    }
}

void TileService::Take(const TileKey& key, const QImage& image, bool damaged) {
    if (!known_.contains(key.picture)) return;
    const auto kilobytes = static_cast<int>(image.sizeInBytes() / 1024) + 1;
    tiles_.insert(key, new QImage(image), kilobytes);  // the cache takes it over
    if (damaged) emit TileDamaged();
    emit TileReady();
}

}  // namespace tarnvale

#pragma once

#include <QCache>
#include <QImage>
#include <QObject>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "atlas/mappicture.h"

namespace tarnvale {

struct TileKey {
    const MapPicture* picture = nullptr;
    int level = 0, column = 0, row = 0;
    friend auto operator<=>(const TileKey&, const TileKey&) = default;
};

[[nodiscard]] size_t qHash(const TileKey& key, size_t seed = 0) noexcept;

/// Renders tiles of map pictures on a thread of its own and keeps what was used last, within a
/// bound of memory. Thread: the user interface's.
class TileService final : public QObject {
    Q_OBJECT

public:
    TileService();
    ~TileService() override;

    /// @return null while the tile isn't there; on loan until the next call
    [[nodiscard]] const QImage* Tile(const TileKey& key);
    /// What a view lacks, the most wanted first; its earlier wishes are forgotten.
    void Want(const void* view, const std::shared_ptr<MapPicture>& picture,
              std::vector<TileKey> tiles);
    /// Forgets a view's wishes, and the tiles of a picture that goes. The worker may still finish
    /// the tile in hand, for which it keeps the picture alive.
    void Forget(const void* view, const MapPicture* picture);
    /// Nothing is being made or wished for.
    [[nodiscard]] bool Idle();

signals:
    void TileReady();
    /// A tile has parts that can't be read.
    void TileDamaged();

private:
    struct Wishes {
        std::shared_ptr<MapPicture> picture;
        std::vector<TileKey> tiles;  // the most wanted last
    };
    struct Job {
        std::shared_ptr<MapPicture> picture;
        TileKey key;
    };

    void Work();
    [[nodiscard]] std::optional<Job> NextJob();
    void Take(const TileKey& key, const QImage& image, bool damaged);

    QCache<TileKey, QImage> tiles_;
    std::set<const MapPicture*> known_;  // whose tiles are kept
    std::mutex lock_;                    // guards what follows
    std::condition_variable wake_;
    std::map<const void*, Wishes> wishes_;
    const void* lastServed_ = nullptr;
    bool ending_ = false, busy_ = false;
    std::thread worker_;  // last: starts when all else is there
};

}  // namespace tarnvale

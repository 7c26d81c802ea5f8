#pragma once

#include <QObject>
#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "atlas/vectorimage.h"
#include "atlas/vectorlayer.h"

namespace tarnvale {

/// Paints what views show of vector layers, on a thread of its own; the latest picture of each view
/// is kept. Thread: the user interface's.
class VectorService final : public QObject {
    Q_OBJECT

public:
    VectorService();
    ~VectorService() override;

    /// @return null before a view's first picture is there; on loan until the next event
    [[nodiscard]] const VectorImage* Image(const void* view) const;
    /// What a view lacks; its earlier wish is forgotten, and given up if it is being painted and
    /// doesn't serve this one. @param layer  of this view alone
    void Want(const void* view, const std::shared_ptr<VectorLayer>& layer,
              const VectorScene& scene);
    /// Forgets a view that goes, with its picture.
    void Forget(const void* view);
    /// Nothing is being painted or wished for.
    [[nodiscard]] bool Idle();

signals:
    void ImageReady();

private:
    struct Wish {
        std::shared_ptr<VectorLayer> layer;
        VectorScene scene;
    };

    void Work();
    void Take(const void* view, const std::shared_ptr<VectorLayer>& layer,
              const VectorImage& image);
    struct Known {
        std::shared_ptr<VectorLayer> layer;
        std::optional<VectorImage> image;
    };

    std::map<const void*, Known> known_;
    std::mutex lock_;  // guards what follows
    std::condition_variable wake_;
    std::map<const void*, Wish> wishes_;
    const void* inHand_ = nullptr;  // the view that is being painted
    const void* lastServed_ = nullptr;
    VectorScene sceneInHand_;
    bool ending_ = false;
    std::atomic<bool> cancel_ = false;
    std::thread worker_;  // last: starts when all else is there
};

}  // namespace tarnvale

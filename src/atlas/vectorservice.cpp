#include "atlas/vectorservice.h"

#include <exception>
#include <utility>

namespace tarnvale {

VectorService::VectorService() : worker_([this] { Work(); }) {}

VectorService::~VectorService() {
    {
        const std::scoped_lock hold(lock_);
        ending_ = true;
        cancel_ = true;
        wishes_.clear();
    }
    wake_.notify_all();
    worker_.join();
}

const VectorImage* VectorService::Image(const void* view) const {
    const auto found = known_.find(view);
    return found == known_.end() || !found->second.image ? nullptr : &*found->second.image;
}

void VectorService::Want(const void* view, const std::shared_ptr<VectorLayer>& layer,
                         const VectorScene& scene) {
    known_[view].layer = layer;
    {
        const std::scoped_lock hold(lock_);
        if (inHand_ == view && !cancel_) {
            if (sceneInHand_.Covers(scene)) return;
            cancel_ = true;
        }
        wishes_[view] = {layer, scene};
    }
    wake_.notify_all();
}

void VectorService::Forget(const void* view) {
    known_.erase(view);
    const std::scoped_lock hold(lock_);
    wishes_.erase(view);
    if (inHand_ == view) cancel_ = true;
}

bool VectorService::Idle() {
    const std::scoped_lock hold(lock_);
    return inHand_ == nullptr && wishes_.empty();
}

void VectorService::Work() {
    std::unique_lock hold(lock_);
    while (!ending_) {
        inHand_ = nullptr;
        if (wishes_.empty()) {
            wake_.wait(hold);
            continue;
        }
        // Views take turns.
        auto next = wishes_.upper_bound(lastServed_);
        if (next == wishes_.end()) next = wishes_.begin();
        inHand_ = lastServed_ = next->first;
        const Wish wish = std::move(next->second);
        wishes_.erase(next);
        sceneInHand_ = wish.scene;
        cancel_ = false;
        hold.unlock();
        VectorImage painted;
        try {
            painted = PaintVectors(*wish.layer, wish.scene, cancel_);
        } catch (const std::exception&) {
            // Without memory there is no picture, but the view is told and doesn't ask again.
            painted.scene = wish.scene;
            painted.outcome.damaged = true;
        }
        if (!painted.outcome.cancelled) {
            QMetaObject::invokeMethod(
                this,
                [this, view = lastServed_, layer = wish.layer, painted] {
                    Take(view, layer, painted);
                },
                Qt::QueuedConnection);
        }
        hold.lock();
    }
}

// A view that has gone may have left its address to another, but not its layer.
void VectorService::Take(const void* view, const std::shared_ptr<VectorLayer>& layer,
                         const VectorImage& image) {
    const auto found = known_.find(view);
    if (found == known_.end() || found->second.layer != layer) return;
    found->second.image = image;
    emit ImageReady();
}

}  // namespace tarnvale

#include "input/keylatch.h"

#include <algorithm>

namespace tarnvale {

void KeyLatch::SetSink(KeySink* sink) {
    sink_ = sink;
    unread_.clear();
    released_.clear();
}

bool KeyLatch::KeyDown(Key key, bool repeat) {
    if (sink_ == nullptr) return false;
    // In order: a release that came after this press could end what this press begins.
    PassReleases();
    if (!sink_->KeyDown(key, repeat)) return false;
    if (!repeat && std::ranges::find(unread_, key) == unread_.end()) unread_.push_back(key);
    return true;
}

bool KeyLatch::KeyUp(Key key) {
    if (sink_ == nullptr) return false;
    if (std::ranges::find(unread_, key) == unread_.end()) return sink_->KeyUp(key);
    if (std::ranges::find(released_, key) == released_.end()) released_.push_back(key);
    return true;
}

void KeyLatch::AllKeysUp() {
    unread_.clear();
    released_.clear();
    if (sink_ != nullptr) sink_->AllKeysUp();
}

void KeyLatch::FrameRead() {
    PassReleases();
    unread_.clear();
}

void KeyLatch::PassReleases() {
    for (const Key key : released_) (void)sink_->KeyUp(key);
    released_.clear();
}

}  // namespace tarnvale

#pragma once

#include <vector>

#include "input/inputsystem.h"

namespace tarnvale {

/// Stands between a window and its sink: a key pressed and released between two frames stays down
/// until a frame has read it. Sinks know only what is held, so that at few frames a second a short
/// tap would do nothing. Events keep their order, so that a press passes on what was held back: of
/// several keys tapped between two frames the last is read.
/// Thread: the window's.
class KeyLatch final : public KeySink {
public:
    /// @param sink  on loan; null takes it away. Nothing that the former one was to hear is kept.
    void SetSink(KeySink* sink);

    // KeySink; nothing is taken while there is no sink
    bool KeyDown(Key key, bool repeat) override;
    bool KeyUp(Key key) override;
    void AllKeysUp() override;

    /// A frame has read the sink, or none is going to: releases held back until now are passed on.
    void FrameRead();

private:
    void PassReleases();

    KeySink* sink_ = nullptr;    // on loan
    std::vector<Key> unread_;    // pressed since the last frame, and taken by the sink
    std::vector<Key> released_;  // those of them that are up again
};

}  // namespace tarnvale

#pragma once

#include <array>
#include <cstddef>

#include "graphics/opengl3/globject.h"

namespace tarnvale {

/// Brings vertices to the card. Two buffers take turns, a frame each: the program runs at most one
/// frame ahead of the drawing, so what it writes nobody reads any more, and nothing has to be
/// waited for. A buffer that a frame outgrows is replaced by a larger one; a steady frame keeps
/// both. Thread: that of the context, which must be current.
class VertexStream {
public:
    void Open();
    void Abandon() noexcept;
    /// After a frame was sent.
    /// @param drawn  whether the one before it is done; else nobody waits for its buffer any more,
    ///               which is left to the driver
    void NextFrame(bool drawn);

    /// Room for `bytes` more, as the target of pointers into the buffer until the next call.
    /// @return where the room starts in the buffer, a multiple of 16; none while the driver has no
    ///         memory
    [[nodiscard]] bool Reserve(std::size_t bytes, std::size_t& offset);
    /// What Reserve gave, to be filled; until Close, which comes before anything is drawn.
    [[nodiscard]] std::byte* Room() const noexcept { return room_; }
    /// @return false if the driver lost what was written
    [[nodiscard]] bool Close();

private:
    static constexpr std::size_t kFirstSize = std::size_t{1} << 20;
    struct Part {
        GlBuffer buffer;
        std::size_t size = 0, used = 0;
    };
    std::array<Part, 2> parts_;
    std::size_t turn_ = 0;
    std::byte* room_ = nullptr;  // the driver's, between Reserve and Close
};

}  // namespace tarnvale

#include "graphics/opengl3/vertexstream.h"

#include <algorithm>
#include <bit>

#include "graphics/opengl/driver.h"

namespace tarnvale {

namespace {
constexpr std::size_t kAlignment = 16;
}

void VertexStream::Open() {
    for (Part& part : parts_) part = {GlBuffer::Make(), 0, 0};
    turn_ = 0;
}

void VertexStream::Abandon() noexcept {
    for (Part& part : parts_) part.buffer.Abandon();
}

void VertexStream::NextFrame(bool drawn) {
    turn_ = 1 - turn_;
    parts_[turn_].used = 0;
    if (!drawn) parts_[turn_].size = 0;  // so that Reserve takes new memory
}

bool VertexStream::Reserve(std::size_t bytes, std::size_t& offset) {
    Part& part = parts_[turn_];
    glBindBuffer(GL_ARRAY_BUFFER, part.buffer.Name());
    const std::size_t wanted = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    if (part.used + wanted > part.size) {
        // What was drawn from the old one keeps it alive in the driver. Twice the need, so that a
        // view that turns to more and more triangles soon has enough.
        part.size = std::max(kFirstSize, std::bit_ceil((part.used + wanted) * 2));
        part.used = 0;
        DrainDriverErrors();
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(part.size), nullptr, GL_STREAM_DRAW);
        if (DrainDriverErrors()) {
            part.size = 0;
            return false;
        }
    }
    room_ = static_cast<std::byte*>(glMapBufferRange(
        GL_ARRAY_BUFFER, static_cast<GLintptr>(part.used), static_cast<GLsizeiptr>(wanted),
        GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_UNSYNCHRONIZED_BIT));
    if (room_ == nullptr) return false;
    offset = part.used;
    part.used += wanted;
    return true;
}

bool VertexStream::Close() {
    room_ = nullptr;
    return glUnmapBuffer(GL_ARRAY_BUFFER) == GL_TRUE;
}

}  // namespace tarnvale

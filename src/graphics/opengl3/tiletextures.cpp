#include "graphics/opengl3/tiletextures.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "graphics/opengl/driver.h"

namespace tarnvale {

namespace {

std::uint64_t BytesOf(int width, int height) {
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) * 4;
}

}  // namespace

void TileTextures::Open() {
    pixels_ = GlBuffer::Make();
    buffered_ = !DrawsOnProcessor();
}

void TileTextures::Close(bool current) {
    for (Map* textures : {&live_, &recycled_}) {
        for (const auto& [name, texture] : *textures) {
            budget_->Release(texture->bytes);
            if (!current) texture->Abandon();
        }
        textures->clear();
    }
    if (!current) pixels_.Abandon();
    pixels_.Reset();
}

TileTextures::Map::iterator TileTextures::TakeOrMake(GraphicsSystem* owner, std::uint64_t bytes) {
    const auto held = static_cast<std::uint32_t>(live_.size());
    if (!recycled_.empty()) {
        const auto first = recycled_.begin();
        const std::uint64_t had = first->second->bytes;
        if (bytes > had && !budget_->Reserve(bytes - had, held)) return live_.end();
        if (bytes < had) budget_->Release(had - bytes);
        first->second->bytes = bytes;
        return live_.insert(recycled_.extract(first)).position;
    }
    if (!budget_->Reserve(bytes, held)) return live_.end();
    try {
        auto texture = std::make_unique<OpenGL3Texture>(owner, GlTexture::Make());
        texture->bytes = bytes;
        const std::uint64_t name = texture->Native();
        if (name == 0) {  // of a lost context
            budget_->Release(bytes);
            return live_.end();
        }
        return live_.emplace(name, std::move(texture)).first;
    } catch (const std::bad_alloc&) {
        budget_->Release(bytes);
        return live_.end();
    }
}

OpenGL3Texture* TileTextures::Create(GraphicsSystem* owner, std::span<const std::byte> pixels,
                                     const Wanted& wanted) {
    const auto& [width, height, use, copies] = wanted;
    const std::uint64_t bytes = BytesOf(width, height);
    const bool tile = use == TextureUse::Terrain, paid = copies && tile;
    const auto made = TakeOrMake(owner, !tile ? 0 : paid ? bytes + bytes / 3 : bytes);
    if (made == live_.end()) return nullptr;
    OpenGL3Texture& texture = *made->second;
    texture.copiesPaid = paid;
    if (!Fill(texture, pixels.first(static_cast<std::size_t>(bytes)), width, height, use)) {
        budget_->Release(texture.bytes);
        live_.erase(made);
        return nullptr;
    }
    texture.SetLoaded(true);
    return &texture;
}

bool TileTextures::Fill(OpenGL3Texture& texture, std::span<const std::byte> pixels, int width,
                        int height, TextureUse use) {
    DrainDriverErrors();
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(texture.Native()));
    // Said before the texture takes its memory: smaller copies that nobody asked for would take
    // theirs.
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    if (texture.width != width || texture.height != height || texture.use != use) {
        // The sky's spare byte isn't an alpha.
        const GLint format = use == TextureUse::Sky ? GL_SRGB8 : GL_SRGB8_ALPHA8;
        texture.width = texture.height = 0;
        glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     nullptr);
        if (DrainDriverErrors()) return false;
        texture.width = width;
        texture.height = height;
        texture.use = use;
    }
    texture.halved = false;
    texture.SetOpaque(use == TextureUse::Sky || AllOpaque(pixels));
    return SendPixels(pixels, width, height);
}

bool TileTextures::SendPixels(std::span<const std::byte> pixels, int width, int height) {
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    if (!buffered_) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE,
                        pixels.data());
        return !DrainDriverErrors();
    }
    // By way of a buffer of the driver's, so that the call needn't wait for the card. A processor
    // that draws has the pixels at hand already.
    const auto size = static_cast<GLsizeiptr>(pixels.size());
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pixels_.Name());
    glBufferData(GL_PIXEL_UNPACK_BUFFER, size, nullptr, GL_STREAM_DRAW);
    void* const room = glMapBufferRange(GL_PIXEL_UNPACK_BUFFER, 0, size,
                                        GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT);
    bool sent = room != nullptr;
    if (sent) {
        std::memcpy(room, pixels.data(), pixels.size());
        sent = glUnmapBuffer(GL_PIXEL_UNPACK_BUFFER) == GL_TRUE;
    }
    if (sent) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
    }
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    return !DrainDriverErrors() && sent;
}

void TileTextures::Halve(OpenGL3Texture& texture) {
    if (!texture.copiesPaid) {
        // Made while they weren't wanted. What is held gets them even if that passes the limit for
        // a while: a switch to smooth textures must not leave some tiles behind.
        const std::uint64_t more = BytesOf(texture.width, texture.height) / 3;
        (void)budget_->Reserve(more, 0);
        texture.bytes += more;
        texture.copiesPaid = true;
    }
    const auto side = static_cast<unsigned>(std::max({texture.width, texture.height, 1}));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, std::bit_width(side) - 1);
    glGenerateMipmap(GL_TEXTURE_2D);
    texture.halved = true;
    // Without memory for them the tile goes on as it is.
    if (DrainDriverErrors()) glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
}

OpenGL3Texture* TileTextures::Find(const GraphicsSystem* owner, const TextureHandle* handle) {
    return handle != nullptr && handle->Owner() == owner ? Named(handle->Native()) : nullptr;
}

OpenGL3Texture* TileTextures::Named(std::uint64_t name) {
    const auto found = live_.find(name);
    return found != live_.end() ? found->second.get() : nullptr;
}

void TileTextures::Destroy(OpenGL3Texture& texture) {
    budget_->Release(texture.bytes);
    live_.erase(texture.Native());
}

void TileTextures::Recycle(OpenGL3Texture& texture) {
    texture.SetLoaded(false);
    recycled_.insert(live_.extract(texture.Native()));
}

}  // namespace tarnvale

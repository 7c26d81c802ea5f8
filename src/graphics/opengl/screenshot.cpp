#include "graphics/opengl/screenshot.h"

#include <array>
#include <cstdint>
#include <fstream>

namespace tarnvale {

namespace {

constexpr std::uint32_t kFileHeader = 14, kInfoHeader = 40;

/// The two headers, little-endian, zero where nothing is put.
class Headers {
public:
    void Put(std::size_t at, std::uint32_t value, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i)
            bytes_[at + i] = static_cast<char>(value >> (8 * i));
    }
    [[nodiscard]] const char* Data() const { return bytes_.data(); }

private:
    std::array<char, kFileHeader + kInfoHeader> bytes_{};
};

}  // namespace

void WriteBitmap(const FILEPATH& path, std::span<const std::byte> bgra, int width, int height) {
    std::ofstream file(path, std::ios::binary);
    if (!file) return;
    Headers headers;
    headers.Put(0, 'B', 1);
    headers.Put(1, 'M', 1);
    headers.Put(2, kFileHeader, 4);  // readers go by the size of the picture below
    headers.Put(10, kFileHeader + kInfoHeader, 4);
    headers.Put(14, kInfoHeader, 4);
    headers.Put(18, static_cast<std::uint32_t>(width), 4);
    headers.Put(22, static_cast<std::uint32_t>(height), 4);
    headers.Put(26, 1, 2);   // planes
    headers.Put(28, 32, 2);  // bits a pixel, uncompressed
    headers.Put(34, static_cast<std::uint32_t>(bgra.size()), 4);
    file.write(headers.Data(), kFileHeader + kInfoHeader);
    file.write(reinterpret_cast<const char*>(bgra.data()),
               static_cast<std::streamsize>(bgra.size()));
}

}  // namespace tarnvale

#include "tools/renderpicture.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace tarnvale {

namespace {

constexpr int kCompression = 3;  // half the time of the usual 6, hardly larger

struct FileCloser {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

void OnError(png_structp png, png_const_charp) {
    std::longjmp(png_jmpbuf(png), 1);
}
void OnWarning(png_structp, png_const_charp) {}

// Between setjmp and a longjmp nothing with a destructor may be made, so all of that stays outside.
bool Encode(std::FILE* file, std::span<png_bytep> rows, int width, int height,
            std::span<png_text> texts) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_compression_level(png, kCompression);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!texts.empty()) png_set_text(png, info, texts.data(), static_cast<int>(texts.size()));
    png_write_info(png, info);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

bool PlainText(const std::string& text) {
    return std::ranges::all_of(text, [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\n'; });
}

}  // namespace

bool WritePicture(const FILEPATH& path, std::span<const std::byte> rgba, int width, int height,
                  const PictureTexts& texts) {
    const std::size_t line = static_cast<std::size_t>(width) * 4;
    if (rgba.size() < line * static_cast<std::size_t>(height)) return false;
    std::vector<png_bytep> rows(static_cast<std::size_t>(height));
    // libpng takes rows to write by pointers to what it could change, and doesn't.
    auto* pixels = reinterpret_cast<png_bytep>(const_cast<std::byte*>(rgba.data()));
    for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = pixels + y * line;
    std::vector<png_text> chunks;
    for (const auto& [key, text] : texts) {
        png_text chunk{};
        // Old readers know only the plain kind, which can't hold other letters.
        chunk.compression = PlainText(text) ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
        chunk.key = const_cast<png_charp>(key.c_str());
        chunk.text = const_cast<png_charp>(text.c_str());
        chunk.text_length = text.size();
        chunks.push_back(chunk);
    }
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
    bool whole = file != nullptr && Encode(file.get(), rows, width, height, chunks);
    if (file != nullptr) whole = std::fclose(file.release()) == 0 && whole;
    if (!whole) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    return whole;
}

}  // namespace tarnvale

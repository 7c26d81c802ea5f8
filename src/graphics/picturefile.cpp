#include "graphics/picturefile.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

namespace tarnvale {

namespace {

constexpr int kCompression = 3;  // half the time of the usual 6, hardly larger
constexpr std::uint32_t kFileHeader = 14, kInfoHeader = 40;
constexpr std::size_t kPixel = 4;

struct FileCloser {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

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

std::span<const std::byte> RowAt(const PictureView& picture, int fromTop) {
    const std::size_t line = static_cast<std::size_t>(picture.width) * kPixel;
    const int row = picture.order == RowOrder::TopFirst ? fromTop : picture.height - 1 - fromTop;
    return picture.rgba.subspan(static_cast<std::size_t>(row) * line, line);
}

bool WritePng(std::FILE* file, const PictureView& picture, const PictureTexts& texts) {
    std::vector<png_bytep> rows(static_cast<std::size_t>(picture.height));
    for (int y = 0; y < picture.height; ++y) {
        // libpng takes rows to write by pointers to what it could change, and doesn't.
        rows[static_cast<std::size_t>(y)] =
            reinterpret_cast<png_bytep>(const_cast<std::byte*>(RowAt(picture, y).data()));
    }
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
    return Encode(file, rows, picture.width, picture.height, chunks);
}

/// The two headers of a bitmap, little-endian, zero where nothing is put.
class BitmapHeaders {
public:
    void Put(std::size_t at, std::uint32_t value, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i)
            bytes_[at + i] = static_cast<char>(value >> (8 * i));
    }
    [[nodiscard]] bool Write(std::FILE* file) const {
        return std::fwrite(bytes_.data(), bytes_.size(), 1, file) == 1;
    }

private:
    std::array<char, kFileHeader + kInfoHeader> bytes_{};
};

bool WriteBitmap(std::FILE* file, const PictureView& picture) {
    BitmapHeaders headers;
    headers.Put(0, 'B', 1);
    headers.Put(1, 'M', 1);
    headers.Put(2, kFileHeader, 4);  // readers go by the size of the picture below
    headers.Put(10, kFileHeader + kInfoHeader, 4);
    headers.Put(14, kInfoHeader, 4);
    headers.Put(18, static_cast<std::uint32_t>(picture.width), 4);
    headers.Put(22, static_cast<std::uint32_t>(picture.height), 4);
    headers.Put(26, 1, 2);   // planes
    headers.Put(28, 32, 2);  // bits a pixel, uncompressed
    headers.Put(34, static_cast<std::uint32_t>(picture.rgba.size()), 4);
    if (!headers.Write(file)) return false;
    std::vector<std::byte> bgra(static_cast<std::size_t>(picture.width) * kPixel);
    for (int y = picture.height - 1; y >= 0; --y) {  // from the lowest row up
        std::ranges::copy(RowAt(picture, y), bgra.begin());
        for (std::size_t x = 0; x < bgra.size(); x += kPixel) std::swap(bgra[x], bgra[x + 2]);
        if (std::fwrite(bgra.data(), bgra.size(), 1, file) != 1) return false;
    }
    return true;
}

bool IsBitmap(const FILEPATH& path) {
    std::string suffix = path.extension().string();
    std::ranges::transform(suffix, suffix.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return suffix == ".bmp";
}

// A file that can't be written is its owner's wish: a rename would replace it all the same.
bool MayReplace(const FILEPATH& path) {
    std::error_code ignored;
    return !std::filesystem::exists(path, ignored) || File(std::fopen(path.c_str(), "r+b"));
}

Status Failed(const FILEPATH& path, int reason) {
    return _SetErrPosn(StatusCode::WriteFailed,
                       path.string() + ": " + std::generic_category().message(reason));
}

}  // namespace

Status WritePicture(const FILEPATH& path, const PictureView& picture,
                    const PictureTexts& texts) try {
    if (picture.width <= 0 || picture.height <= 0 ||
        picture.rgba.size() != static_cast<std::size_t>(picture.width) *
                                   static_cast<std::size_t>(picture.height) * kPixel) {
        return _SetErrPosn(StatusCode::BadState);
    }
    if (!MayReplace(path)) return Failed(path, errno);
    FILEPATH begun = path;
    begun += ".part";
    errno = 0;
    File file(std::fopen(begun.c_str(), "wb"));
    if (file == nullptr) return Failed(path, errno);
    bool whole =
        IsBitmap(path) ? WriteBitmap(file.get(), picture) : WritePng(file.get(), picture, texts);
    whole = std::fclose(file.release()) == 0 && whole;
    if (whole && std::rename(begun.c_str(), path.c_str()) == 0) return StatusCode::Ok;
    const int reason = errno != 0 ? errno : EIO;
    std::error_code ignored;
    std::filesystem::remove(begun, ignored);
    return Failed(path, reason);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

}  // namespace tarnvale

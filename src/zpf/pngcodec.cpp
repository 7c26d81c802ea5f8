#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstring>

#include "zpf/cells.h"
#include "zpf/codecs.h"

namespace tarnvale::ZPF {

namespace {

// The highest levels take several times as long for a few bytes. Elevations as differences from
// their neighbours hardly ever repeat, but for runs of zeros: looking for runs alone is ten times
// as fast as looking for everything, and as short.
constexpr int kColorLevel = 4, kNumberLevel = 1;
constexpr png_alloc_size_t kLongestChunk = 4 << 20;
// Where the last row begins, hardly more than that row and the end of the file is to come. Whatever
// else the stream holds, libpng would inflate to the end.
constexpr std::size_t kLongestEnd = 64 << 10;

// libpng leaves a function by longjmp: between setjmp and the end of the work no object with a
// destructor may come into being, so reading and writing are plain functions over plain structures.

struct Input {
    const std::byte* data;
    std::size_t left;
};

struct Output {
    std::vector<std::byte>* blob;
    bool full;
};

void Read(png_structp png, png_bytep out, std::size_t count) {
    auto* input = static_cast<Input*>(png_get_io_ptr(png));
    if (count > input->left) png_error(png, "short");
    std::memcpy(out, input->data, count);
    input->data += count;
    input->left -= count;
}

void Write(png_structp png, png_bytep bytes, std::size_t count) {
    auto* output = static_cast<Output*>(png_get_io_ptr(png));
    try {
        const auto* first = reinterpret_cast<const std::byte*>(bytes);
        output->blob->insert(output->blob->end(), first, first + count);
    } catch (const std::bad_alloc&) {
        output->full = true;
    }
    if (output->full) png_error(png, "full");
}

void Flush(png_structp) {}

[[noreturn]] void OnError(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

enum class Wanted : std::uint8_t { Grey, Rgb, Bgr, Numbers16 };

/// Sets the transformations that turn what the PNG holds into what is wanted.
/// @return false where that can't be
bool SetUp(png_structp png, Wanted wanted, int depth, int color) {
    if (wanted == Wanted::Numbers16) {
        png_set_swap(png);
        return depth == 16 && color == PNG_COLOR_TYPE_GRAY;
    }
    if (wanted == Wanted::Grey) {
        if (color == PNG_COLOR_TYPE_PALETTE) {
            png_set_packing(png);
            return true;
        }
        png_set_strip_alpha(png);
        return depth == 8 && (color == PNG_COLOR_TYPE_GRAY || color == PNG_COLOR_TYPE_GRAY_ALPHA);
    }
    if (depth == 16) png_set_strip_16(png);
    if (color == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (color == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (color == PNG_COLOR_TYPE_GRAY || color == PNG_COLOR_TYPE_GRAY_ALPHA)
        png_set_gray_to_rgb(png);
    png_set_strip_alpha(png);
    if (wanted == Wanted::Bgr) png_set_bgr(png);
    return true;
}

/// @param rows  kTileSide pointers to rows of `rowBytes`
/// @return null if all is well, else what is wrong
const char* ReadTile(Input* input, Wanted wanted, png_bytepp rows, std::size_t rowBytes) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (png == nullptr) return "a PNG that there is no memory for";
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_read_struct(&png, &info, nullptr);
        return "a PNG with broken data";
    }
    png_set_user_limits(png, kTileSide, kTileSide);
    png_set_chunk_malloc_max(png, kLongestChunk);
    png_set_chunk_cache_max(png, 16);
    // Nothing but the picture counts; colour profiles and texts aren't even taken apart.
    static constexpr png_byte kIgnored[] =
        "iCCP\0iTXt\0tEXt\0zTXt\0sPLT\0hIST\0eXIf\0gAMA\0cHRM\0sRGB\0pHYs\0tIME\0bKGD";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kIgnored,
                                static_cast<int>(sizeof(kIgnored) / 5));
    png_set_read_fn(png, input, Read);
    png_read_info(png, info);
    const char* wrong = nullptr;
    const int color = png_get_color_type(png, info);
    if (png_get_image_width(png, info) != kTileSide ||
        png_get_image_height(png, info) != kTileSide) {
        wrong = "a PNG that isn't of a tile's size";
    } else if (!SetUp(png, wanted, png_get_bit_depth(png, info), color)) {
        wrong = "a PNG of another kind of pixels than the raster's";
    } else {
        const int passes = png_set_interlace_handling(png);
        png_read_update_info(png, info);
        if (png_get_rowbytes(png, info) != rowBytes) {
            wrong = "a PNG of another kind of pixels than the raster's";
        } else {
            for (int row = 0; row < passes * kTileSide; ++row) {
                if (row == passes * kTileSide - 1 && input->left > kLongestEnd)
                    input->left = kLongestEnd;
                png_read_row(png, rows[row % kTileSide], nullptr);
            }
            png_read_end(png, nullptr);
        }
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return wrong;
}

struct Picture {
    int color;
    int depth;
    int filters;
    int level;
    int strategy;
    const png_color* palette;
    int colors;
    const png_byte* alpha;
};

bool WriteTile(const Picture* picture, png_bytepp rows, Output* output) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, output, Write, Flush);
    png_set_compression_level(png, picture->level);
    png_set_compression_strategy(png, picture->strategy);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, picture->filters);
    png_set_IHDR(png, info, kTileSide, kTileSide, picture->depth, picture->color,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (picture->palette != nullptr) {
        png_set_PLTE(png, info, picture->palette, picture->colors);
        if (picture->alpha != nullptr)
            png_set_tRNS(png, info, picture->alpha, picture->colors, nullptr);
    }
    png_write_info(png, info);
    if (picture->depth == 16) png_set_swap(png);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

using Rows = std::array<png_bytep, kTileSide>;

Rows RowsOf(std::byte* pixels, std::size_t rowBytes) {
    Rows rows{};
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rows[row] = reinterpret_cast<png_bytep>(pixels + row * rowBytes);
    }
    return rows;
}

Status Store(const Picture& picture, std::span<const std::byte> pixels,
             std::vector<std::byte>& blob) {
    // libpng reads these rows only; its interface lacks the const.
    Rows rows = RowsOf(
        const_cast<std::byte*>(pixels.data()),  // NOLINT(cppcoreguidelines-pro-type-const-cast)
        pixels.size() / kTileSide);
    blob.clear();
    Output output{&blob, false};
    return WriteTile(&picture, rows.data(), &output) ? Status(StatusCode::Ok)
                                                     : _SetErrPosn(StatusCode::NoMemory);
}

Status Load(std::span<const std::byte> blob, Wanted wanted, std::span<std::byte> pixels) {
    const std::size_t rowBytes = pixels.size() / kTileSide;
    Rows rows = RowsOf(pixels.data(), rowBytes);
    Input input{blob.data(), blob.size()};
    const char* wrong = ReadTile(&input, wanted, rows.data(), rowBytes);
    return wrong == nullptr ? Status(StatusCode::Ok) : _SetErrPosn(StatusCode::FileDamaged, wrong);
}

}  // namespace

bool IsPng(std::span<const std::byte> blob) {
    constexpr std::array<unsigned char, 8> kMagic{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return blob.size() > kMagic.size() &&
           std::memcmp(blob.data(), kMagic.data(), kMagic.size()) == 0;
}

Status EncodePng(std::span<const std::byte> pixels, PixelOrder order,
                 std::span<const COLOR> palette, std::vector<std::byte>& blob) {
    if (pixels.size() != kTileCells * BytesOf(order) || order == PixelOrder::Bgr ||
        palette.size() > 256) {
        return _SetErrPosn(StatusCode::BadState);
    }
    const int adaptive = PNG_FILTER_SUB | PNG_FILTER_UP | PNG_FILTER_PAETH;
    if (palette.empty()) {
        const int color = order == PixelOrder::Grey  ? PNG_COLOR_TYPE_GRAY
                          : order == PixelOrder::Rgb ? PNG_COLOR_TYPE_RGB
                                                     : PNG_COLOR_TYPE_RGB_ALPHA;
        return Store({color, 8, adaptive, kColorLevel, Z_FILTERED, nullptr, 0, nullptr}, pixels,
                     blob);
    }
    if (order != PixelOrder::Grey) return _SetErrPosn(StatusCode::BadState);
    // A number beyond the palette makes a broken PNG, so the palette is always whole.
    std::array<png_color, 256> colors{};
    std::array<png_byte, 256> alpha{};
    alpha.fill(255);
    for (std::size_t i = 0; i < palette.size(); ++i) {
        colors[i] = {static_cast<png_byte>(palette[i].red >> 8),
                     static_cast<png_byte>(palette[i].green >> 8),
                     static_cast<png_byte>(palette[i].blue >> 8)};
        alpha[i] = static_cast<png_byte>(255 - palette[i].Transparency());
    }
    const bool opaque = std::ranges::all_of(alpha, [](png_byte a) { return a == 255; });
    return Store({PNG_COLOR_TYPE_PALETTE, 8, PNG_FILTER_NONE, kColorLevel, Z_DEFAULT_STRATEGY,
                  colors.data(), 256, opaque ? nullptr : alpha.data()},
                 pixels, blob);
}

Status EncodePng16(std::span<const std::uint16_t> cells, std::vector<std::byte>& blob) {
    if (cells.size() != kTileCells) return _SetErrPosn(StatusCode::BadState);
    return Store(
        {PNG_COLOR_TYPE_GRAY, 16, PNG_FILTER_PAETH, kNumberLevel, Z_RLE, nullptr, 0, nullptr},
        std::as_bytes(cells), blob);
}

Status DecodePng(std::span<const std::byte> blob, PixelOrder order, std::span<std::byte> pixels) {
    if (order == PixelOrder::Rgba || pixels.size() != kTileCells * BytesOf(order)) {
        return _SetErrPosn(StatusCode::BadState);
    }
    const Wanted wanted = order == PixelOrder::Grey  ? Wanted::Grey
                          : order == PixelOrder::Rgb ? Wanted::Rgb
                                                     : Wanted::Bgr;
    return Load(blob, wanted, pixels);
}

Status DecodePng16(std::span<const std::byte> blob, std::span<std::uint16_t> cells) {
    if (cells.size() != kTileCells) return _SetErrPosn(StatusCode::BadState);
    return Load(blob, Wanted::Numbers16, std::as_writable_bytes(cells));
}

}  // namespace tarnvale::ZPF

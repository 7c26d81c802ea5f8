// Opens a file of any bytes as a project file and reads all that it offers, as the scan of a
// landscape does. An input is a list of changes to a sound file: so the changes land on all parts
// of it, and an input stays small.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "seeds.h"
#include "zpf/zpffile.h"
#include "zpf/zpfraster.h"

using namespace tarnvale;

namespace {

constexpr int kObjects = 64;
constexpr std::size_t kFront = 40 * 8192;
constexpr std::size_t kTileBytes = std::size_t{ZPF::kTileSide} * ZPF::kTileSide * 8;

/// The file that the program under test opens, in memory where the system has a folder for that.
class ScratchFile {
public:
    ScratchFile() {
        std::error_code failed;
        const FILEPATH memory = "/dev/shm";
        const FILEPATH folder = std::filesystem::is_directory(memory, failed)
                                    ? memory
                                    : std::filesystem::temp_directory_path(failed);
        path_ = folder / ("zpf-fuzz-" + std::to_string(getpid()) + ".sim");
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    void Fill(const std::vector<std::byte>& bytes) const {
        std::ofstream stream(path_, std::ios::binary);
        stream.write(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
        if (!stream) std::abort();
    }
    [[nodiscard]] const FILEPATH& Path() const { return path_; }

private:
    FILEPATH path_;
};

/// Takes numbers off the input; 0 at its end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
    [[nodiscard]] bool Empty() const { return left_ == 0; }
    std::uint32_t Take(int bytes) {
        std::uint32_t value = 0;
        for (; bytes > 0 && left_ > 0; --bytes, --left_) value = value << 8 | *data_++;
        return value;
    }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

/// Changes: a kind, a place, then bytes written over from there on, or the file cut there. Every
/// other kind falls on the front of the file, where the schema and the headers lie.
std::vector<std::byte> Changed(std::vector<std::byte> bytes, Input input) {
    while (!input.Empty() && !bytes.empty()) {
        const std::uint32_t kind = input.Take(1);
        const std::size_t range = kind % 2 == 0 ? std::min(bytes.size(), kFront) : bytes.size();
        std::size_t place = input.Take(3) % range;
        if (kind == 255) {
            bytes.resize(place);
        } else {
            for (std::uint32_t i = 0; i <= kind / 2 % 8 && place < bytes.size(); ++i, ++place) {
                bytes[place] = static_cast<std::byte>(input.Take(1));
            }
        }
    }
    return bytes;
}

enum class Cells : std::uint8_t { Skip, Read };

void ReadRaster(const ZPF::FILEHANDLE& file, int number, Cells read,
                std::vector<std::byte>& cells) {
    ZPF::RASTERHANDLE raster;
    if (!raster.Open(file, number).Good()) return;
    const ZPF::RasterHeader& header = raster.Header();
    std::vector<ZPF::PyramidLevel> levels;
    ZPF::RasterStatistics statistics;
    GeoTransform transform;
    COORDREFSYS system;
    ZPF::ColorMap colors;
    double width = 0, height = 0;
    static_cast<void>(raster.GetPyramidList(levels).Good());
    static_cast<void>(raster.GetStatistics(statistics).Good());
    static_cast<void>(raster.GetGeoreference(transform, system).Good());
    static_cast<void>(raster.GetCellSize(width, height).Good());
    static_cast<void>(raster.ReadColorMap(colors).Good());
    static_cast<void>(raster.ReadColorProfile().size());
    static_cast<void>(raster.FindMask());
    if (read == Cells::Skip) return;
    const int columns = std::min(header.columns, ZPF::kTileSide),
              rows = std::min(header.rows, ZPF::kTileSide);
    static_cast<void>(raster.ReadBlock(0, 0, columns, rows, cells, ZPF::LineForm::Raw).Good());
    static_cast<void>(
        raster.ReadLine(header.rows - 1, header.columns - 1, 1, cells, ZPF::LineForm::Signed16)
            .Good());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<std::byte> seed = SeedFile();
    static const ScratchFile scratch;
    static std::vector<std::byte> cells(kTileBytes);
    if (seed.empty()) std::abort();
    scratch.Fill(Changed(seed, Input(data, size)));
    ZPF::FILEHANDLE file;
    if (!file.Open(scratch.Path(), ZPF::OpenMode::Read).Good()) {
        // An unchanged file must open, or nothing is tested here.
        if (size == 0) {
            std::fprintf(stderr, "%s\n", GetErrPosn().detail.c_str());
            std::abort();
        }
        return 0;
    }
    for (int parent = 0; parent < kObjects; ++parent) {
        for (const ObjectType type : {ObjectType::Folder, ObjectType::Raster, ObjectType::Text}) {
            std::int64_t iterator = 0;
            for (int number = 0; file.GetNextInodeNum(iterator, parent, type, number);) {
                ZPFObjectItem item;
                QNSTRING text;
                if (!file.GetItem(number, item).Good()) std::abort();
                static_cast<void>(file.ReadText(number, text).Good());
                // Decoding takes most of the time: one raster of each file is enough.
                const bool chosen = size == 0 || number % 8 == data[size - 1] % 8;
                if (type == ObjectType::Raster)
                    ReadRaster(file, number, chosen ? Cells::Read : Cells::Skip, cells);
            }
        }
    }
    static_cast<void>(file.FindDatabaseByTableUsage(16));
    return 0;
}

#include "zpf/zpfwriter.h"

#include <sys/resource.h>

#include <csignal>
#include <thread>

#include "zpf/sample_for_test.h"

namespace tarnvale::ZPF {
namespace {

RasterSpec NoiseSpec() {
    return Spec("Noise", RasterType::Signed32, 8 * kTileSide, 8 * kTileSide);
}

/// A tile that hardly gets shorter: 1 megabyte.
EncodedTile NoiseTile() {
    Dice dice(1);
    std::vector<std::uint32_t> cells(kTileCells);
    for (std::uint32_t& cell : cells) cell = dice.Roll() * 2 + dice.Roll() % 2;
    EncodedTile tile;
    EXPECT_TRUE(
        Good(PROJECTWRITER::EncodeTile(NoiseSpec(), 0, std::as_bytes(std::span(cells)), {}, tile)));
    return tile;
}

/// Begins a file of a few megabytes, more than SQLite holds back.
Status WriteNoise(PROJECTWRITER& writer, const FILEPATH& path, const EncodedTile& tile) {
    int number = kNoObject;
    Status status = writer.Create(path);
    if (status.Good()) status = writer.AddRaster(kRootObject, NoiseSpec(), number);
    for (int i = 0; status.Good() && i < 20; ++i)
        status = writer.PutTile(number, 0, i % 8, i / 8, tile);
    return status;
}

/// Limits the size of files that this process writes, as a full disc does.
class FullDisc {
public:
    explicit FullDisc(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit tight{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &tight);
    }
    FullDisc(const FullDisc&) = delete;
    FullDisc& operator=(const FullDisc&) = delete;
    ~FullDisc() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit old_{};
    void (*handler_)(int);
};

TEST(Writer, AFullDiscLeavesTheOldFileAndNothingElse) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> before = ReadFile(path);
    const EncodedTile tile = NoiseTile();
    // Wherever the room ends: at once, in the midst, or on the last bytes.
    for (const rlim_t room : {0, 5000, 20'000, 1 << 20, 19 << 20}) {
        const FullDisc disc(room);
        PROJECTWRITER writer;
        Status status = WriteNoise(writer, path, tile);
        if (status.Good()) status = writer.Commit();
        EXPECT_EQ(status.Code(), StatusCode::WriteFailed) << room;
        EXPECT_NE(GetErrPosn().detail.find("a.sim: "), std::string::npos) << GetErrPosn().detail;
    }
    {
        PROJECTWRITER writer;  // with room it works
        ASSERT_TRUE(Good(WriteNoise(writer, folder / "b.sim", tile)));
        ASSERT_TRUE(Good(writer.Commit()));
        std::filesystem::remove(folder / "b.sim");
    }
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"a.sim"});
    EXPECT_TRUE(ReadFile(path) == before);
}

TEST(Writer, TheLongestNameLeavesRoomForATemporaryOne) {
    const ScratchFolder folder;
    const std::string name = std::string(251, 'n') + ".sim";
    ASSERT_TRUE(Good(WriteLandscape(folder / name.c_str())));
    ASSERT_TRUE(Good(WriteLandscape(folder / name.c_str()))) << "over the old one";
    EXPECT_EQ(folder.Names(), std::vector<std::string>{name});
}

TEST(Writer, AKilledWriterLeavesTheOldFileWhole) {
    const ScratchFolder folder;
    const FILEPATH path = folder / "a.sim";
    ASSERT_TRUE(Good(WriteLandscape(path)));
    const std::vector<char> before = ReadFile(path);
    const EncodedTile tile = NoiseTile();
    EXPECT_EXIT(
        {
            PROJECTWRITER writer;
            if (WriteNoise(writer, path, tile).Good()) raise(SIGKILL);
        },
        testing::KilledBySignal(SIGKILL), "");
    EXPECT_TRUE(ReadFile(path) == before);
}

TEST(Writer, SpecsAndTilesThatCantBeAreRefused) {
    const ScratchFolder folder;
    PROJECTWRITER writer;
    ASSERT_TRUE(Good(writer.Create(folder / "a.sim")));
    const std::pair<const char*, void (*)(RasterSpec&)> changes[] = {
        {"no columns", [](RasterSpec& spec) { spec.columns = 0; }},
        {"too many rows", [](RasterSpec& spec) { spec.rows = kMaximumSide + 1; }},
        {"no type", [](RasterSpec& spec) { spec.type = static_cast<RasterType>(3); }},
        {"no levels", [](RasterSpec& spec) { spec.levels = 0; }},
        {"colours without numbers", [](RasterSpec& spec) { spec.colorMap.resize(4); }},
        {"scale", [](RasterSpec& spec) { spec.scale = std::nan(""); }},
    };
    int number = kNoObject;
    for (const auto& [what, change] : changes) {
        RasterSpec spec = NoiseSpec();
        change(spec);
        EXPECT_EQ(writer.AddRaster(kRootObject, spec, number).Code(), StatusCode::BadState) << what;
    }
    const RasterSpec spec = NoiseSpec();
    ASSERT_TRUE(Good(writer.AddRaster(kRootObject, spec, number)));
    EncodedTile tile;
    EXPECT_EQ(PROJECTWRITER::EncodeTile(spec, 0, std::vector<std::byte>(9), {}, tile).Code(),
              StatusCode::BadState);
    const EncodedTile noise = NoiseTile();
    ASSERT_TRUE(Good(writer.PutTile(number, 0, 7, 7, noise)));
    EXPECT_FALSE(writer.PutTile(number, 0, 7, 7, noise).Good());  // each once
    EXPECT_EQ(writer.PutTile(number, 0, 0, 8, noise).Code(), StatusCode::BadState);
    EXPECT_EQ(writer.PutTile(number, 1, 0, 0, tile).Code(), StatusCode::BadState);
}

TEST(Writer, TilesEncodedOnManyThreadsAreTheSame) {
    const TileEncoding encodings[] = {TileEncoding::Automatic, TileEncoding::Lossless};
    for (const TileEncoding encoding : encodings) {
        RasterSpec spec;
        spec.columns = spec.rows = kTileSide;
        spec.encoding = encoding;
        std::vector<std::byte> cells(kTileCells * 3);
        for (std::size_t i = 0; i < cells.size(); ++i)
            cells[i] = static_cast<std::byte>(i / 700 % 256);
        std::vector<EncodedTile> tiles(6);
        {
            std::vector<std::jthread> threads;
            threads.reserve(tiles.size());
            for (EncodedTile& tile : tiles) {
                threads.emplace_back([&] {
                    if (!PROJECTWRITER::EncodeTile(spec, 0, cells, {}, tile).Good())
                        tile.pixels.clear();
                });
            }
        }
        EXPECT_FALSE(tiles[0].pixels.empty());
        for (const EncodedTile& tile : tiles) EXPECT_TRUE(tile.pixels == tiles[0].pixels);
    }
}

}  // namespace
}  // namespace tarnvale::ZPF

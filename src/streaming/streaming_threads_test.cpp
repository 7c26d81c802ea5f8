// Seventeen models over four textures, as many loaders, opening, closing and flying at once. To be
// run under ThreadSanitizer too.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "streaming/fakegraphics_test.h"
#include "streaming/rastertilesource.h"
#include "zpf/sample_for_test.h"

namespace tarnvale {
namespace {

using namespace std::chrono_literals;
using fake::AnyItem;
using fake::FakeGraphics;
using fake::FakeTerrain;
using fake::Strip;
using fake::TagOf;

constexpr int kModels = 17;
constexpr int kTextures = 4;

/// Flies one model of each texture, with a graphics system of their own, and reopens now and then.
class Pilot {
public:
    explicit Pilot(unsigned seed, std::size_t textures = kTextures)
        : random_(seed), graphics_(16, 12 + seed % 7 * 10) {
        for (std::size_t i = 0; i < textures; ++i) {
            models_.push_back(std::make_unique<BandwidthLimitedTexture>(
                fake::Tagged(fake::WholeDomain(256 << i))));
        }
    }
    void Frame() {
        for (std::size_t i = 0; i < models_.size(); ++i) {
            BandwidthLimitedTexture& model = *models_[i];
            if (!model.IsOpen() || random_() % 200 == 0) {
                ASSERT_TRUE(model.Open(AnyItem(), terrain_, &graphics_).Good());
            }
            // A memory full of other textures refuses even the first: the layer is plain then.
            const float x = static_cast<float>(random_() % 50);
            const float height = 5.0F + static_cast<float>(random_() % 90);
            model.SetView(fake::CameraAt({x, -x, height}, 60), 1280, 720);
            for (int row = 0; row < 60; row += 6) {
                for (const RenderMesh* mesh :
                     model.Prepare(Strip(x, static_cast<float>(row), 2, 6))) {
                    if (mesh->texture == nullptr) continue;
                    const TileName name = model.NameOf(mesh->texture);
                    ASSERT_EQ(FakeGraphics::Tag(mesh->texture), TagOf(name.level, name.entry));
                }
            }
            model.Service();
            uploads += model.Figures().uploads;
        }
    }
    void CloseAll() {
        for (auto& model : models_) model->Close();
        EXPECT_EQ(graphics_.Live(), 0U);
    }
    std::uint64_t uploads = 0;

private:
    std::mt19937 random_;
    FakeGraphics graphics_;
    FakeTerrain terrain_{65};
    std::vector<std::unique_ptr<BandwidthLimitedTexture>> models_;
};

TEST(StreamingThreads, SeventeenViewsOfFourTexturesFlyAtOnce) {
    std::vector<std::unique_ptr<Pilot>> views;
    for (unsigned view = 0; view < kModels; ++view) views.push_back(std::make_unique<Pilot>(view));
    std::atomic<bool> landed{false};
    std::vector<std::thread> others;
    for (unsigned other = 0; other < 2; ++other) {
        others.emplace_back([&landed, other] {
            Pilot pilot(100 + other);
            while (!landed) {
                pilot.Frame();
                std::this_thread::sleep_for(5ms);
            }
            pilot.CloseAll();
        });
    }
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < 4s && !::testing::Test::HasFailure()) {
        for (auto& view : views) view->Frame();
        std::this_thread::sleep_for(1ms);
    }
    landed = true;
    for (std::thread& other : others) other.join();
    std::uint64_t uploads = 0;
    for (auto& view : views) {
        uploads += view->uploads;
        view->CloseAll();
    }
    EXPECT_GT(uploads, 500U);
}

// The same file through many handles: every loader has a connection of its own.
TEST(StreamingThreads, LoadersShareAFile) {
    const ZPF::ScratchFolder folder;
    const FILEPATH path = folder / "land.sim";
    ASSERT_TRUE(ZPF::Good(ZPF::WriteLandscape(path)));
    ZPFObjectItem item;
    {
        ZPF::FILEHANDLE file;
        ASSERT_TRUE(ZPF::Good(file.Open(path, ZPF::OpenMode::Read)));
        ASSERT_TRUE(ZPF::Good(
            file.GetItem(file.FindObject(kRootObject, ObjectType::Raster, "Land"), item)));
    }
    COORDREFSYS system;
    ASSERT_TRUE(ZPF::Good(COORDREFSYS::FromText("EPSG:32633", system)));
    FakeTerrain terrain(513, {400000, 30, 0, 5600000, 0, -30}, system);
    ASSERT_TRUE(terrain.Placed());
    std::vector<std::thread> threads;
    std::atomic<std::uint64_t> uploads{0};
    threads.reserve(3);
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&] {
            FakeGraphics graphics(128);
            for (int turn = 0; turn < 2; ++turn) {
                std::array<BandwidthLimitedTexture, 3> models;
                for (BandwidthLimitedTexture& model : models) {
                    ASSERT_TRUE(model.Open(item, terrain, &graphics).Good());
                    ASSERT_TRUE(model.IsOpen()) << GetErrPosn().detail;
                }
                // However slow the machine is: at least so many frames, and until tiles came in.
                std::uint64_t taken = 0;
                const auto deadline = std::chrono::steady_clock::now() + 60s;
                for (int frame = 0; frame < 60 || taken < 9; ++frame) {
                    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
                    for (BandwidthLimitedTexture& model : models) {
                        model.SetView(fake::CameraAt({256, -256, 50}, 60), 1280, 720);
                        for (int row = 200; row < 300; row += 10) {
                            (void)model.Prepare(Strip(200, static_cast<float>(row), 5, 20));
                        }
                        model.Service();
                        taken += model.Figures().uploads;
                    }
                    std::this_thread::sleep_for(10ms);
                }
                uploads += taken;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_GT(uploads, 50U);
}

}  // namespace
}  // namespace tarnvale

#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/settings.h"
#include "graphics/graphicssystem.h"
#include "graphics/offscreen/offscreenwindow.h"
#include "graphics/texturebudget.h"

namespace tarnvale {

/// A kind of graphics system, and how it differs where it may.
struct DrawingKind {
    const char* name;
    std::unique_ptr<GraphicsSystem> (*make)();
    const TextureBudget& (*budget)(const GraphicsSystem& system);
    void (*gather)(GraphicsSystem& system, bool on);

    bool texturesTakeLight;     ///< a texture is shaded by the lit material, else it replaces it
    bool blends;                ///< what is translucent lets through; else only the veil does
    bool veilAdds;              ///< the veil's colour is added, else mixed in
    bool veilGlows;             ///< the veil has its colour twice, once without ambient light
    bool shortMeshEndsBatch;    ///< else it is left out alone
    bool plainMeshesTakeSun;    ///< a mesh without normals looks up, else ambient light is all
    bool fogHasDistances;       ///< start, end and density count, else fog ends one unit away
    bool smooths;               ///< heeds SmoothTexture and Antialias
    bool lightsAreDirectional;  ///< else a light stands at its position
    bool lightsTurnWithModels;  ///< else a model that turns away from a light darkens
    bool remembersWhileClosed;  ///< states set while closed hold after opening
    int texelSteps;             ///< of 255, that a texel may be off: bits of a channel

    friend std::ostream& operator<<(std::ostream& out, const DrawingKind& kind) {
        return out << kind.name;
    }
};

/// Every kind that draws on this machine. The differences are those that callers may meet; in all
/// else the systems can't be told apart.
[[nodiscard]] const std::vector<DrawingKind>& DrawingKinds();

inline constexpr int kSide = 64;
inline constexpr COLOR kRed{0xFFFF, 0, 0, 0}, kGreen{0, 0xFFFF, 0, 0}, kBlue{0, 0, 0xFFFF, 0};

/// Red, green and blue of a pixel, 0 to 255.
struct Rgb {
    int r = 0, g = 0, b = 0;
    friend bool operator==(const Rgb&, const Rgb&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Rgb& c) {
        return out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
    }
};
inline constexpr Rgb kBlackPixel{0, 0, 0}, kRedPixel{255, 0, 0}, kGreenPixel{0, 255, 0},
    kBluePixel{0, 0, 255};

[[nodiscard]] inline bool IsNear(Rgb a, Rgb b, int steps) {
    return std::abs(a.r - b.r) <= steps && std::abs(a.g - b.g) <= steps &&
           std::abs(a.b - b.b) <= steps;
}

/// Sets a setting for a test.
template <typename T>
class Scoped {
public:
    Scoped(Setting<T>& setting, T value) : setting_(setting), old_(setting.Get()) {
        setting_.SetUnsaved(std::move(value));
    }
    ~Scoped() { setting_.SetUnsaved(old_); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;

private:
    Setting<T>& setting_;
    T old_;
};

/// The plane z = 0 seen from above: x and y from -1 to 1 just fill the picture.
inline RenderCamera FromAbove() {
    RenderCamera camera;
    camera.eye = {0, 0, 10};
    camera.up = {0, 1, 0};
    camera.fieldOfView = 2.0F * std::atan(0.1F) * 57.29578F;
    camera.nearPlane = 1;
    camera.farPlane = 100;
    return camera;
}

inline RenderMesh Quad(float x0, float y0, float x1, float y1, COLOR colour, float z = 0) {
    RenderMesh mesh;
    mesh.kind = PrimitiveKind::Fan;
    for (const auto& [x, y, u, v] :
         {std::tuple{x0, y0, 0.0F, 0.0F}, std::tuple{x1, y0, 1.0F, 0.0F},
          std::tuple{x1, y1, 1.0F, 1.0F}, std::tuple{x0, y1, 0.0F, 1.0F}}) {
        mesh.vertices.Append({x, y, z});
        mesh.texcoords.Append({u, v});
    }
    mesh.colour = colour;
    return mesh;
}

inline RenderMesh Textured(TextureHandle* texture, float x0, float y0, float x1, float y1,
                           float z = 0) {
    RenderMesh mesh = Quad(x0, y0, x1, y1, COLOR::Plain(), z);
    mesh.texture = texture;
    return mesh;
}

inline std::vector<std::byte> Pixels(Rgb colour, int alpha = 255) {
    std::vector<std::byte> pixels;
    pixels.reserve(512 * 512 * 4);
    for (int i = 0; i < 512 * 512; ++i) {
        for (const int part : {colour.b, colour.g, colour.r, alpha}) {
            pixels.push_back(static_cast<std::byte>(part));
        }
    }
    return pixels;
}

/// One view: a window, its system, and the picture after EndFrame.
struct ViewUnderTest {
    explicit ViewUnderTest(const DrawingKind& which, int width = kSide, int height = kSide)
        : kind(which), window(width, height), made(kind.make()), system(*made) {
        EXPECT_TRUE(system.Open(&window).Good()) << GetErrPosn().detail;
    }
    void Begin(const RenderCamera& camera = FromAbove(), FramePass pass = FramePass::Full) {
        int width = 0;
        int height = 0;
        system.BeginView(camera, width, height, pass);
    }
    void Draw(RenderMesh mesh) { system.DrawMeshes({&mesh}); }
    void End() {
        ASSERT_TRUE(system.EndFrame().Good());
        ASSERT_TRUE(window.ReadPicture(picture).Good());
    }
    TextureHandle* Texture(Rgb colour, int alpha = 255) {
        return system.CreateTexture(Pixels(colour, alpha), TextureUse::Terrain);
    }
    /// At a point of the plane z = 0.
    [[nodiscard]] Rgb At(float x, float y) const {
        const auto column = static_cast<int>((x + 1) / 2 * static_cast<float>(window.PixelWidth()));
        const auto row = static_cast<int>((1 - y) / 2 * static_cast<float>(window.PixelHeight()));
        const std::byte* p =
            &picture[static_cast<std::size_t>(row * window.PixelWidth() + column) * 4];
        return {static_cast<int>(p[0]), static_cast<int>(p[1]), static_cast<int>(p[2])};
    }

    [[nodiscard]] const TextureBudget& Budget() const { return kind.budget(system); }

    const DrawingKind& kind;
    OffscreenWindow window;
    std::unique_ptr<GraphicsSystem> made;
    GraphicsSystem& system;
    std::vector<std::byte> picture;
};

/// A terrain as an engine sends it: many small meshes of all kinds, interleaved.
class RandomScene {
public:
    RandomScene(ViewUnderTest& view, unsigned seed) : random_(seed) {
        std::vector<TextureHandle*> textures{nullptr};
        for (int i = 0; i < 12; ++i) {
            textures.push_back(
                view.Texture({Number(256), Number(256), Number(256)}, i % 3 == 0 ? 0 : 255));
        }
        for (int i = 0; i < 1500; ++i) {
            RenderMesh& mesh = meshes_.emplace_back();
            mesh.kind = static_cast<PrimitiveKind>(Number(3));
            mesh.texture = textures[Number(20) == 0 ? 0 : static_cast<std::size_t>(1 + Number(12))];
            mesh.wireframe = Number(200) == 0;
            const bool lit = mesh.texture == nullptr && Number(2) == 0;
            if (mesh.texture == nullptr || Number(30) == 0)
                mesh.colour.red = static_cast<std::uint16_t>(Number(65536));
            const float x = Real() * 2 - 1;
            const float y = Real() * 2 - 1;
            for (int corner = 3 + Number(7); corner > 0; --corner) {
                mesh.vertices.Append({x + Real() * 0.3F, y + Real() * 0.3F, Real() * 8});
                mesh.texcoords.Append({Real(), Real()});
                if (lit) mesh.normals.Append(Normalized({Real(), Real(), Real() + 0.1F}));
            }
        }
    }
    void Draw(GraphicsSystem& system) {
        system.SetAlphaFunction(AlphaFunction::Equal, 1.0F);
        for (std::size_t i = 0; i < meshes_.size(); i += 5) {
            if (i == 500) system.SetAlphaTest(true);
            if (i == 1000) system.SetAlphaTest(false);
            RenderMeshBatch batch;
            for (std::size_t k = i; k < i + 5; ++k) batch.push_back(&meshes_[k]);
            system.DrawMeshes(batch);
        }
    }

private:
    int Number(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
    float Real() { return static_cast<float>(random_() % 100000) / 100000.0F; }

    std::mt19937 random_;
    std::vector<RenderMesh> meshes_;
};

}  // namespace tarnvale

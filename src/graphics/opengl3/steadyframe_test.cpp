#include <gtest/gtest.h>

#include <cmath>

#include "base/allocations_for_test.h"
#include "graphics/drawing_for_test.h"
#include "graphics/opengl3/opengl3graphics.h"

namespace tarnvale {
namespace {

const DrawingKind& Kind() {
    return DrawingKinds().back();
}

// Everything that can be drawn, with all effects on.
TEST(OpenGL3SteadyFrame, AllocatesNothing) {
    const Scoped smooth(settings::SmoothTexture, true);
    const Scoped antialias(settings::Antialias, true);
    const Scoped fog(settings::Fog, true);
    const Scoped veil(settings::Subterrain, true);
    ViewUnderTest view(Kind(), 320, 200);
    std::vector<TextureHandle*> textures;
    textures.reserve(12);
    for (int i = 0; i < 12; ++i)
        textures.push_back(view.Texture({i, 0, 0}, i % 3 == 0 ? 128 : 255));
    std::vector<RenderMesh> meshes;
    meshes.reserve(600);
    for (std::size_t i = 0; i < 600; ++i) {
        const float x = static_cast<float>(i % 30) / 15 - 1,
                    y = std::floor(static_cast<float>(i) / 30) / 10 - 1;
        RenderMesh& mesh = meshes.emplace_back(Quad(x, y, x + 0.1F, y + 0.1F, COLOR::Plain()));
        if (i % 7 != 0) mesh.texture = textures[i % textures.size()];
        mesh.wireframe = i % 50 == 0;
        if (i % 5 == 0) {
            for (int corner = 0; corner < 4; ++corner) mesh.normals.Append({0, 0, 1});
        }
    }
    RenderMeshBatch batch;
    batch.reserve(meshes.size());
    for (RenderMesh& mesh : meshes) batch.push_back(&mesh);
    const std::vector<Vec3f> corners{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}};
    view.system.SetLightingWanted(true);
    std::size_t calls = 0;
    for (int frame = 0; frame < 12; ++frame) {
        const std::size_t before = Allocations();
        view.Begin();
        view.system.SetAlphaTest(true);
        view.system.DrawMeshes(batch);
        view.system.SetAlphaTest(false);
        view.system.DrawMeshes(batch);
        view.system.DrawLines(corners, kRed, LineMode::Strip);
        view.system.DrawPoints(corners, kRed);
        view.system.DrawSubterrainVeil();
        const Status ended = view.system.EndFrame();
        const std::size_t after = Allocations();
        EXPECT_TRUE(ended.Good());
        calls = view.system.Counters().drawCalls;
        // The first frames bring in memory, smaller copies of tiles, and what drivers compile.
        if (frame >= 4) {
            EXPECT_EQ(after, before) << "frame " << frame;
        }
    }
    EXPECT_GT(calls, 20U);
    EXPECT_GT(Allocations(), 0U) << "nothing is counted at all";
}

}  // namespace
}  // namespace tarnvale

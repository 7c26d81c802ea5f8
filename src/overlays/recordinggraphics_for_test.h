#pragma once

#include <string>
#include <vector>

#include "graphics/fixedwindow_for_test.h"
#include "graphics/quietgraphics_for_test.h"

namespace tarnvale::fakes {

/// Keeps what was drawn, and in which order what was called. Open from the start.
class DrawingRecorder final : public QuietGraphics {
public:
    struct Mesh {
        PrimitiveKind kind;
        COLOR colour;
        bool wireframe;
        std::vector<Vec3f> vertices, normals;
    };
    struct Line {
        LineMode mode;
        COLOR colour;
        std::vector<Vec3f> vertices;
    };

    DrawingRecorder() : QuietGraphics("recorder") { (void)Open(&window_); }
    void EnableLight(int index, bool enable) override {
        calls.push_back("light " + std::to_string(index) + (enable ? " on" : " off"));
    }
    void SetLight(int index, const Vec3f& position, const Vec3f& direction, COLOR) override {
        calls.push_back("set light " + std::to_string(index));
        light = position;
        lightDirection = direction;
    }
    void DrawLines(std::span<const Vec3f> given, COLOR colour, LineMode mode) override {
        calls.emplace_back("lines");
        lines.push_back({mode, colour, {given.begin(), given.end()}});
    }
    void DrawMeshes(const RenderMeshBatch& batch) override {
        calls.emplace_back("meshes");
        for (const RenderMesh* mesh : batch) {
            meshes.push_back({mesh->kind,
                              mesh->colour,
                              mesh->wireframe,
                              {mesh->vertices.begin(), mesh->vertices.end()},
                              {mesh->normals.begin(), mesh->normals.end()}});
        }
    }
    void SetModelMatrix(std::span<const double, 16> matrix) override {
        calls.emplace_back("matrix");
        models.emplace_back(matrix.begin(), matrix.end());
    }
    void BeginFrame(const RenderCamera& given, int, int, FramePass pass) override {
        calls.emplace_back(pass == FramePass::Full ? "begin" : "begin overlay");
        camera = given;
    }

    std::vector<std::string> calls;
    std::vector<Mesh> meshes;
    std::vector<Line> lines;
    std::vector<std::vector<double>> models;
    Vec3f light, lightDirection;
    RenderCamera camera;

private:
    FixedWindow window_{200, 100};
};

}  // namespace tarnvale::fakes

#include "tools/rendertrace.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "terrain/qtmorphs.h"

namespace tarnvale {

namespace {

// Nine digits bring a 32-bit float back exactly.
void Append(std::string& line, double value) {
    if (std::isfinite(value))
        fmt::format_to(std::back_inserter(line), "{:.9g}", value);
    else
        line += "null";
}

void Append(std::string& line, const Vec3f& value) {
    Append(line, value.x);
    line += ',';
    Append(line, value.y);
    line += ',';
    Append(line, value.z);
}

void AppendVertices(std::string& line, std::span<const Vec3f> vertices) {
    line += '[';
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        if (i > 0) line += ',';
        Append(line, vertices[i]);
    }
    line += ']';
}

void AppendUv(std::string& line, std::span<const Vec2f> texcoords) {
    line += '[';
    for (std::size_t i = 0; i < texcoords.size(); ++i) {
        if (i > 0) line += ',';
        Append(line, texcoords[i].x);
        line += ',';
        Append(line, texcoords[i].y);
    }
    line += ']';
}

std::uint64_t TrianglesOf(const RenderMesh& mesh) {
    const std::uint64_t count = mesh.vertices.Count();
    if (count < 3) return 0;
    return mesh.kind == PrimitiveKind::List ? count / 3 : count - 2;
}

}  // namespace

bool TraceWriter::Open(const FILEPATH& path) {
    file_.open(path, std::ios::binary);
    return file_.is_open();
}

bool TraceWriter::Close() {
    file_.close();
    return !file_.fail();
}

std::uint32_t TraceWriter::DrawCalls(int view) const {
    const GraphicsSystem* const graphics = simulator_.GetGraphicsSystem(view);
    return graphics == nullptr ? 0 : graphics->Counters().drawCalls;
}

void TraceWriter::OnLayerBegin(int view, int layer, const RenderCamera& camera, int width,
                               int height, std::span<const IntRect> regions) {
    view_ = view;
    layer_ = layer;
    callsBefore_ = DrawCalls(view);
    triangles_ = 0;
    firstTexture_ = -1;
    primitives_.clear();
    batches_.clear();
    serviced_.clear();
    line_.clear();
    auto out = std::back_inserter(line_);
    fmt::format_to(out, R"({{"frame":{},"view":{},"layer":{},"eye":[)", frame_, view, layer);
    Append(line_, camera.eye);
    line_ += R"(],"look":[)";
    Append(line_, camera.lookAt);
    line_ += R"(],"up":[)";
    Append(line_, camera.up);
    line_ += R"(],"fov":)";
    Append(line_, camera.fieldOfView);
    fmt::format_to(out, R"(,"width":{},"height":{},"regions":[)", width, height);
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const IntRect& r = regions[i];
        fmt::format_to(out, "{}[{},{},{},{}]", i > 0 ? "," : "", r.x0, r.y0, r.x1, r.y1);
    }
    line_ += ']';
}

void TraceWriter::OnPrimitive(int texture, const TerrainPrimitive& primitive) {
    if (!vertices_) return;
    if (firstTexture_ < 0) firstTexture_ = texture;
    if (texture != firstTexture_) return;
    fmt::format_to(std::back_inserter(primitives_), R"({}{{"kind":{},"vertices":)",
                   primitives_.empty() ? "" : ",", static_cast<int>(primitive.kind));
    AppendVertices(primitives_, primitive.vertices.Span());
    primitives_ += '}';
}

void TraceWriter::OnBatch(int texture, const RenderMeshBatch& batch) {
    for (const RenderMesh* mesh : batch) triangles_ += TrianglesOf(*mesh);
    if (!vertices_ || texture != firstTexture_) return;
    const TextureModel* const model = LayerDrawn().textures[texture].models[view_].get();
    if (!batches_.empty()) batches_ += ',';
    batches_ += '[';
    bool first = true;
    for (const RenderMesh* mesh : batch) {
        const TileName tile = model != nullptr && mesh->texture != nullptr
                                  ? model->NameOf(mesh->texture)
                                  : TileName{};
        batches_ += first ? R"({"tile":)" : R"(,{"tile":)";
        first = false;
        if (tile.level < 0)
            batches_ += "null";
        else
            fmt::format_to(std::back_inserter(batches_), "[{},{}]", tile.level, tile.entry);
        batches_ += R"(,"vertices":)";
        AppendVertices(batches_, mesh->vertices.Span());
        batches_ += R"(,"uv":)";
        AppendUv(batches_, mesh->texcoords.Span());
        batches_ += '}';
    }
    batches_ += ']';
}

const TerrainLayer& TraceWriter::LayerDrawn() const {
    return *simulator_.GetScene()->Layers()[static_cast<std::size_t>(layer_)];
}

void TraceWriter::OnService(int texture) {
    serviced_.push_back(texture);
}

void TraceWriter::OnLayerEnd(int view, int /*layer*/) {
    const TerrainLayer& layer = LayerDrawn();
    auto out = std::back_inserter(line_);
    line_ += R"(,"quality":)";
    Append(line_, TerrainModel::Quality());
    const auto* quadtree = dynamic_cast<const QuadtreeMorphTerrain*>(layer.terrain.get());
    line_ += R"(,"pixel_tolerance":)";
    Append(line_, quadtree == nullptr ? 0.0F : quadtree->PixelTolerance());
    line_ += R"(,"vertical_scale":)";
    Append(line_, TerrainModel::VerticalScale());
    line_ += R"(,"offsets":[)";
    bool first = true;
    for (const float offset : layer.terrain->ElevationOffsets()) {
        if (!first) line_ += ',';
        first = false;
        Append(line_, offset);
    }
    line_ += R"(],"nodes":[)";
    first = true;
    if (quadtree != nullptr) {
        for (const SelectedNode& node : quadtree->Selection()) {
            fmt::format_to(out, R"({}{{"level":{},"index":{},"key":)", first ? "" : ",", node.level,
                           node.index);
            first = false;
            Append(line_, node.key);
            line_ += R"(,"radius":)";
            Append(line_, node.radius);
            line_ += R"(,"lambda":)";
            Append(line_, node.lambda);
            line_ += '}';
        }
    }
    line_ += R"(],"tiles":[)";
    first = true;
    for (int i = 0; i < static_cast<int>(layer.textures.size()); ++i) {
        const TextureModel* model = layer.textures[static_cast<std::size_t>(i)]
                                        .models[static_cast<std::size_t>(view)]
                                        .get();
        TextureFigures f = model == nullptr ? TextureFigures{} : model->Figures();
        // A texture at rest still has the figures of the frame that drew it last.
        if (std::ranges::find(serviced_, i) == serviced_.end()) f.uploads = f.wishes = 0;
        fmt::format_to(out,
                       R"({}{{"resident":{},"limit":{},"in_flight":{},"uploads":{},"wishes":{}}})",
                       first ? "" : ",", f.resident, f.limit, f.inFlight, f.uploads, f.wishes);
        first = false;
    }
    fmt::format_to(out, R"(],"triangles":{},"draw_calls":{})", triangles_,
                   DrawCalls(view) - callsBefore_);
    file_ << line_;
    if (vertices_) {
        file_ << R"(,"primitives":[)" << primitives_ << R"(],"batches":[)" << batches_ << ']';
    }
    file_ << "}\n";
}

}  // namespace tarnvale

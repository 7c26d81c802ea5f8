#include "overlays/poi.h"

#include <cmath>

namespace tarnvale {

namespace {

constexpr std::size_t kMostCorners = 9;

struct Shape {
    const char* key;
    std::size_t count;
    std::array<SIMPOISET::Corner, kMostCorners> corners;
};

// The tip of each stands on the ground.
constexpr std::array<Shape, SIMPOISET::kMarkers> kShapes{{
    {"none", 0, {}},
    {"arrow", 9, {{{0, 0}, {2, 2}, {-2, 2}, {1, 2}, {1, 6}, {-1, 6}, {1, 2}, {-1, 6}, {-1, 2}}}},
    {"arrowhead", 3, {{{0, 0}, {2, 2}, {-2, 2}}}},
    {"cursor",
     9,
     {{{0, 0},
       {2, 4},
       {0, 4.5F},
       {0.75F, 4.25F},
       {1.25F, 4},
       {1.25F, 6.25F},
       {1.75F, 6.125F},
       {1.25F, 4},
       {1.25F, 6.25F}}}},
    {"bar", 6, {{{-0.5F, 0}, {0.5F, 0}, {-0.5F, 6}, {-0.5F, 6}, {0.5F, 0}, {0.5F, 6}}}},
    {"flag",
     9,
     {{{-0.25F, 0},
       {0.25F, 0},
       {-0.25F, 6},
       {-0.25F, 6},
       {0.25F, 0},
       {0.25F, 6},
       {0.25F, 4},
       {0.25F, 6},
       {3.25F, 5}}}},
}};

// Such as meadows, woods, rock, sand, snow and water don't have, and far enough from each other.
constexpr std::array<COLOR, SIMPOISET::kSlots> kColors{{
    {0xFF00, 0x1A00, 0x1A00, 1},  // red
    {0xFF00, 0xE600, 0x0000, 1},  // yellow
    {0xFF00, 0x0000, 0xE600, 1},  // magenta
    {0x0000, 0xF000, 0xFF00, 1},  // cyan
    {0xFF00, 0x8000, 0x0000, 1},  // orange
    {0x3000, 0x4000, 0xFF00, 1},  // blue
    {0xFF00, 0xFF00, 0xFF00, 1},  // white
    {0x9000, 0x2000, 0xD000, 1},  // violet
}};

std::size_t IndexOf(int view) {
    return static_cast<std::size_t>(view - View::kFirstPoi);
}

bool IsMarker(int marker) {
    return marker >= 0 && marker < SIMPOISET::kMarkers;
}

}  // namespace

SIMPOISET::SIMPOISET() {
    for (std::size_t i = 0; i < slots_.size(); ++i) slots_[i].colour = kColors[i];
}

const char* SIMPOISET::MarkerKey(int marker) {
    return kShapes[IsMarker(marker) ? static_cast<std::size_t>(marker) : 0].key;
}

std::span<const SIMPOISET::Corner> SIMPOISET::MarkerShape(int marker) {
    const Shape& shape = kShapes[IsMarker(marker) ? static_cast<std::size_t>(marker) : 0];
    return std::span(shape.corners).first(shape.count);
}

COLOR SIMPOISET::FirstColor(int view) {
    return View::IsPoi(view) ? kColors[IndexOf(view)] : COLOR::Plain();
}

SIMPOISLOT* SIMPOISET::Slot(int view) {
    return View::IsPoi(view) ? &slots_[IndexOf(view)] : nullptr;
}

const SIMPOISLOT* SIMPOISET::Slot(int view) const {
    return View::IsPoi(view) ? &slots_[IndexOf(view)] : nullptr;
}

void SIMPOISET::SetMarker(int view, int marker) {
    if (SIMPOISLOT* const slot = Slot(view); slot != nullptr && IsMarker(marker))
        slot->marker = marker;
}

void SIMPOISET::SetColor(int view, const COLOR& color) {
    if (SIMPOISLOT* const slot = Slot(view)) slot->colour = color;
}

void SIMPOISET::SetPosition(int view, float x, float y) {
    if (SIMPOISLOT* const slot = Slot(view)) slot->position = {x, y, 0};
}

void SIMPOISET::SetTerrain(int view, const TerrainModel* terrain) {
    if (SIMPOISLOT* const slot = Slot(view)) slot->terrain = terrain;
}

Status SIMPOISET::GetColor(int view, COLOR& color) const {
    const SIMPOISLOT* const slot = Slot(view);
    if (slot == nullptr) return _SetErrPosn(StatusCode::BadState);
    color = slot->colour;
    return StatusCode::Ok;
}

Status SIMPOISET::GetPosition(int view, Vec3f& position) const {
    const SIMPOISLOT* const slot = Slot(view);
    if (slot == nullptr) return _SetErrPosn(StatusCode::BadState);
    position = slot->position;
    return StatusCode::Ok;
}

int SIMPOISET::GetMarker(int view) const {
    const SIMPOISLOT* const slot = Slot(view);
    return slot != nullptr ? slot->marker : 0;
}

float SIMPOISET::GroundHeight(int view) const {
    const SIMPOISLOT* const slot = Slot(view);
    if (slot == nullptr || slot->terrain == nullptr || !slot->terrain->IsOpen()) return 0;
    return slot->terrain->NearestElevation(slot->position.x, slot->position.y);
}

void SIMPOISET::UpdateAxes(const Vec3f& eye, float scale) {
    for (SIMPOISLOT& slot : slots_) {
        if (slot.marker == 0) continue;
        slot.up = {0, 0, scale};
        const Vec3f away = slot.position - eye;
        // Of no length for a viewer exactly above: the marker then is a line for that frame.
        slot.right = Normalized({away.y, -away.x, 0}) * scale;
    }
}

void SIMPOISET::Draw(GraphicsSystem& graphics, const RenderCamera& camera, int view) {
    for (int i = 0; i < kSlots; ++i) {
        SIMPOISLOT& slot = slots_[static_cast<std::size_t>(i)];
        if (slot.marker == 0) continue;
        if (view == View::kMap) {
            DrawCross(graphics, camera, slot);
        } else {
            slot.position.z = GroundHeight(View::kFirstPoi + i);
            DrawMarker(graphics, slot);
        }
    }
}

void SIMPOISET::DrawCross(GraphicsSystem& graphics, const RenderCamera& camera,
                          const SIMPOISLOT& slot) {
    // The map is flat: at the place's own height the cross would be seen beside the place.
    const Vec3f place{slot.position.x, slot.position.y, 0};
    const Vec3f b =
        Normalized({camera.up.x, camera.up.y, 0}) * (std::abs(camera.eye.z) * kCrossShare);
    const Vec3f a{b.y, -b.x, 0};
    const std::array<Vec3f, 4> ends{place + a, place - a, place + b, place - b};
    graphics.DrawLines(ends, slot.colour, LineMode::Segments);
}

void SIMPOISET::DrawMarker(GraphicsSystem& graphics, SIMPOISLOT& slot) const {
    RenderMesh& mesh = graphics.ScratchMesh();
    mesh.Clear();
    mesh.colour = slot.colour;
    mesh.kind = PrimitiveKind::List;
    mesh.wireframe = false;
    mesh.texture = nullptr;
    const Vec3f foot{slot.position.x, slot.position.y, slot.position.z * verticalScale_};
    const std::span<const Corner> corners = MarkerShape(slot.marker);
    for (const Corner& corner : corners)
        mesh.vertices.Append(foot + corner.a * slot.right + corner.b * slot.up);
    // Mirrored in the ground, so that a marker is also seen from below the surface.
    for (const Corner& corner : corners)
        mesh.vertices.Append(foot + corner.a * slot.right - corner.b * slot.up);
    graphics.DrawMeshes(graphics.ScratchBatch());
    mesh.Clear();
}

}  // namespace tarnvale

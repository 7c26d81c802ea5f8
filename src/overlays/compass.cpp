#include "overlays/compass.h"

#include <cmath>

#include "base/settings.h"

namespace tarnvale {

namespace {

// Model units.
constexpr float kTip = 3.0F / 16, kBase = 3.0F / 32;
constexpr float kHalfWidth = 1.0F / 32, kHalfHeight = 1.0F / 64;
constexpr float kDiagonalTip = 0.09943125F, kDiagonalBase = 0.06628125F;
constexpr float kDiagonalFar = 0.07733125F, kDiagonalNear = 0.05523125F;
constexpr float kDiagonalHalfHeight = 1.0F / 128, kDiagonalHalfWidth = 0.01105F;
constexpr float kHubRadius = 1.0F / 16;
constexpr float kHubStep = 0.31415927F;  // radians between rows, and between columns
constexpr int kHubColumns = 21;          // the last closes the ring

// The place: so far along the forward axis, and so far to the side for each unit of half height.
constexpr float kDistance = 2.0F, kAside = 0.6F;

constexpr COLOR kWhite{0xFFFF, 0xFFFF, 0xFFFF, 0};
constexpr COLOR kHubGrey{0x7F7F, 0x7F7F, 0x7F7F, 0};

constexpr Vec3f kUp{0, 0, 1};

/// Fills a part triangle by triangle; the three vertices of one share a normal.
class Filler {
public:
    Filler(std::span<Vec3f> vertices, std::span<Vec3f> normals)
        : vertices_(vertices), normals_(normals) {}
    void Triangle(const Vec3f& a, const Vec3f& b, const Vec3f& c, const Vec3f& normal) {
        for (const Vec3f& vertex : {a, b, c}) Vertex(vertex, normal);
    }
    void Vertex(const Vec3f& vertex, const Vec3f& normal) {
        vertices_[count_] = vertex;
        normals_[count_++] = normal;
    }

private:
    std::span<Vec3f> vertices_, normals_;
    std::size_t count_ = 0;
};

// A head along one of the axes. @param d  where it points; @param s  to its side
void CardinalHead(Filler& part, const Vec3f& d, const Vec3f& s) {
    const Vec3f tip = kTip * d;
    const Vec3f a = kBase * d - kHalfWidth * s, b = kBase * d + kHalfWidth * s;
    const Vec3f c = kBase * d + kHalfHeight * kUp, under = kBase * d - kHalfHeight * kUp;
    const float q = std::hypot(kHalfWidth, kHalfHeight);
    const Vec3f aside = (kHalfHeight / q) * s, above = (kHalfWidth / q) * kUp;
    part.Triangle(a, c, tip, above - aside);
    part.Triangle(c, b, tip, above + aside);
    part.Triangle(a, b, c, -d);
    part.Triangle(a, under, tip, -aside - above);
    part.Triangle(under, b, tip, aside - above);
    part.Triangle(a, b, under, -d);
}

// A head towards a diagonal. @param a, b  1 or -1: to the east or west, to the north or south
void IntermediateHead(Filler& part, float a, float b) {
    const Vec3f tip{kDiagonalTip * a, kDiagonalTip * b, 0};
    const Vec3f c{kDiagonalBase * a, kDiagonalBase * b, kDiagonalHalfHeight};
    const Vec3f under{c.x, c.y, -c.z};
    const Vec3f p{kDiagonalFar * a, kDiagonalNear * b, 0};
    const Vec3f q{kDiagonalNear * a, kDiagonalFar * b, 0};
    const Vec3f back{-0.707F * a, -0.707F * b, 0};
    const float length = std::hypot(kDiagonalHalfHeight, kDiagonalHalfWidth);
    const Vec3f across = (kDiagonalHalfHeight / length) * Normalized(p - q);
    const Vec3f above = (kDiagonalHalfWidth / length) * kUp;
    part.Triangle(c, p, q, back);
    part.Triangle(under, p, q, back);
    part.Triangle(under, p, tip, across - above);
    part.Triangle(under, q, tip, -across - above);
    part.Triangle(c, p, tip, across + above);
    part.Triangle(c, q, tip, above - across);
}

Vec3f OnSphere(int row, int column) {
    const float along = static_cast<float>(row) * kHubStep;
    const float round = static_cast<float>(column) * kHubStep;
    return {std::sin(along) * std::sin(round), std::sin(along) * std::cos(round), std::cos(along)};
}

/// Draws parts at a place; what all of them share.
class PartDrawer {
public:
    PartDrawer(GraphicsSystem& graphics, const Vec3f& place, float scale, float northDegrees)
        : graphics_(graphics), place_(place), scale_(scale) {
        const double north = static_cast<double>(northDegrees) * 0.017453292519943295;
        cosine_ = static_cast<float>(std::cos(north));
        sine_ = static_cast<float>(std::sin(north));
    }
    [[nodiscard]] Vec3f Place(const Vec3f& model) const {
        const Vec3f sized = scale_ * model;
        return place_ + Vec3f{cosine_ * sized.x - sine_ * sized.y,
                              sine_ * sized.x + cosine_ * sized.y, sized.z};
    }
    void Draw(PrimitiveKind kind, COLOR colour, std::span<const Vec3f> vertices,
              std::span<const Vec3f> normals) const {
        RenderMesh& mesh = graphics_.ScratchMesh();
        mesh.Clear();
        mesh.kind = kind;
        mesh.colour = colour;
        mesh.wireframe = false;
        mesh.texture = nullptr;
        mesh.vertices.Reserve(static_cast<std::uint32_t>(vertices.size()));
        for (const Vec3f& vertex : vertices) mesh.vertices.Append(Place(vertex));
        mesh.normals.Append(normals);
        graphics_.DrawMeshes(graphics_.ScratchBatch());
        mesh.Clear();
    }

private:
    GraphicsSystem& graphics_;
    Vec3f place_;
    float scale_, cosine_ = 1, sine_ = 0;
};

constexpr std::array<double, 16> Translation(double x, double y, double z) {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1};
}

}  // namespace

Compass::Compass() {
    BuildCardinals();
    BuildIntermediates();
    BuildHub();
}

void Compass::BuildCardinals() {
    constexpr Vec3f kEast{1, 0, 0}, kNorth{0, 1, 0};
    Filler north(north_.vertices, north_.normals);
    CardinalHead(north, kNorth, kEast);
    Filler others(cardinal_.vertices, cardinal_.normals);
    CardinalHead(others, -kNorth, kEast);
    CardinalHead(others, kEast, kNorth);
    CardinalHead(others, -kEast, kNorth);
}

void Compass::BuildIntermediates() {
    Filler part(intermediate_.vertices, intermediate_.normals);
    for (const float b : {1.0F, -1.0F}) {
        for (const float a : {1.0F, -1.0F}) IntermediateHead(part, a, b);
    }
}

void Compass::BuildHub() {
    Filler upper(upperHub_.vertices, upperHub_.normals);
    Filler lower(lowerHub_.vertices, lowerHub_.normals);
    for (int row = 0; row < kRows; ++row) {
        Filler& part = row < kUpperRows ? upper : lower;
        for (int column = 0; column < kHubColumns; ++column) {
            for (const int edge : {row, row + 1}) {
                const Vec3f out = OnSphere(edge, column);
                part.Vertex(kHubRadius * out, out);
            }
        }
    }
}

void Compass::Draw(GraphicsSystem& graphics, const RenderCamera& camera, float aspect,
                   const CompassPose& pose) const {
    RenderCamera near = camera;
    near.nearPlane = kNearPlane;
    near.farPlane = kFarPlane;
    int width = 0, height = 0;
    graphics.BeginView(near, width, height, FramePass::Overlay);

    // A hundred kilometres from the origin a 32-bit number can't tell points of the rose apart, so
    // the model matrix brings it to the eye and the vertices count from there.
    graphics.SetModelMatrix(Translation(pose.eye.x, pose.eye.y, pose.eye.z));
    const Vec3f place =
        kDistance * pose.forward - kAside * pose.up + (kAside * aspect) * pose.right;
    const PartDrawer drawer(graphics, place, settings::CompassSize.Get(), pose.northDegrees);
    const Vec3f light = drawer.Place({0, 1, 1});
    graphics.SetLight(0, light, place - light, kWhite);
    graphics.EnableLight(0, true);
    const auto draw = [&drawer](PrimitiveKind kind, COLOR colour, const auto& part) {
        drawer.Draw(kind, colour, part.vertices, part.normals);
    };
    draw(PrimitiveKind::List, settings::CompassNorthColor.Get(), north_);
    draw(PrimitiveKind::List, settings::CompassCardinalColor.Get(), cardinal_);
    draw(PrimitiveKind::List, settings::CompassIntermediateColor.Get(), intermediate_);
    draw(PrimitiveKind::Strip, kHubGrey, lowerHub_);
    draw(PrimitiveKind::Strip, kHubGrey, upperHub_);
    graphics.EnableLight(0, false);
    graphics.SetModelMatrix(Translation(0, 0, 0));
}

}  // namespace tarnvale

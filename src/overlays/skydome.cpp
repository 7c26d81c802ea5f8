#include "overlays/skydome.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "base/settings.h"

namespace tarnvale {

namespace {

constexpr float kPolarStep = 0.10471976F, kSectorStep = 0.20943952F;  // radians
constexpr float kTextureStep = 0.033333335F;
constexpr int kHorizon = SkyDome::kBands / 2;  // first band below it
constexpr double kRadians = 0.017453292519943295;

Vec3f OnSphere(int ring, int sector) {
    const float polar = static_cast<float>(ring) * kPolarStep;
    const float azimuth = static_cast<float>(sector) * kSectorStep;
    return {std::sin(polar) * std::sin(azimuth), std::sin(polar) * std::cos(azimuth),
            std::cos(polar)};
}

constexpr std::uint32_t kQuadVertices = 6;
constexpr std::uint32_t kQuadCorners[4] = {0, 1, 2, 4};  // those of its vertices that differ

/// Where a line of sight is that ends on ground without a hole. The rays that leave the ground's
/// rectangle through a floor under it form a convex cone, so what has its corners in it lies in it;
/// and each of them comes from above and goes below the ground, so it meets it.
class HiddenCone {
public:
    HiddenCone(const Vec3f& eye, const SolidGround& ground)
        : eye_(eye), ground_(ground), depth_(eye.z - ground.lowest) {}
    [[nodiscard]] bool Holds(const Vec3f& point) const {
        const Vec3f along = point - eye_;
        if (along.z >= 0 || depth_ <= 0) return false;
        const float reach = depth_ / -along.z;
        const float x = eye_.x + along.x * reach, y = eye_.y + along.y * reach;
        return x >= ground_.xMin && x <= ground_.xMax && y >= ground_.yMin && y <= ground_.yMax;
    }

private:
    Vec3f eye_;
    SolidGround ground_;
    float depth_;
};

/// Turns points about the y, then the x, then the z axis.
class Rotation {
public:
    explicit Rotation(const SkyParameters& by)
        : sinYaw_(Sin(by.yaw)),
          cosYaw_(Cos(by.yaw)),
          sinPitch_(Sin(by.pitch)),
          cosPitch_(Cos(by.pitch)),
          sinRoll_(Sin(by.roll)),
          cosRoll_(Cos(by.roll)) {}

    [[nodiscard]] Vec3f operator()(const Vec3f& p) const {
        const Vec3f rolled{p.x * cosRoll_ + p.z * sinRoll_, p.y, p.z * cosRoll_ - p.x * sinRoll_};
        const Vec3f pitched{rolled.x, rolled.y * cosPitch_ - rolled.z * sinPitch_,
                            rolled.y * sinPitch_ + rolled.z * cosPitch_};
        // Clockwise from above, as the compass counts.
        return {pitched.x * cosYaw_ + pitched.y * sinYaw_,
                pitched.y * cosYaw_ - pitched.x * sinYaw_, pitched.z};
    }

private:
    static float Sin(float degrees) { return static_cast<float>(std::sin(degrees * kRadians)); }
    static float Cos(float degrees) { return static_cast<float>(std::cos(degrees * kRadians)); }
    float sinYaw_, cosYaw_, sinPitch_, cosPitch_, sinRoll_, cosRoll_;
};

}  // namespace

void SkyDome::Build(float x, float y, float side) {
    parameters_ = {};
    x_ = x;
    y_ = y;
    half_ = side / 2;
    mesh_.Clear();
    unit_.Clear();
    mesh_.kind = PrimitiveKind::List;
    mesh_.colour = COLOR::Plain();
    for (int band = 0; band < kBands; ++band) {
        for (int sector = 0; sector < kSectors; ++sector) AddQuad(band, sector);
    }
    mesh_.vertices.Append(unit_.Span());
    seen_.vertices.Reserve(unit_.Count());  // so that a frame needn't
    seen_.texcoords.Reserve(unit_.Count());
    Place({parameters_, x_, y_});
}

void SkyDome::AddQuad(int band, int sector) {
    constexpr int kCorners[6][2] = {{0, 0}, {1, 0}, {0, 1}, {1, 0}, {1, 1}, {0, 1}};
    for (const auto& [down, along] : kCorners) {
        unit_.Append(OnSphere(band + down, sector + along));
        const float around = static_cast<float>(sector + along) * kTextureStep;
        mesh_.texcoords.Append({static_cast<float>(band + down) * kTextureStep,
                                band < kHorizon ? 2 * around : kBeyondPicture});
    }
}

void SkyDome::Place(const Placing& placing) {
    const Rotation turn(placing.parameters);
    const float radius = half_ * placing.parameters.scale * 0.01F;
    const Vec3f centre{placing.x, placing.y, half_ * placing.parameters.height * 0.01F};
    for (std::uint32_t i = 0; i < unit_.Count(); ++i) {
        mesh_.vertices[i] = centre + radius * turn(unit_[i]);
    }
    placed_ = placing;
}

void SkyDome::LeaveOutUnseen(const Vec3f& viewer, const SolidGround* ground,
                             const ViewPyramid* seen) {
    const std::optional<HiddenCone> hidden =
        ground != nullptr ? std::optional<HiddenCone>(std::in_place, viewer, *ground)
                          : std::nullopt;
    seen_.Clear();
    seen_.kind = mesh_.kind;
    seen_.colour = mesh_.colour;
    seen_.texture = mesh_.texture;
    for (std::uint32_t i = 0; i < mesh_.vertices.Count(); i += kQuadVertices) {
        const auto vertices = mesh_.vertices.Span().subspan(i, kQuadVertices);
        if (seen != nullptr) {
            std::uint8_t beyond = 0xFF;  // sides of the view that the whole quad lies beyond
            for (const std::uint32_t k : kQuadCorners) beyond &= seen->OutCode(vertices[k]);
            if (beyond != 0) continue;
        }
        if (hidden && std::ranges::all_of(kQuadCorners, [&](std::uint32_t k) {
                return hidden->Holds(vertices[k]);
            })) {
            continue;
        }
        seen_.vertices.Append(vertices);
        seen_.texcoords.Append(mesh_.texcoords.Span().subspan(i, kQuadVertices));
    }
}

void SkyDome::SetPicture(SkyPicture picture) {
    for (int view = 0; view < View::kCount; ++view) DetachView(view);
    picture_ = std::move(picture);
}

void SkyDome::DetachView(int view) {
    ViewTexture& slot = textures_[static_cast<std::size_t>(view)];
    if (slot.texture != nullptr) slot.texture->Owner()->DestroyTexture(slot.texture);
    slot = {};
}

void SkyDome::Clear() {
    SetPicture({});
    half_ = 0;
    mesh_.Clear();
    unit_.Clear();
}

TextureHandle* SkyDome::TextureFor(GraphicsSystem& graphics, int view) {
    ViewTexture& slot = textures_[static_cast<std::size_t>(view)];
    if (!slot.tried) {
        slot.tried = true;
        graphics.SetSkyTextureSize(picture_.width, picture_.height);
        graphics.SetSkyMirrored(picture_.mirrored);
        slot.texture = graphics.CreateTexture(picture_.pixels, TextureUse::Sky);
    }
    return slot.texture;
}

void SkyDome::Draw(GraphicsSystem& graphics, int view, const Vec3f& viewer,
                   const SolidGround* ground, const ViewPyramid* seen) {
    if (half_ <= 0 || !HasPicture() || !View::Exists(view) || view == View::kMap) return;
    TextureHandle* const texture = TextureFor(graphics, view);
    if (texture == nullptr) return;
    const bool onLandscape = settings::SkyCentered.Get();
    const Placing wanted{parameters_, onLandscape ? x_ : viewer.x, onLandscape ? y_ : viewer.y};
    if (!(wanted == placed_)) Place(wanted);
    const Vec3f centre{wanted.x, wanted.y, half_ * parameters_.height * 0.01F};
    const bool outside = Length(viewer - centre) > Length(mesh_.vertices[0] - centre);
    mesh_.wireframe = settings::Wireframe.Get() || outside;
    mesh_.texture = texture;
    // Its texture makes it lie behind everything, however near its sphere, before or after it;
    // wires stand where they are.
    batch_.front() = &mesh_;
    if ((ground != nullptr || seen != nullptr) && !mesh_.wireframe) {
        LeaveOutUnseen(viewer, ground, seen);
        batch_.front() = &seen_;
    }
    if (!mesh_.wireframe) graphics.SetDepthWrite(false);
    graphics.DrawMeshes(batch_);
    if (!mesh_.wireframe) graphics.SetDepthWrite(true);
}

}  // namespace tarnvale

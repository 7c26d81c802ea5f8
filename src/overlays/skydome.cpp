#include "overlays/skydome.h"

#include <cmath>
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

void SkyDome::Draw(GraphicsSystem& graphics, int view, const Vec3f& viewer) {
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
    if (!mesh_.wireframe) graphics.SetDepthWrite(false);
    graphics.DrawMeshes(batch_);
    if (!mesh_.wireframe) graphics.SetDepthWrite(true);
}

}  // namespace tarnvale

#include "streaming/colorprofile.h"

#include <lcms2.h>

#include <array>
#include <limits>
#include <utility>

namespace tarnvale {

namespace {

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;
struct DeleteTransform {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};

}  // namespace

struct ColorProfile::State {
    std::unique_ptr<void, DeleteTransform> transform;
    bool composite = false;  // of cells; otherwise of a map's colours
    bool grey = false;
};

ColorProfile::ColorProfile(std::unique_ptr<State> state) : state_(std::move(state)) {}
ColorProfile::~ColorProfile() = default;

std::unique_ptr<ColorProfile> ColorProfile::Make(std::span<const std::byte> profile,
                                                 ZPF::RasterType cells) {
    using enum ZPF::RasterType;
    const bool composite = cells == Composite24A || cells == Composite24B;
    if (profile.empty() || profile.size() > std::numeric_limits<cmsUInt32Number>::max() ||
        (!composite && cells != Unsigned8)) {
        return nullptr;
    }
    const Profile from(
        cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size())));
    const Profile to(cmsCreate_sRGBProfile());
    if (from == nullptr || to == nullptr) return nullptr;
    const bool grey = cmsGetColorSpace(from.get()) == cmsSigGrayData;
    if (!grey && cmsGetColorSpace(from.get()) != cmsSigRgbData) return nullptr;
    if (grey && composite) return nullptr;
    const cmsUInt32Number in = grey ? TYPE_GRAY_8 : cells == Composite24A ? TYPE_BGR_8 : TYPE_RGB_8;
    const cmsUInt32Number out = cells == Composite24A ? TYPE_BGR_8 : TYPE_RGB_8;
    auto state = std::make_unique<State>();
    state->transform.reset(cmsCreateTransform(from.get(), in, to.get(), out, INTENT_PERCEPTUAL, 0));
    state->composite = composite;
    state->grey = grey;
    if (state->transform == nullptr) return nullptr;
    return std::unique_ptr<ColorProfile>(new ColorProfile(std::move(state)));
}

void ColorProfile::Apply(std::span<std::byte> cells) const {
    if (!state_->composite) return;
    cmsDoTransform(state_->transform.get(), cells.data(), cells.data(),
                   static_cast<cmsUInt32Number>(cells.size() / 3));
}

void ColorProfile::Apply(ZPF::ColorMap& map) const {
    for (COLOR& colour : map) {
        const std::array<std::uint8_t, 3> from{static_cast<std::uint8_t>(colour.red >> 8),
                                               static_cast<std::uint8_t>(colour.green >> 8),
                                               static_cast<std::uint8_t>(colour.blue >> 8)};
        std::array<std::uint8_t, 3> to{};
        cmsDoTransform(state_->transform.get(), from.data(), to.data(), 1);
        colour.red = static_cast<std::uint16_t>(to[0] * 257);
        colour.green = static_cast<std::uint16_t>(to[1] * 257);
        colour.blue = static_cast<std::uint16_t>(to[2] * 257);
    }
}

}  // namespace tarnvale

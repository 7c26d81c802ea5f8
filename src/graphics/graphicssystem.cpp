#include "graphics/graphicssystem.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "base/settings.h"
#include "graphics/platform.h"

namespace tarnvale {

namespace {

Vec3f& Sun() {
    static Vec3f sun = GraphicsSystem::ComputeSunVector(settings::SunElevationAngle.Get(),
                                                        settings::SunAzimuthAngle.Get(), 0.0F);
    return sun;
}

PixelFormatDescriptor Describe(int bitsPerPixel, std::array<int, 3> bits,
                               std::array<int, 3> shifts) {
    PixelFormatDescriptor result{bitsPerPixel, bits, shifts, {}};
    for (std::size_t i = 0; i < 3; ++i) {
        result.masks[i] = ((1U << bits[i]) - 1U) << shifts[i];
    }
    return result;
}

bool EqualIgnoringCase(const std::string& a, const std::string& b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

bool AllLibrariesLoad(const std::string& list) {
    std::size_t from = 0;
    while (from <= list.size()) {
        const std::size_t end = std::min(list.find(':', from), list.size());
        if (end > from && !CanLoadLibrary(list.substr(from, end - from))) return false;
        from = end + 1;
    }
    return true;
}

}  // namespace

bool AllOpaque(std::span<const std::byte> bgra) {
    constexpr std::uint32_t kAlpha = 0xFF000000U;
    std::uint32_t all = kAlpha;
    for (std::size_t i = 0; i + 4 <= bgra.size(); i += 4) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, &bgra[i], 4);
        all &= pixel;
    }
    return all == kAlpha;
}
static_assert(std::endian::native == std::endian::little, "alpha is a pixel's last byte");

PixelFormatDescriptor DescribePixelFormat(TexturePixelFormat format) {
    using enum TexturePixelFormat;
    switch (format) {
        case Rgb:
            return Describe(24, {8, 8, 8}, {0, 8, 16});
        case Rgba:
            return Describe(32, {8, 8, 8}, {0, 8, 16});
        case Bgr:
            return Describe(24, {8, 8, 8}, {16, 8, 0});
        case Bgra:
        case A8R8G8B8:
        case X8R8G8B8:
            return Describe(32, {8, 8, 8}, {16, 8, 0});
        case R5G6B5:
            return Describe(16, {5, 6, 5}, {11, 5, 0});
        case X1R5G5B5:
        case A1R5G5B5:
            return Describe(16, {5, 5, 5}, {10, 5, 0});
        case A4R4G4B4:
        case X4R4G4B4:
            return Describe(16, {4, 4, 4}, {8, 4, 0});
        case R3G3B2:
            return Describe(8, {3, 3, 2}, {5, 2, 0});
        case A8R3G3B2:
            return Describe(16, {3, 3, 2}, {5, 2, 0});
    }
    return {};
}

int BytesPerPixel(TexturePixelFormat format) {
    return DescribePixelFormat(format).bitsPerPixel / 8;
}

GraphicsSystem::GraphicsSystem(std::string name, int descriptionNumber, std::string libraries)
    : name_(std::move(name)),
      descriptionNumber_(descriptionNumber),
      libraries_(std::move(libraries)) {}

void GraphicsSystem::RequestScreenShot(FILEPATH path, std::function<PictureTexts()> texts) {
    screenShotPath_ = std::move(path);
    screenShotTexts_ = std::move(texts);
    screenShotWanted_ = true;
}

void GraphicsSystem::SaveScreenShot(const PictureView& picture) {
    screenShotWanted_ = false;
    const auto texts = std::exchange(screenShotTexts_, {});
    Status written = WritePicture(screenShotPath_, picture, texts ? texts() : PictureTexts{});
    if (!written.Good()) {
        const ErrPosn& why = GetErrPosn();
        written = _SetErrPosn(StatusCode::ScreenShotFailed,
                              why.detail.empty() ? screenShotPath_.string() : why.detail);
    }
    screenShotResult_ = written;
}

std::optional<Status> GraphicsSystem::TakeScreenShotResult() {
    return std::exchange(screenShotResult_, std::nullopt);
}

Status GraphicsSystem::Open(RenderWindow* window) {
    if (const Status closed = Shutdown(); !closed.Good()) return closed;
    if (window == nullptr) {
        return _SetErrPosn(StatusCode::BadState, "there is no window to draw on");
    }
    window_ = window;
    lostWindow_ = nullptr;
    const Status opened = OpenDevice();
    lost_ = false;
    if (!opened.Good()) window_ = nullptr;
    return opened;
}

Status GraphicsSystem::Rebuild() {
    RenderWindow* const window = window_ != nullptr ? window_ : lostWindow_;
    const Status opened = Open(window);
    lost_ = !opened.Good();
    lostWindow_ = lost_ ? window : nullptr;
    return opened;
}

int GraphicsSystem::GetClientWidth() const {
    return window_ != nullptr ? std::max(window_->PixelWidth(), 0) : 0;
}

int GraphicsSystem::GetClientHeight() const {
    return window_ != nullptr ? std::max(window_->PixelHeight(), 0) : 0;
}

void GraphicsSystem::BeginView(const RenderCamera& camera, int& width, int& height,
                               FramePass pass) {
    width = GetClientWidth();
    height = GetClientHeight();
    if (!IsOpen()) return;
    BeginFrame(camera, width, height, pass);
    const int quality = settings::StyleQuality.Get();
    if (width == scaleWidth_ && height == scaleHeight_ && quality == scaleQuality_) return;
    scaleWidth_ = width;
    scaleHeight_ = height;
    scaleQuality_ = quality;
    const double unit = height * window_->PixelPitch() * quality;
    if (!(unit > 0.0)) {  // a minimised window has no symbols to size
        pixelScales_ = {};
        return;
    }
    const double halfAngle = static_cast<double>(camera.fieldOfView) * (std::numbers::pi / 360.0);
    pixelScales_ = {static_cast<float>(2.0 * std::tan(halfAngle) / unit),
                    static_cast<float>(0.1 / unit)};
}

void GraphicsSystem::SetSunVector(const Vec3f& sun) {
    Sun() = sun;
}

Vec3f GraphicsSystem::SunVector() {
    return Sun();
}

Vec3f GraphicsSystem::ComputeSunVector(float elevation, float azimuth, float northOffset) {
    constexpr float kRadians = std::numbers::pi_v<float> / 180.0F;
    const float a = (90.0F - azimuth + northOffset) * kRadians;
    const float e = elevation * kRadians;
    return Normalized({std::cos(a) * std::cos(e), std::sin(a) * std::cos(e), -std::sin(e)});
}

void GraphicsSystemRegistry::Register(int entry, std::unique_ptr<GraphicsSystem> prototype) {
    if (entry < 0 || entry >= kEntries) return;
    auto& place = prototypes_[static_cast<std::size_t>(entry)];
    if (place == nullptr) place = std::move(prototype);
}

void GraphicsSystemRegistry::FindAvailable() {
    for (std::size_t i = 0; i < prototypes_.size(); ++i) {
        available_[i] = false;
        if (prototypes_[i] == nullptr) continue;
        const int answer = prototypes_[i]->CheckAvailable();
        if (answer == 0 || answer == 1) {
            available_[i] = answer == 0;
        } else {
            available_[i] = AllLibrariesLoad(prototypes_[i]->LibraryList());
        }
    }
}

bool GraphicsSystemRegistry::Available(int entry) const {
    return entry >= 0 && entry < kEntries && available_[static_cast<std::size_t>(entry)];
}

GraphicsSystem* GraphicsSystemRegistry::At(int entry) const {
    if (entry < 0 || entry >= kEntries) return nullptr;
    return prototypes_[static_cast<std::size_t>(entry)].get();
}

GraphicsSystem* GraphicsSystemRegistry::Choose(const std::string& name) const {
    GraphicsSystem* first = nullptr;
    for (std::size_t i = 0; i < prototypes_.size(); ++i) {
        if (!available_[i]) continue;
        if (EqualIgnoringCase(prototypes_[i]->Name(), name)) return prototypes_[i].get();
        if (first == nullptr) first = prototypes_[i].get();
    }
    return first;
}

int GraphicsSystemRegistry::CountAvailable() const {
    return static_cast<int>(std::ranges::count(available_, true));
}

bool GraphicsSystemRegistry::MustAsk(bool askWanted, bool endedCleanly) const {
    return CountAvailable() > 1 && (askWanted || !endedCleanly);
}

GraphicsSystem* GraphicsSystemRegistry::OpenOne(GraphicsSystem& chosen,
                                                const std::function<Status(GraphicsSystem&)>& open,
                                                Status& failed) const {
    failed = open(chosen);
    if (failed.Good()) return &chosen;
    for (int entry = 0; entry < kEntries; ++entry) {
        GraphicsSystem* const other = At(entry);
        if (Available(entry) && other != &chosen && open(*other).Good()) return other;
    }
    return &chosen;
}

}  // namespace tarnvale

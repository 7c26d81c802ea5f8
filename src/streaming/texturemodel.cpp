#include "streaming/texturemodel.h"

#include <limits>
#include <utility>

#include "streaming/bandwidthlimitedtexture.h"

namespace tarnvale {

TextureModel::TextureModel(std::string name) : name_(std::move(name)) {
    ResetExtent();
}

void TextureModel::ResetExtent() {
    constexpr double kMost = std::numeric_limits<double>::max();
    extent_ = {kMost, kMost, -kMost, -kMost};
}

TextureModelRegistry::TextureModelRegistry() {
    prototypes_.push_back(std::make_unique<BandwidthLimitedTexture>());
}

std::string TextureModelRegistry::Name(int index) const {
    const auto place = static_cast<std::size_t>(index);
    return index >= 0 && place < prototypes_.size() ? prototypes_[place]->Name() : std::string();
}

std::unique_ptr<TextureModel> TextureModelRegistry::CreateInstance(int index) const {
    const auto place = static_cast<std::size_t>(index);
    if (index < 0 || place >= prototypes_.size()) return nullptr;
    return prototypes_[place]->CreateInstance();
}

}  // namespace tarnvale

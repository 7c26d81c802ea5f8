#include "graphics/nullgraphics.h"

#include <new>
#include <utility>

#include "graphics/platform.h"

namespace tarnvale {

namespace {
constexpr int kNullDescription = 0;  // not offered to users, so nothing describes it
}

NullGraphicsSystem::NullGraphicsSystem(std::shared_ptr<TextureBudget> budget)
    : GraphicsSystem("null", kNullDescription, ""), budget_(std::move(budget)) {}

NullGraphicsSystem::~NullGraphicsSystem() {
    (void)NullGraphicsSystem::Shutdown();
}

Status NullGraphicsSystem::OpenDevice() {
    budget_->SetAutomatic(TextureBudget::SoftwareShare(PhysicalMemory()));
    return StatusCode::Ok;
}

Status NullGraphicsSystem::Shutdown() {
    constexpr std::uint64_t kBytes = kBytesPerTexel * kTextureSize * kTextureSize;
    budget_->Release((live_.size() + recycled_.size()) * kBytes);
    live_.clear();
    recycled_.clear();
    window_ = nullptr;
    return StatusCode::Ok;
}

std::unique_ptr<GraphicsSystem> NullGraphicsSystem::CreateInstance() const {
    return std::make_unique<NullGraphicsSystem>(budget_);
}

TextureHandle* NullGraphicsSystem::CreateTexture(std::span<const std::byte> pixels,
                                                 TextureUse /*use*/) try {
    if (!IsOpen() || pixels.empty()) return nullptr;
    constexpr std::uint64_t kBytes = kBytesPerTexel * kTextureSize * kTextureSize;
    Handles::iterator made;
    if (!recycled_.empty()) {
        made = live_.insert(recycled_.extract(recycled_.begin())).position;
    } else {
        auto handle = std::make_unique<TextureHandle>(this, nextNative_);
        made = live_.emplace(nextNative_, std::move(handle)).first;
        if (!budget_->Reserve(kBytes, static_cast<std::uint32_t>(live_.size() - 1))) {
            live_.erase(made);
            return nullptr;
        }
        ++nextNative_;
    }
    made->second->SetLoaded(true);
    ++counters_.uploads;
    return made->second.get();
} catch (const std::bad_alloc&) {
    return nullptr;
}

NullGraphicsSystem::Handles::iterator NullGraphicsSystem::FindLive(const TextureHandle* handle) {
    if (handle == nullptr || handle->Owner() != this) return live_.end();
    return live_.find(handle->Native());
}

void NullGraphicsSystem::DestroyTexture(TextureHandle* handle) {
    const auto found = FindLive(handle);
    if (found == live_.end()) return;
    live_.erase(found);
    budget_->Release(kBytesPerTexel * kTextureSize * kTextureSize);
}

void NullGraphicsSystem::RecycleTexture(TextureHandle* handle) {
    const auto found = FindLive(handle);
    if (found == live_.end()) return;
    handle->SetLoaded(false);
    recycled_.insert(live_.extract(found));
}

Status NullGraphicsSystem::EndFrame() {
    if (ScreenShotWanted()) SaveScreenShot({});  // there is no picture
    return StatusCode::Ok;
}

void NullGraphicsSystem::DrawMeshes(const RenderMeshBatch& batch) {
    if (!IsOpen()) return;
    for (const RenderMesh* mesh : batch) {
        const std::uint32_t count = mesh->vertices.Count();
        if (count < 3) return;
        counters_.triangles += mesh->kind == PrimitiveKind::List ? count / 3 : count - 2;
    }
}

void NullGraphicsSystem::BeginFrame(const RenderCamera& /*camera*/, int /*width*/, int /*height*/,
                                    FramePass pass) {
    if (pass == FramePass::Full) counters_ = {};
}

}  // namespace tarnvale

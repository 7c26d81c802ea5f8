#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "base/types.h"
#include "simulator/frameobserver.h"
#include "simulator/simulatr.h"

namespace tarnvale {

/// Writes what each terrain layer of each view of each frame is made of, a JSON object on a line.
class TraceWriter final : public FrameObserver {
public:
    /// @param simulator  on loan
    TraceWriter(const Simulator& simulator, bool vertices)
        : simulator_(simulator), vertices_(vertices) {}
    [[nodiscard]] bool Open(const FILEPATH& path);
    /// Before the frame that is to be written.
    void BeginFrame(int frame) noexcept { frame_ = frame; }
    /// @return false if anything couldn't be written
    [[nodiscard]] bool Close();

    void OnLayerBegin(int view, int layer, const RenderCamera& camera, int width, int height,
                      std::span<const IntRect> regions) override;
    void OnPrimitive(int texture, const TerrainPrimitive& primitive) override;
    void OnBatch(int texture, const RenderMeshBatch& batch) override;
    void OnService(int texture) override;
    void OnLayerEnd(int view, int layer) override;

private:
    [[nodiscard]] const TerrainLayer& LayerDrawn() const;
    [[nodiscard]] std::uint32_t DrawCalls(int view) const;

    const Simulator& simulator_;
    bool vertices_;
    std::ofstream file_;
    int frame_ = 0;
    std::string line_, primitives_, batches_;  // of the layer being drawn
    std::vector<int> serviced_;  // textures of the layer, in the order of their drawing
    int view_ = 0;
    std::uint32_t callsBefore_ = 0;
    std::uint64_t triangles_ = 0;
    int layer_ = 0;
    int firstTexture_ = -1;
};

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <span>

#include "base/types.h"
#include "graphics/rendermesh.h"

namespace tarnvale {

/// Seconds that the parts of the last frame took, all views and layers together. `total` is
/// measured in every frame; the parts only where part timing is on, and are 0 otherwise: reading
/// the clock four times for each primitive costs about a millisecond a frame.
struct FrameTimes {
    double select = 0;   ///< the terrain's choice of nodes
    double mesh = 0;     ///< morph and emit, without what the primitives then cause
    double prepare = 0;  ///< cutting primitives by tile
    double draw = 0;     ///< the graphics system, from BeginView to EndFrame
    double service = 0;  ///< tiles taken, asked for and dropped
    double total = 0;
    std::uint32_t primitives = 0;  ///< that the clock was read four times for, to time the parts
};

/// Sees what a frame sends, for traces. Called only while one is set; must not change anything.
class FrameObserver {
public:
    virtual ~FrameObserver() = default;
    /// @param camera  in the layer's own scene coordinates, as given to the terrain's Update
    virtual void OnLayerBegin(int view, int layer, const RenderCamera& camera, int width,
                              int height, std::span<const IntRect> regions) = 0;
    /// @param texture    index of the texture in its layer
    /// @param primitive  before the layer's vertical offset
    virtual void OnPrimitive(int texture, const TerrainPrimitive& primitive) = 0;
    /// @param batch  as prepared, thus after the vertical offset
    virtual void OnBatch(int texture, const RenderMeshBatch& batch) = 0;
    /// After a texture's Service. Not called for a texture that isn't drawn in this view and frame.
    virtual void OnService(int texture) = 0;
    /// After the layer's last texture. As at OnLayerBegin, the graphics system has sent all that
    /// was drawn before, so that the difference of its counters is the layer's.
    virtual void OnLayerEnd(int view, int layer) = 0;
};

}  // namespace tarnvale

#include "graphics/drawing_for_test.h"

#include "graphics/opengl/openglgraphics.h"
#include "graphics/opengl3/opengl3graphics.h"

namespace tarnvale {

namespace {

template <typename System>
std::unique_ptr<GraphicsSystem> Make() {
    return std::make_unique<System>();
}
template <typename System>
const TextureBudget& BudgetOf(const GraphicsSystem& system) {
    return static_cast<const System&>(system).Budget();
}
template <typename System>
void Gather(GraphicsSystem& system, bool on) {
    static_cast<System&>(system).SetGathering(on);
}

}  // namespace

const std::vector<DrawingKind>& DrawingKinds() {
    static const std::vector<DrawingKind> kinds{
        {.name = "opengl",
         .make = Make<OpenGLGraphicsSystem>,
         .budget = BudgetOf<OpenGLGraphicsSystem>,
         .gather = Gather<OpenGLGraphicsSystem>,
         .texturesTakeLight = false,
         .blends = false,
         .veilAdds = true,
         .veilGlows = false,
         .shortMeshEndsBatch = true,
         .plainMeshesTakeSun = true,
         .fogHasDistances = false,
         .smooths = false,
         .lightsAreDirectional = false,
         .lightsTurnWithModels = false,
         .remembersWhileClosed = false,
         .texelSteps = 8},
        {.name = "opengl3",
         .make = Make<OpenGL3GraphicsSystem>,
         .budget = BudgetOf<OpenGL3GraphicsSystem>,
         .gather = Gather<OpenGL3GraphicsSystem>,
         .texturesTakeLight = true,
         .blends = true,
         .veilAdds = false,
         .veilGlows = true,
         .shortMeshEndsBatch = false,
         .plainMeshesTakeSun = false,
         .fogHasDistances = true,
         .smooths = true,
         .lightsAreDirectional = true,
         .lightsTurnWithModels = true,
         .remembersWhileClosed = true,
         .texelSteps = 0},
    };
    return kinds;
}

}  // namespace tarnvale

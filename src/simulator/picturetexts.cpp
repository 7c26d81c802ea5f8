#include "simulator/picturetexts.h"

#include <fmt/format.h>

#include <optional>

namespace tarnvale {

std::string PointText(const Vec3d& map) {
    return fmt::format("{:.10g} {:.10g} {:.7g}", map.x, map.y, map.z);
}

std::string SystemText(const COORDREFSYS& system) {
    const std::optional<int> code = system.EpsgCode();
    return code.has_value() ? fmt::format("EPSG:{}", *code) : system.Wkt();
}

PictureTexts TextsOfPicture(const std::string& program, const FILEPATH& landscape,
                            const Vec3d& position, const Vec3d& lookAt, const std::string& system) {
    return {{"Software", program},
            {"Source", landscape.filename().string()},
            {"Position", PointText(position)},
            {"LookAt", PointText(lookAt)},
            {"CRS", system}};
}

PictureTexts TextsOfView(const Simulator& simulator, int view, const std::string& program,
                         const FILEPATH& landscape) {
    const ViewPicture& picture = simulator.Picture(view);
    Vec3d position, lookAt;
    if (simulator.GetScene() == nullptr || !simulator.SceneToMap(picture.eye, position).Good() ||
        !simulator.SceneToMap(picture.lookAt, lookAt).Good()) {
        return {{"Software", program}};
    }
    return TextsOfPicture(
        program, landscape, position, lookAt,
        SystemText(simulator.GetScene()->Reference().Transform().InputCoordRefSys()));
}

}  // namespace tarnvale

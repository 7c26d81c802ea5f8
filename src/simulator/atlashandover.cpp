#include "simulator/atlashandover.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "base/places.h"
#include "base/processes.h"
#include "landscape/atlas.h"
#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

constexpr const char* kLauncher = "sedgelinestart";
constexpr const char* kViewer = "sedgelineatlas";

bool IsFile(const FILEPATH& path) {
    std::error_code failed;
    return std::filesystem::is_regular_file(path, failed);
}

// The viewer may run elsewhere, and must not take a name for an option.
FILEPATH Whole(const FILEPATH& path) {
    std::error_code failed;
    FILEPATH whole = std::filesystem::absolute(path, failed);
    return failed ? path : whole;
}

Status ToGeographic(const TransGen& layer, double& x, double& y) {
    COORDREFSYS globe;
    if (const Status made = COORDREFSYS::FromIdentity(COORDREFSYS::kFixedReference, globe);
        !made.Good()) {
        return made;
    }
    TransGen toGlobe = layer;
    if (const Status set = TransGenSetOutputMapCoordRefSys(toGlobe, globe); !set.Good()) return set;
    double column = x, row = y;
    if (const Status back = TransGenConvPointInv(layer, column, row); !back.Good()) return back;
    if (const Status there = TransGenConvPointFwd(toGlobe, column, row); !there.Good())
        return there;
    x = column;
    y = row;
    return StatusCode::Ok;
}

}  // namespace

Status StartHelper(const std::string& program, std::span<const std::string> arguments) {
    const FILEPATH file = FindProgram(program);
    for (const std::string& name : {program, arguments.empty() ? program : arguments.front()}) {
        if (!FindProgram(name).empty()) continue;
        return _SetErrPosn(StatusCode::BadState, "the program " + name +
                                                     " is neither beside this one nor in PATH; "
                                                     "install it again");
    }
    return StartDetached(file, arguments);
}

AtlasHandover::AtlasHandover(ErrorSink showError, Starter start)
    : showError_(std::move(showError)), start_(std::move(start)) {}

void AtlasHandover::SetList(QNLIST<FILEPATH> atlases) {
    list_ = std::move(atlases);
    chosen_.clear();
}

void AtlasHandover::Add(const FILEPATH& atlas) {
    const FILEPATH whole = Whole(atlas);
    if (std::ranges::find(list_, whole) == list_.end()) list_.push_back(whole);
}

Status AtlasHandover::Choose(const FILEPATH& atlas) {
    if (!IsFile(atlas)) {
        const Status missing =
            _SetErrPosn(StatusCode::AtlasIncomplete, atlas.string() + " isn't there");
        showError_(missing);
        return missing;
    }
    chosen_ = Whole(atlas);
    return StatusCode::Ok;
}

Status AtlasHandover::WritePlace(const GroundPoint& place, const Vec3f& viewer,
                                 const TransGen& layer) const {
    if (!IsFile(chosen_)) {
        return _SetErrPosn(StatusCode::AtlasIncomplete, chosen_.string() + " isn't there any more");
    }
    Atlas atlas;
    if (const Status read = atlas.Read(chosen_); !read.Good()) return read;
    double longitude = place.map.x, latitude = place.map.y;
    if (const Status converted = ToGeographic(layer, longitude, latitude); !converted.Good())
        return converted;
    atlas.startLongitude = longitude;
    atlas.startLatitude = latitude;
    atlas.hasStartCentre = true;
    atlas.startZoomWidth = static_cast<double>(Length(place.scene - viewer));
    atlas.hasZoomWidth = true;
    return atlas.Write(chosen_);
}

Status AtlasHandover::HandOver(const GroundPoint& place, const Vec3f& viewer,
                               const TransGen& layer) {
    if (chosen_.empty()) return StatusCode::Ok;
    ClearErrPosn();
    const Status written = WritePlace(place, viewer, layer);
    if (!written.Good()) showError_(written);
    if (written.Code() == StatusCode::AtlasIncomplete) return written;
    const std::array<std::string, 2> arguments{kViewer, chosen_.string()};
    const Status started = start_(kLauncher, arguments);
    if (!started.Good()) showError_(started);
    return written.Good() ? started : written;
}

}  // namespace tarnvale

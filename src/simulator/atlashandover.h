#pragma once

#include <functional>
#include <span>
#include <string>

#include "base/status.h"
#include "base/types.h"
#include "base/vec3f.h"
#include "geom/transgen.h"

namespace tarnvale {

struct GroundPoint;

/// Starts a program that belongs to this one, found by name beside its own file or in PATH, and
/// doesn't wait for it. No shell sees the arguments.
/// @param arguments  the first names a program too, which has to be found as well
/// @return BadState, with the reason, if either isn't there or it can't be started
Status StartHelper(const std::string& program, std::span<const std::string> arguments);

/// The atlases at hand, the chosen one, and how a place goes to the atlas viewer: it is written
/// into the chosen atlas as the place to start at, then the viewer is started on that file.
/// Thread: the user interface's.
class AtlasHandover {
public:
    using Starter =
        std::function<Status(const std::string& program, std::span<const std::string> arguments)>;
    using ErrorSink = std::function<void(Status)>;

    /// @param showError  shows a failure and returns when the user has seen it
    explicit AtlasHandover(ErrorSink showError, Starter start = StartHelper);

    /// Begins anew with these atlases, and none is chosen.
    void SetList(QNLIST<FILEPATH> atlases);
    /// Adds an atlas at the end, unless it is there.
    void Add(const FILEPATH& atlas);
    [[nodiscard]] const QNLIST<FILEPATH>& List() const noexcept { return list_; }

    /// Takes an atlas for the places to come. A missing one is shown, and the old choice stays.
    /// @return AtlasIncomplete if there is no such file
    Status Choose(const FILEPATH& atlas);
    /// Empty if none is chosen.
    [[nodiscard]] const FILEPATH& Chosen() const noexcept { return chosen_; }

    /// Hands a place over. What goes wrong with the atlas is shown, and the viewer is started all
    /// the same, to show what it can: only a missing or incomplete atlas stops that.
    /// @param viewer  scene; the distance to it becomes the width of the viewer's map
    /// @param layer   the reference layer's grid to map
    /// @return the first failure
    Status HandOver(const GroundPoint& place, const Vec3f& viewer, const TransGen& layer);

private:
    [[nodiscard]] Status WritePlace(const GroundPoint& place, const Vec3f& viewer,
                                    const TransGen& layer) const;

    ErrorSink showError_;
    Starter start_;
    QNLIST<FILEPATH> list_;
    FILEPATH chosen_;
};

}  // namespace tarnvale

#include "simulator/viewtitle.h"

#include <array>

#include "base/textres.h"
#include "base/views.h"

namespace tarnvale {

const char* ViewWord(int view) {
    static constexpr std::array<const char*, View::kFirstPoi> kWords = {
        "left", "right", "rear", "up", "down", "vertical", "map_view", "custom_view"};
    if (View::IsPoi(view)) return "point_of_interest";
    return view >= 0 && view < View::kFirstPoi ? kWords[static_cast<std::size_t>(view)] : "";
}

Status GetViewTitle(int view, std::string& text) {
    if (view < 0 || view >= View::kMain) return _SetErrPosn(StatusCode::BadState);
    text = TEXTRES::Text(ViewWord(view));
    if (View::IsPoi(view)) text += ' ' + std::to_string(view - View::kFirstPoi + 1);
    return StatusCode::Ok;
}

}  // namespace tarnvale

#include "base/status.h"

#include <algorithm>
#include <utility>

#include "base/textres.h"

namespace tarnvale {

namespace {
ErrPosn& LastError() {
    thread_local ErrPosn last;
    return last;
}
}  // namespace

Status _SetErrPosn(StatusCode code, std::string detail, const char* file, int line) {
    ErrPosn& last = LastError();
    if (!detail.empty() || last.code != code) last.detail = std::move(detail);
    last.code = code;
    last.file = file;
    last.line = line;
    return code;
}

void ClearErrPosn() {
    LastError() = {};
}

const ErrPosn& GetErrPosn() {
    return LastError();
}

std::string GetErrString(Status status) {
    std::string text = TEXTRES::Text("error_" + std::to_string(-status.Value()));
    const ErrPosn& last = LastError();
    if (last.code == status.Code() && !last.detail.empty()) text += ": " + last.detail;
    std::ranges::replace(text, '\n', ' ');
    return text;
}

}  // namespace tarnvale

#include "graphics/opengl3/alpharange.h"

#include <algorithm>
#include <cmath>

namespace tarnvale {

namespace {
int Step(float alpha) {
    return static_cast<int>(std::lround(std::clamp(alpha, 0.0F, 1.0F) * 255.0F));
}
}  // namespace

bool AlphaRange::Passes(float alpha) const noexcept {
    const int step = Step(alpha);
    return (step >= low && step <= high) != outside;
}

AlphaRange RangeOf(AlphaFunction function, float reference) noexcept {
    const int step = Step(reference);
    switch (function) {
        case AlphaFunction::Never:
            return {0, 255, true};
        case AlphaFunction::Equal:
            return {step, step, false};
        case AlphaFunction::NotEqual:
            return {step, step, true};
        case AlphaFunction::Less:
            return {0, step - 1, false};
        case AlphaFunction::LessEqual:
            return {0, step, false};
        case AlphaFunction::Greater:
            return {step + 1, 255, false};
        case AlphaFunction::GreaterEqual:
            return {step, 255, false};
        case AlphaFunction::Always:
            break;
    }
    return {};
}

}  // namespace tarnvale

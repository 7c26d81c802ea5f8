#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "zpf/zpfraster.h"

namespace tarnvale {

/// Brings imagery with an embedded colour profile to sRGB.
/// Thread: any, one at a time.
class ColorProfile {
public:
    /// @param profile  an ICC profile as found in a file, not trusted
    /// @param cells    8-bit cells (grey, or with a map) or 24-bit composite
    /// @return null where there is nothing to do: no profile, a damaged one, one for something
    /// other
    ///         than such cells, or cells of another type
    [[nodiscard]] static std::unique_ptr<ColorProfile> Make(std::span<const std::byte> profile,
                                                            ZPF::RasterType cells);
    ~ColorProfile();
    ColorProfile(const ColorProfile&) = delete;
    ColorProfile& operator=(const ColorProfile&) = delete;

    /// Converts 24-bit composite cells in place; leaves other cells alone, which a map colours.
    void Apply(std::span<std::byte> cells) const;
    /// Converts the colours of 8-bit cells; `map` holds those of the file, or shades of grey.
    void Apply(ZPF::ColorMap& map) const;

private:
    struct State;
    explicit ColorProfile(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace tarnvale

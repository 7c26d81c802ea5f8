#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/views.h"
#include "simulator/readoutscale.h"
#include "simulator/readoutvalues.h"

namespace tarnvale {

/// What a row shows, which says how its number is written and what stands in its second field.
enum class ReadoutRowKind {
    NorthSouth,  ///< one coordinate
    EastWest,
    Position,  ///< two fields: north-south, then east-west
    Distance,  ///< a number, and its unit in the second field
    Elevation,
    Angle,
    Velocity,
    Percent,
    FrameRate,
    PlaceDistance,  ///< number and unit in one field; empty where there is none
    Accuracy        ///< whole number and unit in one field; empty where there is none
};

struct ReadoutRow {
    const char* label;  ///< text key
    ReadoutRowKind kind;
};

struct ReadoutPage {
    const char* title;  ///< text key
    std::span<const ReadoutRow> rows;
};

/// The pages in tab order: terrain, viewer, mouse, forward, then side views 0 to 7.
[[nodiscard]] std::span<const ReadoutPage> ReadoutPages();

/// One field of the window.
struct ReadoutField {
    int page = 0, row = 0;
    int column = 0;  ///< 0 or 1
    friend bool operator==(const ReadoutField&, const ReadoutField&) = default;
};

/// What shows the texts; a window, or a list in tests.
class ReadoutsDisplay {
public:
    virtual ~ReadoutsDisplay() = default;
    virtual void ShowReadout(const ReadoutField& field, std::string_view text) = 0;
};

/// Turns the record of the frame cycle into texts, and hands on those that changed. Keeps what it
/// showed last, field by field. Thread: the frame cycle's.
class Readouts {
public:
    static constexpr int kMousePage = 2, kForwardPage = 3, kFirstViewPage = 4;
    static constexpr int kPages = kFirstViewPage + View::kFirstPoi;
    static constexpr int kMostRows = 10;

    /// @param display  on loan, null closes. A new one gets every text at the next Update.
    void SetDisplay(ReadoutsDisplay* display);
    [[nodiscard]] bool HasDisplay() const noexcept { return display_ != nullptr; }
    [[nodiscard]] ReadoutScale& Scale() noexcept { return scale_; }
    [[nodiscard]] const ReadoutScale& Scale() const noexcept { return scale_; }

    /// Shows what differs from what was shown last as a 32-bit number; with `force` everything,
    /// after a format, a unit or the coordinate system changed. The fields of a place that isn't
    /// valid stay as they are.
    void Update(const SimulatorReadoutValues& values, bool isLatLon, bool force);
    /// Empties all fields: there is nothing to tell of.
    void Clear();

private:
    struct Shown {
        float value = 0;
        bool known = false;
    };
    struct Refresh {
        bool isLatLon = false, force = false;
    };

    void ShowPlace(int page, const ReadoutPlace& place, const Refresh& refresh);
    /// @param second  the east-west half of a position
    void ShowRow(int page, int row, double value, const Refresh& refresh, double second = 0);
    /// @return whether `value` has to be drawn; it is then what was shown last
    bool Changed(const ReadoutField& field, double value, bool force);
    [[nodiscard]] std::string TextOf(double value, ReadoutRowKind kind, bool isLatLon) const;
    [[nodiscard]] std::string UnitText(ReadoutRowKind kind) const;

    ReadoutsDisplay* display_ = nullptr;
    ReadoutScale scale_;
    std::array<std::array<std::array<Shown, 2>, kMostRows>, kPages> shown_{};
};

}  // namespace tarnvale

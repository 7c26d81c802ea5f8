#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarnvale {

/// What went wrong, as a number that messages and scripts know. 0 or more is good.
enum class StatusCode : std::int32_t {
    Ok = 0,
    Cancelled = -1000,  ///< by the user; never shown
    NoMemory = -1001,
    DeviceFailed = -1058,
    ScreenShotFailed = -1101,
    NotBuilt = -1204,  ///< a structure or pixel format could not be built
    BadState = -1213,  ///< bad state, no window, index out of range or missing object
    ScriptNotLoaded = -1223,
    AtlasIncomplete = -1563,  ///< an atlas file that is missing, or lacks title, file or object
    ObjectNotFound = -2012,   ///< a project file has no object of that path
    FileNotFound = -2201,
    NotALandscape = -2202,  ///< the file isn't a project file at all
    FileDamaged = -2203,    ///< truncated, flipped bytes, contradictory sizes
    FileRefused = -2204,    ///< schema that a landscape never has: views, triggers, virtual tables
    ReadFailed = -2205,
    WriteFailed = -2206,  ///< read-only folder, disk full, ...
    NotOpen = -2287,      ///< an object handle that isn't open
    NoDirect3D = -3915,
    NotInitialised = -5900,
    NoLandscape = -5901,  ///< no layers, or no terrain with a fitting texture
    NoGraphicsSystem = -5902,
    GraphicsSystemReplaced = -5903,
    DeviceRebuildFailed = -5904,
};

/// Result of every operation that can fail. Can't be dropped unread.
class [[nodiscard]] Status {
public:
    constexpr Status(
        StatusCode code) noexcept  // NOLINT: implicit by design, so `return StatusCode::Ok`
        : value_(static_cast<std::int32_t>(code)) {}
    [[nodiscard]] constexpr bool Good() const noexcept { return value_ >= 0; }
    [[nodiscard]] constexpr StatusCode Code() const noexcept {
        return static_cast<StatusCode>(value_);
    }
    [[nodiscard]] constexpr std::int32_t Value() const noexcept { return value_; }
    friend constexpr bool operator==(Status a, Status b) noexcept { return a.value_ == b.value_; }

private:
    std::int32_t value_;
};

/// Where and why the last failure of this thread was noted.
struct ErrPosn {
    StatusCode code = StatusCode::Ok;
    const char* file = "";
    int line = 0;
    std::string detail;  ///< one clause, UTF-8: which file or object, what is wrong, what to do
};

/// Notes a failure for this thread and hands its code on: `return
/// _SetErrPosn(StatusCode::BadState);`
/// @param detail  optional clause for the user; an empty one keeps the detail of a deeper failure
///                that was noted with the same code
Status _SetErrPosn(StatusCode code,
                   std::string detail = {},  // NOLINT(bugprone-reserved-identifier)
                   const char* file = __builtin_FILE(), int line = __builtin_LINE());

/// Forgets the failure noted last on this thread, so that an operation's message can't carry an
/// older failure's detail. Called where a user's command begins.
void ClearErrPosn();

/// The failure noted last on this thread.
[[nodiscard]] const ErrPosn& GetErrPosn();

/// @return one line for the user: the text for the code, then ": " and the detail if the failure
///         noted last on this thread has this code. No line break.
[[nodiscard]] std::string GetErrString(Status status);

}  // namespace tarnvale

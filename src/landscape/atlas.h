#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/color.h"
#include "base/status.h"
#include "base/types.h"
#include "zpf/zpffile.h"

namespace tarnvale {

/// Whether a view of an atlas begins with its legend.
enum class AtlasLegend : std::uint8_t { Unsaid = 0, Hidden = 1, Shown = 2 };

/// Where a view lies in the window: cells of a grid that the window is divided into.
struct AtlasPosition {
    std::int32_t firstColumn = 0, columnSpan = 1, columns = 1;
    std::int32_t firstRow = 0, rowSpan = 1, rows = 1;
    /// On both axes first >= 0, span >= 1, total >= 1, first + span <= total.
    [[nodiscard]] bool Valid() const noexcept;
    friend bool operator==(const AtlasPosition&, const AtlasPosition&) = default;
};

struct AtlasView {
    AtlasLegend legend = AtlasLegend::Unsaid;
    std::int32_t geoLockMode = 3;
    double geoLockScale = 1;
    AtlasPosition position;
    QNSTRING object;  ///< of the same file, shown in this view instead of the atlas's; may be empty
    friend bool operator==(const AtlasView&, const AtlasView&) = default;
};

/// Whether paths are written for this machine or for any.
enum class AtlasPaths : std::uint8_t { AsTheyAre, Portable };

/// An atlas: a small ini text that names an object of a project file and how an atlas viewer shows
/// it. A value.
struct Atlas {
    static constexpr std::size_t kMostViews = 4;
    /// "As the window": nothing is written for it.
    static constexpr COLOR kDefaultBackground{0, 0, 0, COLOR::kAutomaticFlag};

    QNSTRING title;
    FILEPATH file;    ///< found, or where it should be
    QNSTRING object;  ///< path in `file`
    COLOR backgroundColor = kDefaultBackground;
    bool hasStartCentre = false, hasZoomWidth = false;
    bool startZoom1X = false;  ///< one cell of the object on one pixel of the screen
    bool disableOpen = false, allowCustomize = true;
    double startZoomWidth = 0;                     ///< metres across the view, above 0
    double startLongitude = 0, startLatitude = 0;  ///< degrees, WGS 84
    FILEPATH customizeFile;                        ///< empty, or a file in the atlas's folder
    std::vector<AtlasView> views{1};               ///< 1 to kMostViews

    /// Reads the text; doesn't look into the file that it names. A value that can't be read counts
    /// as absent.
    /// @return AtlasIncomplete if there is no such file, or it lacks title, file or object;
    ///         ReadFailed if it can't be read or is no small text. Nothing is changed then.
    Status ReadText(const FILEPATH& path);
    /// Reads the text, and looks for its object.
    /// @return as ReadText; the project file's error; ObjectNotFound
    Status Read(const FILEPATH& path);
    /// Changes the text at `path`, or makes it. Whatever says the same already and whatever isn't
    /// known here keeps its bytes. Whole or not at all; permissions are kept, a link stays a link.
    /// @return WriteFailed, with the reason; BadState for a text that no line can hold
    Status Write(const FILEPATH& path, AtlasPaths paths = AtlasPaths::AsTheyAre) const;
};

/// The positions of as many views that say nothing valid: one, two or three side by side, or two
/// rows of two.
[[nodiscard]] std::array<AtlasPosition, Atlas::kMostViews> DefaultPositions(std::size_t views);

/// Finds an object by its path, as "/folder/name"; the case of names doesn't count, and the first
/// slash may lack. Where several types share the name a raster goes first, then a vector, then a
/// GeoPackage table of features that is no object: its item has kNoObject for a number.
/// @return ObjectNotFound; the file's error
Status FindObjectByPath(const ZPF::FILEHANDLE& file, const QNSTRING& path, ZPFObjectItem& item);

/// The atlases in a folder, by name; none where it can't be read.
[[nodiscard]] QNLIST<FILEPATH> ListAtlases(const FILEPATH& folder);

/// What an atlas is called: its title, or else the file's name without the extension.
[[nodiscard]] QNSTRING AtlasName(const FILEPATH& path);

}  // namespace tarnvale

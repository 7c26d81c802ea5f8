#pragma once

#include <string>
#include <string_view>

namespace tarnvale {

/// Words that the user sees, kept outside the code: `resources/texts/<language>.txt`, UTF-8, lines
/// of `key = text`. The folder is the first that exists of: environment variable
/// TARNVALE_RESOURCES,
/// `<folder of the program>/../share/tarnvale`, the source tree's `resources` (developer builds).
/// Thread: loaded on first use under a lock; look-ups afterwards are safe from any thread.
class TEXTRES {
public:
    /// @param key  lower case; "..._c" is a label with a colon, "..._" a menu entry that opens a
    /// dialog
    /// @return the text, or the key itself where no resource has it
    [[nodiscard]] static std::string Text(std::string_view key);

    /// The language in force, such as "de" or "de_AT": the setting `Language` if it is there, else
    /// the user's by the environment; empty for none.
    [[nodiscard]] static std::string Language();

    /// @return the folder that holds texts, icons and other resources; empty if none was found
    [[nodiscard]] static std::string ResourceFolder();

    /// Frees the texts; a later Text loads them again.
    static void Terminate();
};

}  // namespace tarnvale

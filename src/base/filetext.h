#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <system_error>

#include "base/types.h"

namespace tarnvale {

/// What came of reading a small text file whole.
enum class FileText { Read, Missing, Unreadable };

/// @param limit  a longer file, like anything that isn't a regular file, is Unreadable
/// @param text   out: the bytes; untouched unless the result is Read
[[nodiscard]] FileText ReadFileText(const FILEPATH& path, std::size_t limit, std::string& text);

/// Changes a small text file as one step, under a lock that all processes and threads share (a
/// neighbour `PATH.lock`, waited for without a limit). The file is replaced whole, so whoever reads
/// it, also after a crash, finds the old or the new text. A missing file counts as an empty one, a
/// missing folder is made; a link stays a link.
/// @param change  gets the text as it is now; answers false to leave the file as it is
/// @return false if the file couldn't be read, changed or replaced, or `change` answered false
[[nodiscard]] bool ChangeFileText(const FILEPATH& path, std::size_t limit,
                                  const std::function<bool(std::string&)>& change);

/// Replaces a text file whole, or makes it: a temporary file beside it, fsync, rename. On failure
/// the old file stays as it is. Permissions are kept; of a link the file that it names is replaced.
/// There is no lock: of two writers at once the later wins.
/// @return what went wrong; no error if all is well
[[nodiscard]] std::error_code ReplaceFileText(const FILEPATH& path, const std::string& text);

}  // namespace tarnvale

#pragma once

#include <cstdint>
#include <string>

#include "base/color.h"
#include "base/types.h"

namespace tarnvale {

/// The program's key-value store: a UTF-8 text file of `Key=value` lines, `[section]` heads for
/// sections. Place: environment variable TARNVALE_INI, else
/// `$XDG_CONFIG_HOME/tarnvale/tarnvale.ini`, else `~/.config/tarnvale/tarnvale.ini`. A broken line
/// costs that key alone. Each write reads the file afresh under a lock, changes one key, and
/// replaces the file whole (temporary file, fsync, rename), so two running programs don't undo each
/// other and a crash leaves the old or the new file. Every read answers false, leaving `value` as
/// it was, where the key is missing or unreadable.
/// @param section  null or empty: the default section
[[nodiscard]] bool _iniRead(const char* key, std::int32_t& value, const char* section = nullptr);
[[nodiscard]] bool _iniRead(const char* key, float& value, const char* section = nullptr);
[[nodiscard]] bool _iniRead(const char* key, double& value, const char* section = nullptr);
[[nodiscard]] bool _iniRead(const char* key, bool& value, const char* section = nullptr);
[[nodiscard]] bool _iniRead(const char* key, COLOR& value, const char* section = nullptr);
[[nodiscard]] bool _iniRead(const char* key, std::string& value, const char* section = nullptr);

/// Writes at once; a failure is ignored, since the value holds for the run all the same.
void _iniWrite(const char* key, std::int32_t value, const char* section = nullptr);
void _iniWrite(const char* key, float value, const char* section = nullptr);
void _iniWrite(const char* key, double value, const char* section = nullptr);
void _iniWrite(const char* key, bool value, const char* section = nullptr);
void _iniWrite(const char* key, const COLOR& value, const char* section = nullptr);
void _iniWrite(const char* key, const std::string& value, const char* section = nullptr);

/// @return the path of the store, existing or not
[[nodiscard]] FILEPATH IniPath();

}  // namespace tarnvale

#pragma once
#include <string>

#include "settings_export.h"

// The one settings file shared by the module and the framework, "OrdixServMgmtSettings.ini".
// A missing file, section or key gives the caller's default, and so does a file that cannot be
// read (Problem() says why). The file is looked at on every call (parsed again when it has
// changed), so a changed setting takes effect at the next reading.
namespace Ordix::Settings {

constexpr const char* kFileName = "OrdixServMgmtSettings.ini";

// The directory the settings file is looked for in (Linux: $ORDIX_CONFIG_DIR, else /etc/ordix).
SETTINGS_EXPORT std::string Directory();

// The full path of the settings file.
SETTINGS_EXPORT std::string FilePath();

SETTINGS_EXPORT std::string GetString(const std::string& section, const std::string& key,
                                      const std::string& fallback);

// An integer setting, in decimal ("010" is 10); a value that does not start with a whole
// number gives the fallback.
SETTINGS_EXPORT long GetInt(const std::string& section, const std::string& key, long fallback);

// Why the settings file is there but could not be read (not a regular file, larger than any
// settings file, no permission), so that every setting has its default; "" when it was read or
// is not there at all.
SETTINGS_EXPORT std::string Problem();

}  // namespace Ordix::Settings

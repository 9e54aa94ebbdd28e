#pragma once
#include <cstdint>
#include <string>

namespace Sys {

// An integer from the settings file "OrdixServMgmtSettings.ini" (named without a directory: the
// OS's default place for it; Linux: $ORDIX_CONFIG_DIR, else /etc/ordix). A missing file or key
// gives fallback. Negative numbers wrap as the OS's unsigned profile reader returns them.
uint32_t GetSettingsInt(const std::string& section, const std::string& key, uint32_t fallback);

}  // namespace Sys

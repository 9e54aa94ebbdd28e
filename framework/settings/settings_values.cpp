#include "settings_values.h"

#include "settings_text.h"

namespace Ordix::Settings {

// A text that cannot be parsed whole (a line that is no setting) still answers every key that
// could be read.
SettingsValues::SettingsValues(const std::string& text) : reader_(text.data(), text.size()) {}

std::string SettingsValues::GetString(const std::string& section, const std::string& key,
                                      const std::string& fallback) const {
  return reader_.Get(section, key, fallback);
}

long SettingsValues::GetInt(const std::string& section, const std::string& key,
                            long fallback) const {
  return ParseDecimal(reader_.Get(section, key, ""), fallback);
}

}  // namespace Ordix::Settings

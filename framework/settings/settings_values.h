#pragma once
// The settings a file's text holds, as the Linux reader answers them: the text parsed once,
// then any key looked up. Apart from the file, so that any text can be tried without one.

#include <INIReader.h>

#include <string>

namespace Ordix::Settings {

class SettingsValues {
 public:
  explicit SettingsValues(const std::string& text);

  // The key's value, or fallback when the section or the key is missing.
  std::string GetString(const std::string& section, const std::string& key,
                        const std::string& fallback) const;
  // The key's value in decimal (ParseDecimal), or fallback.
  long GetInt(const std::string& section, const std::string& key, long fallback) const;

 private:
  INIReader reader_;
};

}  // namespace Ordix::Settings

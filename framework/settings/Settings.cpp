#include "Settings.h"

#include <INIReader.h>

namespace Ordix::Settings {

std::string FilePath() {
  return Directory() + "/" + kFileName;
}

std::string GetString(const std::string& section, const std::string& key,
                      const std::string& fallback) {
  // A file that is missing or cannot be parsed (ParseError() != 0) still answers every key
  // it could read before the fault; anything else falls back.
  INIReader reader(FilePath());
  return reader.Get(section, key, fallback);
}

long GetInt(const std::string& section, const std::string& key, long fallback) {
  INIReader reader(FilePath());
  return reader.GetInteger(section, key, fallback);
}

}  // namespace Ordix::Settings

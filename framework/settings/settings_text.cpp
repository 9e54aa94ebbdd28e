#include "settings_text.h"

#include <cerrno>
#include <cstdlib>

namespace Ordix::Settings {

namespace {
constexpr int kDecimal = 10;
}  // namespace

long ParseDecimal(const std::string& text, long fallback) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(begin, &end, kDecimal);
  // Out of range is no number a setting could mean either.
  return end > begin && errno != ERANGE ? value : fallback;
}

}  // namespace Ordix::Settings

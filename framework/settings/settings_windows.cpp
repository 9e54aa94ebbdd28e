// Windows reads the settings file through the profile API. Normally the file is named without
// a directory, exactly as the module's own readers name it, so every reader in the process
// resolves the same file: the one in the Windows directory. ORDIX_CONFIG_DIR, when set, names
// another directory, as on Linux (platformq --config-dir, tests); the module's readers
// (src/sys) follow it too.

#include <windows.h>

#include <cstdlib>
#include <vector>

#include "Settings.h"
#include "settings_text.h"

namespace Ordix::Settings {

namespace {
constexpr const char* kDirEnvironmentVariable = "ORDIX_CONFIG_DIR";
// Values are short; a longer one makes the buffer grow.
constexpr DWORD kInitialBufferChars = 256;
constexpr DWORD kMaxBufferChars = DWORD{1} << 20;

std::string OverrideDirectory() {
  const char* dir = std::getenv(kDirEnvironmentVariable);
  return dir != nullptr ? std::string(dir) : std::string();
}

// The file as the profile API is given it.
std::string ProfileFile() {
  const std::string dir = OverrideDirectory();
  return dir.empty() ? std::string(kFileName) : dir + "\\" + kFileName;
}

}  // namespace

std::string Directory() {
  if (std::string dir = OverrideDirectory(); !dir.empty()) return dir;
  std::vector<char> buffer(MAX_PATH + 1);
  UINT n = ::GetWindowsDirectoryA(buffer.data(), static_cast<UINT>(buffer.size()));
  if (n >= buffer.size()) {
    buffer.resize(n + 1);
    n = ::GetWindowsDirectoryA(buffer.data(), static_cast<UINT>(buffer.size()));
  }
  return n == 0 || n >= buffer.size() ? std::string() : std::string(buffer.data(), n);
}

std::string FilePath() {
  return Directory() + "\\" + kFileName;
}

std::string GetString(const std::string& section, const std::string& key,
                      const std::string& fallback) {
  const std::string file = ProfileFile();
  std::vector<char> buffer(kInitialBufferChars);
  for (;;) {
    const DWORD n =
        ::GetPrivateProfileStringA(section.c_str(), key.c_str(), fallback.c_str(), buffer.data(),
                                   static_cast<DWORD>(buffer.size()), file.c_str());
    // n == size - 1: the value may have been cut to fit.
    if (n + 1 < buffer.size() || buffer.size() >= kMaxBufferChars) {
      return std::string(buffer.data(), n);
    }
    buffer.resize(buffer.size() * 2);
  }
}

long GetInt(const std::string& section, const std::string& key, long fallback) {
  return ParseDecimal(GetString(section, key, ""), fallback);
}

// The profile API reads whatever it can and says nothing of a file it cannot read.
std::string Problem() {
  return {};
}

}  // namespace Ordix::Settings

#include "sys/Process.h"

#include <windows.h>

#include <cstdlib>

#include "Text.h"

// <windows.h> maps SetEnvironmentVariable to its ANSI entry; this file defines Sys's own.
#undef SetEnvironmentVariable

namespace Sys {

std::string ExecutableDirectory() {
  std::wstring buffer(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return {};
    if (n < buffer.size()) {
      buffer.resize(n);
      break;
    }
    buffer.resize(buffer.size() * 2);  // truncated: try a larger buffer
  }
  const std::string path = Win32::Narrow(buffer);
  const auto slash = path.find_last_of("\\/");
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool SetEnvironmentVariable(const std::string& name, const std::string& value) {
  // The C runtime's copy, which getenv reads, and the process environment block together.
  return ::_putenv_s(name.c_str(), value.c_str()) == 0;
}

std::string SharedLibraryFileName(const std::string& base) {
  return base + ".dll";
}

void SleepMilliseconds(unsigned milliseconds) {
  ::Sleep(milliseconds);
}

}  // namespace Sys

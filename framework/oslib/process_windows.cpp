#include "oslib/Process.h"

#include <windows.h>

#include <cstdlib>

#include "oslib/WindowsText.h"

// <windows.h> maps SetEnvironmentVariable to its ANSI entry; this file defines the library's own.
#undef SetEnvironmentVariable

namespace Ordix::OS {

namespace {

// The file a loaded module (nullptr: the executable) was loaded from, its directory only.
std::string ModuleDirectory(HMODULE module) {
  std::wstring buffer(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = ::GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return {};
    if (n < buffer.size()) {
      buffer.resize(n);
      break;
    }
    buffer.resize(buffer.size() * 2);  // truncated: try a larger buffer
  }
  const std::string path = Windows::Narrow(buffer);
  const auto slash = path.find_last_of("\\/");
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

std::string ExecutableDirectory() {
  return ModuleDirectory(nullptr);
}

std::string LibraryDirectoryOf(const void* address) {
  HMODULE module = nullptr;
  if (!::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<LPCWSTR>(address), &module)) {
    return {};
  }
  return ModuleDirectory(module);
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

}  // namespace Ordix::OS

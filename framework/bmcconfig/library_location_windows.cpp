#include <windows.h>

#include <string>

#include "library_location.h"

namespace Module::BMCConfig {

namespace {
// Any object defined in this library will do: the loader maps its address to the module.
const char kAnchor = 0;
}  // namespace

std::string ThisLibraryDirectory() {
  HMODULE self = nullptr;
  if (!::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&kAnchor), &self)) {
    return {};
  }
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = ::GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return {};
    if (n < path.size()) {
      path.resize(n);
      break;
    }
    path.resize(path.size() * 2);
  }
  const int size = static_cast<int>(path.size());
  const int needed =
      ::WideCharToMultiByte(CP_UTF8, 0, path.data(), size, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(needed > 0 ? needed : 0), '\0');
  if (needed > 0) {
    ::WideCharToMultiByte(CP_UTF8, 0, path.data(), size, text.data(), needed, nullptr, nullptr);
  }
  const auto slash = text.find_last_of("\\/");
  return slash == std::string::npos ? std::string() : text.substr(0, slash);
}

}  // namespace Module::BMCConfig

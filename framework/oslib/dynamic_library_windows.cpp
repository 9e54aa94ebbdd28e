#include "oslib/DynamicLibrary.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "oslib/WindowsText.h"

namespace Ordix::OS {

DynamicLibrary DynamicLibrary::Open(const std::string& path, std::string& error, bool pinned) {
  // The loader wants backslashes in paths; a bare name ("quarnapi.dll") goes through its
  // search order (the executable's directory first).
  std::string native = path;
  std::replace(native.begin(), native.end(), '/', '\\');
  HMODULE module = ::LoadLibraryW(Windows::Widen(native).c_str());
  if (module == nullptr) {
    error = native + ": " + Windows::ErrorText(::GetLastError());
    return DynamicLibrary();
  }
  if (pinned) {
    // A pinned module stays mapped until the process ends, whatever FreeLibrary calls follow.
    HMODULE pin = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<LPCWSTR>(module), &pin);
  }
  return DynamicLibrary(module);
}

void* DynamicLibrary::Symbol(const char* name) const {
  if (handle_ == nullptr || name == nullptr) return nullptr;
  // FARPROC to an object pointer: both are plain addresses on every Windows target.
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void DynamicLibrary::Close() {
  if (handle_ != nullptr) ::FreeLibrary(static_cast<HMODULE>(std::exchange(handle_, nullptr)));
}

}  // namespace Ordix::OS

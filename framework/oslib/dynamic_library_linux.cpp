#include "oslib/DynamicLibrary.h"

#include <dlfcn.h>

#include <utility>

namespace Ordix::OS {

DynamicLibrary DynamicLibrary::Open(const std::string& path, std::string& error, bool pinned) {
  // RTLD_NOW: a library with unresolved symbols fails here, not at some later call.
  // RTLD_NODELETE: dlclose keeps a pinned library mapped, so stale function pointers into it
  // never point at unmapped memory.
  const int flags = RTLD_NOW | RTLD_LOCAL | (pinned ? RTLD_NODELETE : 0);
  void* handle = ::dlopen(path.c_str(), flags);
  if (handle == nullptr) {
    const char* reason = ::dlerror();
    error = reason != nullptr ? reason : "cannot load " + path;
  }
  return DynamicLibrary(handle);
}

void* DynamicLibrary::Symbol(const char* name) const {
  if (handle_ == nullptr || name == nullptr) return nullptr;
  return ::dlsym(handle_, name);
}

void DynamicLibrary::Close() {
  if (handle_ != nullptr) ::dlclose(std::exchange(handle_, nullptr));
}

}  // namespace Ordix::OS

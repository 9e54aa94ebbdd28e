// What a loaded library's handle does on every OS; opening, lookup and unloading are the OS's.
#include <utility>

#include "oslib/DynamicLibrary.h"

namespace Ordix::OS {

DynamicLibrary::~DynamicLibrary() {
  Close();
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

}  // namespace Ordix::OS

#pragma once
#include <string>

#include "oslib_export.h"

namespace Ordix::OS {

// A loaded shared library, unloaded when the object goes. Move-only.
class OSLIB_EXPORT DynamicLibrary {
 public:
  DynamicLibrary() = default;
  ~DynamicLibrary();
  DynamicLibrary(DynamicLibrary&& other) noexcept;
  DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;

  // Loads the library at path (or by name, where the loader's search finds it). On failure
  // the result is not loaded and error holds the loader's reason.
  // pinned: the library stays mapped for the rest of the process, even after Close, so that
  // function addresses taken from it stay callable whoever closes it and when.
  static DynamicLibrary Open(const std::string& path, std::string& error, bool pinned = false);

  bool IsLoaded() const { return handle_ != nullptr; }

  // The address of an exported symbol, or null.
  void* Symbol(const char* name) const;

  // Unloads now (a pinned library only drops this reference); harmless when nothing is loaded.
  void Close();

 private:
  explicit DynamicLibrary(void* handle) : handle_(handle) {}
  void* handle_ = nullptr;
};

}  // namespace Ordix::OS

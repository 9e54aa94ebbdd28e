#pragma once
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

#include "XNode.h"
#include "sys/DynamicLibrary.h"

namespace Module::PlatformConfig {
class PlatformConfigModule;
}

namespace ModuleHost {

// The module could not be loaded, lacks an entry point, or would not create its instance.
class BindingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the module's platform identification settled on; a text is empty where it found nothing.
struct PlatformIdentity {
  std::string family;
  std::string board;
};

// The platform configuration module loaded from a file at run time, as the framework loads
// its modules: no link-time dependency, so any build of the module can be pointed at. Owns
// the library and the module instance, which it destroys before unloading. The module has one
// instance per process, so only one binding of it can be alive at a time. Move-only.
class ModuleBinding {
 public:
  // Loads the library at path and creates the module instance; throws BindingError, also
  // while another binding of the same module is alive.
  static ModuleBinding Load(const std::string& path);

  ModuleBinding(ModuleBinding&& other) noexcept;
  ModuleBinding& operator=(ModuleBinding&& other) noexcept;
  ModuleBinding(const ModuleBinding&) = delete;
  ModuleBinding& operator=(const ModuleBinding&) = delete;
  ~ModuleBinding();

  // The module's ProcessXQuery(query, result): adds the answer to query to result. A
  // ResultStatus the module throws passes through.
  void Process(const std::string& query, ResultMap& result);

  // The module's ProcessXQuery(query, output), the text form.
  void ProcessIntoText(const std::string& query, const std::string& output);

  // The platform the module identified, or nothing while no query has needed identification.
  // Reading it never identifies the platform.
  std::optional<PlatformIdentity> Identity() const;

 private:
  using Instance = Module::PlatformConfig::PlatformConfigModule;
  using ProcessIntoMapFn = void (*)(Instance* self, std::string query, ResultMap& result);
  using ProcessIntoTextFn = void (*)(Instance* self, std::string query, std::string output);
  using DestroyFn = void (*)(Instance* self);
  using IdentityFn = int (*)(char* family, size_t familySize, char* board, size_t boardSize);

  ModuleBinding() = default;
  void Release() noexcept;

  Sys::DynamicLibrary library_;  // declared first: outlives the instance it holds the code of
  Instance* instance_ = nullptr;
  ProcessIntoMapFn processIntoMap_ = nullptr;
  ProcessIntoTextFn processIntoText_ = nullptr;
  DestroyFn destroy_ = nullptr;
  IdentityFn identity_ = nullptr;
};

}  // namespace ModuleHost

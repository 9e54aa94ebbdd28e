#include "ModuleBinding.h"

#include <new>
#include <set>
#include <utility>

namespace ModuleHost {

namespace {

// The module's one C entry: returns the address of the static PlatformConfigModule::
// CreateInstance, which allocates the process-wide instance with new and hands it over.
constexpr const char* kCreationInfoSymbol = "GetPlatformConfigCreationInfo";

// The member functions of PlatformConfigModule are not virtual, so they are reached by their
// exported names under the Itanium C++ ABI (g++ on Linux and on MinGW-w64 alike). Calling one
// through a plain function pointer with the object as first argument is sound there: a
// non-virtual member function takes `this` as an implicit first parameter in the ordinary
// calling convention, and a class passed by value (std::string) travels the same way for a
// member as for a free function (the caller builds a temporary, passes its address and
// destroys it afterwards). It would not hold where members have a calling convention of their
// own (thiscall on 32-bit x86 Windows). The names also encode the library's std::string ABI
// ("__cxx11"): a module built against a different one fails the lookup instead of misbehaving.
//   void PlatformConfigModule::ProcessXQuery(std::string query, ResultMap& result)
constexpr const char* kProcessIntoMapSymbol =
    "_ZN6Module14PlatformConfig20PlatformConfigModule13ProcessXQueryENSt7__cxx1112basic_"
    "stringIcSt11char_traitsIcESaIcEEERSt3mapIS7_6_XNodeSt4lessIS7_ESaISt4pairIKS7_S9_EEE";
//   void PlatformConfigModule::ProcessXQuery(std::string query, std::string output)
constexpr const char* kProcessIntoTextSymbol =
    "_ZN6Module14PlatformConfig20PlatformConfigModule13ProcessXQueryENSt7__cxx1112basic_"
    "stringIcSt11char_traitsIcESaIcEEES7_";
//   PlatformConfigModule::~PlatformConfigModule(), the complete-object destructor
constexpr const char* kDestructorSymbol = "_ZN6Module14PlatformConfig20PlatformConfigModuleD1Ev";

// The module's read-only view of its platform identification (family, board identifier).
constexpr const char* kIdentitySymbol = "GetPlatformConfigIdentity";
// Room for the longest family name and the board identifier (at most 40 characters) with margin.
constexpr size_t kIdentityTextRoom = 128;

using CreationInfoFn = void* (*)();

// The instances some live binding owns. The module hands out one instance per process, so a
// second binding of the same module would receive the first one's instance and delete it a
// second time; it is refused instead.
std::set<const void*> gBoundInstances;

std::set<const void*>& BoundInstances() {
  return gBoundInstances;
}

void* RequireSymbol(const Sys::DynamicLibrary& library, const std::string& path, const char* name) {
  void* address = library.Symbol(name);
  if (address == nullptr) throw BindingError(path + " does not export " + name);
  return address;
}

}  // namespace

ModuleBinding ModuleBinding::Load(const std::string& path) {
  ModuleBinding binding;
  std::string reason;
  binding.library_ = Sys::DynamicLibrary::Open(path, reason);
  if (!binding.library_.IsLoaded()) {
    throw BindingError("cannot load module " + path + ": " + reason);
  }
  const auto creationInfo =
      reinterpret_cast<CreationInfoFn>(RequireSymbol(binding.library_, path, kCreationInfoSymbol));
  binding.processIntoMap_ = reinterpret_cast<ProcessIntoMapFn>(
      RequireSymbol(binding.library_, path, kProcessIntoMapSymbol));
  binding.processIntoText_ = reinterpret_cast<ProcessIntoTextFn>(
      RequireSymbol(binding.library_, path, kProcessIntoTextSymbol));
  binding.destroy_ =
      reinterpret_cast<DestroyFn>(RequireSymbol(binding.library_, path, kDestructorSymbol));
  binding.identity_ =
      reinterpret_cast<IdentityFn>(RequireSymbol(binding.library_, path, kIdentitySymbol));

  void* createInstance = creationInfo();
  if (createInstance == nullptr) {
    throw BindingError(path + ": " + kCreationInfoSymbol + " gave no creation function");
  }
  Instance* instance = reinterpret_cast<Instance* (*)()>(createInstance)();
  if (instance == nullptr) throw BindingError(path + ": the module created no instance");
  if (!BoundInstances().insert(instance).second) {
    throw BindingError(path + ": the module is already loaded by this process");
  }
  binding.instance_ = instance;
  return binding;
}

ModuleBinding::ModuleBinding(ModuleBinding&& other) noexcept
    : library_(std::move(other.library_)),
      instance_(std::exchange(other.instance_, nullptr)),
      processIntoMap_(other.processIntoMap_),
      processIntoText_(other.processIntoText_),
      destroy_(other.destroy_),
      identity_(other.identity_) {}

ModuleBinding& ModuleBinding::operator=(ModuleBinding&& other) noexcept {
  if (this != &other) {
    Release();
    library_ = std::move(other.library_);
    instance_ = std::exchange(other.instance_, nullptr);
    processIntoMap_ = other.processIntoMap_;
    processIntoText_ = other.processIntoText_;
    destroy_ = other.destroy_;
    identity_ = other.identity_;
  }
  return *this;
}

ModuleBinding::~ModuleBinding() {
  Release();
}

void ModuleBinding::Process(const std::string& query, ResultMap& result) {
  if (instance_ == nullptr) throw BindingError("no module is loaded");
  processIntoMap_(instance_, query, result);
}

void ModuleBinding::ProcessIntoText(const std::string& query, const std::string& output) {
  if (instance_ == nullptr) throw BindingError("no module is loaded");
  processIntoText_(instance_, query, output);
}

std::optional<PlatformIdentity> ModuleBinding::Identity() const {
  if (instance_ == nullptr) throw BindingError("no module is loaded");
  char family[kIdentityTextRoom];
  char board[kIdentityTextRoom];
  if (identity_(family, sizeof family, board, sizeof board) != 0) return std::nullopt;
  return PlatformIdentity{family, board};
}

void ModuleBinding::Release() noexcept {
  if (instance_ != nullptr) {
    // The instance came from the module's `new` and belongs to the host. Its destructor is
    // not virtual, so running the complete-object destructor and then freeing the storage is
    // exactly what `delete` would do; both sides use the process's one global allocator.
    BoundInstances().erase(instance_);
    destroy_(instance_);
    ::operator delete(static_cast<void*>(instance_));
    instance_ = nullptr;
  }
  library_.Close();
}

}  // namespace ModuleHost

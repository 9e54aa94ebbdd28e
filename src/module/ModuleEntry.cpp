#include "PlatformConfigModule.h"

extern "C" void* GetPlatformConfigCreationInfo() {
  // The host casts this back to PlatformConfigModule* (*)(); function and object pointers
  // have one size and representation on every platform the module is built for.
  return reinterpret_cast<void*>(&Module::PlatformConfig::PlatformConfigModule::CreateInstance);
}

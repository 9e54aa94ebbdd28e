#include <algorithm>
#include <cstring>
#include <string>

#include "PlatformConfigModule.h"
#include "platform/PlatformImpl.h"

extern "C" void* GetPlatformConfigCreationInfo() {
  // The host casts this back to PlatformConfigModule* (*)(); function and object pointers
  // have one size and representation on every platform the module is built for.
  return reinterpret_cast<void*>(&Module::PlatformConfig::PlatformConfigModule::CreateInstance);
}

namespace {

void CopyCut(const std::string& text, char* out, size_t size) {
  const size_t length = std::min(text.size(), size - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

}  // namespace

extern "C" int GetPlatformConfigIdentity(char* family, size_t familySize, char* board,
                                         size_t boardSize) {
  if (family == nullptr || board == nullptr || familySize == 0 || boardSize == 0) return -1;
  const Platform::PlatformImpl* platform = Platform::PlatformImpl::Existing();
  CopyCut(platform != nullptr ? platform->family : std::string(), family, familySize);
  CopyCut(platform != nullptr ? platform->boardId : std::string(), board, boardSize);
  return platform != nullptr ? 0 : 1;
}

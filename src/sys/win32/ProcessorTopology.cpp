#include "sys/ProcessorTopology.h"

#include <windows.h>

#include <cstdlib>

namespace Sys {

namespace {

using GetLogicalProcessorInformationFn = BOOL(WINAPI*)(PSYSTEM_LOGICAL_PROCESSOR_INFORMATION,
                                                       PDWORD);

// The entries the call writes are 32 bytes each on 64-bit Windows.
constexpr size_t kEntryBytes = 32;
static_assert(sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION) == kEntryBytes,
              "GetLogicalProcessorInformation entries are 32 bytes");
constexpr DWORD kInsufficientBuffer = ERROR_INSUFFICIENT_BUFFER;  // 122
static_assert(kInsufficientBuffer == 122, "ERROR_INSUFFICIENT_BUFFER is 122");
constexpr DWORD kVersionInfoBytes = 156;  // OSVERSIONINFOEXA
static_assert(sizeof(OSVERSIONINFOEXA) == kVersionInfoBytes, "OSVERSIONINFOEXA is 156 bytes");
// Processor packages exist from Windows Vista (6.0) on; before, each core stands in for one.
constexpr DWORD kFirstMajorWithPackages = 6;

// Major version as GetVersionExA reports it; 0 when it cannot be told.
DWORD MajorVersion() {
  OSVERSIONINFOEXA info{};
  info.dwOSVersionInfoSize = kVersionInfoBytes;
  if (!::GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&info))) return 0;
  return info.dwMajorVersion;
}

}  // namespace

int GetProcessorPackageMasks(std::vector<uint64_t>& masks, size_t maxMasks) {
  masks.clear();
  // Looked up at run time: systems before Windows XP SP3 lack the call.
  HMODULE kernel = ::GetModuleHandleA("kernel32");
  auto query = kernel == nullptr
                   ? nullptr
                   : reinterpret_cast<GetLogicalProcessorInformationFn>(reinterpret_cast<void*>(
                         ::GetProcAddress(kernel, "GetLogicalProcessorInformation")));
  if (query == nullptr) return kPackagesUnsupported;

  DWORD length = 0;
  if (query(nullptr, &length)) return kPackagesSizeQueryOdd;
  if (::GetLastError() != kInsufficientBuffer) return kPackagesSizeQueryFailed;
  void* buffer = nullptr;
  for (;;) {
    buffer = std::malloc(length);
    if (buffer == nullptr) return kPackagesNoMemory;
    if (query(static_cast<PSYSTEM_LOGICAL_PROCESSOR_INFORMATION>(buffer), &length)) break;
    const DWORD error = ::GetLastError();
    std::free(buffer);
    // The set of processors may grow between two calls: ask again with the new size.
    if (error != kInsufficientBuffer) return kPackagesSizeQueryFailed;
  }

  const LOGICAL_PROCESSOR_RELATIONSHIP wanted =
      MajorVersion() >= kFirstMajorWithPackages ? RelationProcessorPackage : RelationProcessorCore;
  static_assert(RelationProcessorPackage == 3 && RelationProcessorCore == 0,
                "relationship numbers as the OS defines them");
  const auto* entries = static_cast<const SYSTEM_LOGICAL_PROCESSOR_INFORMATION*>(buffer);
  const size_t count = length / kEntryBytes;
  for (size_t i = 0; i < count && masks.size() < maxMasks; ++i) {
    if (entries[i].Relationship == wanted) {
      masks.push_back(static_cast<uint64_t>(entries[i].ProcessorMask));
    }
  }
  std::free(buffer);
  return kPackagesOk;
}

}  // namespace Sys

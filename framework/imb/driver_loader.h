#pragma once
// Loading the management-bus driver: one way for every library that talks to the controller.
// Each caller keeps its own state and says in its own error codes what a failed load means.

#include <string>
#include <vector>

#include "imb.h"
#include "oslib/DynamicLibrary.h"

namespace Ordix::Imb {

// The driver's entry points; null where the loaded library lacks one.
struct DriverEntryPoints {
  SendTimedImbpRequestFn send = nullptr;
  GetAsyncImbpMessageFn getAsync = nullptr;
  SelectInterfaceFn select = nullptr;
  GetImbpLastErrorFn lastError = nullptr;  // optional: not every driver says why
};

struct LoadedDriver {
  Ordix::OS::DynamicLibrary library;
  DriverEntryPoints entry;
  std::string path;     // the candidate that loaded
  std::string failure;  // every candidate tried and the loader's reason, when none loaded
  bool IsLoaded() const { return library.IsLoaded(); }
};

// The driver's file name on this OS (libquarnapi.so, quarnapi.dll): what the loader's own search
// (LD_LIBRARY_PATH, the caller's run path; on Windows the executable's directory first) finds.
std::string DriverFileName();

// Where the driver is looked for: its file name through the loader's own search
// (LD_LIBRARY_PATH, the run path; on Windows the executable's directory first), then beside the
// library holding besideAddress, since a loader that cannot tell which library asked (one
// wrapped by a sanitizer, say) skips the run path's $ORIGIN.
std::vector<std::string> DriverCandidates(const void* besideAddress);

// The first candidate the loader can load, its entry points looked up. pinned: it stays mapped
// for the rest of the process, so entry points taken from it stay callable after any unload.
LoadedDriver LoadDriver(const std::vector<std::string>& candidates, bool pinned);

// What the driver says of its last failure, or "" when it cannot say.
std::string LastDriverError(GetImbpLastErrorFn lastError);

}  // namespace Ordix::Imb

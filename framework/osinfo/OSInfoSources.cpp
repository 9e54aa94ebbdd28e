#include <mutex>
#include <string>

#include "OSInfo.h"

namespace Ordix::OSInfo {

namespace {
// Namespace-scope rather than function-local so no call ever pays for a guarded initialiser;
// every access goes through the mutex, and callers get a copy they can hold for a whole read.
std::mutex gRootMutex;
std::string gRoot;
}  // namespace

void SetSourceRoot(const std::string& root) {
  std::lock_guard<std::mutex> lock(gRootMutex);
  gRoot = root;
}

std::string SourceRoot() {
  std::lock_guard<std::mutex> lock(gRootMutex);
  return gRoot;
}

}  // namespace Ordix::OSInfo

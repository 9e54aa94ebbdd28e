#include <cstdlib>
#include <mutex>
#include <string>

#include "oslib/SourceRoot.h"

namespace Ordix::OS {

namespace {
constexpr const char* kSourceRootVariable = "ORDIX_SYS_ROOT";
// Namespace-scope rather than function-local so no call pays for a guarded initialiser.
std::mutex gRootMutex;
std::string gRoot;
}  // namespace

void SetSourceRoot(const std::string& root) {
  std::lock_guard<std::mutex> lock(gRootMutex);
  gRoot = root;
}

std::string SourceRoot() {
  {
    std::lock_guard<std::mutex> lock(gRootMutex);
    if (!gRoot.empty()) return gRoot;
  }
  // A host (or a test of the whole module, which cannot reach into the library) points the
  // readers at a recorded machine through the environment instead.
  const char* fromEnvironment = std::getenv(kSourceRootVariable);
  return fromEnvironment != nullptr ? std::string(fromEnvironment) : std::string();
}

}  // namespace Ordix::OS

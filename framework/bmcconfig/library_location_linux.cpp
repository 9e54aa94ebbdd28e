#include <dlfcn.h>

#include "library_location.h"

namespace Module::BMCConfig {

namespace {
// Any object defined in this library will do; dladdr maps its address to the file holding it.
const char kAnchor = 0;
}  // namespace

std::string ThisLibraryDirectory() {
  Dl_info info{};
  if (::dladdr(&kAnchor, &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string path = info.dli_fname;
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace Module::BMCConfig

#include "ModuleLocation.h"

namespace ModuleHost {

std::string DefaultModulePath(const std::string& executableDir, const std::string& fileName,
                              const std::function<bool(const std::string&)>& exists) {
  if (!executableDir.empty()) {
    for (const std::string& candidate :
         {executableDir + "/" + fileName, executableDir + "/../lib/" + fileName}) {
      if (exists(candidate)) return candidate;
    }
  }
  return fileName;
}

}  // namespace ModuleHost

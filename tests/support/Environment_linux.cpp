#include <cstdlib>

#include "Environment.h"

namespace TestSupport {

void SetEnvironment(const std::string& name, const std::string& value) {
  ::setenv(name.c_str(), value.c_str(), 1);
}

void UnsetEnvironment(const std::string& name) {
  ::unsetenv(name.c_str());
}

}  // namespace TestSupport

#include <cstdlib>

#include "Environment.h"

namespace TestSupport {

// _putenv_s updates the C runtime's copy and the process environment block together. An empty
// value removes the variable there, so an empty setting cannot be told from none (every reader
// in this project treats the two alike).
void SetEnvironment(const std::string& name, const std::string& value) {
  ::_putenv_s(name.c_str(), value.c_str());
}

void UnsetEnvironment(const std::string& name) {
  ::_putenv_s(name.c_str(), "");
}

}  // namespace TestSupport

#pragma once
#include <string>

namespace TestSupport {

// Sets (overwriting) or removes an environment variable of this process, in the copy the C
// runtime's getenv reads. One implementation per OS (Environment_<os>.cpp).
void SetEnvironment(const std::string& name, const std::string& value);
void UnsetEnvironment(const std::string& name);

}  // namespace TestSupport

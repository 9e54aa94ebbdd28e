#pragma once
#include <string>

namespace Module::BMCConfig {

// The directory this library was loaded from, or "" when it cannot be told.
std::string ThisLibraryDirectory();

}  // namespace Module::BMCConfig

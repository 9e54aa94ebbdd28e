#pragma once
// The module loads libraries through the framework's OS library.
#include "oslib/DynamicLibrary.h"

namespace Sys {
using Ordix::OS::DynamicLibrary;
}  // namespace Sys

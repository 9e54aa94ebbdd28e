#pragma once
// The process's own directories, environment and sleeps, from the framework's OS library.
#include "oslib/Process.h"

namespace Sys {
using Ordix::OS::ExecutableDirectory;
using Ordix::OS::SetEnvironmentVariable;
using Ordix::OS::SharedLibraryFileName;
using Ordix::OS::SleepMilliseconds;
}  // namespace Sys

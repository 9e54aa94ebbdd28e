#pragma once
// What a process asks of its OS about itself and its libraries.
#include <string>

#include "oslib_export.h"

namespace Ordix::OS {

// The directory of the running executable, or "" when it cannot be told.
OSLIB_EXPORT std::string ExecutableDirectory();

// Sets an environment variable for this process (and the libraries it loads afterwards).
OSLIB_EXPORT bool SetEnvironmentVariable(const std::string& name, const std::string& value);

// The file name a shared library has on this OS ("PlatformConfig" -> "libPlatformConfig.so").
OSLIB_EXPORT std::string SharedLibraryFileName(const std::string& base);

// Sleeps the calling thread.
OSLIB_EXPORT void SleepMilliseconds(unsigned milliseconds);

// The directory of the loaded library that holds address (any function or object of it), or
// "" when it cannot be told: how a library finds the files installed beside it.
OSLIB_EXPORT std::string LibraryDirectoryOf(const void* address);

}  // namespace Ordix::OS

#pragma once
#include <string>

namespace Sys {

// The directory of the running executable, or "" when it cannot be told.
std::string ExecutableDirectory();

// Sets an environment variable for this process (and the libraries it loads afterwards).
bool SetEnvironmentVariable(const std::string& name, const std::string& value);

// The file name a shared library has on this OS ("PlatformConfig" -> "libPlatformConfig.so").
std::string SharedLibraryFileName(const std::string& base);

// Sleeps the calling thread.
void SleepMilliseconds(unsigned milliseconds);

}  // namespace Sys

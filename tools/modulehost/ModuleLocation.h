#pragma once
#include <functional>
#include <string>

namespace ModuleHost {

// The module platformq loads when --module is not given: fileName beside the executable (a
// build tree, where every binary shares one directory), else in the lib directory beside its
// bin directory (an installation), else the bare file name, which leaves the choice to the
// dynamic loader's own search. exists tells whether a file is there.
std::string DefaultModulePath(const std::string& executableDir, const std::string& fileName,
                              const std::function<bool(const std::string&)>& exists);

}  // namespace ModuleHost

#pragma once
#include <ostream>
#include <string>

#include "ModuleBinding.h"
#include "QueryRouter.h"

namespace ModuleHost {

// The module a host loads when it is given none: the one built or installed beside the running
// executable (see DefaultModulePath), else the bare file name for the dynamic loader to find.
std::string InstalledModulePath();

// Makes the framework read its settings file from dir. The framework reads the location when the
// module first asks for a setting, so this has to happen before the module is loaded; an empty
// dir leaves the environment as it is. Throws std::runtime_error when it cannot be set.
void UseConfigDir(const std::string& dir);

// Says on err, as program, when the settings file is there but cannot be read: every setting
// would otherwise silently have its default. Call it after UseConfigDir.
void WarnOfUnreadableSettings(const char* program, std::ostream& err);

// Routes queries between the modules as the framework does: "Platform" to module, "SMBIOS" and
// "BIOS" to the BIOS configuration module, "BMC" to the BMC configuration module (each made for
// the one query, as the framework makes them). module must outlive router.
void AddFrameworkRoutes(QueryRouter& router, ModuleBinding& module);

}  // namespace ModuleHost

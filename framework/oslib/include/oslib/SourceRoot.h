#pragma once
// Where the readers of /proc and /sys look: "" for the live machine, or the directory of a
// recorded copy (tests, a machine's tree captured elsewhere). One root for every reader in the
// process, the module's and the framework's alike.
#include <string>

#include "oslib_export.h"

namespace Ordix::OS {

// Sets the root for this process; "" goes back to the environment's (ORDIX_SYS_ROOT) or, without
// one, the live machine.
OSLIB_EXPORT void SetSourceRoot(const std::string& root);

// The root readers prefix to a live path: the one set, else ORDIX_SYS_ROOT, else "". A copy, so
// a reader can hold it for a whole reading while another thread changes the root.
OSLIB_EXPORT std::string SourceRoot();

}  // namespace Ordix::OS

#pragma once
// Opening a LAN session against BMCs that need one of FreeIPMI's workarounds. When Workarounds
// is set, exactly its flags are used. Otherwise the flags that opened this BMC's last session
// come first, then none, then the workarounds FreeIPMI documents for each failure met on the
// way. The opening itself is the caller's, so the choice is tested without a BMC.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "bmc_settings.h"

namespace Ordix::Imb {

struct OpenAttempt {
  bool opened = false;
  int errnum = 0;       // FreeIPMI's error number when not opened
  std::string message;  // FreeIPMI's words for it
};

struct Trial {
  unsigned flags = 0;
  OpenAttempt attempt;
};

struct OpenOutcome {
  std::optional<unsigned> flags;  // the workaround flags of the session that opened
  std::vector<Trial> trials;      // every attempt, in order
};

// Opens by calling tryOpen with workaround flags until one opens, the failures suggest nothing
// more, or mayTryAgain() says there is no time left for another attempt. learned: the flags
// that opened this BMC's last session, if any.
OpenOutcome OpenWithWorkarounds(const BmcSettings& settings, std::optional<unsigned> learned,
                                const std::function<bool()>& mayTryAgain,
                                const std::function<OpenAttempt(unsigned flags)>& tryOpen);

// Why no session opened, for the error's detail. The failure of the attempt that got furthest
// leads: a workaround that changed the failure got past the first one. The other attempts
// follow with their workaround's name.
std::string DescribeOpenFailure(const BmcSettings& settings, unsigned waitMs,
                                const std::vector<Trial>& trials);

}  // namespace Ordix::Imb

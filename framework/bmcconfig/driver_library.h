#pragma once
// The management-bus driver library, loaded at run time by name and kept for the process.

#include <string>
#include <vector>

#include "imb.h"
#include "ipmi_messages.h"
#include "sys/DynamicLibrary.h"

namespace Module::BMCConfig {

class DriverLibrary {
 public:
  // Loads the first of candidates (file names or paths) that the loader can load. Throws
  // ResultStatus (2041) when none loads, with every candidate and the loader's reason for it,
  // or when the one that loads lacks the request function.
  static DriverLibrary Load(const std::vector<std::string>& candidates);

  // Sends the request to the controller, within the current query's time for the BMC
  // (BmcBudget). A completion code is the caller's to judge; a request the driver could not
  // complete throws ResultStatus (2040, with the driver's reason when it gives one), one the
  // query no longer allows is not sent (2046), and a reply length outside what the driver may
  // write throws 2043.
  IpmiReply Exchange(const IpmiRequest& request) const;

 private:
  DriverLibrary(Sys::DynamicLibrary library, SendTimedImbpRequestFn send,
                GetImbpLastErrorFn lastError);
  std::string LastError() const;

  Sys::DynamicLibrary library_;
  SendTimedImbpRequestFn send_ = nullptr;
  GetImbpLastErrorFn lastError_ = nullptr;  // optional: not every driver says why
};

// The process's driver, libquarnapi.so, where the loader looks for that name (LD_LIBRARY_PATH
// first, then this library's run path) or else beside this library: a loader that cannot tell
// which library asked (one wrapped by a sanitizer, say) skips the run path's $ORIGIN. It is
// loaded on first use and never unloaded while the process runs, so that its session outlives
// any one query. A failed load is not kept: the next query tries again.
const DriverLibrary& ProcessDriver();

}  // namespace Module::BMCConfig

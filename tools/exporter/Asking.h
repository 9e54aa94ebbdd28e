#pragma once
// How the collector asks the module and the framework's modules: every failure counted once.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "FailureCount.h"
#include "ModuleBinding.h"
#include "XNode.h"

namespace Exporter {

// What the collector asks of its host.
struct ModuleAccess {
  // Adds the answer to query to result, from the module or the framework module that answers
  // its first step; throws ResultStatus as they do.
  std::function<void(const std::string& query, ResultMap& result)> query;
  // The platform the module identified, nothing while it has not.
  std::function<std::optional<ModuleHost::PlatformIdentity>()> identity;
};

struct Asked {
  ResultMap answer;
  bool failed = false;  // the query raised an error instead of answering
  uint16_t code = 0;    // the ResultStatus code it raised, 0 for any other exception
};

// Runs one query. A ResultStatus it raises is counted as a failed reading unless a log record
// of the same code was counted meanwhile (the module logs its errors before it throws them).
Asked Ask(const ModuleAccess& access, FailureCounter& failures, const std::string& query);

}  // namespace Exporter

#include "Asking.h"

#include <exception>
#include <map>

#include "ResultStatus.h"

namespace Exporter {

namespace {

uint64_t CountOf(const std::map<uint16_t, uint64_t>& counts, uint16_t code) {
  const auto found = counts.find(code);
  return found == counts.end() ? 0 : found->second;
}

}  // namespace

Asked Ask(const ModuleAccess& access, FailureCounter& failures, const std::string& query) {
  Asked asked;
  const std::map<uint16_t, uint64_t> before = failures.Counts();
  try {
    access.query(query, asked.answer);
  } catch (const ResultStatus& status) {
    asked.failed = true;
    asked.code = status.GetCode();
    if (CountOf(failures.Counts(), asked.code) == CountOf(before, asked.code)) {
      failures.Count(asked.code);
    }
  } catch (...) {
    // Nothing the module or the framework should raise; the reading failed all the same.
    asked.failed = true;
  }
  return asked;
}

}  // namespace Exporter

#pragma once
#include <iosfwd>

class ResultStatus;

namespace Platformq {

// Writes a raised status as "error CODE: message", followed by " (detail)" when the status
// carries one.
void ReportStatus(const ResultStatus& status, std::ostream& err);

}  // namespace Platformq

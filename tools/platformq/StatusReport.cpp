#include "StatusReport.h"

#include <ostream>

#include "ResultStatus.h"

namespace Platformq {

void ReportStatus(const ResultStatus& status, std::ostream& err) {
  err << "error " << status.GetCode() << ": " << status.GetMessage();
  if (!status.GetDetail().empty()) err << " (" << status.GetDetail() << ")";
  err << '\n';
}

}  // namespace Platformq

#include "Rounds.h"

#include <exception>
#include <ostream>

#include "Answered.h"
#include "ExitStatus.h"
#include "JsonPrinter.h"
#include "ResultStatus.h"
#include "StatusReport.h"
#include "TreePrinter.h"

namespace Platformq {

namespace {

constexpr const char* kProgram = "platformq";

int RunQuery(const std::string& query, const ModuleHost::QueryRouter& router, ResultMap& result,
             std::ostream& err) {
  try {
    if (!router.Route(query, result)) {
      err << kProgram << ": no module answers \"" << query << "\"\n";
      return kExitUnanswered;
    }
    if (!IsAnswered(query, result)) {
      err << kProgram << ": no answer to \"" << query << "\"\n";
      return kExitUnanswered;
    }
    return kExitAnswered;
  } catch (const ResultStatus& status) {
    ReportStatus(status, err);
  } catch (const std::exception& e) {
    err << "error: " << e.what() << '\n';
  } catch (...) {
    err << "error: an exception of unknown type was raised\n";
  }
  return kExitRaised;
}

void PrintRound(const ResultMap& result, const Options& options, unsigned round,
                std::ostream& out) {
  const bool several = options.repeat > 1;
  if (options.format == OutputFormat::Json) {
    // One compact object per line lets a consumer of a repeated run read round by round.
    out << FormatJson(result, several ? JsonLayout::Compact : JsonLayout::Pretty) << '\n';
  } else {
    if (several) out << "# round " << round << " of " << options.repeat << '\n';
    out << FormatTree(result);
  }
  out.flush();
}

}  // namespace

int RunRound(const std::vector<std::string>& queries, const ModuleHost::QueryRouter& router,
             ResultMap& result, std::ostream& err) {
  int status = kExitAnswered;
  for (const std::string& query : queries) {
    status = Worse(status, RunQuery(query, router, result, err));
  }
  return status;
}

int RunRounds(const Options& options, const ModuleHost::QueryRouter& router, std::ostream& out,
              std::ostream& err, const std::function<void(unsigned)>& sleep) {
  int status = kExitAnswered;
  for (unsigned round = 1; round <= options.repeat; ++round) {
    if (round > 1) sleep(options.intervalMs);
    ResultMap result;
    status = Worse(status, RunRound(options.queries, router, result, err));
    PrintRound(result, options, round, out);
  }
  return status;
}

}  // namespace Platformq

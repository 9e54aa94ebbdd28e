#pragma once
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "Options.h"
#include "QueryRouter.h"
#include "XNode.h"

namespace Platformq {

// Runs every query, in order, into result. A query that no module takes, that is left without
// an answer, or that raises an error is reported on err; the rest still run. Returns the
// round's exit status.
int RunRound(const std::vector<std::string>& queries, const ModuleHost::QueryRouter& router,
             ResultMap& result, std::ostream& err);

// Runs options.repeat rounds, each into a fresh map, printing each round's answers in the
// chosen format and waiting options.intervalMs (through sleep) between rounds. Returns the
// worst status of all rounds.
int RunRounds(const Options& options, const ModuleHost::QueryRouter& router, std::ostream& out,
              std::ostream& err, const std::function<void(unsigned)>& sleep);

}  // namespace Platformq

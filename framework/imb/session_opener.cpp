#include "session_opener.h"

#include <algorithm>

#include "session_failure.h"

namespace Ordix::Imb {

namespace {

bool Tried(const std::vector<Trial>& trials, unsigned flags) {
  return std::any_of(trials.begin(), trials.end(),
                     [flags](const Trial& t) { return t.flags == flags; });
}

std::string FlagsName(const BmcSettings& s, unsigned flags) {
  return flags == 0 ? std::string("none") : WorkaroundNames(s.interface, flags);
}

}  // namespace

OpenOutcome OpenWithWorkarounds(const BmcSettings& settings, std::optional<unsigned> learned,
                                const std::function<bool()>& mayTryAgain,
                                const std::function<OpenAttempt(unsigned flags)>& tryOpen) {
  std::vector<unsigned> queue;
  if (settings.workaroundsForced) {
    queue.push_back(settings.workaroundFlags);
  } else {
    if (learned) queue.push_back(*learned);
    queue.push_back(0);
  }
  OpenOutcome outcome;
  for (size_t next = 0; next < queue.size(); ++next) {
    const unsigned flags = queue[next];
    if (Tried(outcome.trials, flags)) continue;
    if (!outcome.trials.empty() && !mayTryAgain()) break;
    outcome.trials.push_back({flags, tryOpen(flags)});
    const OpenAttempt& attempt = outcome.trials.back().attempt;
    if (attempt.opened) {
      outcome.flags = flags;
      break;
    }
    if (settings.workaroundsForced) break;
    for (unsigned candidate : WorkaroundCandidates(settings, attempt.errnum)) {
      if (std::find(queue.begin(), queue.end(), candidate) == queue.end()) {
        queue.push_back(candidate);
      }
    }
  }
  return outcome;
}

std::string DescribeOpenFailure(const BmcSettings& settings, unsigned waitMs,
                                const std::vector<Trial>& trials) {
  if (trials.empty()) return "no attempt to open a session was made";
  const Trial* lead = &trials.front();
  for (const Trial& trial : trials) {
    if (trial.attempt.errnum != trials.front().attempt.errnum) {
      lead = &trial;
      break;
    }
  }
  std::string text = DescribeFailure(PhaseOf(lead->attempt.errnum, /*opening=*/true), settings,
                                     waitMs, lead->attempt.message);
  if (lead->flags != 0) text += " with [BMC] Workarounds = " + FlagsName(settings, lead->flags);
  std::string others;
  for (const Trial& trial : trials) {
    if (&trial == lead) continue;
    others += (others.empty() ? "" : ", ") + FlagsName(settings, trial.flags) + " (" +
              trial.attempt.message + ")";
  }
  if (!others.empty()) text += "; also tried [BMC] Workarounds = " + others;
  return text;
}

}  // namespace Ordix::Imb

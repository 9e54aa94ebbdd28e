#include "session_timing.h"

#include <algorithm>

namespace Ordix::Imb {

namespace {

constexpr unsigned kRetransmissionShare = 10;  // of TimeoutMs
constexpr unsigned kMinRetransmissionMs = 10;
constexpr unsigned kMaxRetransmissionMs = 1000;  // FreeIPMI's default
// FreeIPMI lengthens the wait by one retransmission timeout every this many retransmissions.
constexpr unsigned kWaitsPerStep = 2;
constexpr unsigned kLeastWaits = 2;
constexpr unsigned kLeastRetransmissionMs = 2;
// The session timeout sits this share of a retransmission timeout below the silence wanted:
// well clear of timer jitter, and still past the end of the wait before.
constexpr unsigned kMarginShare = 4;

}  // namespace

unsigned RetransmissionMs(unsigned timeoutMs) {
  return std::clamp(timeoutMs / kRetransmissionShare, kMinRetransmissionMs, kMaxRetransmissionMs);
}

unsigned SilenceWithin(unsigned boundMs, unsigned retransmissionMs) {
  const unsigned r = std::max(retransmissionMs, 1U);
  unsigned total = 0;
  for (unsigned waits = 0;; ++waits) {
    const unsigned next = total + r * (waits / kWaitsPerStep + 1);
    if (waits >= kLeastWaits && next > boundMs) return total;
    total = next;
  }
}

SessionTimeouts TimeoutsFor(unsigned timeoutMs, unsigned boundMs) {
  const unsigned half = boundMs / 2;
  // Two waits must fit in half the bound; the usual retransmission timeout shrinks if not (but
  // stays long enough for a session timeout between it and the silence).
  const unsigned r =
      std::max(std::min(RetransmissionMs(timeoutMs), half / kLeastWaits), kLeastRetransmissionMs);
  const unsigned silence = SilenceWithin(half, r);
  return {silence, silence - std::max(r / kMarginShare, 1U), r};
}

bool SessionFits(const SessionTimeouts& kept, unsigned timeoutMs, unsigned boundMs) {
  return kept.silenceMs <= boundMs &&
         2 * kept.silenceMs >= TimeoutsFor(timeoutMs, boundMs).silenceMs;
}

}  // namespace Ordix::Imb

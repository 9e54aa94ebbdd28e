#pragma once
// How long FreeIPMI's LAN sessions wait, and how those waits are fitted to a bound. Pure.
//
// A LAN request (or a session's opening exchange) that gets no reply is sent again after the
// retransmission timeout R, the wait growing by R every second time: R, R, 2R, 2R, 3R, 3R, ...
// FreeIPMI gives up at the end of the first wait that takes the silence past the session
// timeout. So the silence actually waited is always one of those running sums: the session
// timeout is set a little below the sum wanted, since one set exactly to it may or may not be
// passed when that wait ends, by a fraction of a millisecond either way, and then costs one
// more wait.

namespace Ordix::Imb {

struct SessionTimeouts {
  unsigned silenceMs = 0;  // how long a session waits for a reply before it gives up
  unsigned sessionMs = 0;  // FreeIPMI's session timeout that makes it wait so long
  unsigned retransmissionMs = 0;
  bool operator==(const SessionTimeouts& o) const {
    return silenceMs == o.silenceMs && sessionMs == o.sessionMs &&
           retransmissionMs == o.retransmissionMs;
  }
  bool operator!=(const SessionTimeouts& o) const { return !(*this == o); }
};

// The retransmission timeout for the [BMC] TimeoutMs setting: a tenth of it, from 10 ms up to
// FreeIPMI's own default of 1000 ms. Within an open session FreeIPMI resends sooner, after an
// eighth of it at the earliest (measured), so a lost datagram costs a request that much or more.
unsigned RetransmissionMs(unsigned timeoutMs);

// The longest silence, at most boundMs, that FreeIPMI keeps exactly with retransmission timeout
// retransmissionMs: the largest running sum of its waits that fits (never below two waits, the
// least FreeIPMI accepts).
unsigned SilenceWithin(unsigned boundMs, unsigned retransmissionMs);

// What a session is opened with when one call may wait boundMs in all: its silence fits in half
// the bound, so that a kept session found dead can be replaced by a fresh one within the same
// call. A bound too short for two waits of the usual retransmission timeout shortens that too.
SessionTimeouts TimeoutsFor(unsigned timeoutMs, unsigned boundMs);

// Whether a session opened with `kept` still serves a call bounded by boundMs: its wait must fit
// the bound, and must not have been cut (near the end of some earlier budget) to much less than
// the bound now wants. Replacing a session costs round trips, so small differences keep it.
bool SessionFits(const SessionTimeouts& kept, unsigned timeoutMs, unsigned boundMs);

}  // namespace Ordix::Imb

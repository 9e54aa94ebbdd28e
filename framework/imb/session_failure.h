#pragma once
// What a FreeIPMI failure means to the person who set up the [BMC] settings: which step of
// reaching the BMC failed, the setting that might fix it, and which FreeIPMI workarounds are
// worth trying when a session cannot be opened. Pure: FreeIPMI's error numbers in, text out.

#include <string>
#include <vector>

#include "bmc_settings.h"

namespace Ordix::Imb {

enum class Phase {
  kNoReply,             // nothing came back: wrong address or port, BMC down, link dead
  kHostUnknown,         // the host name does not resolve
  kUsername,            // the BMC does not know the user
  kAuthentication,      // the password (or K_g) does not match
  kVerificationSilent,  // no reply to the password check: wrong password, or a quirk
  kPrivilege,           // the session cannot have the privilege asked for
  kAuthenticationType,  // IPMI 1.5: the authentication type is not offered
  kCipherSuite,         // RMCP+: the cipher suite is not offered
  kRmcpPlusStatus,      // RMCP+: the session was refused with a status FreeIPMI has no name for
  kNoIpmi20,            // RMCP+ is not offered at all
  kBusy,                // the BMC has no room for another session
  kDevice,              // the in-band device is missing or does not work
  kSessionDropped,      // an open session stopped answering
  kOther,
};

// The phase of a failure to open a session (opening) or of a request in an open one.
Phase PhaseOf(int freeipmiErrnum, bool opening);

// One failure, described for the error's detail: the phase, where, and what to set, e.g.
// "no reply from 127.0.0.1:623 within 900 ms: is [BMC] Host/Port right, is the BMC up?".
// waitMs is the silence the session allowed; freeipmiMessage is FreeIPMI's own words, kept in
// brackets after the rest.
std::string DescribeFailure(Phase phase, const BmcSettings& settings, unsigned waitMs,
                            const std::string& freeipmiMessage);

// The workarounds FreeIPMI documents for this failure to open a session, in the order worth
// trying, each one alone. None for failures that come from silence: trying more would only
// multiply the wait for a BMC that is most likely down.
std::vector<unsigned> WorkaroundCandidates(const BmcSettings& settings, int freeipmiErrnum);

}  // namespace Ordix::Imb

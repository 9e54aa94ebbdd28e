#include "session_failure.h"

#include <freeipmi/api/ipmi-api.h>

namespace Ordix::Imb {

namespace {

constexpr unsigned kLan20IntegrityCipherSuite = 0;  // the one suite with an empty check value

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string SessionKind(const BmcSettings& s) {
  return s.interface == Interface::kLanPlus ? "RMCP+ session" : "session";
}

std::string WorkaroundHint(const BmcSettings& s) {
  return s.interface == Interface::kLan ? "nochecksumcheck, noauthcodecheck" : "nochecksumcheck";
}

}  // namespace

Phase PhaseOf(int errnum, bool opening) {
  switch (errnum) {
    case IPMI_ERR_CONNECTION_TIMEOUT:
      return Phase::kNoReply;
    case IPMI_ERR_SESSION_TIMEOUT:
      return opening ? Phase::kNoReply : Phase::kSessionDropped;
    case IPMI_ERR_HOSTNAME_INVALID:
      return Phase::kHostUnknown;
    case IPMI_ERR_USERNAME_INVALID:
      return Phase::kUsername;
    case IPMI_ERR_PASSWORD_INVALID:
    case IPMI_ERR_K_G_INVALID:
      return Phase::kAuthentication;
    case IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT:
      return Phase::kVerificationSilent;
    case IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT:
    case IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED:
      return Phase::kPrivilege;
    case IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE:
      return Phase::kAuthenticationType;
    case IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE:
      return Phase::kCipherSuite;
    case IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE:
      return Phase::kRmcpPlusStatus;
    case IPMI_ERR_IPMI_2_0_UNAVAILABLE:
      return Phase::kNoIpmi20;
    case IPMI_ERR_BMC_BUSY:
      return opening ? Phase::kBusy : Phase::kOther;
    case IPMI_ERR_DEVICE_NOT_FOUND:
    case IPMI_ERR_DEVICE_NOT_SUPPORTED:
    case IPMI_ERR_DEVICE_NOT_OPEN:
    case IPMI_ERR_PERMISSION:
    case IPMI_ERR_DRIVER_TIMEOUT:
      return Phase::kDevice;
    default:
      return Phase::kOther;
  }
}

std::string DescribeFailure(Phase phase, const BmcSettings& s, unsigned waitMs,
                            const std::string& freeipmiMessage) {
  const std::string wait = std::to_string(waitMs) + " ms";
  const std::string privilege = PrivilegeName(s.privilegeLevel);
  std::string text;
  switch (phase) {
    case Phase::kNoReply:
      text = "no reply from " + s.host + " within " + wait +
             ": is [BMC] Host/Port right, is the BMC up?";
      break;
    case Phase::kHostUnknown:
      text = "host " + Quoted(s.host) + " cannot be resolved: [BMC] Host";
      break;
    case Phase::kUsername:
      text =
          "authentication refused: the BMC does not know user " + Quoted(s.user) + ": [BMC] User";
      break;
    case Phase::kAuthentication:
      text = "authentication refused for user " + Quoted(s.user) + ": [BMC] User/Password";
      break;
    case Phase::kVerificationSilent:
      text = "no reply to the password check within " + wait +
             ": [BMC] User/Password, or a BMC that needs [BMC] Workarounds (" + WorkaroundHint(s) +
             ")";
      break;
    case Phase::kPrivilege:
      text = SessionKind(s) + " refused at privilege " + privilege + " for user " + Quoted(s.user) +
             ": [BMC] Privilege";
      break;
    case Phase::kAuthenticationType:
      text = "authentication type " + AuthenticationTypeName(s.authenticationType) +
             " refused at privilege " + privilege + ": [BMC] AuthType";
      break;
    case Phase::kCipherSuite:
      text =
          "cipher suite " + std::to_string(unsigned{s.cipherSuite}) + " refused: [BMC] CipherSuite";
      break;
    case Phase::kRmcpPlusStatus:
      text = "RMCP+ session refused: [BMC] CipherSuite, or [BMC] Workarounds";
      break;
    case Phase::kNoIpmi20:
      text = "the BMC does not offer IPMI 2.0 (RMCP+): [BMC] Interface = lan";
      break;
    case Phase::kBusy:
      text = "the BMC is busy (all its sessions in use?): try again later";
      break;
    case Phase::kDevice:
      text = "in-band device " + s.device +
             " does not work: [BMC] Device, or [BMC] Interface = lan/lanplus with Host";
      break;
    case Phase::kSessionDropped:
      text = "session dropped: no reply from " + s.host + " within " + wait +
             ": is the BMC up? (a slow BMC: raise [BMC] TimeoutMs)";
      break;
    case Phase::kOther:
      text = s.interface == Interface::kInband ? "in-band device " + s.device + " failed"
                                               : "the BMC at " + s.host + " failed";
      break;
  }
  return text + " (FreeIPMI: " + freeipmiMessage + ")";
}

std::vector<unsigned> WorkaroundCandidates(const BmcSettings& s, int errnum) {
  if (s.interface == Interface::kLan) {
    switch (errnum) {
      case IPMI_ERR_USERNAME_INVALID:
      case IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE:
      case IPMI_ERR_K_G_INVALID:
        return {IPMI_WORKAROUND_FLAGS_OUTOFBAND_AUTHENTICATION_CAPABILITIES};
      default:
        return {};
    }
  }
  if (s.interface != Interface::kLanPlus) return {};
  constexpr unsigned kAuthcap = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES;
  constexpr unsigned kIntel = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION;
  constexpr unsigned kSupermicro = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION;
  constexpr unsigned kSun = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION;
  constexpr unsigned kOpenSessionPrivilege =
      IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE;
  constexpr unsigned kIntegrity =
      IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE;
  switch (errnum) {
    // A BMC that hashes the keys with the Open Session privilege refuses the role it is asked
    // for, or the keys that follow from it.
    case IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED:
    case IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT:
      return {kOpenSessionPrivilege};
    case IPMI_ERR_PASSWORD_INVALID:
      return {kOpenSessionPrivilege, kIntel, kSupermicro, kSun};
    case IPMI_ERR_K_G_INVALID:
      if (s.cipherSuite == kLan20IntegrityCipherSuite) {
        return {kIntegrity, kOpenSessionPrivilege, kIntel, kAuthcap};
      }
      return {kOpenSessionPrivilege, kIntel, kAuthcap};
    case IPMI_ERR_USERNAME_INVALID:
      return {kAuthcap, kIntel};
    case IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE:
      return {kAuthcap};
    case IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE:
      return {kOpenSessionPrivilege, kSun};
    default:
      return {};
  }
}

}  // namespace Ordix::Imb

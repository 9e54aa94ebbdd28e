#include "freeipmi_session.h"

#include <freeipmi/api/ipmi-api.h>

#include <utility>

namespace Ordix::Imb {

namespace {

// Failures that concern one request only; the session itself still works.
bool SessionSurvives(int errnum) {
  switch (errnum) {
    case IPMI_ERR_MESSAGE_TIMEOUT:  // a bridged target did not answer
    case IPMI_ERR_COMMAND_INVALID_OR_UNSUPPORTED:
    case IPMI_ERR_COMMAND_INVALID_FOR_SELECTED_INTERFACE:
    case IPMI_ERR_BAD_COMPLETION_CODE:
    case IPMI_ERR_BMC_BUSY:
    case IPMI_ERR_PARAMETERS:
      return true;
    default:
      return false;
  }
}

std::string Describe(ipmi_ctx_t context) {
  const char* message = ::ipmi_ctx_errormsg(context);
  return message != nullptr ? message : "unknown FreeIPMI error";
}

int OpenContext(ipmi_ctx_t context, const BmcSettings& s, unsigned flags,
                SessionTimeouts timeouts) {
  switch (s.interface) {
    case Interface::kInband:
      // Only the named device: probing other drivers could touch I/O ports, and an absent
      // device must fail at once.
      return ::ipmi_ctx_open_inband(context, IPMI_DEVICE_OPENIPMI, 1, 0, 0, s.device.c_str(),
                                    IPMI_WORKAROUND_FLAGS_DEFAULT, IPMI_FLAGS_DEFAULT);
    case Interface::kLan:
      return ::ipmi_ctx_open_outofband(context, s.host.c_str(), s.user.c_str(), s.password.c_str(),
                                       s.authenticationType, s.privilegeLevel, timeouts.sessionMs,
                                       timeouts.retransmissionMs, flags, IPMI_FLAGS_DEFAULT);
    case Interface::kLanPlus:
      return ::ipmi_ctx_open_outofband_2_0(
          context, s.host.c_str(), s.user.c_str(), s.password.c_str(), nullptr, 0, s.privilegeLevel,
          s.cipherSuite, timeouts.sessionMs, timeouts.retransmissionMs, flags, IPMI_FLAGS_DEFAULT);
  }
  return -1;
}

}  // namespace

std::optional<FreeIpmiSession> FreeIpmiSession::Open(const BmcSettings& settings,
                                                     unsigned workaroundFlags,
                                                     SessionTimeouts timeouts,
                                                     OpenAttempt& failure) {
  ipmi_ctx_t context = ::ipmi_ctx_create();
  if (context == nullptr) {
    failure = {false, IPMI_ERR_OUT_OF_MEMORY, "cannot create a FreeIPMI context"};
    return std::nullopt;
  }
  if (settings.interface == Interface::kInband) timeouts = {};
  FreeIpmiSession session(context, timeouts);  // destroys the context on every early return
  if (OpenContext(context, settings, workaroundFlags, timeouts) < 0) {
    failure = {false, ::ipmi_ctx_errnum(context), Describe(context)};
    return std::nullopt;
  }
  return session;
}

FreeIpmiSession::~FreeIpmiSession() {
  Release();
}

FreeIpmiSession::FreeIpmiSession(FreeIpmiSession&& other) noexcept
    : context_(std::exchange(other.context_, nullptr)), timeouts_(other.timeouts_) {}

FreeIpmiSession& FreeIpmiSession::operator=(FreeIpmiSession&& other) noexcept {
  if (this != &other) {
    Release();
    context_ = std::exchange(other.context_, nullptr);
    timeouts_ = other.timeouts_;
  }
  return *this;
}

void FreeIpmiSession::Release() {
  if (context_ == nullptr) return;
  // Closing a context that never opened only reports an error; a LAN session is ended
  // politely so the controller's session slot is freed.
  ::ipmi_ctx_close(context_);
  ::ipmi_ctx_destroy(std::exchange(context_, nullptr));
}

FreeIpmiSession::Answer FreeIpmiSession::Send(const RawRequest& request, uint8_t* buffer,
                                              size_t capacity) {
  const std::vector<uint8_t> message = request.Message();
  const auto messageLength = static_cast<unsigned>(message.size());
  const auto bufferLength = static_cast<unsigned>(capacity);
  const int length =
      request.Bridged()
          ? ::ipmi_cmd_raw_ipmb(context_, request.channel, request.slaveAddress, request.lun,
                                request.netFn, message.data(), messageLength, buffer, bufferLength)
          : ::ipmi_cmd_raw(context_, request.lun, request.netFn, message.data(), messageLength,
                           buffer, bufferLength);
  Answer answer;
  if (length >= 0) {
    answer.length = length;
    return answer;
  }
  answer.errnum = ::ipmi_ctx_errnum(context_);
  answer.sessionLost = !SessionSurvives(answer.errnum);
  answer.error = Describe(context_);
  return answer;
}

}  // namespace Ordix::Imb

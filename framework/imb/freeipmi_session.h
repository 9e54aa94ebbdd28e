#pragma once
// One open FreeIPMI context: an in-band device or a LAN session. Move-only; closing and
// destroying the context happen when the object goes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "bmc_settings.h"
#include "imb_request.h"
#include "session_opener.h"
#include "session_timing.h"

struct ipmi_ctx;

namespace Ordix::Imb {

class FreeIpmiSession {
 public:
  // Opens what the settings name with these workaround flags (the settings' own are ignored)
  // and, for a LAN session, these waits. On failure the result is empty and failure says why.
  static std::optional<FreeIpmiSession> Open(const BmcSettings& settings, unsigned workaroundFlags,
                                             SessionTimeouts timeouts, OpenAttempt& failure);

  ~FreeIpmiSession();
  FreeIpmiSession(FreeIpmiSession&& other) noexcept;
  FreeIpmiSession& operator=(FreeIpmiSession&& other) noexcept;
  FreeIpmiSession(const FreeIpmiSession&) = delete;
  FreeIpmiSession& operator=(const FreeIpmiSession&) = delete;

  struct Answer {
    int length = -1;           // bytes written to the buffer (command, completion code, data)
    bool sessionLost = false;  // the failure leaves the session unusable
    int errnum = 0;            // FreeIPMI's error number on failure
    std::string error;
  };

  // Sends one request, bridged when it is addressed past the controller.
  Answer Send(const RawRequest& request, uint8_t* buffer, size_t capacity);

  // The waits the session was opened with (none for an in-band device).
  SessionTimeouts Timeouts() const { return timeouts_; }

 private:
  FreeIpmiSession(ipmi_ctx* context, SessionTimeouts timeouts)
      : context_(context), timeouts_(timeouts) {}
  void Release();

  ipmi_ctx* context_ = nullptr;
  SessionTimeouts timeouts_;
};

}  // namespace Ordix::Imb

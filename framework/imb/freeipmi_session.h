#pragma once
// One open FreeIPMI context: an in-band device or a LAN session. Move-only; closing and
// destroying the context happen when the object goes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "bmc_settings.h"
#include "imb_request.h"

struct ipmi_ctx;

namespace Ordix::Imb {

class FreeIpmiSession {
 public:
  // Opens what the settings name, waiting at most about settings.timeoutMs for a LAN
  // controller. On failure the result is empty and error says why.
  static std::optional<FreeIpmiSession> Open(const BmcSettings& settings, std::string& error);

  ~FreeIpmiSession();
  FreeIpmiSession(FreeIpmiSession&& other) noexcept;
  FreeIpmiSession& operator=(FreeIpmiSession&& other) noexcept;
  FreeIpmiSession(const FreeIpmiSession&) = delete;
  FreeIpmiSession& operator=(const FreeIpmiSession&) = delete;

  struct Answer {
    int length = -1;           // bytes written to the buffer (command, completion code, data)
    bool sessionLost = false;  // the failure leaves the session unusable
    std::string error;
  };

  // Sends one request, bridged when it is addressed past the controller.
  Answer Send(const RawRequest& request, uint8_t* buffer, size_t capacity);

 private:
  explicit FreeIpmiSession(ipmi_ctx* context) : context_(context) {}
  void Release();

  ipmi_ctx* context_ = nullptr;
};

}  // namespace Ordix::Imb

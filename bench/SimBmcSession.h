#pragma once
// What the BMC benchmarks share: the simulated server's settings from the environment (sim/run
// exports them) and an open RMCP+ session with its BMC, the raw reference they measure against.

#include <freeipmi/freeipmi.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace Bench {

inline std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// An open session, closed when it goes; the same cipher suite and workaround as the driver.
class SimBmcSession {
 public:
  SimBmcSession() : ctx_(ipmi_ctx_create()) {
    constexpr unsigned kTimeoutMs = 2000, kRetransmitMs = 500, kCipherSuite = 3;
    const std::string host = "127.0.0.1:" + Env("ORDIX_SIM_BMC_PORT");
    open_ = ctx_ != nullptr &&
            ipmi_ctx_open_outofband_2_0(ctx_, host.c_str(), Env("ORDIX_SIM_BMC_USER").c_str(),
                                        Env("ORDIX_SIM_BMC_PASSWORD").c_str(), nullptr, 0,
                                        IPMI_PRIVILEGE_LEVEL_ADMIN, kCipherSuite, kTimeoutMs,
                                        kRetransmitMs,
                                        IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE,
                                        IPMI_FLAGS_DEFAULT) == 0;
  }
  ~SimBmcSession() {
    if (open_) ipmi_ctx_close(ctx_);
    if (ctx_ != nullptr) ipmi_ctx_destroy(ctx_);
  }
  SimBmcSession(const SimBmcSession&) = delete;
  SimBmcSession& operator=(const SimBmcSession&) = delete;

  bool open() const { return open_; }
  const char* error() const {
    if (!open_) return "no session with the simulated BMC (run through sim/run)";
    return ctx_ != nullptr ? ipmi_ctx_errormsg(ctx_) : "no memory";
  }
  // Reply length (the command, the completion code, then the data), or -1.
  int Raw(uint8_t netfn, const uint8_t* request, unsigned length, uint8_t* reply, unsigned room) {
    return ipmi_cmd_raw(ctx_, 0, netfn, request, length, reply, room);
  }

 private:
  ipmi_ctx_t ctx_;
  bool open_ = false;
};

}  // namespace Bench

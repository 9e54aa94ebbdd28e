#pragma once
// Answers requests from a script as a controller would. Pure: requests in, replies out.

#include <cstdint>
#include <vector>

#include "sim_script.h"

namespace Ordix::Imb::Sim {

class Responder {
 public:
  explicit Responder(Script script);

  struct Outcome {
    int status;  // IMB_STATUS_SUCCESS, or IMB_STATUS_SEND_FAILED for a scripted failure
    Reply reply;
  };

  // The script's raw replies come first; then the commands known by name; anything else is an
  // invalid command (C1h). A sensor or SEL record the script lacks is "not present" (CBh), as
  // a controller answers for it.
  Outcome Answer(uint8_t netFn, uint8_t command, const std::vector<uint8_t>& data);

 private:
  Reply SensorReply(const std::map<uint8_t, Reply>& replies,
                    const std::vector<uint8_t>& data) const;
  Reply SelEntry(const std::vector<uint8_t>& data) const;

  Script script_;
  unsigned failuresLeft_;
};

}  // namespace Ordix::Imb::Sim

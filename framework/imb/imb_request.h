#pragma once
// Marshalling between the C interface and raw IPMI messages, shared by the FreeIPMI library
// and the scripted double. Pure: checked on byte vectors, no device involved.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "imb.h"

namespace Ordix::Imb {

// A request as FreeIPMI's raw calls take it.
struct RawRequest {
  uint8_t netFn = 0;
  uint8_t lun = 0;
  uint8_t command = 0;
  uint8_t slaveAddress = IMB_BMC_SLAVE_ADDRESS;
  uint8_t channel = 0;
  std::vector<uint8_t> data;
  // The command byte followed by the data: the request buffer of ipmi_cmd_raw.
  std::vector<uint8_t> Message() const;
  bool Bridged() const { return slaveAddress != IMB_BMC_SLAVE_ADDRESS; }
};

// Checks a caller's request and copies it out (IMB_STATUS_SUCCESS or
// IMB_STATUS_INVALID_ARGUMENT). The data pointer is read only after the length is known to be
// within IMB_MAX_REQUEST_DATA_LENGTH.
int BuildRawRequest(const ImbRequest& request, RawRequest& out);

// Hands an answer to the caller: the completion code and up to IMB_MAX_RESPONSE_DATA_LENGTH
// data bytes (IMB_STATUS_RESPONSE_TOO_LONG, nothing written, beyond that).
int WriteResponse(uint8_t completionCode, const uint8_t* data, size_t length, uint8_t* responseData,
                  int* responseLength, uint8_t* completionCodeOut);

// Decodes ipmi_cmd_raw's answer (command, completion code, data) for a request of command
// `command` and hands it to the caller through WriteResponse.
int DecodeRawResponse(uint8_t command, const uint8_t* raw, size_t rawLength, uint8_t* responseData,
                      int* responseLength, uint8_t* completionCode);

}  // namespace Ordix::Imb

#include "imb_request.h"

#include <cstring>

#include "ipmi_numbers.h"

namespace Ordix::Imb {

namespace {

// ipmi_cmd_raw's answer starts with the command byte, then the completion code.
constexpr size_t kRawHeaderBytes = 2;

}  // namespace

std::vector<uint8_t> RawRequest::Message() const {
  std::vector<uint8_t> message;
  message.reserve(data.size() + 1);
  message.push_back(command);
  message.insert(message.end(), data.begin(), data.end());
  return message;
}

int BuildRawRequest(const ImbRequest& request, RawRequest& out) {
  // Copied out field by field: the structure is packed, so its members are never referenced.
  const uint32_t length = request.dataLength;
  const uint8_t* data = request.data;
  const uint8_t netFn = request.netFn;
  const uint8_t lun = request.rsLun;
  if (length > IMB_MAX_REQUEST_DATA_LENGTH) return IMB_STATUS_INVALID_ARGUMENT;
  if (length > 0 && data == nullptr) return IMB_STATUS_INVALID_ARGUMENT;
  if (netFn > Ipmi::kMaxNetFn || (netFn & 1U) != 0) return IMB_STATUS_INVALID_ARGUMENT;
  if (lun > Ipmi::kMaxLun) return IMB_STATUS_INVALID_ARGUMENT;
  out.netFn = netFn;
  out.lun = lun;
  out.command = request.cmdType;
  out.slaveAddress = request.rsSa;
  out.channel = request.busType;
  out.data.assign(data, data + length);
  return IMB_STATUS_SUCCESS;
}

int WriteResponse(uint8_t completionCode, const uint8_t* data, size_t length, uint8_t* responseData,
                  int* responseLength, uint8_t* completionCodeOut) {
  if (length > IMB_MAX_RESPONSE_DATA_LENGTH) return IMB_STATUS_RESPONSE_TOO_LONG;
  if (length > 0) std::memcpy(responseData, data, length);
  *responseLength = static_cast<int>(length);
  *completionCodeOut = completionCode;
  return IMB_STATUS_SUCCESS;
}

int DecodeRawResponse(uint8_t command, const uint8_t* raw, size_t rawLength, uint8_t* responseData,
                      int* responseLength, uint8_t* completionCode) {
  if (raw == nullptr || rawLength < kRawHeaderBytes) return IMB_STATUS_BAD_RESPONSE;
  if (raw[0] != command) return IMB_STATUS_BAD_RESPONSE;
  return WriteResponse(raw[1], raw + kRawHeaderBytes, rawLength - kRawHeaderBytes, responseData,
                       responseLength, completionCode);
}

}  // namespace Ordix::Imb

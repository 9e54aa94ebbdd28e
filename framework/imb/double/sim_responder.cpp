#include "sim_responder.h"

#include <algorithm>
#include <utility>

#include "imb.h"

namespace Ordix::Imb::Sim {

namespace {

// Get SEL Entry request: reservation ID (2), record ID (2, little-endian), offset, count.
constexpr size_t kSelRequestBytes = 6;
constexpr size_t kSelRecordIdAt = 2;
constexpr size_t kSelOffsetAt = 4;
constexpr size_t kSelCountAt = 5;

Reply Code(uint8_t completionCode) {
  return {completionCode, {}};
}

}  // namespace

Responder::Responder(Script script) : script_(std::move(script)), failuresLeft_(script_.failures) {}

Responder::Outcome Responder::Answer(uint8_t netFn, uint8_t command,
                                     const std::vector<uint8_t>& data) {
  if (failuresLeft_ > 0) {
    --failuresLeft_;
    return {IMB_STATUS_SEND_FAILED, {}};
  }
  if (const auto raw = script_.raw.find(RawKey{netFn, command, data}); raw != script_.raw.end()) {
    return {IMB_STATUS_SUCCESS, raw->second};
  }
  Reply reply = Code(Ipmi::kCcInvalidCommand);
  if (netFn == Ipmi::kNetFnApp && command == Ipmi::kCmdGetDeviceId && script_.deviceId) {
    reply = data.empty() ? *script_.deviceId : Code(Ipmi::kCcRequestDataLengthInvalid);
  } else if (netFn == Ipmi::kNetFnSensorEvent && command == Ipmi::kCmdGetSensorReading) {
    reply = SensorReply(script_.readings, data);
  } else if (netFn == Ipmi::kNetFnSensorEvent && command == Ipmi::kCmdGetSensorEventStatus) {
    reply = SensorReply(script_.eventStatus, data);
  } else if (netFn == Ipmi::kNetFnStorage && command == Ipmi::kCmdGetSelEntry) {
    reply = SelEntry(data);
  }
  return {IMB_STATUS_SUCCESS, std::move(reply)};
}

Reply Responder::SensorReply(const std::map<uint8_t, Reply>& replies,
                             const std::vector<uint8_t>& data) const {
  if (data.size() != 1) return Code(Ipmi::kCcRequestDataLengthInvalid);
  const auto found = replies.find(data[0]);
  return found != replies.end() ? found->second : Code(Ipmi::kCcNotPresent);
}

Reply Responder::SelEntry(const std::vector<uint8_t>& data) const {
  if (data.size() != kSelRequestBytes) return Code(Ipmi::kCcRequestDataLengthInvalid);
  const auto& sel = script_.sel;
  if (sel.empty()) return Code(Ipmi::kCcNotPresent);
  const auto id = static_cast<uint16_t>(data[kSelRecordIdAt] | (data[kSelRecordIdAt + 1] << 8));
  size_t index = 0;
  if (id == Ipmi::kSelLastRecord) {
    index = sel.size() - 1;
  } else if (id != Ipmi::kSelFirstRecord) {
    const auto found = std::find_if(sel.begin(), sel.end(),
                                    [id](const SelRecord& r) { return SelRecordId(r) == id; });
    if (found == sel.end()) return Code(Ipmi::kCcNotPresent);
    index = static_cast<size_t>(found - sel.begin());
  }

  const size_t offset = data[kSelOffsetAt];
  const size_t count = data[kSelCountAt] == Ipmi::kSelReadWholeRecord
                           ? Ipmi::kSelRecordBytes - std::min(offset, Ipmi::kSelRecordBytes)
                           : data[kSelCountAt];
  if (offset + count > Ipmi::kSelRecordBytes) return Code(Ipmi::kCcParameterOutOfRange);

  const uint16_t next = index + 1 < sel.size() ? SelRecordId(sel[index + 1]) : Ipmi::kSelLastRecord;
  Reply reply;
  reply.data = {static_cast<uint8_t>(next & 0xFF), static_cast<uint8_t>(next >> 8)};
  const SelRecord& record = sel[index];
  reply.data.insert(reply.data.end(), record.begin() + static_cast<std::ptrdiff_t>(offset),
                    record.begin() + static_cast<std::ptrdiff_t>(offset + count));
  return reply;
}

}  // namespace Ordix::Imb::Sim

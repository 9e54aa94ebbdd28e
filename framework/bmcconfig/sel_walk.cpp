#include "sel_walk.h"

#include <cstdio>
#include <string>

#include "ErrorCodes.h"
#include "bmc_error.h"

namespace Module::BMCConfig {

namespace {

constexpr size_t kRecordIdCount = size_t{1} << 16;

std::string RecordIdText(uint16_t id) {
  char text[5];
  std::snprintf(text, sizeof(text), "%04x", static_cast<unsigned>(id));
  return text;
}

uint16_t NextRecordId(const std::vector<uint8_t>& reply) {
  return static_cast<uint16_t>(reply[0] | (reply[1] << 8));
}

}  // namespace

std::vector<std::vector<uint8_t>> WalkSel(const Exchange& exchange) {
  std::vector<std::vector<uint8_t>> records;
  // Indexed by record ID; the first request asks for 0000h, so a later 0000h starts over too.
  std::vector<bool> requested(kRecordIdCount, false);
  uint16_t id = kSelFirstRecord;
  requested[id] = true;
  for (;;) {
    const IpmiRequest request = SelEntryRequest(id);
    IpmiReply reply = exchange(request);
    if (reply.completionCode == kCcNotPresent && records.empty()) return records;
    if (reply.completionCode != kCcOk) ThrowCompletionCode(request, reply.completionCode);
    if (reply.data.size() != kSelEntryReplyBytes) {
      ThrowBmc(ErrorCode::kBmcReplyMalformed,
               std::to_string(reply.data.size()) + " data bytes, not " +
                   std::to_string(kSelEntryReplyBytes) + ", in reply to " + RequestText(request));
    }
    const uint16_t next = NextRecordId(reply.data);
    records.push_back(std::move(reply.data));
    if (next == kSelLastRecord) return records;
    if (requested[next]) {
      ThrowBmc(ErrorCode::kBmcSelLoop, "record " + std::to_string(records.size()) +
                                           " names next record " + RecordIdText(next) +
                                           ", already read, in reply to " + RequestText(request));
    }
    requested[next] = true;
    id = next;
  }
}

}  // namespace Module::BMCConfig

#include "ipmi_answers.h"

#include <optional>
#include <utility>
#include <vector>

#include "bmc_error.h"
#include "bmc_query.h"
#include "sel_walk.h"

namespace Module::BMCConfig {

namespace {

constexpr const char* kSelRecordPath = "/BMC/SEL/RECORD";
constexpr size_t kSelIndexDigits = 5;

_XNode Leaf(std::vector<std::string> values) {
  _XNode leaf;
  leaf.kind = XNODE_VALUE;
  leaf.list = std::move(values);
  return leaf;
}

}  // namespace

std::string SelRecordKey(size_t number) {
  std::string digits = std::to_string(number);
  if (digits.size() < kSelIndexDigits) digits.insert(0, kSelIndexDigits - digits.size(), '0');
  return std::string(kSelRecordPath) + "[" + digits + "]";
}

void AnswerFromIpmi(const std::string& query, ResultMap& answer, const Exchange& exchange) {
  const std::optional<BmcQuery> parsed = ParseBmcQuery(query);
  if (!parsed) return;
  if (parsed->kind == BmcQueryKind::kSelRecords) {
    // Walked in full before anything is added, so a failing walk leaves the answer alone.
    const std::vector<std::vector<uint8_t>> records = WalkSel(exchange);
    for (size_t i = 0; i < records.size(); ++i) {
      answer[SelRecordKey(i + 1)] = Leaf({HexList(records[i])});
    }
    return;
  }
  const IpmiRequest request = parsed->kind == BmcQueryKind::kSensorValue
                                  ? SensorReadingRequest(parsed->sensor)
                                  : SensorEventStatusRequest(parsed->sensor);
  const IpmiReply reply = exchange(request);
  if (reply.completionCode != kCcOk) ThrowCompletionCode(request, reply.completionCode);
  answer[parsed->path] = Leaf(SensorValues(reply.data));
}

}  // namespace Module::BMCConfig

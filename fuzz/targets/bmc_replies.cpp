// A query of the BMC configuration module answered by a controller whose replies are the
// input: the query parsed, its requests sent, the replies (sensor bytes, event-log entries)
// turned into answers.
//
// Input: the query, a '\n', then the replies in the order they are asked for, each a
// completion code, a length and that many data bytes. A request after the last reply fails
// as a dead controller does.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ErrorCodes.h"
#include "FuzzInput.h"
#include "ResultStatus.h"
#include "ipmi_answers.h"
#include "ipmi_messages.h"

namespace {

using namespace Module::BMCConfig;

// A reply's bytes k, k+1, ... are readable from value k: byte k by the number at its start.
void CheckSensorValues(const std::vector<uint8_t>& bytes) {
  const std::vector<std::string> values = SensorValues(bytes);
  Fuzz::Require(values.size() == bytes.size(), "one value per reply byte");
  for (size_t k = 0; k < values.size(); ++k) {
    Fuzz::Require(std::strtoul(values[k].c_str(), nullptr, 16) == bytes[k],
                  "value k starts with byte k");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz::Input input(data, size);
  const std::string query = input.Line();
  std::vector<std::vector<uint8_t>> replies;
  const Exchange exchange = [&](const IpmiRequest& request) {
    if (input.Empty()) {
      throw ResultStatus(ErrorCode::kBmcUnreachable, "no reply", RequestText(request),
                         XCOMMAND_NONE);
    }
    IpmiReply reply;
    reply.completionCode = input.Byte();
    reply.data = input.Bytes(input.Byte());
    replies.push_back(reply.data);
    return reply;
  };
  ResultMap answer;
  try {
    AnswerFromIpmi(query, answer, exchange);
  } catch (const ResultStatus&) {
    Fuzz::Require(answer.empty(), "a failed query adds nothing");
  }
  Fuzz::Require(answer.size() <= replies.size(), "at most one leaf per reply");
  for (const std::vector<uint8_t>& reply : replies) CheckSensorValues(reply);
  return 0;
}

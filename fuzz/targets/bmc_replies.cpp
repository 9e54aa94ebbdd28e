// A query of the BMC configuration module answered by a controller whose replies are the
// input: the query parsed, its requests sent, the replies (sensor bytes, event-log entries)
// turned into answers.
//
// Input: the query, a '\n', then the replies in the order they are asked for, each a
// completion code, a length and that many data bytes. A length above what a driver can return
// stands for a request that got no reply. When the replies run out the controller starts
// them over, as one stuck in a loop does; one with no replies at all is dead.

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ErrorCodes.h"
#include "FuzzInput.h"
#include "ResultStatus.h"
#include "imb.h"
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

// Plays the replies in order, and again from the first when they run out.
class LoopingController {
 public:
  explicit LoopingController(std::string replies)
      : replies_(std::move(replies)), next_(Bytes(replies_), replies_.size()) {}

  IpmiReply operator()(const IpmiRequest& request) {
    if (next_.Empty()) next_ = Fuzz::Input(Bytes(replies_), replies_.size());
    IpmiReply reply;
    reply.completionCode = next_.Byte();
    const uint8_t length = next_.Byte();
    if (replies_.empty() || length > IMB_MAX_RESPONSE_DATA_LENGTH) {
      throw ResultStatus(ErrorCode::kBmcUnreachable, "no reply", RequestText(request),
                         XCOMMAND_NONE);
    }
    reply.data = next_.Bytes(length);
    given.push_back(reply.data);
    return reply;
  }

  std::vector<std::vector<uint8_t>> given;

 private:
  static const uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const uint8_t*>(text.data());
  }

  std::string replies_;
  Fuzz::Input next_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz::Input input(data, size);
  const std::string query = input.Line();
  LoopingController controller(input.Rest());
  ResultMap answer;
  try {
    AnswerFromIpmi(query, answer, std::ref(controller));
  } catch (const ResultStatus&) {
    Fuzz::Require(answer.empty(), "a failed query adds nothing");
  }
  Fuzz::Require(answer.size() <= controller.given.size(), "at most one leaf per reply");
  for (const std::vector<uint8_t>& reply : controller.given) CheckSensorValues(reply);
  return 0;
}

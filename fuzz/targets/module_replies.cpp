// The module's decoding of what the BMC configuration module answers: a socket's processor and
// throttling sensors per platform family, a DIMM sensor's state, and memory errors counted
// over event-log records.
//
// Input: lines; the first names the family, the others are answers. Each sensor query takes
// the next line as its answer: "!" fails it as a dead controller does, otherwise the line's
// '|'-separated parts are the answer's values (what the BMC module makes of a reply is its own
// target's job; here any text may come). The lines are also DIMM sensor replies and event-log
// records.

#include <cstdint>
#include <string>
#include <vector>

#include "BMCConfigModule.h"
#include "ErrorCodes.h"
#include "FuzzInput.h"
#include "Logger.h"
#include "ResultStatus.h"
#include "memory/DimmState.h"
#include "memory/MemoryErrorCount.h"
#include "processor/CPUInternalFunc.h"

namespace {

using namespace Module::PlatformConfig;
using Module::BMCConfig::BMCConfigModule;

constexpr size_t kMaxLines = 64;
constexpr size_t kMaxSockets = 4;
constexpr const char* kFailedReply = "!";
constexpr char kValueSeparator = '|';

std::vector<std::string> Values(const std::string& line) {
  std::vector<std::string> values;
  if (line.empty()) return values;
  size_t start = 0;
  for (size_t bar = line.find(kValueSeparator); bar != std::string::npos;
       bar = line.find(kValueSeparator, start)) {
    values.push_back(line.substr(start, bar - start));
    start = bar + 1;
  }
  values.push_back(line.substr(start));
  return values;
}

class ScriptedBmc {
 public:
  explicit ScriptedBmc(const std::vector<std::string>& lines) : lines_(lines) {
    previous_ = BMCConfigModule::InstallAnswerSource([this](const std::string& q, ResultMap& a) {
      if (next_ == lines_.size()) return;
      const std::string& line = lines_[next_++];
      if (line == kFailedReply) {
        throw ResultStatus(ErrorCode::kBmcUnreachable, "no reply", q, XCOMMAND_NONE);
      }
      a[q] = _XNode{XNODE_VALUE, Values(line), {}};
    });
  }
  ~ScriptedBmc() { BMCConfigModule::InstallAnswerSource(previous_); }
  ScriptedBmc(const ScriptedBmc&) = delete;
  ScriptedBmc& operator=(const ScriptedBmc&) = delete;

 private:
  const std::vector<std::string>& lines_;
  size_t next_ = 0;
  BMCConfigModule::AnswerSource previous_;
};

bool IsFlag(uint32_t field) {
  return field == 0 || field == 1 || field == ~0u;
}

void ReadSocket(uint32_t sensor, const std::string& family) {
  PhysicalProcessorStatus status{};
  if (ReadCPUSensorStatus(sensor, &status, family) != kOk) return;
  for (uint32_t field : {status.ThermalTrip, status.IERR, status.FRB1, status.FRB2, status.FRB3,
                         status.ConfigError, status.ProcessorThrottled}) {
    Fuzz::Require(IsFlag(field), "a socket's states are 0, 1 or not reported");
  }
}

void ReadProcessorSensors(const std::string& family) {
  uint32_t count = 0;
  uint8_t handles[kMaxSockets] = {};
  if (DiscoverProcessorSensors(&count, handles, family) != kOk) return;
  Fuzz::Require(count <= kMaxSockets, "at most four sockets");
  for (uint32_t k = 0; k < count; ++k) ReadSocket(handles[k], family);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Logger::CreateInstance()->SetSink([](const LogRecord& record) { (void)FormatLogRecord(record); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz::Input input(data, size);
  const std::string family = input.Line();
  const std::vector<std::string> lines = Fuzz::Lines(input.Rest(), kMaxLines);
  {
    ScriptedBmc bmc(lines);
    ReadProcessorSensors(family);
  }
  for (const std::string& line : lines) {
    Fuzz::Require(DecodeDimmState(line) <= 0x0F, "a DIMM state holds four bits");
  }
  const MemoryErrorCounts counts = CountMemoryErrors(lines);
  Fuzz::Require(counts.corrected >= 0 && counts.uncorrected >= 0 &&
                    static_cast<size_t>(counts.corrected + counts.uncorrected) <= lines.size(),
                "each record counts at most once");
  return 0;
}

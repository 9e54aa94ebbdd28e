// The BMC's processor sensors: which sockets hold a processor, and the state of one socket
// (processor sensor states and throttling), per platform family.

#include <new>
#include <vector>

#include "ErrorReport.h"
#include "common.h"
#include "module/ModuleErrors.h"
#include "platform/PlatformImpl.h"
#include "processor/CPUInternalFunc.h"
#include "processor/ProcessorSensorDecode.h"

namespace Module::PlatformConfig {

namespace {

constexpr uint8_t kNone = 0xFF;
constexpr ErrorSite kSensorBufferSite{".\\CPUInternalFunc",
                                      "Module::PlatformConfig::ReadCPUSensorStatus", 2043};

struct SensorRow {
  const char* family;
  uint8_t processor[4];
  uint8_t second[4];  // throttling
};

// Matched in order, by exact name. "KARVO2_PLATFORM" and "KARVO3_PLATFORM" are spelled as
// this table has always spelled them, although identification names those families
// "KARVO_PLATFORM2" and "KARVO_PLATFORM3".
constexpr SensorRow kSensorRows[] = {
    {"KARVO_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {"KARVO2_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {"KARVO3_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xC0, 0xC1, 0xC2, 0xC3}},
    {"TESKAR_PLATFORM", {0x90, 0x91, 0x92, 0x93}, {0xB0, 0xB1, 0xB2, 0xB3}},
    {"PIRLOW_PLATFORM", {0x90, 0x91, kNone, kNone}, {0xC0, 0xC1, kNone, kNone}},
    {"ROPHIN_PLATFORM", {0x0F, kNone, kNone, kNone}, {0x10, kNone, kNone, kNone}},
    {"DUVANE_PLATFORM", {0x10, kNone, kNone, kNone}, {0x11, kNone, kNone, kNone}},
    {"ZORVEL_PLATFORM", {0x60, 0x61, kNone, kNone}, {0x62, 0x63, kNone, kNone}},
};
constexpr SensorRow kNoSensors = {"", {kNone, kNone, kNone, kNone}, {kNone, kNone, kNone, kNone}};

const SensorRow& RowOf(const std::string& family) {
  for (const SensorRow& row : kSensorRows) {
    if (family == row.family) return row;
  }
  return kNoSensors;
}

// Single-socket families whose processor is there by construction.
bool IsSingleSocket(const std::string& family) {
  return family == Platform::kRophinPlatform || family == Platform::kDuvanePlatform;
}

std::string SensorPath(uint32_t sensor, const char* leaf) {
  return "/BMC/SENSOR[" + std::to_string(sensor) + "]/" + leaf;
}

// false when the BMC gave no answer (or a failed one).
bool ReadElements(uint32_t sensor, const char* leaf, std::vector<uint8_t>& out) {
  ResultMap answer;
  const std::vector<std::string> list = GetQuery(SensorPath(sensor, leaf).c_str(), answer);
  if (list.empty() || list.front().empty()) return false;
  out = AnswerBytes(list);
  return true;
}

}  // namespace

uint32_t DiscoverProcessorSensors(uint32_t* count, uint8_t* handles, const std::string& family) {
  if (count == nullptr || handles == nullptr) return kMissingArgument;
  const SensorRow& row = RowOf(family);
  if (IsSingleSocket(family)) {
    *count = 1;
    handles[0] = row.processor[0];
    return kOk;
  }
  uint32_t found = 0;
  std::vector<uint8_t> raw;
  for (uint8_t sensor : row.processor) {
    // A socket without a sensor is not asked about.
    if (sensor == kNone) continue;
    if (!ReadElements(sensor, "PROCEVENT", raw)) return kBmcQueryFailed;
    if (ReportsEmptySocket(raw, 0)) continue;
    if (!ReadElements(sensor, "VALUE", raw)) return kBmcQueryFailed;
    if (ReportsEmptySocket(raw, 1)) continue;
    handles[found++] = sensor;
  }
  if (found != 0) *count = found;
  return kOk;
}

namespace {

// The processor sensor's states, each taken only when the sensor reports it.
uint32_t ReadProcessorStates(uint32_t sensor, PhysicalProcessorStatus& out) {
  std::vector<uint8_t> raw;
  if (!ReadElements(sensor, "PROCEVENT", raw)) return kBmcQueryFailed;
  if (!ProcessorStatesReported(raw)) return kOk;
  if (!ReadElements(sensor, "VALUE", raw)) return kBmcQueryFailed;
  DecodeProcessorStates(raw, out);
  return kOk;
}

// The throttling sensor's verdict, when it gives one.
uint32_t ReadThrottling(uint32_t sensor, const std::string& family, PhysicalProcessorStatus& out) {
  std::vector<uint8_t> raw;
  if (!ReadElements(sensor, "PROCEVENT", raw)) return kBmcQueryFailed;
  if (!ThrottlingReported(raw, IsSingleSocket(family))) return kOk;

  // This second reading takes the bytes from the first answer string alone.
  ResultMap answer;
  const std::vector<std::string> list = GetQuery(SensorPath(sensor, "PROCEVENT").c_str(), answer);
  if (list.empty()) return kBmcQueryFailed;
  if (list.front().empty()) return kOk;
  // The blank before the second name is how this comparison has always been written: it never
  // matches, so that family takes the general rule.
  const bool byFirstByte = family == Platform::kRophinPlatform || family == " DUVANE_PLATFORM";
  DecodeThrottling(TokenBytes(list.front()), byFirstByte, out);
  return kOk;
}

}  // namespace

uint32_t ReadCPUSensorStatus(uint32_t sensor, PhysicalProcessorStatus* out,
                             const std::string& family) {
  if (sensor == kNone || out == nullptr) return kMissingArgument;
  const SensorRow& row = RowOf(family);
  int socket = -1;
  for (int s = 0; s < 4 && socket < 0; ++s) {
    if (row.processor[s] == sensor) socket = s;
  }
  if (socket < 0 || row.second[socket] == kNone) return kMissingArgument;

  // Every field starts as "not reported".
  *out = PhysicalProcessorStatus{~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u};
  try {
    if (uint32_t code = ReadProcessorStates(sensor, *out)) return code;
    if (uint32_t code = ReadThrottling(row.second[socket], family, *out)) return code;
  } catch (const std::bad_alloc&) {
    throw ReportError(ModuleError::kNoMemory, kSensorBufferSite);
  }
  out->SensorOwnerID = 0x20;
  out->SensorOwnerLUN = 0;
  out->SensorNumber = sensor;
  return kOk;
}

}  // namespace Module::PlatformConfig

// The scripted driver double: its script parsed, then every request the script names (and a
// few it does not) answered, marshalled through the driver's C-interface helpers as a call of
// SendTimedImbpRequest would be. The input is the script's text.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzInput.h"
#include "imb.h"
#include "imb_request.h"
#include "ipmi_numbers.h"
#include "sim_responder.h"
#include "sim_script.h"

namespace {

using namespace Ordix::Imb;
namespace Ipmi = Ordix::Imb::Ipmi;

constexpr uint8_t kSelOffsets[] = {0, 5, 16, 17};
constexpr uint8_t kSelCounts[] = {Ipmi::kSelReadWholeRecord, 1, 16};

class Driver {
 public:
  explicit Driver(Sim::Script script) : responder_(std::move(script)) {}

  // Answers the request as the double's send does, and returns the next SEL record ID when
  // the reply is a whole Get SEL Entry reply.
  std::optional<uint16_t> Send(uint8_t netFn, uint8_t command, std::vector<uint8_t> data) {
    ImbRequest request{};
    request.cmdType = command;
    request.rsSa = IMB_BMC_SLAVE_ADDRESS;
    request.netFn = netFn;
    request.data = data.empty() ? nullptr : data.data();
    request.dataLength = static_cast<uint32_t>(data.size());
    RawRequest raw;
    if (BuildRawRequest(request, raw) != IMB_STATUS_SUCCESS) return std::nullopt;
    const Sim::Responder::Outcome outcome = responder_.Answer(raw.netFn, raw.command, raw.data);
    if (outcome.status != IMB_STATUS_SUCCESS) return std::nullopt;
    const Sim::Reply& reply = outcome.reply;
    Fuzz::Require(reply.data.size() <= IMB_MAX_RESPONSE_DATA_LENGTH,
                  "a reply fits the caller's buffer");
    Deliver(command, reply);
    if (reply.completionCode != Ipmi::kCcOk || reply.data.size() < 2) return std::nullopt;
    return static_cast<uint16_t>(reply.data[0] | reply.data[1] << 8);
  }

 private:
  // Both ways a reply reaches the caller: handed over, and decoded from the raw form.
  static void Deliver(uint8_t command, const Sim::Reply& reply) {
    std::array<uint8_t, IMB_MAX_RESPONSE_DATA_LENGTH> buffer{};
    int length = -1;
    uint8_t code = 0;
    Fuzz::Require(WriteResponse(reply.completionCode, reply.data.data(), reply.data.size(),
                                buffer.data(), &length, &code) == IMB_STATUS_SUCCESS &&
                      static_cast<size_t>(length) == reply.data.size(),
                  "a reply of up to 65 bytes is handed over whole");
    std::vector<uint8_t> raw{command, reply.completionCode};
    raw.insert(raw.end(), reply.data.begin(), reply.data.end());
    Fuzz::Require(DecodeRawResponse(command, raw.data(), raw.size(), buffer.data(), &length,
                                    &code) == IMB_STATUS_SUCCESS &&
                      code == reply.completionCode,
                  "a raw answer to the command decodes to its reply");
  }

  Sim::Responder responder_;
};

void WalkSel(Driver& driver, size_t records) {
  uint16_t id = Ipmi::kSelFirstRecord;
  // A walk that does not end within the script's records plus one is going round in circles.
  for (size_t step = 0; step <= records; ++step) {
    const auto next = driver.Send(Ipmi::kNetFnStorage, Ipmi::kCmdGetSelEntry,
                                  {0, 0, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8), 0,
                                   Ipmi::kSelReadWholeRecord});
    if (!next || *next == Ipmi::kSelLastRecord) return;
    id = *next;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Sim::ParseResult parsed = Sim::ParseScript({reinterpret_cast<const char*>(data), size});
  if (!parsed.script) {
    Fuzz::Require(parsed.error.compare(0, 5, "line ") == 0, "a refused script names its line");
    return 0;
  }
  const Sim::Script script = *parsed.script;
  Driver driver(*parsed.script);
  driver.Send(Ipmi::kNetFnApp, Ipmi::kCmdGetDeviceId, {});
  driver.Send(Ipmi::kNetFnApp, Ipmi::kCmdGetDeviceId, {0});
  for (const auto& [sensor, reply] : script.readings) {
    driver.Send(Ipmi::kNetFnSensorEvent, Ipmi::kCmdGetSensorReading, {sensor});
  }
  for (const auto& [sensor, reply] : script.eventStatus) {
    driver.Send(Ipmi::kNetFnSensorEvent, Ipmi::kCmdGetSensorEventStatus, {sensor});
  }
  driver.Send(Ipmi::kNetFnSensorEvent, Ipmi::kCmdGetSensorReading, {});
  for (const auto& [key, reply] : script.raw) driver.Send(key.netFn, key.command, key.data);
  WalkSel(driver, script.sel.size());
  for (const uint8_t offset : kSelOffsets) {
    for (const uint8_t count : kSelCounts) {
      driver.Send(Ipmi::kNetFnStorage, Ipmi::kCmdGetSelEntry, {0, 0, 0xFF, 0xFF, offset, count});
    }
  }
  return 0;
}

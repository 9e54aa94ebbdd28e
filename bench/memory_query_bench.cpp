// Cost of the memory topology's live queries against the IPMI round trips they are made of, on
// the simulated two-socket server with a full event log that bench/run starts with sim/run:
// - a DIMM state query reads one sensor, but answering it first rebuilds the "/Platform"
//   inventory from SMBIOS (every slot, through the BIOS module), so beside the one Get Sensor
//   Reading it is also shown against that rebuild alone (the inventory query, no BMC);
// - an error-count query walks the whole event log, against the same walk of Get SEL Entry
//   requests on one open session.
// The module is driven as platformq drives it (its instance, ProcessXQuery); the references
// use their own FreeIPMI session to the same BMC.

#include <benchmark/benchmark.h>
#include <freeipmi/freeipmi.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "CollectingReporter.h"
#include "ImageDecode.h"
#include "PlatformConfigModule.h"
#include "Settings.h"
#include "SimBmcSession.h"

namespace {

using Module::PlatformConfig::PlatformConfigModule;

// Slot 2 is CPU1_DIMM_B1, whose sensor (E2h) reads a state (9): the full path of a reading.
constexpr const char* kStateQuery = "/Platform/MemoryTopology/MemoryInfo[2]/MemoryState";
constexpr const char* kInventoryQuery = "/Platform/MemoryTopology";
constexpr const char* kErrorsQuery = "/Platform/MemoryTopology/Errors";
constexpr uint8_t kSensorNumber = 0xE2;
constexpr size_t kSelRecords = 1000;
// A state query, the process's first, may cost this much more than its round trip and the
// decoding of its table.
constexpr double kGoalStateToFloor = 3.0;  // the profile's log; the walk checks it finds as many
using Bench::Env;
using Bench::SimBmcSession;

// The module's answer, or "" when it has none: a wrong answer is not timed as if it were right.
std::string FirstValue(const ResultMap& answer, const std::string& path) {
  auto it = answer.find(path);
  return it == answer.end() || it->second.list.empty() ? "" : it->second.list.front();
}

void BM_MemoryStateQuery(benchmark::State& state) {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  for (auto _ : state) {
    ResultMap answer;
    module->ProcessXQuery(kStateQuery, answer);
    if (FirstValue(answer, kStateQuery) != "9") {
      state.SkipWithError("no DIMM state in the answer (run through bench/run)");
      break;
    }
  }
}
BENCHMARK(BM_MemoryStateQuery)->Unit(benchmark::kMicrosecond);

// Reading and decoding the profile's table in process, with nothing kept between calls.
void BM_DecodeReference(benchmark::State& state) {
  const std::string image = Ordix::Settings::GetString("SMBIOS", "Image", "");
  if (Bench::DecodeImage(image) == 0) {
    state.SkipWithError("no SMBIOS image named in the settings (run through bench/run)");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(Bench::DecodeImage(image));
}
BENCHMARK(BM_DecodeReference)->Unit(benchmark::kMicrosecond);

void BM_MemoryInventoryQuery(benchmark::State& state) {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  for (auto _ : state) {
    ResultMap answer;
    module->ProcessXQuery(kInventoryQuery, answer);
    benchmark::DoNotOptimize(answer.size());
  }
}
BENCHMARK(BM_MemoryInventoryQuery)->Unit(benchmark::kMicrosecond);

void BM_MemoryErrorsQuery(benchmark::State& state) {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  const std::string corrected = std::string(kErrorsQuery) + "/CorErrorCount";
  for (auto _ : state) {
    ResultMap answer;
    module->ProcessXQuery(kErrorsQuery, answer);
    if (FirstValue(answer, corrected).find_first_not_of("0123456789") != std::string::npos) {
      state.SkipWithError("no error counts in the answer (run through bench/run)");
      break;
    }
  }
}
BENCHMARK(BM_MemoryErrorsQuery)->Unit(benchmark::kMillisecond);

void BM_SensorReadingReference(benchmark::State& state) {
  SimBmcSession session;
  if (!session.open()) {
    state.SkipWithError("no session with the simulated BMC (run through bench/run)");
    return;
  }
  const uint8_t request[] = {0x2D, kSensorNumber};  // Get Sensor Reading
  uint8_t reply[64];
  for (auto _ : state) {
    if (session.Raw(0x04, request, sizeof request, reply, sizeof reply) < 2 || reply[1] != 0) {
      state.SkipWithError(session.error());
      break;
    }
  }
}
BENCHMARK(BM_SensorReadingReference)->Unit(benchmark::kMicrosecond);

// Get SEL Entry from the first record, following next-record IDs to FFFFh; the record count.
size_t WalkSel(SimBmcSession& session) {
  uint8_t reply[64];
  size_t records = 0;
  for (unsigned id = 0x0000; id != 0xFFFF && records <= kSelRecords; ++records) {
    // no reservation (whole records need none), the record ID, offset 0, the whole record
    const uint8_t request[] = {
        0x43, 0x00, 0x00, static_cast<uint8_t>(id & 0xFF), static_cast<uint8_t>(id >> 8),
        0x00, 0xFF};
    // command, completion code, next record ID, then the 16-byte record
    if (session.Raw(0x0A, request, sizeof request, reply, sizeof reply) < 20 || reply[1] != 0) {
      return 0;
    }
    id = reply[2] | reply[3] << 8;
  }
  return records;
}

void BM_SelWalkReference(benchmark::State& state) {
  SimBmcSession session;
  if (!session.open()) {
    state.SkipWithError("no session with the simulated BMC (run through bench/run)");
    return;
  }
  for (auto _ : state) {
    if (WalkSel(session) != kSelRecords) {
      state.SkipWithError("the event log does not hold 1,000 records (run through bench/run)");
      break;
    }
  }
}
BENCHMARK(BM_SelWalkReference)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double stateQuery = reporter.Microseconds("BM_MemoryStateQuery");
  const double inventory = reporter.Microseconds("BM_MemoryInventoryQuery");
  const double reading = reporter.Microseconds("BM_SensorReadingReference");
  const double errors = reporter.Microseconds("BM_MemoryErrorsQuery");
  const double walk = reporter.Microseconds("BM_SelWalkReference");
  const double decode = reporter.Microseconds("BM_DecodeReference");
  if (stateQuery > 0 && reading > 0 && decode > 0) {
    std::printf(
        "\"%s\", the process's first component: %.1f us per query; one Get Sensor Reading "
        "%.1f us + decoding the table in process %.1f us: ratio %.2f (goal <= %.1f)\n",
        kStateQuery, stateQuery, reading, decode, stateQuery / (reading + decode),
        kGoalStateToFloor);
  }
  if (stateQuery > 0 && reading > 0) {
    std::printf(
        "time per \"%s\" query: %.1f us; one Get Sensor Reading round trip: %.1f us; "
        "ratio %.2f\n",
        kStateQuery, stateQuery, reading, stateQuery / reading);
  }
  if (stateQuery > 0 && inventory > 0 && reading > 0) {
    std::printf(
        "  it rebuilds the inventory first: the \"%s\" query alone (rebuild and answer, no "
        "BMC) takes %.1f us; the state query against that plus the round trip: ratio %.2f\n",
        kInventoryQuery, inventory, stateQuery / (inventory + reading));
  }
  if (errors > 0 && walk > 0) {
    std::printf(
        "time per \"%s\" query on a %zu-record log: %.2f ms; the raw walk of the log: %.2f ms; "
        "ratio %.2f\n",
        kErrorsQuery, kSelRecords, errors / 1000, walk / 1000, errors / walk);
  }
  benchmark::Shutdown();
  return 0;
}

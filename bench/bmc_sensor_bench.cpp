// Cost of one sensor reading through the BMC module (driver library, kept-open session)
// against the same request sent on an open FreeIPMI session directly, both to the simulated
// BMC of the profile that bench/run starts with sim/run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "BMCConfigModule.h"
#include "CollectingReporter.h"
#include "SimBmcSession.h"

namespace {

constexpr const char* kQuery = "/BMC/SENSOR[144]/VALUE";  // 90h: a processor status sensor
constexpr uint8_t kSensorNumber = 0x90;

void BM_ModuleSensorRead(benchmark::State& state) {
  Module::BMCConfig::BMCConfigModule bmc;
  for (auto _ : state) {
    ResultMap answer;
    bmc.Process(kQuery, answer);
    benchmark::DoNotOptimize(answer.size());
  }
}
BENCHMARK(BM_ModuleSensorRead)->Unit(benchmark::kMicrosecond);

void BM_FreeIpmiRawReference(benchmark::State& state) {
  Bench::SimBmcSession session;
  if (!session.open()) {
    state.SkipWithError(session.error());
    return;
  }
  const uint8_t request[] = {0x2D, kSensorNumber};  // Get Sensor Reading
  uint8_t reply[64];
  for (auto _ : state) {
    if (session.Raw(0x04, request, sizeof request, reply, sizeof reply) < 0) {
      state.SkipWithError(session.error());
      break;
    }
  }
}
BENCHMARK(BM_FreeIpmiRawReference)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double module = reporter.Microseconds("BM_ModuleSensorRead");
  const double reference = reporter.Microseconds("BM_FreeIpmiRawReference");
  if (module > 0 && reference > 0) {
    std::printf("time per \"%s\" query: %.1f us; the raw round trip: %.1f us; ratio %.2f\n", kQuery,
                module, reference, module / reference);
  }
  benchmark::Shutdown();
  return 0;
}

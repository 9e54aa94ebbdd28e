// Cost of one sensor reading through the BMC module (driver library, kept-open session)
// against the same request sent on an open FreeIPMI session directly, both to the simulated
// BMC of the profile that bench/run starts with sim/run.

#include <benchmark/benchmark.h>
#include <freeipmi/freeipmi.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "BMCConfigModule.h"
#include "CollectingReporter.h"

namespace {

constexpr const char* kQuery = "/BMC/SENSOR[144]/VALUE";  // 90h: a processor status sensor
constexpr uint8_t kSensorNumber = 0x90;
constexpr unsigned kTimeoutMs = 2000, kRetransmitMs = 500;

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

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
  ipmi_ctx_t ctx = ipmi_ctx_create();
  const std::string host = "127.0.0.1:" + Env("ORDIX_SIM_BMC_PORT");
  if (ctx == nullptr ||
      ipmi_ctx_open_outofband_2_0(ctx, host.c_str(), Env("ORDIX_SIM_BMC_USER").c_str(),
                                  Env("ORDIX_SIM_BMC_PASSWORD").c_str(), nullptr, 0,
                                  IPMI_PRIVILEGE_LEVEL_ADMIN, 3, kTimeoutMs, kRetransmitMs,
                                  IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE,
                                  IPMI_FLAGS_DEFAULT) < 0) {
    state.SkipWithError("no session with the simulated BMC (run through sim/run)");
    if (ctx != nullptr) ipmi_ctx_destroy(ctx);
    return;
  }
  const uint8_t request[] = {0x2D, kSensorNumber};  // Get Sensor Reading
  uint8_t reply[64];
  for (auto _ : state) {
    const int n = ipmi_cmd_raw(ctx, 0, 0x04, request, sizeof request, reply, sizeof reply);
    if (n < 0) {
      state.SkipWithError(ipmi_ctx_errormsg(ctx));
      break;
    }
  }
  ipmi_ctx_close(ctx);
  ipmi_ctx_destroy(ctx);
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

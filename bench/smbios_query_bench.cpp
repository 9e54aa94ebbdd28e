// Cost of answering an SMBIOS query from the decoded table the BIOS module keeps, against
// asking a separate reader process for the same image (what a caller without the module does).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "BIOSConfigModule.h"
#include "CollectingReporter.h"

namespace {

constexpr const char* kProfileDir = SIM_DIR "/dual-socket-16dimm";
constexpr const char* kQuery = "/SMBIOS/Type4[1]/CurrentSpeed";

void BM_SmbiosQuery(benchmark::State& state) {
  Module::BIOSConfig::BIOSConfigModule bios;
  for (auto _ : state) {
    ResultMap answer;
    bios.ProcessXQuery(kQuery, answer);
    benchmark::DoNotOptimize(answer.size());
  }
}
BENCHMARK(BM_SmbiosQuery)->Unit(benchmark::kMicrosecond);

void BM_ReaderProcessReference(benchmark::State& state) {
  const std::string command =
      std::string("dmidecode -q -t 4 --from-dump ") + kProfileDir + "/smbios.bin > /dev/null 2>&1";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("dmidecode is not available");
      break;
    }
  }
}
BENCHMARK(BM_ReaderProcessReference)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  setenv("ORDIX_CONFIG_DIR", kProfileDir, 1);
  benchmark::Initialize(&argc, argv);
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double query = reporter.Microseconds("BM_SmbiosQuery");
  const double reference = reporter.Microseconds("BM_ReaderProcessReference");
  if (query > 0 && reference > 0) {
    std::printf(
        "time per \"%s\" query: %.2f us; a reader process on the same image: %.1f us; "
        "ratio %.4f\n",
        kQuery, query, reference, query / reference);
  }
  benchmark::Shutdown();
  return 0;
}

// Cost of a "/Platform/OS" query against the OS information readings it is made of, and
// resident memory across many queries (replaced nodes and components must be released).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

#include "CollectingReporter.h"
#include "OSInfo.h"
#include "PlatformConfigModule.h"
#include "ResidentMemory.h"

namespace {

using Module::PlatformConfig::PlatformConfigModule;

constexpr const char* kQuery = "/Platform/OS";
constexpr int kWarmupQueries = 1000;
constexpr int kMeasuredQueries = 10000;

// The readings a "/Platform/OS" answer needs, asked of the library directly.
void ReadOSFigures() {
  _MEMINFO memory;
  _OSINFO os;
  std::string name;
  std::vector<_NICINFO> nics;
  std::vector<_DRIVEINFO> drives;
  GetMemInfo(memory);
  GetOSInfo(os);
  GetOSDisplayString(name);
  GetNICInfo(nics);
  GetDriveData(drives);
  benchmark::DoNotOptimize(drives.size() + nics.size() + name.size());
}

void BM_OSReadingsReference(benchmark::State& state) {
  for (auto _ : state) ReadOSFigures();
}
BENCHMARK(BM_OSReadingsReference)->Unit(benchmark::kMicrosecond);

void BM_OSQuery(benchmark::State& state) {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  for (auto _ : state) {
    ResultMap result;
    module->ProcessXQuery(kQuery, result);
    benchmark::DoNotOptimize(result.size());
  }
}
BENCHMARK(BM_OSQuery)->Unit(benchmark::kMicrosecond);

void ReportResidentMemory() {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  auto run = [&](int count) {
    for (int i = 0; i < count; ++i) {
      ResultMap result;
      module->ProcessXQuery(kQuery, result);
    }
  };
  run(kWarmupQueries);
  const auto before = static_cast<double>(ResidentBytes());
  run(kMeasuredQueries);
  const auto after = static_cast<double>(ResidentBytes());
  std::printf(
      "resident memory: %.1f KiB after %d warm-up queries, %.1f KiB after %d more "
      "(growth %+.1f KiB, ratio %.3f)\n",
      before / 1024.0, kWarmupQueries, after / 1024.0, kMeasuredQueries, (after - before) / 1024.0,
      before > 0 ? after / before : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  const double query = reporter.Microseconds("BM_OSQuery");
  const double reference = reporter.Microseconds("BM_OSReadingsReference");
  if (query > 0 && reference > 0) {
    std::printf("time per \"%s\" query: %.1f us; the readings alone: %.1f us; ratio %.2f\n", kQuery,
                query, reference, query / reference);
  }
  ReportResidentMemory();
  benchmark::Shutdown();
  return 0;
}

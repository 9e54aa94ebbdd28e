// Memory, descriptors and threads over many mixed queries (100,000 unless ORDIX_SOAK_QUERIES says
// otherwise) on the simulated two-socket server bench/run starts with sim/run: whatever a query
// leaves behind shows as growth between the warmed-up process and the end. The mix, in turn:
// a DIMM state (one sensor), the memory inventory, the processor inventory (workers started and
// ended, socket sensors), the OS memory, the memory error counts (the event log), and three that
// fail (a slot that does not exist, a path no one answers, a malformed query).
// Printed as "ratio X (goal <= Y)", the end against the warmed-up process.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "PlatformConfigModule.h"
#include "ResidentMemory.h"
#include "ResultStatus.h"

namespace {

using Module::PlatformConfig::PlatformConfigModule;

constexpr long kDefaultQueries = 100000;
// Queries before the figures the end is compared with: caches filled, the session open.
constexpr long kWarmUpQueries = 1000;
constexpr double kGoalGrowth = 1.05;      // resident memory
constexpr double kGoalCountGrowth = 1.0;  // descriptors and threads

constexpr const char* kMix[] = {
    "/Platform/MemoryTopology/MemoryInfo[2]/MemoryState",
    "/Platform/MemoryTopology",
    "/Platform/ProcessorInfo",
    "/Platform/OS/MemoryInfo",
    "/Platform/MemoryTopology/Errors",
    "/Platform/MemoryTopology/MemoryInfo[999]/MemoryState",
    "/Platform/Nowhere",
    "/Platform/MemoryTopology/MemoryInfo[",
};

size_t Entries(const char* dir) {
  size_t n = 0;
  std::error_code error;
  for (std::filesystem::directory_iterator it(dir, error), end; !error && it != end;
       it.increment(error)) {
    ++n;
  }
  return n;
}

struct Figures {
  double mib = static_cast<double>(ResidentBytes()) / (1024.0 * 1024.0);
  size_t descriptors = Entries("/proc/self/fd");
  size_t threads = Entries("/proc/self/task");
};

void Print(const char* when, long queries, const Figures& f) {
  std::printf("  %-26s after %6ld queries: RSS %.2f MiB, %zu descriptors, %zu threads\n", when,
              queries, f.mib, f.descriptors, f.threads);
}

double Ratio(double end, double start) {
  return start > 0 ? end / start : 0.0;
}

}  // namespace

int main() {
  const char* count = std::getenv("ORDIX_SOAK_QUERIES");
  const long queries = count != nullptr ? std::strtol(count, nullptr, 10) : kDefaultQueries;
  const long warmUp = queries / 10 < kWarmUpQueries ? queries / 10 : kWarmUpQueries;
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  const Figures start;
  Figures warm;
  long failed = 0, empty = 0;
  for (long i = 0; i < queries; ++i) {
    if (i == warmUp) warm = Figures();
    ResultMap answer;
    try {
      module->ProcessXQuery(kMix[i % std::size(kMix)], answer);
    } catch (const ResultStatus&) {
      ++failed;
    } catch (const std::exception&) {
      ++failed;
    }
    if (answer.empty()) ++empty;
  }
  const Figures end;
  std::printf("%ld mixed queries (%zu kinds in turn; %ld raised an error, %ld answered nothing)\n",
              queries, std::size(kMix), failed, empty);
  Print("at start", 0, start);
  Print("warmed up", warmUp, warm);
  Print("at the end", queries, end);
  std::printf("  resident memory, end against warmed up: ratio %.3f (goal <= %.2f)\n",
              Ratio(end.mib, warm.mib), kGoalGrowth);
  std::printf("  descriptors, end against warmed up: ratio %.2f (goal <= %.1f)\n",
              Ratio(static_cast<double>(end.descriptors), static_cast<double>(warm.descriptors)),
              kGoalCountGrowth);
  std::printf("  threads, end against warmed up: ratio %.2f (goal <= %.1f)\n",
              Ratio(static_cast<double>(end.threads), static_cast<double>(warm.threads)),
              kGoalCountGrowth);
  return 0;
}

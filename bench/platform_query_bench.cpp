// Cost of one "/Platform" query on the simulated server bench/run starts with sim/run (it runs
// this on each), against its floor measured in the same run: the distinct BMC requests the query
// needs, sent raw on an open FreeIPMI lanplus session; reading and decoding the image's
// structure table in process; and plain std::threads pinned one per CPU, each handing back one
// value, then joined. Printed as "ratio X (goal <= Y)". The parts, each against its reference:
// - SMBIOS: the BIOS module's answers to the very queries a "/Platform" query makes (recorded
//   from a real one), within one query as the module asks them, against the in-process
//   decoding and against a dmidecode process reading the same structures;
// - BMC: the BMC module's answers to the sensor queries it makes, within one query (a repeated
//   request is answered once), against the distinct requests sent raw;
// - workers: starting one pinned worker per CPU, asking each package's worker to identify its
//   processor under the register lock, and stopping them, against the plain pinned threads.
// The query runs through the module's instance, as platformq drives it; the worker routines
// are compiled in, as the module exports none of them.

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "CollectingReporter.h"
#include "ImageDecode.h"
#include "PlatformConfigModule.h"
#include "QueryScope.h"
#include "ResultStatus.h"
#include "Settings.h"
#include "SimBmcSession.h"
#include "processor/CPUInternalFunc.h"
#include "sys/NamedLock.h"

namespace {

using Module::BIOSConfig::BIOSConfigModule;
using Module::BMCConfig::BMCConfigModule;
using Module::PlatformConfig::PlatformConfigModule;
namespace Cpu = Module::PlatformConfig;

constexpr const char* kQuery = "/Platform";
// A query may cost at most this much more than the round trips, decoding and threads it needs.
constexpr double kGoalPlatformToFloor = 2.0;

using Bench::DecodeImage;
using Bench::Env;

// --- What one "/Platform" query asks of the sibling modules ---

struct SiblingQueries {
  std::vector<std::string> bios, bmc;
};
SiblingQueries gRecorded;

// Installed as a module's answer source, it notes each query and lets the module itself
// answer it: it steps aside for the call and comes back after, even when the module throws.
template <typename SiblingModule, typename Answer>
class Recorder {
 public:
  Recorder(std::vector<std::string>& log, Answer answer) : log_(log), answer_(answer) { Install(); }
  ~Recorder() { SiblingModule::InstallAnswerSource({}); }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

 private:
  struct Back {
    Recorder* recorder;
    ~Back() { recorder->Install(); }
  };
  void Install() {
    SiblingModule::InstallAnswerSource([this](const std::string& query, ResultMap& result) {
      log_.push_back(query);
      SiblingModule::InstallAnswerSource({});
      Back back{this};
      answer_(query, result);
    });
  }
  std::vector<std::string>& log_;
  Answer answer_;
};

void RecordSiblingQueries() {
  auto bios = [](const std::string& q, ResultMap& r) { BIOSConfigModule().ProcessXQuery(q, r); };
  auto bmc = [](const std::string& q, ResultMap& r) { BMCConfigModule().Process(q, r); };
  Recorder<BIOSConfigModule, decltype(bios)> biosRecorder(gRecorded.bios, bios);
  Recorder<BMCConfigModule, decltype(bmc)> bmcRecorder(gRecorded.bmc, bmc);
  ResultMap result;
  PlatformConfigModule::CreateInstance()->ProcessXQuery(kQuery, result);
}

// --- The whole query ---

void BM_PlatformQuery(benchmark::State& state) {
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  for (auto _ : state) {
    ResultMap result;
    module->ProcessXQuery(kQuery, result);
    if (result.count("/Platform/ProcessorInfo/NumberOfPhysicalProcessor") == 0) {
      state.SkipWithError("no processor inventory in the answer (run through sim/run)");
      break;
    }
  }
}
BENCHMARK(BM_PlatformQuery)->Unit(benchmark::kMicrosecond);

// --- SMBIOS ---

void BM_SmbiosAnswers(benchmark::State& state) {
  for (auto _ : state) {
    const QueryScope scope;  // as the module's query asks them
    for (const std::string& query : gRecorded.bios) {
      ResultMap answer;
      BIOSConfigModule().ProcessXQuery(query, answer);
      benchmark::DoNotOptimize(answer.size());
    }
  }
}
BENCHMARK(BM_SmbiosAnswers)->Unit(benchmark::kMicrosecond);

std::string ImagePath() {
  return Ordix::Settings::GetString("SMBIOS", "Image", "");
}

void BM_SmbiosDecodeReference(benchmark::State& state) {
  const std::string path = ImagePath();
  if (DecodeImage(path) == 0) {
    state.SkipWithError("no SMBIOS image named in the settings (run through sim/run)");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(DecodeImage(path));
}
BENCHMARK(BM_SmbiosDecodeReference)->Unit(benchmark::kMicrosecond);

void BM_DmidecodeReference(benchmark::State& state) {
  const std::string command =
      "dmidecode -q -t 4 -t 16 -t 17 --from-dump '" + ImagePath() + "' > /dev/null 2>&1";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("dmidecode is not available");
      break;
    }
  }
}
BENCHMARK(BM_DmidecodeReference)->Unit(benchmark::kMicrosecond);

// --- BMC ---

void BM_BmcAnswers(benchmark::State& state) {
  for (auto _ : state) {
    const QueryScope scope;  // as the module's query asks them
    for (const std::string& query : gRecorded.bmc) {
      ResultMap answer;
      try {
        BMCConfigModule().Process(query, answer);
      } catch (const ResultStatus&) {
        // A sensor the BMC refuses costs its round trip all the same.
      }
      benchmark::DoNotOptimize(answer.size());
    }
  }
}
BENCHMARK(BM_BmcAnswers)->Unit(benchmark::kMicrosecond);

// The IPMI request behind a sensor query: Get Sensor Reading or Get Sensor Event Status.
struct SensorRequest {
  uint8_t command, sensor;
  bool operator<(const SensorRequest& o) const {
    return command != o.command ? command < o.command : sensor < o.sensor;
  }
};

// The distinct requests behind the recorded BMC queries, in the order first asked.
std::vector<SensorRequest> SensorRequests(std::vector<std::string>* unmapped = nullptr) {
  std::vector<SensorRequest> requests;
  std::set<SensorRequest> seen;
  for (const std::string& query : gRecorded.bmc) {
    int sensor = -1;
    char leaf[16] = {};
    if (std::sscanf(query.c_str(), "/BMC/SENSOR[%d]/%15[A-Z]", &sensor, leaf) == 2 && sensor >= 0 &&
        sensor < 256 && (std::string(leaf) == "VALUE" || std::string(leaf) == "PROCEVENT")) {
      const SensorRequest request{static_cast<uint8_t>(leaf[0] == 'V' ? 0x2D : 0x2B),
                                  static_cast<uint8_t>(sensor)};
      if (seen.insert(request).second) requests.push_back(request);
    } else if (unmapped != nullptr) {
      unmapped->push_back(query);
    }
  }
  return requests;
}

void BM_BmcRawReference(benchmark::State& state) {
  const std::vector<SensorRequest> requests = SensorRequests();
  Bench::SimBmcSession session;
  if (!session.open()) {
    state.SkipWithError(session.error());
    return;
  }
  uint8_t reply[64];
  for (auto _ : state) {
    for (const SensorRequest& r : requests) {
      const uint8_t request[] = {r.command, r.sensor};
      if (session.Raw(0x04, request, sizeof request, reply, sizeof reply) < 0) {
        state.SkipWithError(session.error());
        break;
      }
    }
  }
}
BENCHMARK(BM_BmcRawReference)->Unit(benchmark::kMicrosecond);

// --- Workers ---

uint32_t MachinePackages() {
  uint32_t count = 0;
  uint64_t masks[Cpu::kMaxPackages];
  return Cpu::GetLogicalProcessorPackages(&count, masks) == 0 ? count : 0;
}

// As a "/Platform" query uses them, the BMC left out: start (no family, so no sensor is
// asked), one identification per package under the register lock, stop.
void BM_Workers(benchmark::State& state) {
  const uint32_t packages = MachinePackages();
  for (auto _ : state) {
    if (Cpu::StartProcessorWorkers("", packages) != 1) {
      state.SkipWithError("the workers did not start");
      break;
    }
    bool answered = true;
    for (uint32_t p = 0; p < packages; ++p) {
      if (Cpu::PackageLogicalCount(p) == 0) continue;
      const uint32_t worker = Cpu::PackageLogicalNumber(p, 0);
      Sys::NamedLock lock;
      char name[Cpu::kLockNameSize];
      uint32_t result[6];
      answered = answered &&
                 Cpu::AcquireRegisterLock(Cpu::WorkerAffinityMask(worker), &lock, name) == 0 &&
                 Cpu::AskWorkerToIdentify(worker, result) == 0;
      Cpu::ReleaseRegisterLock(&lock, name);
    }
    Cpu::StopProcessorWorkers();
    if (!answered) {
      state.SkipWithError("a worker could not be asked");
      break;
    }
  }
  uint32_t workers = 0;
  Cpu::GetNumberOfLogicalProcessors(&workers);
  state.counters["threads"] = workers;
}
BENCHMARK(BM_Workers)->Unit(benchmark::kMicrosecond);

void BM_PlainThreadsReference(benchmark::State& state) {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  sched_getaffinity(0, sizeof allowed, &allowed);
  std::vector<int> cpus;
  for (int c = 0; c < 64; ++c) {
    if (CPU_ISSET(c, &allowed)) cpus.push_back(c);
  }
  std::vector<std::thread> threads;
  std::vector<std::atomic<uint32_t>> answers(cpus.size());
  for (auto _ : state) {
    threads.clear();
    for (size_t i = 0; i < cpus.size(); ++i) {
      threads.emplace_back([&answers, i, cpu = cpus[i]] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpu, &one);
        pthread_setaffinity_np(pthread_self(), sizeof one, &one);
        answers[i] = static_cast<uint32_t>(sched_getcpu());
      });
    }
    for (std::thread& t : threads) t.join();
    benchmark::DoNotOptimize(answers[0].load());
  }
  state.counters["threads"] = static_cast<double>(cpus.size());
}
BENCHMARK(BM_PlainThreadsReference)->Unit(benchmark::kMicrosecond);

double Ratio(double part, double reference) {
  return reference > 0 ? part / reference : 0.0;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Also the first query, which identifies the platform once for the process.
  RecordSiblingQueries();
  std::vector<std::string> unmapped;
  const size_t requests = SensorRequests(&unmapped).size();

  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto us = [&](const char* name) { return reporter.Microseconds(name); };
  const double query = us("BM_PlatformQuery"), smbios = us("BM_SmbiosAnswers"),
               bmc = us("BM_BmcAnswers"), workers = us("BM_Workers");
  const double raw = us("BM_BmcRawReference"), decode = us("BM_SmbiosDecodeReference"),
               threads = us("BM_PlainThreadsReference");
  if (query > 0) {
    std::printf("\"%s\" on %s: %.1f us per query\n", kQuery, Env("ORDIX_SIM_PROFILE").c_str(),
                query);
    std::printf(
        "  SMBIOS:  %zu BIOS module queries %.1f us (%.0f%% of the query); decoding the "
        "table in process %.2f us, ratio %.1f; dmidecode %.1f us, ratio %.3f\n",
        gRecorded.bios.size(), smbios, 100 * smbios / query, decode, Ratio(smbios, decode),
        us("BM_DmidecodeReference"), Ratio(smbios, us("BM_DmidecodeReference")));
    std::printf(
        "  BMC:     %zu BMC module queries %.1f us (%.0f%%); the %zu distinct requests raw on "
        "an open session %.1f us, ratio %.2f\n",
        gRecorded.bmc.size(), bmc, 100 * bmc / query, requests, raw, Ratio(bmc, raw));
    std::printf(
        "  workers: start, identify, stop %.1f us (%.0f%%); plain pinned threads %.1f "
        "us, ratio %.2f\n",
        workers, 100 * workers / query, threads, Ratio(workers, threads));
    std::printf("  the rest (building and copying the tree, settings, driver): %.1f us (%.0f%%)\n",
                query - smbios - bmc - workers, 100 * (query - smbios - bmc - workers) / query);
    for (const std::string& q : unmapped) std::printf("  (not a sensor request: %s)\n", q.c_str());
    const double floor = raw + decode + threads;
    std::printf(
        "  against its floor (%zu raw round trips %.1f us + decoding %.1f us + plain pinned "
        "threads %.1f us = %.1f us): ratio %.2f (goal <= %.1f)\n",
        requests, raw, decode, threads, floor, Ratio(query, floor), kGoalPlatformToFloor);
  }
  benchmark::Shutdown();
  return 0;
}

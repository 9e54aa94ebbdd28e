// Cost of the memory inventory ("/Platform/MemoryTopology": SMBIOS only, no BMC request) at 16
// slots (the simulated two-socket server bench/run starts with sim/run) and at 256 (the
// many-slot image in its place), each against reading and decoding
// the same table in process; whether the cost per slot stays flat as slots grow; and a fresh
// platformq process answering it against a fresh dmidecode process reading the same image's
// arrays and devices. Printed as "ratio X (goal <= Y)".

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "CollectingReporter.h"
#include "ImageDecode.h"
#include "PlatformConfigModule.h"

extern char** environ;

namespace {

using Module::PlatformConfig::PlatformConfigModule;

constexpr const char* kQuery = "/Platform/MemoryTopology";
constexpr int kSmallSlots = 16;
constexpr int kLargeSlots = 256;
// The query may cost this much more than decoding its table in process.
constexpr double kGoalInventoryToDecode = 10.0;
// The cost of each slot past the sixteenth, against the average slot's at sixteen.
constexpr double kGoalMarginalSlot = 1.0;
// A fresh platformq against a fresh dmidecode.
constexpr double kGoalFreshToDmidecode = 1.0;

constexpr const char* kSettingsFile = "OrdixServMgmtSettings.ini";
constexpr const char* kImageKey = "Image=";

// The settings directories, one per image size: sim/run's own (the two-socket server, its EFI
// variables and BMC, which the module needs to identify the board) and a copy of it that names
// the many-slot image instead; and the images they name.
struct Configs {
  std::string smallDir, largeDir, smallImage, largeImage = SIM_DIR "/quirks/many-slots/smbios.bin";
};
Configs gConfigs;

// Makes the many-slot copy of sim/run's settings; false when there is none to copy.
bool MakeConfigs() {
  const char* dir = std::getenv("ORDIX_CONFIG_DIR");
  if (dir == nullptr) return false;
  gConfigs.smallDir = dir;
  std::ifstream in(gConfigs.smallDir + "/" + kSettingsFile);
  char largeDir[] = "/tmp/memory_inventory_bench.XXXXXX";
  if (!in || mkdtemp(largeDir) == nullptr) return false;
  gConfigs.largeDir = largeDir;
  std::ofstream out(gConfigs.largeDir + "/" + kSettingsFile);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(kImageKey, 0) == 0) {
      gConfigs.smallImage = line.substr(std::string(kImageKey).size());
      line = kImageKey + gConfigs.largeImage;
    }
    out << line << "\n";
  }
  return !gConfigs.smallImage.empty();
}

void RemoveConfigs() {
  if (gConfigs.largeDir.empty()) return;
  std::remove((gConfigs.largeDir + "/" + kSettingsFile).c_str());
  rmdir(gConfigs.largeDir.c_str());
}

const std::string& ConfigDir(int slots) {
  return slots == kSmallSlots ? gConfigs.smallDir : gConfigs.largeDir;
}
const std::string& Image(int slots) {
  return slots == kSmallSlots ? gConfigs.smallImage : gConfigs.largeImage;
}

std::string SlotCount(const ResultMap& answer) {
  auto it = answer.find(std::string(kQuery) + "/NumberOfElements");
  return it == answer.end() || it->second.list.empty() ? "" : it->second.list.front();
}

void BM_Inventory(benchmark::State& state) {
  const int slots = static_cast<int>(state.range(0));
  setenv("ORDIX_CONFIG_DIR", ConfigDir(slots).c_str(), 1);
  PlatformConfigModule* module = PlatformConfigModule::CreateInstance();
  for (auto _ : state) {
    ResultMap answer;
    module->ProcessXQuery(kQuery, answer);
    if (SlotCount(answer) != std::to_string(slots)) {
      state.SkipWithError("the inventory does not list the image's slots");
      break;
    }
  }
}
BENCHMARK(BM_Inventory)->Arg(kSmallSlots)->Arg(kLargeSlots)->Unit(benchmark::kMicrosecond);

void BM_DecodeReference(benchmark::State& state) {
  const std::string image = Image(static_cast<int>(state.range(0)));
  if (Bench::DecodeImage(image) == 0) {
    state.SkipWithError("no SMBIOS image (build the sim_smbios_images target)");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(Bench::DecodeImage(image));
}
BENCHMARK(BM_DecodeReference)->Arg(kSmallSlots)->Arg(kLargeSlots)->Unit(benchmark::kMicrosecond);

// Runs a program with its output thrown away; whether it exited 0.
bool RunQuietly(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

void BM_FreshPlatformq(benchmark::State& state) {
  const int slots = static_cast<int>(state.range(0));
  const std::vector<std::string> args = {PLATFORMQ, "--config-dir", ConfigDir(slots), kQuery};
  for (auto _ : state) {
    if (!RunQuietly(args)) {
      state.SkipWithError("platformq did not answer");
      break;
    }
  }
}
BENCHMARK(BM_FreshPlatformq)->Arg(kSmallSlots)->Arg(kLargeSlots)->Unit(benchmark::kMicrosecond);

void BM_FreshDmidecodeReference(benchmark::State& state) {
  const std::vector<std::string> args = {"dmidecode", "-t16", "-t17", "--from-dump",
                                         Image(static_cast<int>(state.range(0)))};
  for (auto _ : state) {
    if (!RunQuietly(args)) {
      state.SkipWithError("dmidecode is not available");
      break;
    }
  }
}
BENCHMARK(BM_FreshDmidecodeReference)
    ->Arg(kSmallSlots)
    ->Arg(kLargeSlots)
    ->Unit(benchmark::kMicrosecond);

double Ratio(double part, double reference) {
  return reference > 0 ? part / reference : 0.0;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (!MakeConfigs()) {
    std::fprintf(stderr, "no settings file naming an SMBIOS image (run through bench/run)\n");
    RemoveConfigs();
    return 1;
  }
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto us = [&](const char* name, int slots) {
    return reporter.Microseconds(std::string(name) + "/" + std::to_string(slots));
  };
  for (int slots : {kSmallSlots, kLargeSlots}) {
    const double query = us("BM_Inventory", slots), decode = us("BM_DecodeReference", slots);
    if (query > 0 && decode > 0) {
      std::printf(
          "\"%s\", %d slots: %.1f us per query; reading and decoding the table in process "
          "%.1f us: ratio %.2f (goal <= %.1f)\n",
          kQuery, slots, query, decode, Ratio(query, decode), kGoalInventoryToDecode);
    }
    const double fresh = us("BM_FreshPlatformq", slots);
    const double dmidecode = us("BM_FreshDmidecodeReference", slots);
    if (fresh > 0 && dmidecode > 0) {
      std::printf(
          "  a fresh platformq %s, %d slots: %.0f us; a fresh dmidecode -t16 -t17 on the same "
          "image %.0f us: ratio %.2f (goal <= %.1f)\n",
          kQuery, slots, fresh, dmidecode, Ratio(fresh, dmidecode), kGoalFreshToDmidecode);
    }
  }
  const double small = us("BM_Inventory", kSmallSlots), large = us("BM_Inventory", kLargeSlots);
  if (small > 0 && large > 0) {
    const double perSlot = small / kSmallSlots;
    const double marginal = (large - small) / (kLargeSlots - kSmallSlots);
    std::printf(
        "  per slot: %.2f us at %d slots, each further slot up to %d %.2f us: ratio %.2f "
        "(goal <= %.1f)\n",
        perSlot, kSmallSlots, kLargeSlots, marginal, Ratio(marginal, perSlot), kGoalMarginalSlot);
  }
  RemoveConfigs();
  benchmark::Shutdown();
  return 0;
}

// The Linux side: cancellation, affinity, the lock across processes, and the readers of /sys,
// /proc and the settings file on recorded copies.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <bitset>
#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "TempDir.h"
#include "TextParsers.h"
#include "sys/Event.h"
#include "sys/NamedLock.h"
#include "sys/Process.h"
#include "sys/ProcessorTime.h"
#include "sys/ProcessorTopology.h"
#include "sys/SettingsFile.h"
#include "sys/Thread.h"

namespace {

using namespace Sys;
using TestSupport::TempDir;

std::vector<unsigned> ProcessCpus() {
  uint64_t process = 0;
  uint64_t system = 0;
  EXPECT_TRUE(GetProcessAffinityMask(process, system));
  std::vector<unsigned> cpus;
  for (unsigned b = 0; b < 64; ++b) {
    if ((process >> b) & 1u) cpus.push_back(b);
  }
  return cpus;
}

// A worker that spins for busyMs (no cancellation point), then waits; a guard on its stack
// tells whether the cancellation unwound it.
struct Worker {
  int busyMs = 0;
  Event request = Event::CreateManualReset();
  std::atomic<uint32_t> tid{0};
  std::atomic<bool> reachedWait{false}, passedWait{false}, unwound{false};

  static uint32_t Main(void* parameter) {
    auto* self = static_cast<Worker*>(parameter);
    struct Guard {
      Worker* w;
      ~Guard() { w->unwound = true; }
    } guard{self};
    self->tid = static_cast<uint32_t>(::gettid());
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(self->busyMs);
    while (std::chrono::steady_clock::now() < end) {
    }
    self->reachedWait = true;
    self->request.Wait(Event::kInfinite);
    self->passedWait = true;
    return 0;
  }
};

TEST(PosixThread, TerminateCancelsAtTheWaitUnwindsAndReapsTheThread) {
  for (int busyMs : {0, 150}) {
    Worker worker;
    worker.busyMs = busyMs;
    Thread thread = Thread::Create(&Worker::Main, &worker);
    ASSERT_TRUE(thread.IsValid());
    while (worker.tid == 0) std::this_thread::yield();
    EXPECT_EQ(thread.Id(), worker.tid) << "Id is the kernel tid";
    const std::string task = "/proc/self/task/" + std::to_string(thread.Id());
    EXPECT_TRUE(std::filesystem::exists(task));
    if (busyMs == 0) {
      while (!worker.reachedWait) std::this_thread::yield();
    }
    thread.Terminate(static_cast<uint32_t>(-1));  // the busy one is still spinning here
    // Joined, the thread has ended; the kernel may drop its entry a moment later (well within
    // the 150 ms an unjoined busy one would still spin).
    for (int ms = 0; ms < 50 && std::filesystem::exists(task); ++ms) Sys::SleepMilliseconds(1);
    EXPECT_FALSE(std::filesystem::exists(task)) << busyMs;
    EXPECT_TRUE(worker.reachedWait) << busyMs;  // deferred: the busy loop ran to its end
    EXPECT_FALSE(worker.passedWait) << busyMs;
    EXPECT_TRUE(worker.unwound) << busyMs;
  }
}

// Runs on the pinned thread once started: where it runs.
struct Where {
  Event go = Event::CreateManualReset();
  Event done = Event::CreateManualReset();
  std::atomic<int> cpu{-1};

  static uint32_t Main(void* parameter) {
    auto* self = static_cast<Where*>(parameter);
    self->go.Wait(Event::kInfinite);
    self->cpu = ::sched_getcpu();
    self->done.Set();
    self->go.Reset();
    self->go.Wait(Event::kInfinite);  // ended here
    return 0;
  }
};

TEST(PosixThread, PinnedThreadsRunOnTheirProcessor) {
  uint64_t process = 0;
  uint64_t system = 0;
  ASSERT_TRUE(GetProcessAffinityMask(process, system));
  EXPECT_NE(process, 0u);
  EXPECT_EQ(process & system, process);
  const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
  if (online < 64) {
    EXPECT_EQ(static_cast<long>(std::bitset<64>(system).count()), online);
  }

  for (unsigned cpu : ProcessCpus()) {
    Where where;
    Thread thread = Thread::Create(&Where::Main, &where);
    ASSERT_TRUE(thread.SetAffinity(uint64_t{1} << cpu));
    where.go.Set();
    ASSERT_EQ(where.done.Wait(5000), Event::WaitResult::Signalled);
    EXPECT_EQ(where.cpu, static_cast<int>(cpu));
    EXPECT_FALSE(thread.SetAffinity(0));

    std::thread([cpu] {
      EXPECT_TRUE(SetCurrentThreadAffinity(uint64_t{1} << cpu));
      EXPECT_EQ(::sched_getcpu(), static_cast<int>(cpu));
    }).join();
  }
}

TEST(PosixThread, CpuListParsing) {
  for (auto [text, expected] : std::vector<std::pair<const char*, uint64_t>>{
           {"0\n", 0x1}, {"0-3", 0xF}, {"0-1,4,6-7\n", 0xD3}, {"2,63-70", (1ull << 63) | 4}}) {
    uint64_t mask = 0;
    EXPECT_TRUE(Posix::ParseCpuList(text, mask)) << text;
    EXPECT_EQ(mask, expected) << text;
  }
  for (const char* text : {"", "\n", "0-", "3-1", "0,,1", "0,", "a", "0 1", "-1"}) {
    uint64_t mask = 99;
    EXPECT_FALSE(Posix::ParseCpuList(text, mask)) << text;
  }
}

// A holder in another process, and its end freeing the lock, are the register lock's tests.
TEST(PosixNamedLock, NamesAreBoundedByTheAbstractSocketAddress) {
  NamedLock::Outcome outcome{};
  NamedLock::Create(std::string(107, 'n'), outcome);
  EXPECT_EQ(outcome, NamedLock::Outcome::Created);
  for (const std::string& bad : {std::string(108, 'n'), std::string()}) {
    EXPECT_FALSE(NamedLock::Create(bad, outcome).IsValid());
    EXPECT_EQ(outcome, NamedLock::Outcome::Failed);
  }
}

// Readers pointed at a recorded tree for the life of the object.
class Recorded : public ::testing::Test {
 protected:
  void SetUp() override { SetSourceRoot(root.Path()); }
  void TearDown() override { SetSourceRoot(""); }
  void Package(const std::string& cpuDir, const std::string& content) {
    root.Write("sys/devices/system/cpu/" + cpuDir + "/topology/physical_package_id", content);
  }
  TempDir root;
};

TEST_F(Recorded, PackagesInIdOrderSkippingGapsMissingGarbageAndHighCpus) {
  EXPECT_EQ(SourcePath("/proc/stat"), root.Path() + "/proc/stat");
  std::vector<uint64_t> masks{7, 7};
  EXPECT_EQ(GetProcessorPackageMasks(masks, 64), kPackagesUnsupported);  // no tree
  EXPECT_TRUE(masks.empty());
  root.MakeDir("sys/devices/system/cpu/cpu0/topology");  // offline: no file
  Package("cpu1", "zero\n");
  Package("cpu2", "1 2\n");
  Package("cpu3", "");
  EXPECT_EQ(GetProcessorPackageMasks(masks, 64), kPackagesUnsupported);

  Package("cpu4", "1\n");
  Package("cpu9", "0\n");
  Package("cpu10", "1");
  Package("cpu63", "0\n");
  Package("cpu64", "0\n");    // not representable
  Package("cpu70", "5\n");    // nor is a package made only of such CPUs
  Package("cpufreq", "3\n");  // not a processor
  Package("cpu5x", "3\n");
  EXPECT_EQ(GetProcessorPackageMasks(masks, 64), kPackagesOk);
  EXPECT_EQ(masks, (std::vector<uint64_t>{(1ull << 63) | (1u << 9), (1u << 10) | (1u << 4)}));
  EXPECT_EQ(GetProcessorPackageMasks(masks, 1), kPackagesOk);
  EXPECT_EQ(masks, (std::vector<uint64_t>{(1ull << 63) | (1u << 9)}));
}

TEST(LiveTopology, PackagesCoverTheProcessMask) {
  EXPECT_EQ(SourcePath("/proc/stat"), "/proc/stat");
  std::vector<uint64_t> masks;
  ASSERT_EQ(GetProcessorPackageMasks(masks, 64), kPackagesOk);
  uint64_t all = 0;
  for (uint64_t m : masks) {
    EXPECT_EQ(all & m, 0u) << "packages do not overlap";
    all |= m;
  }
  for (unsigned cpu : ProcessCpus()) EXPECT_TRUE((all >> cpu) & 1u) << cpu;
}

const char* const kStat =
    "cpu  900 0 90 9000 9 0 0 0 0 0\n"
    "cpu0 10 20 30 400 50 6 7 8 100 200\n"
    "cpu1 1 2 3\n"
    "cpu12 1 2 3 4\n"
    "cpu3 1 2 x 4 5\n"
    "cpu4 1 2 3 -4 5\n"
    "intr 1 2 3\n";

TEST(ProcStat, CpuLinesCounterPathsAndBusyShare) {
  using Times = std::optional<std::pair<uint64_t, uint64_t>>;  // total, idle
  for (auto [cpu, expected] : std::vector<std::pair<unsigned, Times>>{
           {0, std::pair{531u, 450u}},  // guest fields not added again
           {12, std::pair{10u, 4u}},    // an old kernel's four fields
           {1, std::nullopt},           // short
           {2, std::nullopt},           // absent ("cpu12" is not cpu1 or cpu2)
           {3, std::nullopt},
           {4, std::nullopt},
           {5, std::nullopt}}) {
    Posix::CpuTimes t;
    const bool ok = Posix::ParseProcStatCpu(kStat, cpu, t);
    EXPECT_EQ(ok ? Times(std::pair{t.total, t.idle}) : std::nullopt, expected) << cpu;
  }

  unsigned cpu = 0;
  EXPECT_TRUE(Posix::ParseProcessorCounterPath("\\Processor(17)\\% Processor Time", cpu));
  EXPECT_EQ(cpu, 17u);
  for (const char* path :
       {"\\Processor(_Total)\\% Processor Time", "\\Processor()\\% Processor Time",
        "\\Processor(-1)\\% Processor Time", "\\Processor( 1)\\% Processor Time",
        "\\Processor(1)\\% Idle Time", "\\Processor(1)\\% Processor Time ",
        "Processor(1)\\% Processor Time", "\\Processor(12345678901)\\% Processor Time", ""}) {
    EXPECT_FALSE(Posix::ParseProcessorCounterPath(path, cpu)) << path;
  }

  using Share = std::optional<double>;
  for (auto [first, second, expected] :
       std::vector<std::tuple<Posix::CpuTimes, Posix::CpuTimes, Share>>{
           {{1000, 800}, {1400, 1100}, 25.0},
           {{1000, 800}, {1100, 800}, 100.0},
           {{1000, 800}, {1100, 750}, 100.0},  // idle stepped back: clamped
           {{1000, 800}, {1100, 950}, 0.0},    // idle grew more than total: clamped
           {{1000, 800}, {1000, 800}, std::nullopt},
           {{1000, 800}, {900, 700}, std::nullopt}}) {
    double percent = -1;
    const bool ok = Posix::BusyPercent(first, second, percent);
    EXPECT_EQ(ok ? Share(percent) : std::nullopt, expected) << first.total << " " << second.total;
  }
}

TEST_F(Recorded, ProcessorTimeQueryNeedsTwoCollectionsThatMoved) {
  root.Write("proc/stat", kStat);
  ProcessorTimeQuery query;
  const std::string cpu0 = "\\Processor(0)\\% Processor Time";
  EXPECT_FALSE(query.AddCounter(cpu0));  // not open
  ASSERT_TRUE(query.Open());
  EXPECT_FALSE(query.AddCounter("\\Processor(2)\\% Processor Time"));  // no such processor
  EXPECT_FALSE(query.AddCounter("\\Processor(1)\\% Processor Time"));  // unreadable line
  ASSERT_TRUE(query.AddCounter(cpu0));
  double percent = -1;
  EXPECT_FALSE(query.GetFormattedValue(percent));
  ASSERT_TRUE(query.Collect());
  EXPECT_FALSE(query.GetFormattedValue(percent));
  root.Write("proc/stat", "cpu0 110 20 30 480 70 6 7 8 100 200\n");  // +100, idle +100
  ASSERT_TRUE(query.Collect());
  ASSERT_TRUE(query.GetFormattedValue(percent));
  EXPECT_DOUBLE_EQ(percent, 50.0);
  ASSERT_TRUE(query.Collect());                    // nothing moved
  EXPECT_FALSE(query.GetFormattedValue(percent));  // zero delta
  ProcessorTimeQuery moved(std::move(query));
  EXPECT_FALSE(query.Collect());
  moved.RemoveCounter();
  EXPECT_FALSE(moved.Collect());
  root.Write("proc/stat", "");
  EXPECT_FALSE(moved.AddCounter(cpu0));
  moved.Close();
}

TEST(SettingsFile, IntegersWrapLikeTheUnsignedProfileReaderAndFallBack) {
  TempDir dir;
  TestSupport::ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  EXPECT_EQ(GetSettingsInt("MSRObjectTimeouts", "PollInterval", 10), 10u);  // no file
  dir.Write("OrdixServMgmtSettings.ini",
            "[MSRObjectTimeouts]\nPollInterval = 31\nPollAttempts=-1\nOther = many\n");
  EXPECT_EQ(GetSettingsInt("MSRObjectTimeouts", "PollInterval", 10), 31u);
  EXPECT_EQ(GetSettingsInt("MSRObjectTimeouts", "PollAttempts", 50), 0xFFFFFFFFu);
  EXPECT_EQ(GetSettingsInt("MSRObjectTimeouts", "Other", 50), 50u);
  EXPECT_EQ(GetSettingsInt("MSRObjectTimeouts", "Missing", 0xFFFFFFFEu), 0xFFFFFFFEu);
  EXPECT_EQ(GetSettingsInt("Elsewhere", "PollInterval", 7), 7u);
}

}  // namespace

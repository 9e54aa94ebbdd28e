// The processor component with its routines compiled in, on a machine the test scripts
// (FakeMachine.h): which processors the process may run on, what their identification
// registers say, and the faults of starting, pinning and waiting. The component builds
// "/Platform/ProcessorInfo" into a tree of its own, as the data manager has it do.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>

#include "FakeMachine.h"
#include "FakeSiblings.h"
#include "LogCapture.h"
#include "SimulatedServer.h"
#include "processor/ProcessorImpl.h"

namespace {

using namespace Module::PlatformConfig;
using namespace ProcessorTest;
using LoggedErrors = std::vector<TestSupport::LoggedError>;
using Clock = std::chrono::steady_clock;

constexpr const char* kInfo = "/Platform/ProcessorInfo";
constexpr const char* kFill = "Module::PlatformConfig::Processor::FillProcessorInfoMap";
const TestSupport::LoggedError kIdentityFailed{".\\ProcessorImpl", kFill, 226, 1031};

std::string Value(const NodeTree& tree, const std::string& path) {
  auto it = tree.find(path);
  if (it == tree.end() || !it->second) return "<absent>";
  return it->second->list.empty() ? "<empty>" : it->second->list.front();
}

std::string Package(int k, const std::string& leaf) {
  return std::string(kInfo) + "/PhysicalProcessorInfo[" + std::to_string(k) + "]/" + leaf;
}

long MillisecondsSince(Clock::time_point start) {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

size_t Entries(const char* dir) {
  size_t n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir)) ++n;
  return n;
}

// On board R7100QTN, whose family watches sockets 1-4 through sensors 90h-93h (throttling
// C0h-C3h): the scripted machine, with `sockets` sockets fitted and reporting no state, and
// the operating system's packages as `packages` groups the processors.
class ScriptedMachine : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetMachine();
    Machine().scripted = true;
  }
  void TearDown() override {
    StopProcessorWorkers();
    ResetMachine();
  }
  void Fit(int sockets, const std::vector<std::vector<int>>& packages) {
    smbios_.reset();  // each restores what it replaced: the old ones go first
    topology_.reset();
    smbios_ = std::make_unique<FakeSockets>(std::vector<std::string>(sockets, "Populated: Yes"));
    topology_ = std::make_unique<RecordedTopology>(packages, "");
    for (int s = 0; s < 4; ++s) {
      const int present = s < sockets ? 0x80 : 0x00;
      bmc_.events[0x90 + s] = {0xC0, present};
      bmc_.readings[0x90 + s] = {0x00, 0xC0, present};
      bmc_.events[0xC0 + s] = {0x00};
    }
  }
  NodeTree Build() {
    NodeTree tree;
    Processor().Initialize(tree);
    return tree;
  }

  PlatformTest::SimulatedServer server_{"board-table-hit"};
  FakeSensors bmc_;
  std::unique_ptr<FakeSockets> smbios_;
  std::unique_ptr<RecordedTopology> topology_;
};

TEST_F(ScriptedMachine, ProcessorTypeNamesOneTwoOrFourCoresHalvedUnderHyperThreading) {
  const struct {
    int logical;  // processors in the package
    bool ht;
    uint32_t cores;  // per package, as the registers say
    const char* type;
    const char* htEnabled;
  } rows[] = {
      {1, false, 1, "SingleCore", "FALSE"},
      {2, false, 2, "DualCore", "FALSE"},
      {3, false, 3, "", "FALSE"},
      {4, false, 4, "QuadCore", "FALSE"},
      {5, false, 5, "", "FALSE"},
      {6, false, 6, "", "FALSE"},
      {8, false, 8, "", "FALSE"},
      {2, true, 1, "SingleCore", "TRUE"},
      {4, true, 2, "DualCore", "TRUE"},
      {6, true, 3, "", "TRUE"},
      {8, true, 4, "QuadCore", "TRUE"},
      // Capable, not enabled: one logical processor per core.
      {4, true, 4, "QuadCore", "FALSE"},
  };
  for (const auto& row : rows) {
    const std::string name = std::to_string(row.logical) + (row.ht ? " with HT" : "");
    Machine().affinity = (uint64_t{1} << row.logical) - 1;
    Machine().processor = {6, 5, 3, row.ht, static_cast<uint32_t>(row.logical), row.cores, 0};
    std::vector<int> cpus(static_cast<size_t>(row.logical));
    for (int c = 0; c < row.logical; ++c) cpus[static_cast<size_t>(c)] = c;
    Fit(1, {cpus});
    TestSupport::LogCapture log;
    const NodeTree tree = Build();
    EXPECT_TRUE(log.Records().empty()) << name;
    EXPECT_EQ(Value(tree, Package(1, "ProcessorType")), row.type) << name;
    EXPECT_EQ(Value(tree, Package(1, "IsHTSupported")), row.ht ? "TRUE" : "FALSE") << name;
    EXPECT_EQ(Value(tree, Package(1, "IsHTEnabled")), row.htEnabled) << name;
    EXPECT_EQ(Value(tree, Package(1, "IsMultiCoreSupported")), row.cores > 1 ? "TRUE" : "FALSE")
        << name;
    EXPECT_EQ(Value(tree, Package(1, "ProcessorStepping")), "3") << name;
    EXPECT_EQ(Value(tree, Package(1, "TotalNoOfLogicalProcessors")), std::to_string(row.logical))
        << name;
    const std::string last = "LogicalProcessorNumbers[" + std::to_string(row.logical) + "]";
    EXPECT_EQ(Value(tree, Package(1, last)), std::to_string(row.logical)) << name;
  }
}

// Logical processor w is the w-th set bit of the affinity, gaps and all.
TEST_F(ScriptedMachine, WorkersArePinnedToTheSetBitsOfTheAffinity) {
  Machine().affinity = 0b101;
  Fit(2, {{0}, {2}});
  const NodeTree tree = Build();
  EXPECT_EQ(Value(tree, std::string(kInfo) + "/NumberOfLogicalProcessor"), "2");
  EXPECT_EQ(Value(tree, Package(1, "LogicalProcessorNumbers[1]")), "1");
  EXPECT_EQ(Value(tree, Package(2, "LogicalProcessorNumbers[1]")), "2");
  EXPECT_EQ(Value(tree, Package(2, "TotalNoOfLogicalProcessors")), "1");
  std::vector<uint64_t> themselves = Machine().pinnedThemselves;
  std::sort(themselves.begin(), themselves.end());
  EXPECT_EQ(Machine().pinned, (std::vector<uint64_t>{1, 4}));
  EXPECT_EQ(themselves, (std::vector<uint64_t>{1, 4}));
}

// The sockets are counted, then nothing more is said, and nothing is reported.
TEST_F(ScriptedMachine, WorkersThatCannotStartLeaveOnlyTheSocketCount) {
  const struct {
    const char* name;
    bool readable;
    uint64_t affinity, failPinning;
  } rows[] = {{"no affinity", false, 0b1, 0},
              {"no processor", true, 0, 0},
              {"a worker not pinned", true, 0b11, 0b10}};
  for (const auto& row : rows) {
    Machine().affinityReadable = row.readable;
    Machine().affinity = row.affinity;
    Machine().failPinning = row.failPinning;
    Fit(1, {{0, 1}});
    TestSupport::LogCapture log;
    const NodeTree tree = Build();
    EXPECT_EQ(Value(tree, std::string(kInfo) + "/NumberOfPhysicalProcessor"), "1") << row.name;
    for (const std::string& path :
         {std::string(kInfo) + "/NumberOfLogicalProcessor", Package(1, "ProcessorType"),
          std::string(kInfo) + "/PhysicalProcessorStatus[1]"}) {
      EXPECT_EQ(Value(tree, path), "<absent>") << row.name;
    }
    EXPECT_TRUE(log.Records().empty()) << row.name;
  }
}

TEST_F(ScriptedMachine, AFailedStartEndsTheWorkersItStarted) {
  Machine().affinity = 0b111;
  Machine().failPinning = 0b100;
  const size_t threads = Entries("/proc/self/task"), descriptors = Entries("/proc/self/fd");
  EXPECT_EQ(StartProcessorWorkers("", 1), 0u);
  EXPECT_EQ(Machine().pinned.size(), 3u);  // two workers were running
  EXPECT_EQ(Entries("/proc/self/task"), threads);
  EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
}

TEST_F(ScriptedMachine, WorkersServeIdentificationAndRefuseOtherRequests) {
  Machine().affinity = 0b11;
  Machine().processor = {6, 5, 3, true, 2, 1, 0};
  ASSERT_EQ(StartProcessorWorkers("", 1), 1u);
  uint32_t result[6] = {};
  EXPECT_EQ(AskWorker(1, kRequestIdentify, result), kOk);
  EXPECT_EQ(std::vector<uint32_t>(result, result + 6), (std::vector<uint32_t>{1, 1, 0, 6, 5, 3}));
  for (const uint32_t code : {0u, 3u, 5u}) EXPECT_EQ(AskWorker(1, code, result), kFailed) << code;
  EXPECT_EQ(AskWorker(2, kRequestIdentify, result), kFailed);  // no such worker
}

// A worker that does not answer within 2000 ms fails its package's identification; the rest
// of the branch is answered.
TEST_F(ScriptedMachine, AnAskerWaitsTwoSecondsForTheAnswer) {
  Machine().affinity = 0b1;
  Machine().processor.answerDelayMs = 4000;
  Fit(1, {{0}});
  TestSupport::LogCapture log;
  const Clock::time_point start = Clock::now();
  const NodeTree tree = Build();
  EXPECT_GE(MillisecondsSince(start), 1990);
  EXPECT_EQ(log.Errors(), LoggedErrors{kIdentityFailed});
  EXPECT_EQ(Value(tree, std::string(kInfo) + "/PhysicalProcessorStatus[1]/SensorNumber"), "90");
}

// A worker whose own wait fails answers once more, with a failure: its asker is not left to
// wait out the time-out.
TEST_F(ScriptedMachine, AWorkerWhoseWaitFailsReleasesItsAsker) {
  Machine().affinity = 0b1;
  Machine().workerWaitsFail = true;
  Fit(1, {{0}});
  TestSupport::LogCapture log;
  const Clock::time_point start = Clock::now();
  Build();
  EXPECT_LT(MillisecondsSince(start), 1500);
  EXPECT_EQ(log.Errors(), LoggedErrors{kIdentityFailed});
}

// Usage by logical processor index, named one above it.
TEST_F(ScriptedMachine, UsageOfALogicalProcessor) {
  Machine().scripted = false;  // the live counters of this machine's first processor
  ASSERT_EQ(StartProcessorWorkers("", 1), 1u);
  StopProcessorWorkers();  // the workers' count stays for the usage reader
  NodeTree tree;
  TestSupport::LogCapture log;
  Processor().GetUsage(0, tree);
  Processor().GetUsage(1000, tree);
  const std::string usage =
      Value(tree, std::string(kInfo) + "/LogicalProcessor[1]/LogicalProcessorUsage");
  EXPECT_EQ(usage.size() - usage.find('.'), 7u) << usage;  // "%f"
  EXPECT_EQ(Value(tree, std::string(kInfo) + "/LogicalProcessor[1001]"),
            "ERROR_GET_LOGICAL_PROCESSOR_USAGE");
  EXPECT_EQ(log.Errors(),
            (LoggedErrors{
                {".\\ProcessorImpl", "Module::PlatformConfig::Processor::GetUsage", 331, 1033}}));
}

}  // namespace

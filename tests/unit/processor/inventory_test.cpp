// "/Platform/ProcessorInfo" through the data manager: sockets from scripted SMBIOS answers,
// packages from a recorded sysfs tree, identification by the real pinned workers of this
// process, status from scripted sensors; usage from the live or a recorded /proc/stat.
#include <gtest/gtest.h>
#include <sched.h>

#include <cstdlib>

#include "FakeSiblings.h"
#include "LogCapture.h"
#include "PlatformConfigMgr.h"
#include "SimulatedServer.h"

namespace {

using namespace Module::PlatformConfig;
using ProcessorTest::FakeSensors;
using ProcessorTest::FakeSockets;
using Strings = std::vector<std::string>;
using TestSupport::LoggedError;

constexpr const char* kInfo = "/Platform/ProcessorInfo";

std::vector<int> AllCpus() {
  std::vector<int> cpus;
  for (int c = 0; c < 64; ++c) cpus.push_back(c);
  return cpus;
}

// Logical processors the workers run on: the CPUs this process may use (at most 64).
uint32_t WorkerCount() {
  cpu_set_t set;
  CPU_ZERO(&set);
  sched_getaffinity(0, sizeof set, &set);
  uint32_t n = 0;
  for (int c = 0; c < 64; ++c) n += CPU_ISSET(c, &set) ? 1 : 0;
  return n;
}

ResultMap Ask(PlatformConfigMgr& mgr, const std::string& query) {
  ResultMap result;
  mgr.ResolveQuery(query, result);
  return result;
}

std::string Value(const ResultMap& r, const std::string& path) {
  auto it = r.find(path);
  return it == r.end() ? "<absent>" : it->second.list.empty() ? "<empty>" : it->second.list[0];
}

// Board R7100QTN: its family watches sockets through sensors 90h-93h (throttling C0h-C3h).
struct KarvoServer {
  PlatformTest::SimulatedServer server{"board-table-hit"};
  FakeSensors bmc;
  KarvoServer() {
    bmc.events = {{0x90, {0xC0, 0x82}},
                  {0x91, {0xC0, 0x00}},
                  {0x92, {0xC0, 0x00}},
                  {0x93, {0xC0, 0x00}},
                  {0xC0, {0x00}}};
    bmc.readings = {{0x90, {0x00, 0xC3, 0x82}}};
  }
};

TEST(ProcessorInventory, SocketsKeepTheirTableIndexWhilePackagesCountFromOne) {
  KarvoServer karvo;
  FakeSockets sockets({"Populated: No, Unknown", "Populated: Yes, Enabled", "populated: yes"});
  ProcessorTest::RecordedTopology machine({AllCpus()}, "");
  PlatformConfigMgr mgr("");
  TestSupport::LogCapture log;
  const ResultMap r = Ask(mgr, kInfo);
  EXPECT_TRUE(log.Records().empty());

  // The integration checks hold every leaf to independent readings; these are the numbering.
  EXPECT_EQ(Value(r, std::string(kInfo) + "/PhysicalProcessorInfo[2]/ProcessorFamily"),
            "ProcessorFamily 2");
  EXPECT_EQ(r.count(std::string(kInfo) + "/PhysicalProcessorInfo[3]"), 0u);  // "populated: yes"
  EXPECT_EQ(Value(r, std::string(kInfo) + "/NumberOfPhysicalProcessor"), "1");
  const std::string workers = std::to_string(WorkerCount());
  EXPECT_EQ(Value(r, std::string(kInfo) + "/NumberOfLogicalProcessor"), workers);
  EXPECT_EQ(Value(r, std::string(kInfo) + "/PhysicalProcessorInfo[1]/TotalNoOfLogicalProcessors"),
            workers);
  EXPECT_EQ(Value(r, std::string(kInfo) + "/PhysicalProcessorStatus[1]/ThermalTrip"), "1");
}

TEST(ProcessorInventory, FailuresAreReportedPerPackageAndTheRestIsAnswered) {
  KarvoServer karvo;
  // The BMC sees two sockets, SMBIOS two; the OS counts three packages: nobody is grouped,
  // so neither package can be identified; their status still is.
  karvo.bmc.events[0x91] = {0xC0, 0x80};
  karvo.bmc.readings[0x91] = {0x00, 0xC0, 0x80};
  karvo.bmc.events[0xC1] = {0x00};
  FakeSockets sockets({"Populated: Yes", "Populated: Yes"});
  ProcessorTest::RecordedTopology machine({{0}, {1}, {2}}, "");
  PlatformConfigMgr mgr("");
  const auto site = [](int line, int code) {
    return LoggedError{".\\ProcessorImpl",
                       "Module::PlatformConfig::Processor::FillProcessorInfoMap", line, code};
  };
  {
    TestSupport::LogCapture log;
    const ResultMap r = Ask(mgr, kInfo);
    EXPECT_EQ(log.Errors(), (std::vector<LoggedError>{site(226, 1031), site(226, 1031)}));
    EXPECT_EQ(r.count(std::string(kInfo) + "/PhysicalProcessorInfo[1]/IsHTSupported"), 0u);
    EXPECT_EQ(Value(r, std::string(kInfo) + "/PhysicalProcessorStatus[2]/SensorNumber"), "91");
  }
  {
    // A controller that fails discovery leaves every package's sensor unknown.
    karvo.bmc.failing = {0x90};
    TestSupport::LogCapture log;
    const ResultMap r = Ask(mgr, kInfo);
    EXPECT_EQ(r.at(std::string(kInfo) + "/PhysicalProcessorStatus[1]").list,
              Strings{"ERROR_GET_PHYSICAL_PROCESSOR_STATUS"});
    const LoggedError failedQuery{".\\common", "Module::PlatformConfig::GetQuery", 155, 1034};
    EXPECT_EQ(log.Errors(), (std::vector<LoggedError>{failedQuery, site(226, 1031), site(268, 1032),
                                                      site(226, 1031), site(268, 1032)}));
  }
  // No populated socket, or no socket answered at all: reported, and nothing at all under the
  // branch.
  for (const bool answered : {true, false}) {
    FakeSockets empty({"Populated: No", "Populated: YES, yes"});
    const auto previous = answered ? Module::BIOSConfig::BIOSConfigModule::AnswerSource()
                                   : Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(
                                         [](const std::string&, ResultMap&) {});
    TestSupport::LogCapture log;
    const ResultMap r = Ask(mgr, kInfo);
    if (!answered) Module::BIOSConfig::BIOSConfigModule::InstallAnswerSource(previous);
    EXPECT_TRUE(r.at(kInfo).list.empty()) << answered;
    EXPECT_EQ(log.Errors(), std::vector<LoggedError>{site(108, 1035)}) << answered;
  }
}

TEST(ProcessorUsage, IsSampledForTheCounterInstanceTheQueryNames) {
  KarvoServer karvo;
  FakeSockets sockets({"Populated: Yes"});
  PlatformConfigMgr mgr("");
  const std::string first = std::string(kInfo) + "/LogicalProcessor[0]/LogicalProcessorUsage";
  ResultMap r = Ask(mgr, first);
  ASSERT_EQ(r.size(), 1u);
  const double percent = std::atof(Value(r, first).c_str());
  EXPECT_GE(percent, 0.0);
  EXPECT_LE(percent, 100.0);
  EXPECT_EQ(Value(r, first).find('.'), Value(r, first).size() - 7);  // "%f": six decimals
  EXPECT_EQ(mgr.Tree().size(), 1u);

  // Past the workers, or an index that only cut to 32 bits would name one, is no processor.
  for (const std::string& index :
       {std::to_string(WorkerCount()), std::string("4294967296"), std::string("4294967297")}) {
    const std::string beyond = std::string(kInfo) + "/LogicalProcessor[" + index + "]";
    EXPECT_EQ(Value(Ask(mgr, beyond), beyond), "ERROR_GET_LOGICAL_PROCESSOR_USAGE");
  }

  // A counter that does not move over the window gives no value.
  ProcessorTest::RecordedTopology still({AllCpus()},
                                        "cpu  1 2 3 4 5 6 7 8 0 0\ncpu0 1 2 3 4 5 6 7 8 0 0\n");
  EXPECT_EQ(Value(Ask(mgr, first), first), "ERROR_GET_LOGICAL_PROCESSOR_USAGE");
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>

#include "FakeOsRoot.h"
#include "LogCapture.h"
#include "PlatformConfigMgr.h"

namespace {

using namespace Module::PlatformConfig;
using TestSupport::FakeMachine;
using TestSupport::FakeOsRoot;
using TestSupport::LogCapture;
using Strings = std::vector<std::string>;

std::string Value(const ResultMap& result, const std::string& path) {
  auto it = result.find(path);
  if (it == result.end()) return "<absent " + path + ">";
  return it->second.list.empty() ? "<empty>" : it->second.list.front();
}

bool HasKeyUnder(const NodeTree& tree, const std::string& prefix) {
  return std::any_of(tree.begin(), tree.end(),
                     [&](const auto& e) { return e.first.rfind(prefix, 0) == 0 && e.second; });
}

TEST(PlatformConfigMgrInitialize, EnablesWhatTheFirstQueryNames) {
  FakeOsRoot root;
  PlatformConfigMgr os("");
  os.Initialize("/Platform/OS/Info");
  EXPECT_TRUE(os.IsOSEnabled());
  EXPECT_FALSE(os.HasMemoryComponent());
  EXPECT_FALSE(os.HasProcessorComponent());

  PlatformConfigMgr all("");
  all.Initialize("/Platform");
  EXPECT_TRUE(all.IsOSEnabled());
  EXPECT_TRUE(all.HasMemoryComponent());
  EXPECT_TRUE(all.HasProcessorComponent());

  PlatformConfigMgr some("");
  some.Initialize("/Platform/MemoryTopology/Errors");
  some.Initialize("/Platform/ProcessorInfo");
  EXPECT_TRUE(some.HasMemoryComponent());
  EXPECT_TRUE(some.HasProcessorComponent());
  EXPECT_FALSE(some.IsOSEnabled());

  // "/Platform/" is not exactly "/Platform" and names no branch.
  PlatformConfigMgr none("");
  none.Initialize("/Platform/");
  none.Initialize("/Platform/Unknown");
  EXPECT_FALSE(none.IsOSEnabled() || none.HasMemoryComponent() || none.HasProcessorComponent());
}

TEST(PlatformConfigMgrResolve, NothingEnabledAnswersNothing) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result{{"/kept", _XNode{}}};
  mgr.ResolveQuery("/Platform/Unknown", result);
  EXPECT_EQ(result.size(), 1u);
  EXPECT_TRUE(mgr.Tree().empty());
}

TEST(PlatformConfigMgrResolve, InfoQueryRebuildsOnlyTheInfoSubtree) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS/Info/HostName", result);
  ASSERT_EQ(result.size(), 1u);
  EXPECT_EQ(result.begin()->first, "/Platform/OS/Info/HostName");
  EXPECT_FALSE(Value(result, "/Platform/OS/Info/HostName").empty());

  EXPECT_TRUE(HasKeyUnder(mgr.Tree(), "/Platform/OS/Info/"));
  EXPECT_FALSE(HasKeyUnder(mgr.Tree(), "/Platform/OS/MemoryInfo"));
  EXPECT_FALSE(HasKeyUnder(mgr.Tree(), "/Platform/OS/NetworkInfo"));
  EXPECT_FALSE(HasKeyUnder(mgr.Tree(), "/Platform/OS/DriveInfo"));
}

TEST(PlatformConfigMgrResolve, WholeOSBranchFromTheLibrary) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS", result);

  EXPECT_EQ(result.at("/Platform/OS").list,
            (Strings{"/Platform/OS/MemoryInfo", "/Platform/OS/Info", "/Platform/OS/NetworkInfo",
                     "/Platform/OS/DriveInfo"}));
  // Memory in MB from kB figures: 16 GiB total, 8 GiB available, commit 10 GiB - 3 GiB.
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/TotalMemory"), "16384");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/FreeMemory"), "8192");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/TotalPageFile"), "2048");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/FreePageFile"), "1024");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/TotalVirtualMemory"), "10240");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/FreeVirtualMemory"), "7168");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/Units"), "MB");
  EXPECT_EQ(result.at("/Platform/OS/MemoryInfo").list.size(), 7u);

  EXPECT_EQ(Value(result, "/Platform/OS/Info/Type"), "Linux");
  EXPECT_EQ(Value(result, "/Platform/OS/Info/Name"), "Test Linux 12 (fixture)");
  EXPECT_EQ(
      result.at("/Platform/OS/Info").list,
      (Strings{"/Platform/OS/Info/Version", "/Platform/OS/Info/Build", "/Platform/OS/Info/Domain",
               "/Platform/OS/Info/HostName", "/Platform/OS/Info/Machine", "/Platform/OS/Info/Type",
               "/Platform/OS/Info/Name"}));

  // The loopback is left out and adapters come sorted by name, indexed from 0.
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NumNICs"), "2");
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NIC[0]/Name"), "eth0");
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NIC[0]/TransmitBytes"), "10");
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NIC[0]/ReceiveErrors"), "60");
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NIC[1]/Name"), "eth1");
  EXPECT_EQ(result.count("/Platform/OS/NetworkInfo/NIC[2]"), 0u);
  EXPECT_EQ(result.at("/Platform/OS/NetworkInfo/NIC[1]").list.size(), 7u);

  EXPECT_EQ(result.at("/Platform/OS/DriveInfo").list, Strings{"/Platform/OS/DriveInfo/HardDisk"});
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/NumDrives"), "2");
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/Units"), "GB");
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID"), "/");
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID"), "/data");
  for (const auto& [path, node] : result) EXPECT_TRUE(node.attributes.empty()) << path;
}

TEST(PlatformConfigMgrResolve, NoAdaptersGivesZeroAndNoElements) {
  FakeMachine machine;
  machine.nics = {{"lo0", true, {}}};
  FakeOsRoot root(machine);
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS/NetworkInfo", result);
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NumNICs"), "0");
  EXPECT_EQ(result.at("/Platform/OS/NetworkInfo").list,
            Strings{"/Platform/OS/NetworkInfo/NumNICs"});
}

TEST(PlatformConfigMgrResolve, FailedReadingsPublishErrorKeysAndGoOn) {
  FakeMachine machine;
  machine.withMeminfo = machine.withOsRelease = machine.withNet = machine.withMounts = false;
  FakeOsRoot root(machine);
  PlatformConfigMgr mgr("");
  ResultMap result;
  LogCapture log;
  mgr.ResolveQuery("/Platform/OS", result);

  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/TotalMemory"), "ERROR_GET_OS_MEMORY_INFO");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/FreeVirtualMemory"), "ERROR_GET_OS_MEMORY_INFO");
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/Units"), "MB");
  EXPECT_EQ(Value(result, "/Platform/OS/Info/Name"), "ERROR_GET_OS_DISPLAY_NAME");
  EXPECT_EQ(Value(result, "/Platform/OS/Info/Type"), "Linux");  // identity itself was read
  EXPECT_EQ(Value(result, "/Platform/OS/NetworkInfo/NumNICs"), "ERROR_GET_OS_NETWORK_INFO");
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/NumDrives"), "ERROR_GET_OS_DRIVE_INFO");

  Strings codes;
  for (const LogRecord& r : log.Records()) {
    EXPECT_EQ(r.source, ".\\OSBuilders");
    EXPECT_EQ(r.level, 2);
    codes.push_back(r.text.substr(0, r.text.find(':')));
  }
  EXPECT_EQ(codes, (Strings{"2010", "2013", "2014", "2015"}));
}

TEST(PlatformConfigMgrResolve, UnbuiltBranchesAnswerOnlyTheirFreshElement) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/MemoryTopology/Errors/CorErrorCount", result);
  mgr.ResolveQuery("/Platform/MemoryTopology/MemoryInfo[2]/MemoryState", result);
  mgr.ResolveQuery("/Platform/ProcessorInfo/LogicalProcessor[1]", result);
  EXPECT_TRUE(result.empty());

  mgr.ResolveQuery("/Platform", result);
  ASSERT_EQ(result.size(), 1u);
  EXPECT_EQ(result.at("/Platform").kind, XNODE_ELEMENT);
  EXPECT_TRUE(result.at("/Platform").list.empty());
  // A "/Platform" query leaves the OS branch out even though the OS is enabled.
  EXPECT_FALSE(HasKeyUnder(mgr.Tree(), "/Platform/OS"));
}

TEST(PlatformConfigMgrResolve, OSQueriesAreServedWithoutComponents) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS/MemoryInfo/Units", result);
  EXPECT_FALSE(mgr.HasMemoryComponent() || mgr.HasProcessorComponent());
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/Units"), "MB");
}

TEST(PlatformConfigMgrResolve, LeafValuesThatNamePathsNeverLoop) {
  // Drive IDs are mount points, so a leaf value may equal a key of the tree, even an ancestor.
  FakeMachine machine;
  machine.mountPoints = {"/Platform/OS", "/Platform/OS/Info"};
  FakeOsRoot root(machine);
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS", result);
  EXPECT_EQ(Value(result, "/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID"), "/Platform/OS");

  EXPECT_EQ(result.count("/Platform/OS/MemoryInfo/Units"), 1u);

  // A value naming another built node brings that node into the answer with it.
  ResultMap drive;
  mgr.ResolveQuery("/Platform/OS/DriveInfo/HardDisk/Drive[1]", drive);
  EXPECT_EQ(Value(drive, "/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID"), "/Platform/OS/Info");
  EXPECT_EQ(drive.count("/Platform/OS/Info/Name"), 1u);
  EXPECT_EQ(drive.count("/Platform/OS/MemoryInfo"), 0u);
}

TEST(PlatformConfigMgrResolve, FreshAnswerOverwritesAndKeepsUnrelatedEntries) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  _XNode stale;
  stale.list = {"stale"};
  ResultMap result{{"/Platform/OS/MemoryInfo/Units", stale}, {"/Other", stale}};
  mgr.ResolveQuery("/Platform/OS/MemoryInfo", result);
  EXPECT_EQ(Value(result, "/Platform/OS/MemoryInfo/Units"), "MB");
  EXPECT_EQ(Value(result, "/Other"), "stale");
}

TEST(PlatformConfigMgrResolve, TreeDoesNotGrowWithQueries) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  const char* queries[] = {"/Platform/OS",
                           "/Platform/OS/Info/HostName",
                           "/Platform/Nothing",
                           "/Platform/OS/NetworkInfo/NIC[9]",
                           "/Platform/OS/DriveInfo",
                           "/Platform",
                           "/Platform/MemoryTopology/Errors"};
  auto round = [&] {
    for (const char* q : queries) {
      ResultMap result;
      mgr.ResolveQuery(q, result);
    }
  };
  round();
  const size_t size = mgr.Tree().size();
  for (int i = 0; i < 50; ++i) round();
  EXPECT_EQ(mgr.Tree().size(), size);
}

TEST(PlatformConfigMgrDelete, FreesTheSubtreeOnly) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  ResultMap result;
  mgr.ResolveQuery("/Platform/OS", result);
  mgr.DeleteResultMap("/Platform/OS/Info");
  EXPECT_FALSE(HasKeyUnder(mgr.Tree(), "/Platform/OS/Info"));
  EXPECT_TRUE(HasKeyUnder(mgr.Tree(), "/Platform/OS/MemoryInfo/"));

  const size_t size = mgr.Tree().size();
  mgr.DeleteResultMap("/Never/Built");
  EXPECT_EQ(mgr.Tree().size(), size);
}

}  // namespace

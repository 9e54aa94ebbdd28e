#include <gtest/gtest.h>

#include <algorithm>

#include "FakeOsRoot.h"
#include "LogCapture.h"
#include "PlatformConfigMgr.h"

namespace {

using namespace Module::PlatformConfig;
using TestSupport::FakeMachine;
using TestSupport::FakeOsRoot;
using Strings = std::vector<std::string>;

std::string Value(const ResultMap& result, const std::string& path) {
  auto it = result.find(path);
  if (it == result.end()) return "<absent " + path + ">";
  return it->second.list.empty() ? "<empty>" : it->second.list.front();
}

bool Built(const NodeTree& tree, const std::string& prefix) {
  return std::any_of(tree.begin(), tree.end(),
                     [&](const auto& e) { return e.first.rfind(prefix, 0) == 0 && e.second; });
}

ResultMap Resolve(PlatformConfigMgr& mgr, const std::string& query) {
  ResultMap result;
  mgr.ResolveQuery(query, result);
  return result;
}

TEST(PlatformConfigMgr, EnablesWhatTheQueriesName) {
  PlatformConfigMgr os(""), all(""), none("");
  os.Initialize("/Platform/OS/Info");
  EXPECT_TRUE(os.IsOSEnabled() && !os.HasMemoryComponent() && !os.HasProcessorComponent());
  all.Initialize("/Platform");
  EXPECT_TRUE(all.IsOSEnabled() && all.HasMemoryComponent() && all.HasProcessorComponent());
  // Neither is exactly "/Platform" nor names a branch.
  none.Initialize("/Platform/");
  none.Initialize("/Platform/Unknown");
  EXPECT_FALSE(none.IsOSEnabled() || none.HasMemoryComponent() || none.HasProcessorComponent());

  ResultMap result{{"/kept", _XNode{}}};
  none.ResolveQuery("/Platform/Unknown", result);
  EXPECT_EQ(result.size(), 1u);
  EXPECT_TRUE(none.Tree().empty());
}

TEST(PlatformConfigMgr, NarrowQueryRebuildsOnlyItsSubtree) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  const ResultMap result = Resolve(mgr, "/Platform/OS/Info/HostName");
  ASSERT_EQ(result.size(), 1u);
  EXPECT_NE(Value(result, "/Platform/OS/Info/HostName"), "");
  EXPECT_TRUE(Built(mgr.Tree(), "/Platform/OS/Info/"));
  for (const char* other :
       {"/Platform/OS/MemoryInfo", "/Platform/OS/NetworkInfo", "/Platform/OS/DriveInfo"}) {
    EXPECT_FALSE(Built(mgr.Tree(), other)) << other;
  }
}

TEST(PlatformConfigMgr, WholeOSBranchFromTheLibrary) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  const ResultMap r = Resolve(mgr, "/Platform/OS");
  EXPECT_EQ(r.at("/Platform/OS").list,
            (Strings{"/Platform/OS/MemoryInfo", "/Platform/OS/Info", "/Platform/OS/NetworkInfo",
                     "/Platform/OS/DriveInfo"}));
  // The fixture's kB figures in MB: 16 GiB total, 8 GiB available, commit 10 GiB - 3 GiB.
  const std::pair<const char*, const char*> values[] = {
      {"/Platform/OS/MemoryInfo/TotalMemory", "16384"},
      {"/Platform/OS/MemoryInfo/FreeMemory", "8192"},
      {"/Platform/OS/MemoryInfo/TotalPageFile", "2048"},
      {"/Platform/OS/MemoryInfo/FreePageFile", "1024"},
      {"/Platform/OS/MemoryInfo/TotalVirtualMemory", "10240"},
      {"/Platform/OS/MemoryInfo/FreeVirtualMemory", "7168"},
      {"/Platform/OS/MemoryInfo/Units", "MB"},
      {"/Platform/OS/Info/Type", "Linux"},
      {"/Platform/OS/Info/Name", "Test Linux 12 (fixture)"},
      // The loopback is left out; adapters sorted by name, indexed from 0.
      {"/Platform/OS/NetworkInfo/NumNICs", "2"},
      {"/Platform/OS/NetworkInfo/NIC[0]/Name", "eth0"},
      {"/Platform/OS/NetworkInfo/NIC[0]/TransmitBytes", "10"},
      {"/Platform/OS/NetworkInfo/NIC[0]/ReceiveErrors", "60"},
      {"/Platform/OS/NetworkInfo/NIC[1]/Name", "eth1"},
      {"/Platform/OS/DriveInfo/HardDisk/NumDrives", "2"},
      {"/Platform/OS/DriveInfo/HardDisk/Units", "GB"},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID", "/"},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID", "/data"},
  };
  for (const auto& [path, value] : values) EXPECT_EQ(Value(r, path), value) << path;
  EXPECT_EQ(r.at("/Platform/OS/Info").list.back(), "/Platform/OS/Info/Name");
  EXPECT_EQ(r.at("/Platform/OS/NetworkInfo/NIC[1]").list.size(), 7u);
  EXPECT_EQ(r.count("/Platform/OS/NetworkInfo/NIC[2]"), 0u);
  for (const auto& [path, node] : r) EXPECT_TRUE(node.attributes.empty()) << path;
}

TEST(PlatformConfigMgr, FailedReadingsPublishErrorKeysAndGoOn) {
  FakeMachine machine;
  machine.complete = false;
  FakeOsRoot root(machine);
  PlatformConfigMgr mgr("");
  TestSupport::LogCapture log;
  const ResultMap r = Resolve(mgr, "/Platform/OS");

  EXPECT_EQ(Value(r, "/Platform/OS/MemoryInfo/FreeVirtualMemory"), "ERROR_GET_OS_MEMORY_INFO");
  EXPECT_EQ(Value(r, "/Platform/OS/MemoryInfo/Units"), "MB");
  EXPECT_EQ(Value(r, "/Platform/OS/Info/Name"), "ERROR_GET_OS_DISPLAY_NAME");
  EXPECT_EQ(Value(r, "/Platform/OS/Info/Type"), "Linux");  // identity itself was read
  EXPECT_EQ(Value(r, "/Platform/OS/NetworkInfo/NumNICs"), "ERROR_GET_OS_NETWORK_INFO");
  EXPECT_EQ(Value(r, "/Platform/OS/DriveInfo/HardDisk/NumDrives"), "ERROR_GET_OS_DRIVE_INFO");
  Strings codes;
  for (const LogRecord& rec : log.Records()) {
    EXPECT_EQ(rec.source, ".\\OSBuilders");
    codes.push_back(rec.text.substr(0, rec.text.find(':')));
  }
  EXPECT_EQ(codes, (Strings{"2010", "2013", "2014", "2015"}));
}

TEST(PlatformConfigMgr, LeafValuesThatNamePathsNeverLoop) {
  // Drive IDs are mount points, so a leaf value may name a key of the tree, even an ancestor.
  FakeMachine machine;
  machine.mountPoints = {"/Platform/OS", "/Platform/OS/Info"};
  FakeOsRoot root(machine);
  PlatformConfigMgr mgr("");
  const ResultMap all = Resolve(mgr, "/Platform/OS");
  EXPECT_EQ(Value(all, "/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID"), "/Platform/OS");

  // A value naming another built node brings that node into the answer.
  const ResultMap drive = Resolve(mgr, "/Platform/OS/DriveInfo/HardDisk/Drive[1]");
  EXPECT_EQ(drive.count("/Platform/OS/Info/Name"), 1u);
  EXPECT_EQ(drive.count("/Platform/OS/MemoryInfo"), 0u);
}

TEST(PlatformConfigMgr, TreeDoesNotGrowWithQueries) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  auto round = [&] {
    for (const char* q :
         {"/Platform/OS", "/Platform/OS/Info/HostName", "/Platform/Nothing",
          "/Platform/OS/NetworkInfo/NIC[9]"}) {
      Resolve(mgr, q);
    }
  };
  round();
  const size_t size = mgr.Tree().size();
  for (int i = 0; i < 20; ++i) round();
  EXPECT_EQ(mgr.Tree().size(), size);

  mgr.DeleteResultMap("/Platform/OS/Info");
  EXPECT_FALSE(Built(mgr.Tree(), "/Platform/OS/Info"));
  EXPECT_TRUE(Built(mgr.Tree(), "/Platform/OS/MemoryInfo/"));
  const size_t after = mgr.Tree().size();
  mgr.DeleteResultMap("/Never/Built");
  EXPECT_EQ(mgr.Tree().size(), after);
}

}  // namespace

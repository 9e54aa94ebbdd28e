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

// Each OS query rebuilds the subtree it names, and only that one, from what the library reads
// now: a leaf asked for again is read again, never answered from the node an earlier query left.
TEST(PlatformConfigMgr, EachOSQueryRereadsTheSubtreeItNames) {
  FakeMachine later;
  later.meminfo.replace(later.meminfo.find("16777216"), 8, "8388608 ");
  later.nics = {{"lo", true, {7, 7, 7, 7, 7, 7}}};  // the loopback only: no adapter
  later.mountPoints = {"/"};
  later.prettyName = "Test Linux 13";
  const struct {
    const char* query;
    const char* leaf;  // in the answer
    const char* before;
    const char* after;
    Strings built;  // the OS subtrees the first query builds
  } rows[] = {
      {"/Platform/OS/MemoryInfo/TotalMemory",
       "/Platform/OS/MemoryInfo/TotalMemory",
       "16384",
       "8192",
       {"MemoryInfo"}},
      {"/Platform/OS/NetworkInfo/NumNICs",
       "/Platform/OS/NetworkInfo/NumNICs",
       "2",
       "0",
       {"NetworkInfo"}},
      {"/Platform/OS/DriveInfo/HardDisk/NumDrives",
       "/Platform/OS/DriveInfo/HardDisk/NumDrives",
       "2",
       "1",
       {"DriveInfo"}},
      {"/Platform/OS/Info/Name",
       "/Platform/OS/Info/Name",
       "Test Linux 12 (fixture)",
       "Test Linux 13",
       {"Info"}},
      {"/Platform/OS",
       "/Platform/OS/NetworkInfo/NumNICs",
       "2",
       "0",
       {"MemoryInfo", "Info", "NetworkInfo", "DriveInfo"}},
  };
  for (const auto& row : rows) {
    PlatformConfigMgr mgr("");
    {
      FakeOsRoot root;
      EXPECT_EQ(Value(Resolve(mgr, row.query), row.leaf), row.before) << row.query;
      Strings built;
      for (const char* subtree : {"MemoryInfo", "Info", "NetworkInfo", "DriveInfo"}) {
        if (Built(mgr.Tree(), std::string("/Platform/OS/") + subtree + "/"))
          built.push_back(subtree);
      }
      EXPECT_EQ(built, row.built) << row.query;
    }
    FakeOsRoot root(later);
    EXPECT_EQ(Value(Resolve(mgr, row.query), row.leaf), row.after) << row.query;
  }
  // Without adapters the count is all there is.
  FakeOsRoot root(later);
  PlatformConfigMgr mgr("");
  EXPECT_EQ(Resolve(mgr, "/Platform/OS/NetworkInfo").at("/Platform/OS/NetworkInfo").list,
            Strings{"/Platform/OS/NetworkInfo/NumNICs"});
}

// parent's children, named by their last steps.
Strings Children(const std::string& parent, const Strings& names) {
  Strings paths;
  for (const std::string& name : names) paths.push_back(parent + "/" + name);
  return paths;
}

TEST(PlatformConfigMgr, WholeOSBranchFromTheLibrary) {
  FakeOsRoot root;
  PlatformConfigMgr mgr("");
  // An entry the answer replaces loses whatever it held.
  ResultMap r{{"/Platform/OS/Info/Type", _XNode{XNODE_VALUE, {"old"}, {{"stale", "yes"}}}}};
  mgr.ResolveQuery("/Platform/OS", r);
  const std::pair<const char*, Strings> children[] = {
      {"/Platform/OS", {"MemoryInfo", "Info", "NetworkInfo", "DriveInfo"}},
      {"/Platform/OS/MemoryInfo",
       {"TotalMemory", "FreeMemory", "TotalPageFile", "FreePageFile", "TotalVirtualMemory",
        "FreeVirtualMemory", "Units"}},
      {"/Platform/OS/Info", {"Version", "Build", "Domain", "HostName", "Machine", "Type", "Name"}},
      {"/Platform/OS/NetworkInfo", {"NumNICs", "NIC[0]", "NIC[1]"}},
      {"/Platform/OS/NetworkInfo/NIC[1]",
       {"Name", "TransmitBytes", "TransmitPackets", "TransmitErrors", "ReceiveBytes",
        "ReceivePackets", "ReceiveErrors"}},
      {"/Platform/OS/DriveInfo", {"HardDisk"}},
      {"/Platform/OS/DriveInfo/HardDisk", {"NumDrives", "Units", "Drive[0]", "Drive[1]"}},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[0]", {"ID", "TotalSpace", "FreeSpace"}},
  };
  for (const auto& [parent, names] : children) {
    EXPECT_EQ(r.at(parent).list, Children(parent, names)) << parent;
  }
  // The fixture's kB figures in MB: 8 GiB available, 2 GiB swap, commit 10 GiB - 3 GiB.
  const std::pair<const char*, const char*> values[] = {
      {"/Platform/OS/MemoryInfo/FreeMemory", "8192"},
      {"/Platform/OS/MemoryInfo/TotalPageFile", "2048"},
      {"/Platform/OS/MemoryInfo/FreePageFile", "1024"},
      {"/Platform/OS/MemoryInfo/TotalVirtualMemory", "10240"},
      {"/Platform/OS/MemoryInfo/FreeVirtualMemory", "7168"},
      {"/Platform/OS/MemoryInfo/Units", "MB"},
      {"/Platform/OS/Info/Type", "Linux"},
      // The loopback is left out; adapters sorted by name, indexed from 0.
      {"/Platform/OS/NetworkInfo/NIC[0]/Name", "eth0"},
      {"/Platform/OS/NetworkInfo/NIC[0]/TransmitBytes", "10"},
      {"/Platform/OS/NetworkInfo/NIC[0]/ReceiveErrors", "60"},
      {"/Platform/OS/NetworkInfo/NIC[1]/Name", "eth1"},
      {"/Platform/OS/DriveInfo/HardDisk/Units", "GB"},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID", "/"},
      {"/Platform/OS/DriveInfo/HardDisk/Drive[1]/ID", "/data"},
  };
  for (const auto& [path, value] : values) EXPECT_EQ(Value(r, path), value) << path;
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
    for (const char* q : {"/Platform/OS", "/Platform/OS/Info/HostName"}) Resolve(mgr, q);
    // Paths the tree does not hold are not answered, not even with an empty entry.
    for (const char* q : {"/Platform/Nothing", "/Platform/OS/NetworkInfo/NIC[9]"}) {
      EXPECT_TRUE(Resolve(mgr, q).empty()) << q;
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

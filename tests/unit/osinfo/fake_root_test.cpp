// The public entry points against a recorded machine laid out under a temporary root.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>

#include <cstring>

#include "ErrorCodes.h"
#include "OSInfo.h"
#include "TempDir.h"

namespace {

using Ordix::OSInfo::SetSourceRoot;
using TestSupport::TempDir;

constexpr const char* kUnknown = "Unknown";

// Points the library at a root for one test and back at the machine afterwards.
class FakeRoot : public ::testing::Test {
 protected:
  void SetUp() override { SetSourceRoot(root_.Path()); }
  void TearDown() override { SetSourceRoot(""); }

  void Interface(const std::string& name, const char* type, const std::string& txBytes) {
    const std::string dir = "sys/class/net/" + name + "/";
    if (type != nullptr) root_.Write(dir + "type", type);
    root_.Write(dir + "statistics/tx_bytes", txBytes);
    for (const char* counter : {"tx_packets", "tx_errors", "rx_bytes", "rx_packets"}) {
      root_.Write(dir + "statistics/" + counter, "7\n");
    }
    // rx_errors left out: an unreadable counter.
  }

  TempDir root_;
};

TEST_F(FakeRoot, MemoryFromRecordedMeminfo) {
  const uint64_t total = 4194304, avail = 1048576, swap = 524288, limit = 2621440,
                 committed = 3000000;
  root_.Write("proc/meminfo",
              "MemTotal: " + std::to_string(total) + " kB\nMemAvailable: " + std::to_string(avail) +
                  " kB\nSwapTotal: " + std::to_string(swap) + " kB\nSwapFree: " +
                  std::to_string(swap) + " kB\nCommitLimit: " + std::to_string(limit) +
                  " kB\nCommitted_AS: " + std::to_string(committed) + " kB\n");
  _MEMINFO m;
  ASSERT_EQ(GetMemInfo(m), 0);
  EXPECT_EQ(m.totalMemory, std::to_string(total / 1024));
  EXPECT_EQ(m.freeMemory, std::to_string(avail / 1024));
  EXPECT_EQ(m.memoryLoad, std::to_string((total - avail) * 100 / total));
  EXPECT_EQ(m.totalPageFile, std::to_string(swap / 1024));
  EXPECT_EQ(m.freePageFile, std::to_string(swap / 1024));
  EXPECT_EQ(m.totalVirtualMemory, std::to_string(limit / 1024));
  EXPECT_EQ(m.freeVirtualMemory, "0");  // committed beyond the limit
}

TEST_F(FakeRoot, MemoryErrors) {
  _MEMINFO m;
  m.totalMemory = "stale";
  EXPECT_EQ(GetMemInfo(m), ErrorCode::kOSMemoryUnreadable);
  EXPECT_EQ(m.totalMemory, "");
  root_.Write("proc/meminfo", "MemTotal: many kB\n");
  EXPECT_EQ(GetMemInfo(m), ErrorCode::kOSMemoryMalformed);
}

TEST_F(FakeRoot, NonRegularFilesAreUnreadableNotAHang) {
  root_.MakeDir("proc/meminfo");
  _MEMINFO m;
  EXPECT_EQ(GetMemInfo(m), ErrorCode::kOSMemoryUnreadable);
  root_.MakeDir("etc");
  ASSERT_EQ(::mkfifo((root_.Path() + "/etc/os-release").c_str(), 0600), 0) << std::strerror(errno);
  root_.Write("usr/lib/os-release", "PRETTY_NAME=\"From usr\"\n");
  std::string name;
  EXPECT_EQ(GetOSDisplayString(name), 0);
  EXPECT_EQ(name, "From usr");
}

TEST_F(FakeRoot, IdentityUsesUnameAndRecordedHosts) {
  struct utsname uts {};
  ASSERT_EQ(::uname(&uts), 0);
  const std::string node = uts.nodename;
  const std::string shortName = node.substr(0, node.find('.'));
  root_.Write("etc/hosts", "# local\n127.0.0.1 localhost\n10.1.2.3 " + shortName +
                               ".recorded.test " + shortName + "\n");
  // A dotted node name carries its own domain; a bare one takes the hosts file's.
  const std::string expectedDomain =
      node.find('.') != std::string::npos ? node.substr(node.find('.') + 1) : "recorded.test";
  _OSINFO info;
  ASSERT_EQ(GetOSInfo(info), 0);
  EXPECT_EQ(info.version, uts.release);
  EXPECT_EQ(info.build, uts.version);
  EXPECT_EQ(info.machine, uts.machine);
  EXPECT_EQ(info.hostName, shortName);
  EXPECT_EQ(info.domain, expectedDomain);
  EXPECT_EQ(info.type, "Linux");
}

TEST_F(FakeRoot, DisplayStringLookupOrder) {
  std::string name = "stale";
  EXPECT_EQ(GetOSDisplayString(name), ErrorCode::kOSDisplayNameUnreadable);
  EXPECT_EQ(name, "");
  root_.Write("usr/lib/os-release", "NAME=Acme\nPRETTY_NAME=\"Acme 9 (usr)\"\n");
  ASSERT_EQ(GetOSDisplayString(name), 0);
  EXPECT_EQ(name, "Acme 9 (usr)");
  // Present in /etc, even without the key, it is the one that counts.
  root_.Write("etc/os-release", "NAME=Acme\n");
  ASSERT_EQ(GetOSDisplayString(name), 0);
  EXPECT_EQ(name, "Linux");
}

TEST_F(FakeRoot, NetworkAdaptersExceptLoopback) {
  std::vector<_NICINFO> nics(1);  // stale content must go
  EXPECT_EQ(GetNICInfo(nics), ErrorCode::kOSNetworkUnreadable);
  EXPECT_TRUE(nics.empty());

  Interface("wan1", "1\n", "123456789\n");
  Interface("loopy", "772\n", "5\n");
  Interface("lo", "1\n", "11\n");        // an Ethernet device that happens to be called lo
  Interface("eth0", nullptr, "junk\n");  // no type file
  root_.Write("sys/class/net/bonding_masters", "bond0\n");
  ASSERT_EQ(GetNICInfo(nics), 0);
  ASSERT_EQ(nics.size(), 3u);
  EXPECT_EQ(nics[0].name, "eth0");
  EXPECT_EQ(nics[0].transmitBytes, kUnknown);
  EXPECT_EQ(nics[1].name, "lo");
  EXPECT_EQ(nics[2].name, "wan1");
  EXPECT_EQ(nics[2].transmitBytes, "123456789");
  EXPECT_EQ(nics[2].transmitPackets, "7");
  EXPECT_EQ(nics[2].receivePackets, "7");
  EXPECT_EQ(nics[2].receiveErrors, kUnknown);
}

uint64_t GiB(uint64_t blocks, uint64_t frag) {
  return static_cast<uint64_t>((static_cast<long double>(blocks) * frag) / (1ULL << 30));
}

TEST_F(FakeRoot, DrivesFromRecordedMountTable) {
  std::vector<_DRIVEINFO> drives(1);
  EXPECT_EQ(GetDriveData(drives), ErrorCode::kOSDrivesUnreadable);
  EXPECT_TRUE(drives.empty());

  for (const char* dev : {"8:1", "8:2", "8:3"}) root_.MakeDir(std::string("sys/dev/block/") + dev);
  root_.MakeDir("data disk");
  root_.MakeDir("srv/bind");
  root_.MakeDir("run");
  root_.Write("proc/self/mountinfo",
              "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
              "21 20 0:19 / /run rw - tmpfs tmpfs rw\n"
              "22 20 8:2 / /data\\040disk rw shared:3 - xfs /dev/sda2 rw\n"
              "23 20 8:1 /srv /srv/bind rw - ext4 /dev/sda1 rw\n"
              "24 20 8:3 / /gone rw - ext4 /dev/sda3 rw\n"
              "25 20 garbage\n");

  struct statvfs before {};
  ASSERT_EQ(::statvfs(root_.Path().c_str(), &before), 0);
  ASSERT_EQ(GetDriveData(drives), 0);
  struct statvfs after {};
  ASSERT_EQ(::statvfs(root_.Path().c_str(), &after), 0);

  ASSERT_EQ(drives.size(), 3u);
  EXPECT_EQ(drives[0].id, "/");
  EXPECT_EQ(drives[1].id, "/data disk");
  EXPECT_EQ(drives[2].id, "/gone");
  EXPECT_EQ(drives[2].totalSpace, kUnknown);  // no such directory: statvfs fails
  EXPECT_EQ(drives[2].freeSpace, kUnknown);
  // Both present drives live on the temporary directory's file system.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(drives[i].totalSpace, std::to_string(GiB(before.f_blocks, before.f_frsize)));
    // Free space may move between the samples; it must lie between them.
    const uint64_t low = GiB(std::min(before.f_bavail, after.f_bavail), before.f_frsize);
    const uint64_t high = GiB(std::max(before.f_bavail, after.f_bavail), before.f_frsize);
    const uint64_t reported = std::stoull(drives[i].freeSpace);
    EXPECT_GE(reported, low);
    EXPECT_LE(reported, high);
  }
}

}  // namespace

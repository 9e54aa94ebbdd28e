#include <gtest/gtest.h>

#include <set>

#include "osinfo_decode.h"

namespace {

using namespace Ordix::OSInfo;

NicCounterTexts Counters(const char* all) {
  return {all, all, all, all, all, all};
}

TEST(Nic, LoopbackIsKnownByTypeNotName) {
  EXPECT_TRUE(IsLoopbackType(std::string("772\n")));
  EXPECT_FALSE(IsLoopbackType(std::string("1\n")));
  EXPECT_FALSE(IsLoopbackType(std::nullopt));
  for (const char* garbled : {"", "77", "772x", "-772", "7720", "18446744073709552388"}) {
    EXPECT_FALSE(IsLoopbackType(std::string(garbled))) << garbled;
  }
}

TEST(Nic, CountersAreDecimalOrUnknown) {
  EXPECT_EQ(CounterText(std::string("1234567\n")), "1234567");
  EXPECT_EQ(CounterText(std::string("18446744073709551615\n")), "18446744073709551615");
  for (const char* bad : {"", "\n", "12 34", "abc", "-1", "18446744073709551616"}) {
    EXPECT_EQ(CounterText(std::string(bad)), kUnknown) << bad;
  }
  EXPECT_EQ(CounterText(std::nullopt), kUnknown);
}

TEST(Nic, ListDropsLoopbacksKeepsTheRestSorted) {
  NicCounterTexts partial{"100\n", "2\n", std::nullopt, "300\n", "garbage", "0\n"};
  std::vector<InterfaceRecord> records{
      {"wlan0", std::string("1\n"), Counters("5\n")},
      {"loop-a", std::string("772\n"), Counters("9\n")},
      {"lo", std::string("1\n"), Counters("7\n")},  // named like loopback, typed as Ethernet
      {"eth0", std::nullopt, partial},              // type unreadable: still an adapter
      {"bond0", std::string("junk"), Counters("")},
  };
  std::vector<_NICINFO> nics = BuildNicList(records);
  ASSERT_EQ(nics.size(), 4u);
  EXPECT_EQ(nics[0].name, "bond0");
  EXPECT_EQ(nics[1].name, "eth0");
  EXPECT_EQ(nics[2].name, "lo");
  EXPECT_EQ(nics[3].name, "wlan0");
  const _NICINFO& eth0 = nics[1];
  EXPECT_EQ(eth0.transmitBytes, "100");
  EXPECT_EQ(eth0.transmitPackets, "2");
  EXPECT_EQ(eth0.transmitErrors, kUnknown);
  EXPECT_EQ(eth0.receiveBytes, "300");
  EXPECT_EQ(eth0.receivePackets, kUnknown);
  EXPECT_EQ(eth0.receiveErrors, "0");
  EXPECT_EQ(nics[0].receiveBytes, kUnknown);
  EXPECT_TRUE(BuildNicList({}).empty());
}

TEST(MountField, OctalEscapesDecodeOthersStayLiteral) {
  EXPECT_EQ(DecodeMountField("/mnt/my\\040disk"), "/mnt/my disk");
  EXPECT_EQ(DecodeMountField("/a\\011b\\012c\\134d"), "/a\tb\nc\\d");
  EXPECT_EQ(DecodeMountField("\\040\\040"), "  ");
  EXPECT_EQ(DecodeMountField("/x\\04"), "/x\\04");    // truncated escape
  EXPECT_EQ(DecodeMountField("/x\\"), "/x\\");        // lone trailing backslash
  EXPECT_EQ(DecodeMountField("/x\\089"), "/x\\089");  // not octal
  EXPECT_EQ(DecodeMountField("/x\\400"), "/x\\400");  // beyond a byte
  EXPECT_EQ(DecodeMountField(""), "");
}

TEST(MountInfo, ParsesWholeLinesAndSkipsBrokenOnes) {
  const char* table =
      "27 1 254:0 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
      "28 27 8:17 / /mnt/my\\040disk rw - xfs /dev/sdb1 rw\n"
      "\n"
      "29 27 0:25 / /run rw,nosuid - tmpfs tmpfs rw\n"
      "30 27 8:1 / /no/separator rw ext4 /dev/sda1 rw\n"
      "31 27 8:1 / /no/fstype rw -\n"
      "32 27 8-1 / /bad/device rw - ext4 /dev/sda1 rw\n"
      "33 27 4294967296:0 / /big/major rw - ext4 /dev/sda1 rw\n"
      "34 27 8:1 / relative rw - ext4 /dev/sda1 rw\n"
      "35 27 8:1 / /nul\\000byte rw - ext4 /dev/sda1 rw\n"
      "36 27 8:1 /\n"
      "37 27 4294967295:1048575 / /max\\011dev rw - ext4 x rw";  // truncated final newline
  std::vector<MountEntry> entries = ParseMountInfo(table);
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(DeviceKey(entries[0]), "254:0");
  EXPECT_EQ(entries[0].mountPoint, "/");
  EXPECT_EQ(DeviceKey(entries[1]), "8:17");
  EXPECT_EQ(entries[1].mountPoint, "/mnt/my disk");
  EXPECT_EQ(DeviceKey(entries[2]), "0:25");
  EXPECT_EQ(DeviceKey(entries[3]), "4294967295:1048575");
  EXPECT_EQ(entries[3].mountPoint, "/max\tdev");
  EXPECT_TRUE(ParseMountInfo("").empty());
  EXPECT_TRUE(ParseMountInfo("\n\n - - - -\n").empty());
}

TEST(SelectDriveMounts, FirstMountPerBlockDeviceSortedByMountPoint) {
  std::vector<MountEntry> table{
      {8, 1, "/"},      {0, 25, "/run"},     {8, 2, "/var"},    {8, 1, "/srv/bind-of-root"},
      {8, 17, "/data"}, {8, 2, "/aaa-bind"}, {7, 0, "/snap/x"},
  };
  std::set<std::string> block{"8:1", "8:2", "8:17", "7:0"};
  std::vector<std::string> asked;
  auto isBlock = [&](const std::string& key) {
    asked.push_back(key);
    return block.count(key) > 0;
  };
  std::vector<MountEntry> drives = SelectDriveMounts(table, isBlock);
  std::vector<std::string> points;
  for (const MountEntry& d : drives) points.push_back(d.mountPoint);
  EXPECT_EQ(points, (std::vector<std::string>{"/", "/data", "/snap/x", "/var"}));
  EXPECT_EQ(asked, (std::vector<std::string>{"8:1", "0:25", "8:2", "8:17", "7:0"}));
}

TEST(MakeDriveInfo, SizesInWholeGibibytesOrUnknown) {
  const uint64_t gib = uint64_t{1} << 30, frag = 4096;
  const uint64_t blocks = (100 * gib + gib - 1) / frag, avail = (3 * gib - 1) / frag;
  _DRIVEINFO d = MakeDriveInfo("/data", FsSpace{blocks, avail, frag});
  EXPECT_EQ(d.id, "/data");
  EXPECT_EQ(d.totalSpace, "100");
  EXPECT_EQ(d.freeSpace, "2");
  _DRIVEINFO gone = MakeDriveInfo("/gone", std::nullopt);
  EXPECT_EQ(gone.id, "/gone");
  EXPECT_EQ(gone.totalSpace, kUnknown);
  EXPECT_EQ(gone.freeSpace, kUnknown);
  EXPECT_EQ(MakeDriveInfo("/z", FsSpace{0, 0, 0}).totalSpace, "0");
}

}  // namespace

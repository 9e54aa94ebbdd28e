// The decoders on hand-made text, then the entry points on a machine laid out in a directory.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>

#include <memory>
#include <set>

#include "ErrorCodes.h"
#include "OSInfo.h"
#include "TempDir.h"
#include "osinfo_decode.h"
#include "oslib/SourceRoot.h"

namespace {

using namespace Ordix::OSInfo;
using Texts = std::vector<std::string>;
using Pairs = std::vector<std::pair<const char*, const char*>>;

TEST(ParseMemInfo, WholeMiBRoundedDownUnknownWhenAbsentNeverWrappedAndMalformedRejected) {
  const std::string U = kUnknown;
  for (const auto& [text, expected] : std::vector<std::pair<const char*, Texts>>{
           // Garbage lines are skipped, the first of a repeated key stands, no final newline.
           {"garbage without a colon\n\nDirectMap4k: lots\nMemTotal:  16318540 kB\r\n"
            "MemTotal: 1 kB\nMemFree: 100000 kB\nMemAvailable: 10240000 kB\nHugePages_Total: x\n"
            "SwapTotal: 2097148 kB\nSwapFree: 2000000 kB\nCommitLimit: 10256416 kB\n"
            "Committed_AS: 6000000 kB",
            {"37", "15936", "10000", "2047", "1953", "10016", "4156"}},
           // Without MemAvailable, free + buffers + cached stand in, but only all three.
           {"MemTotal: 8192000 kB\nMemFree: 1024000 kB\nBuffers: 51200 kB\nCached: 2048000 kB\n",
            {"61", "8000", "3050", U, U, U, U}},
           {"MemTotal: 2048 kB\nMemFree: 1024 kB\nCached: 10 kB\nCommitLimit: 3072 kB\n",
            {U, "2", U, U, U, "3", U}},
           // Load and headroom of damaged or extreme text neither go negative nor wrap.
           {"MemTotal: 10 kB\nMemAvailable: 50 kB", {"0", "0", "0", U, U, U, U}},
           {"MemTotal: 18446744073709551615 kB\nMemAvailable: 0 kB",
            {"100", "18014398509481983", "0", U, U, U, U}},
           {"MemTotal: 9 kB\nCommitLimit: 2 kB\nCommitted_AS: 9 kB",
            {U, "0", U, U, U, "0", "0"}}}) {
    const auto [code, m] = ParseMemInfo(text);
    EXPECT_EQ(code, 0) << text;
    EXPECT_EQ((Texts{m.memoryLoad, m.totalMemory, m.freeMemory, m.totalPageFile, m.freePageFile,
                     m.totalVirtualMemory, m.freeVirtualMemory}),
              expected)
        << text;
  }
  for (const char* text :
       {"", "\n\n", "MemFree: 1024 kB\n", "MemTotal: 0 kB\n", "MemTotal:\n", "MemTot",
        "MemTotal: abc kB\n", "MemTotal: -4096 kB\n", "MemTotal: 4096 MB\n",
        "MemTotal: 18446744073709551616 kB\n", "MemTotal: 4096 kB\nSwapFree: 12x kB\n",
        // free + buffers + cached overflows
        "MemTotal: 4096 kB\nMemFree: 18446744073709551615 kB\nBuffers: 1 kB\nCached: 1 kB\n"}) {
    const MemInfoResult r = ParseMemInfo(text);
    EXPECT_EQ(r.code, ErrorCode::kOSMemoryMalformed) << '"' << text << '"';
    EXPECT_EQ(r.info.totalMemory, "") << '"' << text << '"';
  }
}

TEST(OsRelease, PrettyNameAsAShellReadsItElseLinux) {
  // Quoting, escapes and concatenation as a shell reads them; the last good line wins.
  for (auto [text, expected] :
       Pairs{{"# PRETTY_NAME=\"Hash\"\nPRETTY_NAME=First\nPRETTY_NAME=\"Acme 12 (river)\"\n",
              "Acme 12 (river)"},
             {"PRETTY_NAME='Acme \"Single\" $HOME'\" x\"\\ 2", "Acme \"Single\" $HOME x 2"},
             {"PRETTY_NAME=\"say \\\"hi\\\" \\$5 \\\\ \\`x\\` \\n\"", "say \"hi\" $5 \\ `x` \\n"},
             {"  PRETTY_NAME=\"Indented\"  # note\r\n", "Indented"},
             {"PRETTY_NAME=Good\nPRETTY_NAME=\"Bro", "Good"}}) {
    EXPECT_EQ(ParseOsReleasePrettyName(text), expected) << text;
  }
  for (const char* text : {"", "NAME=\"Acme\"\n", "PRETTY_NAME=\"\"", "PRETTY_NAME='Acme",
                           "PRETTY_NAME=Acme\\", "PRETTY_NAME = \"Spaced\"\n",
                           "PRETTY_NAME=Acme OS\n",  // a shell would run "OS"
                           "XPRETTY_NAME=\"Other key\"\n"}) {
    EXPECT_EQ(ParseOsReleasePrettyName(text), "Linux") << text;
  }
}

TEST(Domain, FromADottedNodeNameElseTheFirstHostsLineNamingTheHost) {
  const char* hosts =
      "# 10.0.0.9 web01.commented.org web01\n127.0.0.1\tlocalhost\n"
      "10.0.0.7 web011.wrong.org web011\n"
      "10.0.0.1\tWEB01.Corp.Example.COM.  alias web01 # trailing comment\n"
      "10.0.0.2 web01.later.org web01\n";
  EXPECT_EQ(DomainOf("web01.lab.example.com", hosts), "lab.example.com");  // hosts not asked
  for (const char* node : {"web01", "web01.", "alias"})
    EXPECT_EQ(DomainOf(node, hosts), "Corp.Example.COM") << node;
  for (const char* node : {"", "localhost", "db01"}) EXPECT_EQ(DomainOf(node, hosts), "") << node;
  EXPECT_EQ(DomainFromHosts(hosts, "10.0.0.1"), "");  // an address is not a name
  for (const char* damaged : {"#", "10.0.0.1", "10.0.0.1 \t \n", "   web01", "1.2.3.4 a.b web0"})
    EXPECT_EQ(DomainFromHosts(damaged, "web01"), "") << damaged;
}

TEST(Nics, LoopbacksGoByTypeCountersAreDecimalOrUnknownNamesSorted) {
  for (const char* garbled : {"", "77", "772x", "-772", "7720", "18446744073709552388"})
    EXPECT_FALSE(IsLoopbackType(std::string(garbled))) << garbled;
  const NicCounterTexts sevens{"7\n", "7\n", "7\n", "7\n", "7\n", "7\n"},
      odd{"100\n", "2\n", std::nullopt, "18446744073709551615\n", "1 2", "18446744073709551616"};
  std::vector<_NICINFO> nics = BuildNicList({
      {"wlan0", "1\n", odd},
      {"loop-a", "772\n", sevens},
      {"lo", "1\n", sevens},           // named like loopback, typed as Ethernet
      {"eth0", std::nullopt, sevens},  // type unreadable: still an adapter
  });
  ASSERT_EQ(nics.size(), 3u);
  const _NICINFO& w = nics[2];
  EXPECT_EQ((Texts{nics[0].name, nics[1].name, w.name, w.transmitBytes, w.transmitPackets,
                   w.transmitErrors, w.receiveBytes, w.receivePackets, w.receiveErrors}),
            (Texts{"eth0", "lo", "wlan0", "100", "2", kUnknown, "18446744073709551615", kUnknown,
                   kUnknown}));
}

TEST(Mounts, EscapesDecodedBrokenLinesSkippedFirstMountPerBlockDeviceSorted) {
  // Escapes cut short, not octal or too large stay as written.
  EXPECT_EQ(DecodeMountField("/a\\040b\\011c\\012d\\134e\\089\\400\\"),
            "/a b\tc\nd\\e\\089\\400\\");
  EXPECT_EQ(DecodeMountField(std::string_view("/x\\0401", 5)), "/x\\04");  // by the field's end
  std::vector<MountEntry> entries = ParseMountInfo(
      "27 1 254:0 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
      "28 27 8:17 / /mnt/my\\040disk rw - xfs /dev/sdb1 rw\n\n30 27 8:1 / /no/sep rw ext4 x rw\n"
      "34 27 8:1 / rel rw - ext4 x rw\n32 27 8-1 / /bad/device rw - ext4 /dev/sda1 rw\n"
      "33 27 4294967296:0 / /big/major rw - ext4 /dev/sda1 rw\n31 27 8:1 / /no/fstype rw -\n"
      "36 27 8:1 /\n35 27 8:1 / /nul\\000byte rw - ext4 /dev/sda1 rw\n"
      "37 27 4294967295:1048575 / /max\\011dev rw - ext4 x rw");
  Texts seen;
  for (const MountEntry& e : entries) seen.push_back(DeviceKey(e) + " " + e.mountPoint);
  EXPECT_EQ(seen, (Texts{"254:0 /", "8:17 /mnt/my disk", "4294967295:1048575 /max\tdev"}));
  const std::vector<MountEntry> table{{8, 1, "/"},      {0, 25, "/run"},  {8, 2, "/var"},
                                      {8, 1, "/srv/b"}, {8, 17, "/data"}, {8, 2, "/aaa-bind"},
                                      {7, 0, "/snap/x"}};
  const std::set<std::string> block{"8:1", "8:2", "8:17", "7:0"};
  Texts asked, points;
  auto isBlock = [&](const std::string& key) { return asked.push_back(key), block.count(key) > 0; };
  for (const MountEntry& d : SelectDriveMounts(table, isBlock)) points.push_back(d.mountPoint);
  EXPECT_EQ(points, (Texts{"/", "/data", "/snap/x", "/var"}));
  EXPECT_EQ(asked, (Texts{"8:1", "0:25", "8:2", "8:17", "7:0"}));
}

// Memory figures and the uname fields are checked against the live machine in integration.
TEST(FakeRoot, MissingSourcesHaveTheirCodesAndARecordedMachineIsReadThroughEveryCall) {
  const TestSupport::TempDir root;
  Ordix::OS::SetSourceRoot(root.Path());
  const std::shared_ptr<void> restore(nullptr, [](void*) { Ordix::OS::SetSourceRoot(""); });
  _MEMINFO m;
  std::string name = m.totalMemory = "stale";
  std::vector<_NICINFO> nics(1);
  std::vector<_DRIVEINFO> drives(1);
  EXPECT_EQ(GetMemInfo(m), ErrorCode::kOSMemoryUnreadable);
  EXPECT_EQ(GetOSDisplayString(name), ErrorCode::kOSDisplayNameUnreadable);
  EXPECT_EQ(GetNICInfo(nics), ErrorCode::kOSNetworkUnreadable);
  EXPECT_EQ(GetDriveData(drives), ErrorCode::kOSDrivesUnreadable);
  EXPECT_TRUE(m.totalMemory.empty() && name.empty() && nics.empty() && drives.empty());
  // A FIFO where a file belongs would block a plain read forever.
  ASSERT_EQ(::mkfifo((root.MakeDir("proc") + "/meminfo").c_str(), 0600), 0);
  EXPECT_EQ(GetMemInfo(m), ErrorCode::kOSMemoryUnreadable);

  struct utsname uts {};
  ASSERT_EQ(::uname(&uts), 0);
  const std::string node = uts.nodename, shortName = node.substr(0, node.find('.'));
  for (const auto& [path, text] : std::vector<std::pair<std::string, std::string>>{
           {"usr/lib/os-release", "PRETTY_NAME=\"Acme 9 (usr)\"\n"},
           {"etc/hosts", "127.0.0.1 localhost\n10.1.2.3 " + shortName + ".rec.test " + shortName},
           {"sys/class/net/wan1/statistics/tx_bytes", "123456789\n"},  // no type file
           {"sys/class/net/loopy/type", "772\n"},
           {"sys/class/net/bonding_masters", "bond0\n"},  // a file, not an interface
           {"proc/self/mountinfo",
            "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n21 20 0:19 / /run rw - tmpfs tmpfs rw\n"
            "22 20 8:2 / /data\\040disk rw shared:3 - xfs /dev/sda2 rw\n25 20 garbage\n"
            "23 20 8:1 /srv /srv/bind rw - ext4 /dev/sda1 rw\n"}})
    root.Write(path, text);
  for (const char* dev : {"8:1", "8:2"}) root.MakeDir(std::string("sys/dev/block/") + dev);
  std::string later;
  EXPECT_EQ(GetOSDisplayString(name), 0);
  root.Write("etc/os-release", "NAME=Acme\n");  // present in /etc, it counts even without the key
  EXPECT_EQ(GetOSDisplayString(later), 0);
  EXPECT_EQ(name + "|" + later, "Acme 9 (usr)|Linux");
  _OSINFO info;
  ASSERT_EQ(GetOSInfo(info), 0);
  EXPECT_EQ(info.domain, node == shortName ? "rec.test" : node.substr(shortName.size() + 1));
  ASSERT_EQ(GetNICInfo(nics), 0);
  ASSERT_EQ(nics.size(), 1u);
  EXPECT_EQ(nics[0].name + " " + nics[0].transmitBytes, "wan1 123456789");

  // "/" is the temporary directory's file system, whose free space may move meanwhile (a figure
  // of the later reading stands for the earlier one); statvfs fails on the missing "/data disk".
  struct statvfs before, after;
  ASSERT_EQ(::statvfs(root.Path().c_str(), &before), 0);
  ASSERT_EQ(GetDriveData(drives), 0);
  ASSERT_EQ(::statvfs(root.Path().c_str(), &after), 0);
  const auto gib = [&](uint64_t blocks) { return std::to_string(blocks * before.f_frsize >> 30); };
  Texts seen;
  for (const _DRIVEINFO& d : drives)
    seen.push_back(d.id + " " + d.totalSpace + " " +
                   (d.freeSpace == gib(after.f_bavail) ? gib(before.f_bavail) : d.freeSpace));
  EXPECT_EQ(seen, (Texts{"/ " + gib(before.f_blocks) + " " + gib(before.f_bavail),
                         "/data disk Unknown Unknown"}));
}

}  // namespace

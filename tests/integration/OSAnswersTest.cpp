// platformq's answers for "/Platform/OS" against the machine's own figures, read before and
// after the run wherever they move on their own.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "SystemReadings.h"
#include "ToolRun.h"

namespace IntegrationTest {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint64_t kKiBPerMiB = 1024;
constexpr uint64_t kBytesPerGiB = uint64_t{1} << 30;
// How far a memory figure that moves by itself may stray outside the readings taken around
// the run (other processes allocate meanwhile).
constexpr uint64_t kMemoryDriftMiB = 256;
constexpr uint64_t kFreeSpaceDriftGiB = 1;

struct NicCounter {
  const char* leaf;  // under /Platform/OS/NetworkInfo/NIC[k]
  const char* file;  // under /sys/class/net/NAME/statistics
};
constexpr NicCounter kNicCounters[] = {
    {"TransmitBytes", "tx_bytes"},    {"TransmitPackets", "tx_packets"},
    {"TransmitErrors", "tx_errors"},  {"ReceiveBytes", "rx_bytes"},
    {"ReceivePackets", "rx_packets"}, {"ReceiveErrors", "rx_errors"}};

class OSAnswersTest : public ::testing::Test {
 protected:
  // Runs `platformq --format json /Platform/OS` and keeps its answer.
  void RunOS() {
    const ToolResult run = RunPlatformq({"--format", "json", "/Platform/OS"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    ASSERT_NO_THROW(answer_ = Json::parse(run.out)) << run.out;
  }

  bool Has(const std::string& path) const { return answer_.contains(path); }

  // The one value of the leaf at path ("" after a failure).
  std::string Value(const std::string& path) const {
    if (!Has(path)) {
      ADD_FAILURE() << "no entry " << path;
      return {};
    }
    const Json& node = answer_.at(path);
    if (node.at("kind") != 0 || node.at("list").size() != 1) {
      ADD_FAILURE() << path << " is not a leaf with one value: " << node.dump();
      return {};
    }
    return node.at("list")[0].get<std::string>();
  }

  uint64_t Number(const std::string& path) const {
    const std::string text = Value(path);
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
      ADD_FAILURE() << path << " is not a whole number: \"" << text << "\"";
      return 0;
    }
    return std::stoull(text);
  }

  void ExpectChildren(const std::string& path, const std::vector<std::string>& names) const {
    ASSERT_TRUE(Has(path)) << path;
    std::vector<std::string> expected;
    for (const std::string& name : names) expected.push_back(path + "/" + name);
    EXPECT_EQ(answer_.at(path).at("kind"), 1) << path;
    EXPECT_EQ(answer_.at(path).at("list").get<std::vector<std::string>>(), expected) << path;
  }

  Json answer_;
};

uint64_t Field(const std::map<std::string, uint64_t>& meminfo, const std::string& name) {
  const auto field = meminfo.find(name);
  if (field == meminfo.end()) {
    ADD_FAILURE() << "/proc/meminfo has no " << name;
    return 0;
  }
  return field->second;
}

// value lies between two readings, widened by slack on either side.
void ExpectAround(uint64_t value, uint64_t before, uint64_t after, uint64_t slack,
                  const std::string& what) {
  const uint64_t low = std::min(before, after);
  const uint64_t high = std::max(before, after);
  EXPECT_GE(value + slack, low) << what << ": readings " << before << " and " << after;
  EXPECT_LE(value, high + slack) << what << ": readings " << before << " and " << after;
}

uint64_t FreeCommitMiB(const std::map<std::string, uint64_t>& meminfo) {
  const uint64_t limit = Field(meminfo, "CommitLimit");
  const uint64_t committed = Field(meminfo, "Committed_AS");
  return (limit > committed ? limit - committed : 0) / kKiBPerMiB;
}

TEST_F(OSAnswersTest, MemoryFiguresAreThoseOfProcMeminfoInMiB) {
  const auto before = ReadMeminfo();
  RunOS();
  const auto after = ReadMeminfo();
  const std::string base = "/Platform/OS/MemoryInfo/";
  ExpectChildren("/Platform/OS/MemoryInfo",
                 {"TotalMemory", "FreeMemory", "TotalPageFile", "FreePageFile",
                  "TotalVirtualMemory", "FreeVirtualMemory", "Units"});
  EXPECT_EQ(Number(base + "TotalMemory"), Field(before, "MemTotal") / kKiBPerMiB);
  EXPECT_EQ(Number(base + "TotalPageFile"), Field(before, "SwapTotal") / kKiBPerMiB);
  const auto mib = [](const std::map<std::string, uint64_t>& m, const char* name) {
    return Field(m, name) / kKiBPerMiB;
  };
  ExpectAround(Number(base + "FreeMemory"), mib(before, "MemAvailable"), mib(after, "MemAvailable"),
               kMemoryDriftMiB, "FreeMemory");
  ExpectAround(Number(base + "FreePageFile"), mib(before, "SwapFree"), mib(after, "SwapFree"),
               kMemoryDriftMiB, "FreePageFile");
  ExpectAround(Number(base + "TotalVirtualMemory"), mib(before, "CommitLimit"),
               mib(after, "CommitLimit"), kMemoryDriftMiB, "TotalVirtualMemory");
  ExpectAround(Number(base + "FreeVirtualMemory"), FreeCommitMiB(before), FreeCommitMiB(after),
               kMemoryDriftMiB, "FreeVirtualMemory");
  EXPECT_EQ(Value(base + "Units"), "MB");
}

TEST_F(OSAnswersTest, IdentityIsWhatUnameHostnameAndOsReleaseSay) {
  RunOS();
  const std::string base = "/Platform/OS/Info/";
  ExpectChildren("/Platform/OS/Info",
                 {"Version", "Build", "Domain", "HostName", "Machine", "Type", "Name"});
  EXPECT_EQ(Value(base + "Version"), FirstLine("uname -r"));
  EXPECT_EQ(Value(base + "Build"), FirstLine("uname -v"));
  EXPECT_EQ(Value(base + "Machine"), FirstLine("uname -m"));
  EXPECT_EQ(Value(base + "HostName"), FirstLine("hostname -s"));
  EXPECT_EQ(Value(base + "Type"), "Linux");
  EXPECT_EQ(Value(base + "Name"), OSPrettyName());
  ASSERT_TRUE(Has(base + "Domain"));
  EXPECT_EQ(answer_.at(base + "Domain").at("kind"), 0);
}

TEST_F(OSAnswersTest, EveryNonLoopbackInterfaceInNameOrderWithItsCounters) {
  const std::vector<std::string> names = NonLoopbackInterfaces();
  std::map<std::pair<std::string, std::string>, uint64_t> before;
  for (const std::string& name : names) {
    for (const NicCounter& counter : kNicCounters) {
      before[{name, counter.file}] = InterfaceCounter(name, counter.file);
    }
  }
  RunOS();
  EXPECT_EQ(Number("/Platform/OS/NetworkInfo/NumNICs"), names.size());
  for (size_t k = 0; k < names.size(); ++k) {
    const std::string nic = "/Platform/OS/NetworkInfo/NIC[" + std::to_string(k) + "]/";
    EXPECT_EQ(Value(nic + "Name"), names[k]);
    for (const NicCounter& counter : kNicCounters) {
      const uint64_t after = InterfaceCounter(names[k], counter.file);
      const uint64_t reported = Number(nic + counter.leaf);
      EXPECT_GE(reported, (before[{names[k], counter.file}])) << nic << counter.leaf;
      EXPECT_LE(reported, after) << nic << counter.leaf;
    }
  }
  EXPECT_FALSE(Has("/Platform/OS/NetworkInfo/NIC[" + std::to_string(names.size()) + "]/Name"));
}

TEST_F(OSAnswersTest, EveryDriveIsAMountPointDfListsWithItsSpaceInGiB) {
  const std::map<std::string, DfEntry> df = DfListing();
  RunOS();
  const std::string base = "/Platform/OS/DriveInfo/HardDisk/";
  EXPECT_EQ(Value(base + "Units"), "GB");
  std::vector<std::string> ids;
  for (size_t k = 0; Has(base + "Drive[" + std::to_string(k) + "]/ID"); ++k) {
    const std::string drive = base + "Drive[" + std::to_string(k) + "]/";
    ids.push_back(Value(drive + "ID"));
    const auto listed = df.find(ids.back());
    if (listed == df.end()) {
      ADD_FAILURE() << drive << "ID = " << ids.back() << " is not a mount point df lists";
      continue;
    }
    EXPECT_EQ(Number(drive + "TotalSpace"), listed->second.sizeBytes / kBytesPerGiB) << drive;
    ExpectAround(Number(drive + "FreeSpace"), listed->second.availableBytes / kBytesPerGiB,
                 listed->second.availableBytes / kBytesPerGiB, kFreeSpaceDriftGiB, drive);
  }
  EXPECT_EQ(Number(base + "NumDrives"), ids.size());
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  const bool dfHasABlockDevice = std::any_of(df.begin(), df.end(), [](const auto& entry) {
    std::error_code ec;
    return std::filesystem::is_block_file(entry.second.source, ec);
  });
  if (dfHasABlockDevice) {
    EXPECT_FALSE(ids.empty()) << "df lists a file system on a block device";
  }
}

}  // namespace
}  // namespace IntegrationTest

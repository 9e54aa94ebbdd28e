#include <gtest/gtest.h>

#include <prometheus/registry.h>

#include <algorithm>
#include <functional>
#include <map>

#include "Inventory.h"
#include "Logger.h"
#include "Render.h"
#include "ResultStatus.h"
#include "Round.h"

namespace Exporter {
namespace {

using namespace Fixture;

constexpr const char* kProbe = "/BMC/SEL/RECORD";

// The modules as a script: each query adds its answer, or raises a status (logged first when the
// module would log it), and every query asked is noted.
struct ScriptedHost {
  struct Reply {
    ResultMap answer;
    uint16_t raises = 0;
    bool logged = false;
  };
  std::map<std::string, Reply> replies;
  std::vector<std::string> asked;
  std::optional<ModuleHost::PlatformIdentity> identity{{"KARVO_PLATFORM", "R7100QTN"}};

  ScriptedHost(size_t slots = 2) {
    replies[kProbe] = {};
    replies["/Platform"] = {Inventory(slots)};
    replies[SlotPath(0) + "/MemoryState"] = {{{SlotPath(0) + "/MemoryState", Leaf("9")}}};
    replies[kMem + "/Errors"] = {{{kMem + "/Errors/CorErrorCount", Leaf("3")},
                                  {kMem + "/Errors/UnCorErrorCount", Leaf("1")}}};
    replies["/BIOS/Version"] = {{{"/BIOS/Version", Leaf("2.19.1")}}};
  }

  ModuleAccess Access() {
    return {[this](const std::string& query, ResultMap& result) {
              asked.push_back(query);
              const Reply& reply = replies[query];
              if (reply.raises == 0) {
                result.insert(reply.answer.begin(), reply.answer.end());
              } else if (reply.raises == 1) {
                throw std::runtime_error("not a status");
              } else {
                if (reply.logged) {
                  Logger::CreateInstance()->Log(2, "s", "f", 1, "%d: %s", reply.raises, "failed");
                }
                throw ResultStatus(reply.raises, "failed", query, XCOMMAND_NONE);
              }
            },
            [this] { return identity; }};
  }
};

// The records the tap passes on go nowhere while it lives.
struct QuietLog {
  QuietLog() { Logger::CreateInstance()->Configure({"/dev/null", 2}); }
  ~QuietLog() { Logger::CreateInstance()->Configure({}); }
};

struct RoundTest : ::testing::Test {
  RoundResult Collect(ScriptedHost& host) {
    return CollectRound(
        host.Access(), failures,
        {[&] { downAfter = host.asked; }, [&] { return host.asked.size() > stopAfter; }});
  }
  // The samples of one metric, rendered.
  static Lines Of(const RoundResult& round, const std::string& name) {
    Lines lines;
    for (const std::string& line : Render(round.samples)) {
      if (line.rfind(name + "{", 0) == 0 || line.rfind(name + " ", 0) == 0) lines.push_back(line);
    }
    return lines;
  }

  QuietLog quiet;
  prometheus::Registry registry;
  FailureCounter failures{registry};
  LogTap tap{failures};
  std::optional<std::vector<std::string>> downAfter;
  size_t stopAfter = 1000000;  // the round is told to stop once more queries were asked
};

TEST_F(RoundTest, AReachableBmcIsAskedForEverySlotAndTheErrorCounts) {
  ScriptedHost host;
  const RoundResult round = Collect(host);
  EXPECT_EQ(host.asked, (Lines{kProbe, "/Platform", SlotPath(0) + "/MemoryState",
                               SlotPath(1) + "/MemoryState", kMem + "/Errors", "/BIOS/Version"}));
  EXPECT_FALSE(downAfter);
  EXPECT_EQ(round.logicalProcessors, 4u);
  EXPECT_EQ(Of(round, "platform_up"),
            (Lines{"platform_up{source=smbios} 1", "platform_up{source=efi_variable} 1",
                   "platform_up{source=bmc} 1"}));
  EXPECT_EQ(Of(round, "platform_info"),
            Lines{"platform_info{family=KARVO_PLATFORM,board=R7100QTN,bios_version=2.19.1} 1"});
  EXPECT_EQ(Of(round, "platform_dimm_state").size(), 1u);
  EXPECT_EQ(Of(round, "platform_dimm_state_readable").size(), 2u);
  EXPECT_EQ(Of(round, "platform_memory_uncorrected_errors"),
            Lines{"platform_memory_uncorrected_errors 1"});
  EXPECT_EQ(Of(round, "platform_processor_state").size(), 3u);
  EXPECT_EQ(Of(round, "platform_collection_duration_seconds").size(), 1u);
  EXPECT_EQ(Of(round, "platform_last_collection_timestamp_seconds").size(), 1u);
}

// 2040 and 2041 say the controller or its driver cannot be reached; any other status is a reply.
TEST_F(RoundTest, AnUnreachableBmcIsSaidAtOnceAndItsReadingsAreNeitherAskedNorKept) {
  for (const auto& [code, reachable] : std::vector<std::pair<uint16_t, bool>>{
           {2040, false}, {2041, false}, {1, false}, {2042, true}, {2044, true}}) {
    ScriptedHost host;
    host.replies[kProbe].raises = code;
    downAfter.reset();
    const RoundResult round = Collect(host);
    EXPECT_EQ(Of(round, "platform_up").back(),
              std::string("platform_up{source=bmc} ") + (reachable ? "1" : "0"))
        << code;
    if (reachable) continue;
    EXPECT_EQ(downAfter, Lines{kProbe}) << "withdrawn before the rest of the round";
    EXPECT_EQ(host.asked, (Lines{kProbe, "/Platform", "/BIOS/Version"}));
    // The inventory answered states (as if the BMC came back meanwhile): not trusted.
    EXPECT_TRUE(Of(round, "platform_processor_state").empty());
    EXPECT_TRUE(Of(round, "platform_memory_corrected_errors").empty());
    EXPECT_EQ(Of(round, "platform_dimm_state_readable").size(), 2u);
    for (const std::string& line : Of(round, "platform_dimm_state_readable")) {
      EXPECT_EQ(line.back(), '0') << line;
    }
    EXPECT_FALSE(Of(round, "platform_memory_slot_size_bytes").empty()) << "SMBIOS stays";
  }
}

TEST_F(RoundTest, EachFailureIsCountedOnceWhetherLoggedRaisedOrBoth) {
  ScriptedHost host;
  host.replies["/Platform"] = {{}, 1018, true};       // the module logs, then throws
  host.replies["/BIOS/Version"] = {{}, 2020, false};  // a framework module only throws
  host.identity.reset();
  const RoundResult round = Collect(host);
  EXPECT_EQ(failures.Counts(), (std::map<uint16_t, uint64_t>{{1018, 1}, {2020, 1}}));
  EXPECT_EQ(Of(round, "platform_up"),
            (Lines{"platform_up{source=smbios} 0", "platform_up{source=bmc} 1"}))
      << "no identification yet: nothing said of the EFI variable";
  EXPECT_EQ(Of(round, "platform_info"), Lines{"platform_info{family=,board=,bios_version=} 1"});
  EXPECT_FALSE(round.logicalProcessors);
}

long StateQueries(const ScriptedHost& host) {
  return std::count_if(host.asked.begin(), host.asked.end(),
                       [](const std::string& q) { return q.find("/MemoryState") != q.npos; });
}

TEST_F(RoundTest, SlotStatesAreAskedUpToTheBoundAndNotOnceStopping) {
  ScriptedHost host(kMaxSlotsRead + 1);
  const RoundResult round = Collect(host);
  EXPECT_EQ(StateQueries(host), static_cast<long>(kMaxSlotsRead));
  EXPECT_EQ(Of(round, "platform_dimm_state_readable").size(), kMaxSlotsRead + 1);

  ScriptedHost stopped(4);
  stopAfter = 2;  // told to stop once the probe, the inventory and one slot were asked
  Collect(stopped);
  EXPECT_EQ(StateQueries(stopped), 1);
}

TEST_F(RoundTest, TheLastRoundWithdrawnWhenTheBmcGoes) {
  ScriptedHost host;
  const Samples down = BmcDownSamples(Collect(host).samples);
  const Lines lines = Render(down);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "platform_up{source=bmc} 0"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "platform_up{source=bmc} 1"), 0);
  for (const std::string& line : lines) {
    EXPECT_EQ(line.find("platform_dimm_state{"), std::string::npos) << line;
    EXPECT_EQ(line.find("platform_memory_corrected"), std::string::npos) << line;
  }
}

}  // namespace
}  // namespace Exporter

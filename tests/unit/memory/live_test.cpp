// The values read from the BMC at query time: a slot's DIMM state and the error counts.
#include <gtest/gtest.h>

#include "FakeSiblings.h"
#include "LogCapture.h"
#include "PlatformConfigMgr.h"
#include "SimulatedServer.h"

namespace {

using namespace Module::PlatformConfig;
using MemoryTest::Array;
using MemoryTest::FakeBmc;
using MemoryTest::FakeSmbios;
using MemoryTest::SelRecord;
using TestSupport::LoggedError;

constexpr const char* kErrors = "/Platform/MemoryTopology/Errors";

ResultMap Ask(PlatformConfigMgr& mgr, const std::string& query) {
  ResultMap result;
  mgr.ResolveQuery(query, result);
  return result;
}

std::vector<Array> OneArrayOfTen() {
  Array array;
  for (int d = 0; d < 10; ++d) array.devices.push_back({"DIMM" + std::to_string(d)});
  return {array};
}

// Board R7100QTN: slots 0-7 have sensors e0-e7, slots 8 and 9 "ff".
TEST(DimmState, IsReadFromTheSlotsSensorAtEveryQuery) {
  PlatformTest::SimulatedServer server("board-table-hit");
  FakeSmbios smbios("1", OneArrayOfTen());
  FakeBmc bmc;
  PlatformConfigMgr mgr("");
  const struct {
    int slot, sensor;
    const char* reply;  // nullptr: no answer
    const char* state;
  } cases[] = {
      {0, 224, "0 c0 4 0", "1"},
      {1, 225, "0 c0 5 3", "f"},
      {3, 227, "0 c0 0 0", "ERROR_GET_MEMORY_DIMM_STATE"},
      {5, 229, nullptr, "ERROR_GET_MEMORY_DIMM_STATE"},
      {6, 230, "throw", "ERROR_GET_MEMORY_DIMM_STATE"},
      {9, 255, "0 c0 1", "8"},  // no sensor on the board: asked all the same
  };
  for (const auto& c : cases) {
    bmc.replies.clear();
    bmc.asked.clear();
    if (c.reply != nullptr) bmc.replies[c.sensor] = c.reply;
    const std::string path =
        "/Platform/MemoryTopology/MemoryInfo[" + std::to_string(c.slot) + "]/MemoryState";
    const std::string asked = "/BMC/SENSOR[" + std::to_string(c.sensor) + "]/VALUE";
    TestSupport::LogCapture log;
    for (int round = 0; round < 2; ++round) {
      const ResultMap r = Ask(mgr, path);
      ASSERT_EQ(r.size(), 1u) << path;
      EXPECT_EQ(r.at(path).list, std::vector<std::string>{c.state}) << path;
    }
    EXPECT_EQ(bmc.asked, (std::vector<std::string>{asked, asked})) << path;
    // Each failed reading is logged, after the failed BMC query that caused it if any.
    std::vector<LoggedError> logged;
    for (int round = 0; round < 2 && c.state[0] == 'E'; ++round) {
      if (c.reply != nullptr && c.reply == std::string("throw")) {
        logged.push_back({".\\common", "Module::PlatformConfig::GetQuery", 155, 1034});
      }
      logged.push_back(
          {".\\MemoryImpl", "Module::PlatformConfig::Memory::GetMemoryState", 240, 1036});
    }
    EXPECT_EQ(log.Errors(), logged) << path;
  }
  // A slot the inventory does not have, or a path that only begins like a state, is not
  // answered and asks nothing.
  bmc.asked.clear();
  EXPECT_TRUE(Ask(mgr, "/Platform/MemoryTopology/MemoryInfo[10]/MemoryState").empty());
  EXPECT_TRUE(Ask(mgr, "/Platform/MemoryTopology/MemoryInfo[0]/MemoryStateX").empty());
  EXPECT_TRUE(bmc.asked.empty());
  // The state is never kept: the slot, rebuilt for the next query, has none.
  const ResultMap slot = Ask(mgr, "/Platform/MemoryTopology/MemoryInfo[9]");
  EXPECT_EQ(slot.count("/Platform/MemoryTopology/MemoryInfo[9]/MemoryState"), 0u);
}

TEST(MemoryErrors, AreCountedFromTheEventLogSinceTheLastBoot) {
  PlatformTest::SimulatedServer server("board-table-hit");
  FakeBmc bmc;
  PlatformConfigMgr mgr("");
  const std::string cor = SelRecord(0x0C, 0x40), uncor = SelRecord(0x0C, 0x41),
                    boot = SelRecord(0x12, 0x01), other = SelRecord(0x07, 0x41);
  // Twelve records, so that record 10 must sort after record 9.
  bmc.sel = {cor, uncor, cor, cor, cor, other, cor, uncor, boot, uncor, cor, other};
  ResultMap r = Ask(mgr, kErrors);
  EXPECT_EQ(r.at(std::string(kErrors) + "/CorErrorCount").list.front(), "1");
  EXPECT_EQ(r.at(std::string(kErrors) + "/UnCorErrorCount").list.front(), "1");
  EXPECT_EQ(r.at(kErrors).list.size(), 2u);

  bmc.sel.push_back(boot);
  r = Ask(mgr, std::string(kErrors) + "/CorErrorCount");
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r.begin()->second.list.front(), "0");

  for (bool fails : {false, true}) {
    bmc.sel.clear();
    bmc.selFails = fails;
    TestSupport::LogCapture log;
    r = Ask(mgr, kErrors);
    for (const char* leaf : {"/CorErrorCount", "/UnCorErrorCount"}) {
      EXPECT_EQ(r.at(std::string(kErrors) + leaf).list.front(), "ERROR_GET_MEMORY_ECC_ERROR_COUNT");
    }
    ASSERT_FALSE(log.Errors().empty());
    EXPECT_EQ(log.Errors().back(),
              (LoggedError{".\\MemoryImpl", "Module::PlatformConfig::Memory::GetMemoryErrors", 267,
                           1037}));
  }
}

}  // namespace
